#include "environment/ProductRecord.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "environment/Registry.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/platform/System.h"
#include "kernel/standard/NumberText.h"

namespace Platform = Zef::Platform;

namespace {

constexpr std::string_view kProducts = "SOFTWARE/Mirev/Products";
constexpr std::string_view kTrue = "true";
constexpr std::string_view kFalse = "false";
constexpr std::size_t kMostDigits = 11;
constexpr int kCreateTries = 8;

namespace Value {
constexpr std::string_view kClass = "ProductClass";
constexpr std::string_view kExePath = "ExePath";
constexpr std::string_view kInstallPath = "ProductInstallPath";
constexpr std::string_view kName = "ProductName";
constexpr std::string_view kVersion = "ProductVersion";
constexpr std::string_view kLanguage = "ProductLanguage";
constexpr std::string_view kBuild = "ProductBuild";
constexpr std::string_view kAutoSaveDelay = "AutoSaveDelay";
constexpr std::string_view kAutoSave = "AutoSave";
constexpr std::string_view kDontShowError = "DontShowError";
}  // namespace Value

struct Installation {
  RegistryKey product;
  RegistryKey key;
  ProductNames names;
};

struct State {
  std::optional<Installation> open;
  std::vector<Installation> listed;
};

State& TheState() {
  static State state;
  return state;
}

RegistryKey OpenProductKey(std::string_view productName) {
  return RegistryKey::OpenOrCreate(kProducts).OpenOrCreateSubKey(SafeKeyName(productName));
}

// Empty for a value that is missing.
std::string TextOf(const RegistryKey& key, std::string_view name) {
  std::string text;
  static_cast<void>(key.ReadText(name, text));
  return text;
}

std::vector<Installation> InstallationsOf(std::string_view productName) {
  std::vector<Installation> found;
  const RegistryKey product = OpenProductKey(productName);
  for (std::string& name : product.NumberedSubKeys()) {
    const RegistryKey key = product.OpenSubKey(name);
    if (!key.IsOpen()) continue;
    found.push_back({product,
                     key,
                     {std::string(productName), TextOf(key, Value::kClass),
                      TextOf(key, Value::kExePath), std::move(name)}});
  }
  return found;
}

// `productClass` null for any.
std::optional<Installation> Find(std::string_view productName, const std::string_view* productClass,
                                 std::string_view exePath) {
  const std::string_view path = CutValue(exePath);
  if (path.empty()) return std::nullopt;
  for (Installation& each : InstallationsOf(productName)) {
    if (each.names.exePath != path) continue;
    if (productClass == nullptr || each.names.productClass == CutValue(*productClass)) {
      return std::move(each);
    }
  }
  return std::nullopt;
}

// The lowest number that no key's name stands for, nor anything else that is there.
std::size_t FreeNumber(const RegistryKey& product) {
  std::size_t number = 0;
  const auto stepOverFiles = [&] {
    while (Platform::Exists(product.Folder() + "/" + std::to_string(number))) ++number;
  };
  stepOverFiles();
  for (const std::string& name : product.NumberedSubKeys()) {
    if (std::stoul(name) != number) continue;
    ++number;
    stepOverFiles();
  }
  return number;
}

std::optional<Installation> Create(std::string_view productName, std::string_view productClass,
                                   std::string_view exePath) {
  const RegistryKey product = OpenProductKey(productName);
  // A process that got no lock may be faster.
  for (int i = 0; i < kCreateTries && product.IsWritable(); ++i) {
    const std::string name = std::to_string(FreeNumber(product));
    const RegistryKey key = product.CreateSubKey(name);
    if (!key.IsOpen()) continue;
    if (!key.WriteText(Value::kClass, productClass) || !key.WriteText(Value::kExePath, exePath)) {
      product.DeleteSubKey(name);  // nobody would find it again
      return std::nullopt;
    }
    return Installation{product,
                        key,
                        {std::string(productName), std::string(CutValue(productClass)),
                         std::string(CutValue(exePath)), name}};
  }
  return std::nullopt;
}

bool IsDead(const Installation& each) {
  std::string exePath;
  if (!each.key.ReadText(Value::kExePath, exePath)) return !each.key.HasText(Value::kExePath);
  return exePath.empty() || !Platform::OpenFile(exePath, {});
}

const RegistryKey& OpenKey() {
  static const RegistryKey closed;
  const State& state = TheState();
  return state.open ? state.open->key : closed;
}

std::int32_t GetNumber(std::string_view name, std::int32_t fallback) {
  std::string text;
  if (!OpenKey().ReadText(name, text, kMostDigits)) return fallback;
  std::int32_t number = 0;
  const char* at = text.data();
  static_cast<void>(Zef::ScanInteger(at, text.data() + text.size(), number));
  return number;
}

bool GetSwitch(std::string_view name, bool fallback) {
  std::string text;
  return OpenKey().ReadText(name, text) ? text == kTrue : fallback;
}

void Set(std::string_view name, std::string_view text) {
  static_cast<void>(OpenKey().WriteText(name, text));
}

void SetSwitch(std::string_view name, bool on) { Set(name, on ? kTrue : kFalse); }

}  // namespace

