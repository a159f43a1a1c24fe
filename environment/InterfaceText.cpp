#include "environment/InterfaceText.h"

#include <atomic>
#include <mutex>

#include "environment/QuarleLog.h"
#include "kernel/LockedValue.h"
#include "kernel/standard/FilePath.h"
#include "tagdata/TagFiles.h"
#include "tagdata/TagTextWriter.h"

namespace {

constexpr const char* kFile = "interfacetext.grole";
constexpr const char* kRoot = "data";
constexpr const char* kMapSection = "mirev_map_text";
constexpr const char* kSpecSection = "mirev_spec_text";
constexpr const char* kScenarioSection = "scenario_text";

Zef::LockedValue<Zef::PString>& TheFile() {
  static Zef::LockedValue<Zef::PString> file(kFile);
  return file;
}

Zef::LockedValue<Zef::PString>& TheRoot() {
  static Zef::LockedValue<Zef::PString> root(kRoot);
  return root;
}

struct Instance {
  std::mutex lock;
  std::shared_ptr<const InterfaceTextDB> texts;
};

Instance& TheInstance() {
  static Instance instance;
  return instance;
}

constinit std::atomic<bool> wasRequested{false};
constinit std::atomic<int> warningCount{0};

// Only the first few missing texts are told; then looking up is silent.
bool TakeWarning() {
  int count = warningCount.load();
  while (count < InterfaceTextDB::kMostWarnings) {
    if (warningCount.compare_exchange_weak(count, count + 1)) return true;
  }
  return false;
}

std::string WithTextExtension(const Zef::FilePath& path) {
  std::string name(path.View());
  if (const char* const extension = path.Extension()) {
    name.resize(static_cast<std::size_t>(extension - path.Text()) - 1);
  }
  return name + ".txt";
}

}  // namespace

InterfaceTextDB::InterfaceTextDB() {
  const Zef::PString file = GetInterfaceFile();
  const Zef::PString folder = GetInterfaceRoot();
  const Zef::FilePath path(file.View());
  if (!LoadTagFile(root_, folder, path.View())) {
    QuarleLog("InterfaceTextDB> failed to load compiled interfacetext file");
    // The extension of a path that was cut is another one.
    if (path.IsFull() || !LoadTagFile(root_, folder, WithTextExtension(path))) {
      QuarleLogFatal("InterfaceTextDB> Unable to read interface file '%s'", file.Text());
    }
  }
  mapText_ = root_.GetSubContainer(kMapSection);
  specText_ = root_.GetSubContainer(kSpecSection);
  scenarioText_ = root_.GetSubContainer(kScenarioSection);
}

Zef::PString InterfaceTextDB::GetString(const Zef::PString& key, bool warnIfMissing) const {
  if (key.IsEmpty()) return key;
  Zef::PString text = root_.GetString(key);
  if (text.IsEmpty() && warnIfMissing && TakeWarning()) {
    QuarleLog("InterfaceTextDB::GetString> Tag '%s' not found in '%s'", key.Text(),
              GetInterfaceFile().Text());
  }
  return text;
}

Zef::PString InterfaceTextDB::GetSpecText(const Zef::PString& key) const {
  if (key.IsEmpty()) return key;
  Zef::PString text = specText_.GetString(Zef::PString(CleanTagKey(key.View())));
  return text.IsEmpty() ? key : text;
}

Zef::PString InterfaceTextDB::GetScenarioText(const Zef::PString& key) const {
  return key.IsEmpty() ? key : scenarioText_.GetString(key);
}

std::shared_ptr<const InterfaceTextDB> InterfaceText() {
  Instance& instance = TheInstance();
  const std::lock_guard guard(instance.lock);
  if (instance.texts == nullptr) instance.texts = std::make_shared<const InterfaceTextDB>();
  return instance.texts;
}

void EnsureInterfaceText() {
  wasRequested.store(true);
  static_cast<void>(InterfaceText());
}

bool WasInterfaceTextRequested() { return wasRequested.load(); }

void DestroyInterfaceText() {
  Instance& instance = TheInstance();
  const std::lock_guard guard(instance.lock);
  instance.texts.reset();
}

void SetInterfaceFile(const Zef::PString& name) { TheFile().Set(name); }
Zef::PString GetInterfaceFile() { return TheFile().Get(); }
void SetInterfaceRoot(const Zef::PString& root) { TheRoot().Set(root); }
Zef::PString GetInterfaceRoot() { return TheRoot().Get(); }

std::string FillText(std::string_view text, std::span<const std::string> parameters) {
  std::string filled;
  std::size_t used = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t mark = std::min(text.find('%', at), text.size());
    filled.append(text, at, mark - at);
    const std::string_view directive = text.substr(mark, 2);
    if (directive == "%s") {
      if (used < parameters.size()) filled += parameters[used++];
    } else if (directive == "%%") {
      filled += '%';
    } else {
      filled += directive;
    }
    at = mark + directive.size();
  }
  return filled;
}

std::string ResolveMessage(const InterfaceTextDB* texts, const Zef::PString& key,
                           std::span<const std::string> parameters) {
  const Zef::PString text = texts == nullptr ? Zef::PString() : texts->GetString(key);
  return text.IsEmpty() ? std::string(key.View()) : FillText(text.View(), parameters);
}
