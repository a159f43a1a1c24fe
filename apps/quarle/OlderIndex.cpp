#include "apps/quarle/OlderIndex.h"

#include <algorithm>
#include <iterator>

#include "apps/quarle/FileCopy.h"
#include "database/MUKAssetIndex.h"
#include "kernel/platform/FileSystem.h"

namespace {

namespace Platform = Zef::Platform;

// In the order in which a start tries them.
constexpr const char* kLeftovers[] = {"cache/assets.mkx", "cache/assets.bku"};

std::string FreeName(const std::string& file) {
  std::string name = file + ".bak";
  Platform::FileInfo info;
  for (unsigned number = 2; Platform::GetInfoNoFollow(name, &info); ++number) {
    name = file + ".bak" + std::to_string(number);
  }
  return name;
}

bool Loads(const std::string& file) {
  MUKAssetIndex index;
  return index.Load(file);
}

/// The file that a start of the database would recover from, or nothing.
std::string Leftover(const std::string& folder) {
  for (const char* const name : kLeftovers) {
    std::string file = Platform::ResolveCase(folder, name);
    if (Platform::Exists(file) && Loads(file)) return file;
  }
  return {};
}

void Copy(const std::string& from, const std::string& file, OlderIndex& older) {
  const std::string to = FreeName(file);
  if (CopyFileWhole(from, to)) {
    older.copies.push_back(to);
  } else {
    older.failed = from;
  }
}

}  // namespace

bool HasLeftover(const std::string& folder) {
  return std::any_of(std::begin(kLeftovers), std::end(kLeftovers), [&](const char* name) {
    return Platform::Exists(Platform::ResolveCase(folder, name));
  });
}

OlderIndex KeepOlderIndex(const std::string& file, const std::string& folder, bool isDatabase) {
  OlderIndex older;
  const bool exists = Platform::Exists(file);
  if (exists) Copy(file, file, older);
  if (!isDatabase || !older.failed.empty() || (exists && Loads(file))) return older;
  if (const std::string leftover = Leftover(folder); !leftover.empty()) Copy(leftover, file, older);
  return older;
}

void DeleteCopies(OlderIndex& older) {
  for (const std::string& copy : older.copies) static_cast<void>(Platform::DeleteFile(copy));
  older.copies.clear();
}