bool OpenProduct(std::string_view productName, std::string_view productClass,
                 std::string_view exePath) {
  CloseProduct();
  State& state = TheState();
  state.open = Find(productName, nullptr, exePath);
  if (state.open) state.open->names.productClass = productClass;
  return state.open.has_value();
}

bool RegisterProduct(std::string_view productName, std::string_view productClass,
                     std::string_view exePath) {
  CloseProduct();
  if (CutValue(exePath).empty()) return false;
  State& state = TheState();
  const RegistryLock lock(OpenProductKey(productName));
  state.open = Find(productName, &productClass, exePath);
  if (!state.open) state.open = Create(productName, productClass, exePath);
  return state.open.has_value();
}

bool RegisterRunningProduct(std::string_view productName, std::string_view productClass) {
  if (!RegisterProduct(productName, productClass, Platform::ProgramPath())) return false;
  SetProductInstallPath(Platform::CurrentFolder());
  return true;
}

void CloseProduct() { TheState().open.reset(); }

const ProductNames* OpenedProduct() {
  const State& state = TheState();
  return state.open ? &state.open->names : nullptr;
}

std::vector<std::string> EnumerateProducts(std::string_view productName,
                                           std::string_view productClass) {
  std::vector<Installation>& listed = TheState().listed;
  listed = InstallationsOf(productName);
  std::erase_if(listed, [&](const Installation& each) {
    return each.names.productClass != CutValue(productClass);
  });
  std::vector<std::string> paths;
  paths.reserve(listed.size());
  for (const Installation& each : listed) paths.push_back(each.names.exePath);
  return paths;
}

bool SelectProduct(std::size_t index) {
  CloseProduct();
  State& state = TheState();
  if (index >= state.listed.size()) return false;
  Installation chosen = state.listed[index];
  chosen.key = chosen.product.OpenSubKey(chosen.names.keyName);
  if (chosen.key.IsOpen()) state.open = std::move(chosen);
  return state.open.has_value();
}

void RemoveDeadProducts() {
  State& state = TheState();
  if (state.listed.empty()) return;
  const RegistryLock lock(state.listed.front().product);
  std::erase_if(state.listed, [&](const Installation& each) {
    if (!IsDead(each)) return false;
    each.product.DeleteSubKey(each.names.keyName);
    if (Platform::Exists(each.key.Folder())) return false;
    if (OpenKey().Folder() == each.key.Folder()) CloseProduct();
    return true;
  });
}

bool GetProductClass(std::string& text) { return OpenKey().ReadText(Value::kClass, text); }
void SetProductClass(std::string_view text) { Set(Value::kClass, text); }
bool GetExePath(std::string& text) { return OpenKey().ReadText(Value::kExePath, text); }
void SetExePath(std::string_view text) { Set(Value::kExePath, text); }
bool GetProductInstallPath(std::string& text) {
  return OpenKey().ReadText(Value::kInstallPath, text);
}
void SetProductInstallPath(std::string_view text) { Set(Value::kInstallPath, text); }
bool GetProductName(std::string& text) { return OpenKey().ReadText(Value::kName, text); }
void SetProductName(std::string_view text) { Set(Value::kName, text); }
bool GetProductVersion(std::string& text) { return OpenKey().ReadText(Value::kVersion, text); }
void SetProductVersion(std::string_view text) { Set(Value::kVersion, text); }
bool GetProductLanguage(std::string& text) { return OpenKey().ReadText(Value::kLanguage, text); }
void SetProductLanguage(std::string_view text) { Set(Value::kLanguage, text); }

std::int32_t GetProductBuild(std::int32_t fallback) { return GetNumber(Value::kBuild, fallback); }
void SetProductBuild(std::int32_t build) { Set(Value::kBuild, std::to_string(build)); }
std::int32_t GetAutoSaveDelay(std::int32_t fallback) {
  return GetNumber(Value::kAutoSaveDelay, fallback);
}
void SetAutoSaveDelay(std::int32_t minutes) { Set(Value::kAutoSaveDelay, std::to_string(minutes)); }

bool GetAutoSave(bool fallback) { return GetSwitch(Value::kAutoSave, fallback); }
void SetAutoSave(bool on) { SetSwitch(Value::kAutoSave, on); }
bool GetDontShowError(bool fallback) { return GetSwitch(Value::kDontShowError, fallback); }
void SetDontShowError(bool on) { SetSwitch(Value::kDontShowError, on); }
