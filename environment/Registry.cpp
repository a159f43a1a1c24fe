#include "environment/Registry.h"

#include <algorithm>
#include <utility>

#include "kernel/LockedValue.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/platform/System.h"
#include "kernel/standard/NewFile.h"
#include "kernel/standard/NumberText.h"

namespace Platform = Zef::Platform;

namespace {

constexpr const char* kVariable = "QUARLE_REGISTRY";
constexpr const char* kMachineRoot = "/var/lib/mirev/registry";
constexpr const char* kUserRoot = "/mirev/registry";
constexpr const char* kLockName = "/.lock";
constexpr std::size_t kMostDigits = 9;
constexpr std::uint32_t kLockTries = 200;
constexpr std::uint32_t kLockPause = 10;  // milliseconds

Zef::LockedValue<std::string>& TheRootSetting() {
  static Zef::LockedValue<std::string> folder;
  return folder;
}

/// True for a folder that is no link to one.
bool IsKeyFolder(const std::string& path) {
  Platform::FileInfo info;
  return Platform::GetInfoNoFollow(path, &info) && info.folder;
}

bool IsNumberedName(std::string_view name) {
  return !name.empty() && name.size() <= kMostDigits &&
         std::all_of(name.begin(), name.end(), Zef::IsDigit);
}

}  // namespace

std::string RegistryRoot() {
  std::string root = TheRootSetting().Get();
  if (!root.empty()) return root;
  if (Platform::GetEnvironment(kVariable, &root) && !root.empty()) return root;
  if (Platform::IsFolder(kMachineRoot) || Platform::MakeFolders(kMachineRoot)) return kMachineRoot;
  const std::string data = Platform::UserDataFolder();
  return data.empty() ? data : data + kUserRoot;
}

void SetRegistryRoot(std::string folder) { TheRootSetting().Set(std::move(folder)); }

RegistryKey::RegistryKey(std::string folder) : folder_(std::move(folder)) {
  if (Platform::MayChangeFolder(folder_)) {
    rights_ = KeyRights::Full;
  } else if (Platform::MayReadFolder(folder_)) {
    rights_ = KeyRights::Read;
  }
}

RegistryKey RegistryKey::OpenOrCreate(std::string_view path) {
  std::string root = RegistryRoot();
  if (root.empty()) return {};
  if (!Platform::IsRooted(root)) {
    const std::string current = Platform::CurrentFolder();
    if (current.empty()) return {};
    root.insert(0, current + "/");
  }
  const std::string folder = Platform::ResolveCase(root, path);
  return Platform::MakeFolders(folder) ? RegistryKey(folder) : RegistryKey();
}

RegistryKey RegistryKey::OpenSubKey(std::string_view name) const {
  if (!IsOpen() || name.empty()) return {};
  return RegistryKey(Platform::ResolveCase(folder_, name));
}

RegistryKey RegistryKey::OpenOrCreateSubKey(std::string_view name) const {
  RegistryKey key = OpenSubKey(name);
  return key.IsOpen() ? key : CreateSubKey(name);
}

RegistryKey RegistryKey::CreateSubKey(std::string_view name) const {
  if (!IsWritable() || name.empty()) return {};
  const std::string folder = Platform::ResolveCase(folder_, name);
  return Platform::MakeFolder(folder) ? RegistryKey(folder) : RegistryKey();
}

// Not a recursive delete: a key with anything in it but values stays, values and all.
void RegistryKey::DeleteSubKey(std::string_view name) const {
  const RegistryKey key = OpenSubKey(name);
  std::vector<std::string> names;
  if (!IsWritable() || !key.IsWritable() || !IsKeyFolder(key.folder_)) return;
  if (!Platform::ListFolder(key.folder_, &names)) return;
  for (std::string& each : names) {
    each = key.PathOf(each);
    Platform::FileInfo info;
    if (!Platform::GetInfoNoFollow(each, &info) || !info.regular) return;
  }
  for (const std::string& path : names) static_cast<void>(Platform::DeleteFile(path));
  static_cast<void>(Platform::RemoveEmptyFolder(key.folder_));
}

std::vector<std::string> RegistryKey::NumberedSubKeys() const {
  std::vector<std::string> names;
  if (!IsOpen() || !Platform::ListFolder(folder_, &names)) return {};
  std::erase_if(names, [&](const std::string& name) {
    return !IsNumberedName(name) || !IsKeyFolder(folder_ + "/" + name);
  });
  std::stable_sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
    return std::stoul(a) < std::stoul(b);
  });
  return names;
}

bool RegistryKey::HasText(std::string_view name) const {
  return IsOpen() && Platform::Exists(PathOf(name));
}

bool RegistryKey::ReadText(std::string_view name, std::string& text, std::size_t most) const {
  if (!IsOpen()) return false;
  const Platform::OwnedFile file = Platform::OpenFile(PathOf(name), {});
  if (!file) return false;
  std::string bytes(most + 2, '\0');  // the line's end, and one more to see what is too long
  const std::int64_t size = Platform::ReadAt(file.Get(), bytes.data(), bytes.size(), 0);
  if (size < 0) return false;
  bytes.resize(static_cast<std::size_t>(size));
  if (bytes.ends_with('\n')) bytes.pop_back();
  if (bytes.size() > most) return false;
  bytes.resize(std::min(bytes.find('\0'), bytes.size()));
  text = std::move(bytes);
  return true;
}

bool RegistryKey::WriteText(std::string_view name, std::string_view text) const {
  if (!IsWritable()) return false;
  const std::string line = std::string(CutValue(text)).append("\n");
  Zef::NewFile file(PathOf(name));
  return file.IsPending() && file.Append(line.data(), line.size()) && file.Flush() && file.Keep();
}

RegistryLock::RegistryLock(const RegistryKey& key) {
  if (!key.IsWritable()) return;
  // Not for writing: users who share a registry need only read each other's file.
  const Platform::OpenOptions options{.creation = Platform::Creation::OpenOrCreate,
                                      .sharing = Platform::Sharing::DenyAll};
  Platform::OpenError error = Platform::OpenError::Refused;
  for (std::uint32_t i = 0; i < kLockTries && error == Platform::OpenError::Refused; ++i) {
    if (i > 0) Platform::SleepMilliseconds(kLockPause);
    file_ = Platform::OpenFile(key.Folder() + kLockName, options, &error);
  }
}

std::string_view CutValue(std::string_view text) {
  return text.substr(0, std::min(text.find('\0'), RegistryKey::kMostText));
}

std::string SafeKeyName(std::string_view name) {
  std::string safe(name);
  std::replace_if(
      safe.begin(), safe.end(),
      [](char c) { return c == '/' || c == '\\' || (c >= 0 && c < ' ') || c == '\x7F'; }, '_');
  if (safe.starts_with('.')) safe[0] = '_';
  return safe;
}
