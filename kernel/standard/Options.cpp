#include "kernel/standard/Options.h"

#include <algorithm>

#include "kernel/platform/FileSystem.h"
#include "kernel/platform/System.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/File.h"
#include "kernel/standard/FilePath.h"
#include "kernel/standard/NumberText.h"
#include "kernel/standard/TextFile.h"

namespace Zef {

namespace {

constexpr std::string_view kSwitches = "/-+";
constexpr std::string_view kQuotes = "'\"";

bool IsOneOf(char c, std::string_view set) { return set.find(c) != std::string_view::npos; }

/// Cuts a switch text into switches.
class SwitchScanner {
 public:
  explicit SwitchScanner(std::string_view text) : rest_(text) {}

  /// False at the end. The name may be empty: what stands for a switch need not have one.
  bool Next();
  std::string_view Name() const { return name_; }
  std::string_view Value() const { return value_; }
  bool IsAppending() const { return mark_ == '+'; }

 private:
  std::string_view Take(std::size_t length);
  void SkipSpace();
  std::string_view TakeValue();

  std::string_view rest_;
  std::string_view name_;
  std::string_view value_;
  char mark_ = 0;
};

bool SwitchScanner::Next() {
  SkipSpace();
  if (rest_.empty()) return false;
  mark_ = IsOneOf(rest_[0], kSwitches) ? Take(1)[0] : '\0';
  const auto end = std::find_if(rest_.begin(), rest_.end(), [](char c) {
    return IsSpace(c) || c == '=' || c == '-' || c == '+';
  });
  name_ = Take(static_cast<std::size_t>(end - rest_.begin()));
  value_ = {};
  if (!rest_.empty() && (rest_[0] == '-' || rest_[0] == '+')) {
    value_ = Take(1);
    return true;
  }
  SkipSpace();
  if (!rest_.starts_with('=')) return true;
  Take(1);
  SkipSpace();
  value_ = TakeValue();
  return true;
}

std::string_view SwitchScanner::TakeValue() {
  if (!rest_.empty() && IsOneOf(rest_[0], kQuotes)) {
    Take(1);
    const std::string_view value = Take(std::min(rest_.find_first_of(kQuotes), rest_.size()));
    Take(1);
    return value;
  }
  // The next switch is the first mark behind white space.
  std::size_t end = 0;
  while (end < rest_.size() &&
         !(IsSpace(rest_[end]) && end + 1 < rest_.size() && IsOneOf(rest_[end + 1], kSwitches))) {
    ++end;
  }
  std::string_view value = Take(end);
  while (!value.empty() && IsSpace(value.back())) value.remove_suffix(1);
  return value;
}

std::string_view SwitchScanner::Take(std::size_t length) {
  const std::string_view taken = rest_.substr(0, length);
  rest_.remove_prefix(taken.size());
  return taken;
}

void SwitchScanner::SkipSpace() {
  rest_.remove_prefix(static_cast<std::size_t>(
      std::find_if_not(rest_.begin(), rest_.end(), IsSpace) - rest_.begin()));
}

}  // namespace

Options& Options::Process() {
  static Options options;
  return options;
}

void Options::Add(std::string_view text) {
  SwitchScanner scanner(text.substr(0, text.find('\0')));
  while (scanner.Next()) {
    if (!scanner.Name().empty()) Set(scanner.Name(), scanner.Value(), scanner.IsAppending());
  }
}

void Options::Set(std::string_view name, std::string_view value, bool append) {
  const std::string folded = Folded(name);
  walks_.erase(folded);
  std::string& present = values_[folded];
  if (append && !present.empty()) {
    present.append(",").append(value);
  } else {
    present = value;
  }
}

void Options::Load(const char* path) {
  std::string text;
  try {
    File file;
    if (file.Open(path, FileMode::kRead) != RES_OK) return;
    if (!ReadTextFile(file, kLongestText, text)) return;
  } catch (const FileEx&) {
    return;
  }
  Add(text);
}

void Options::LoadForProgram() { LoadForModule(Platform::ModulePath()); }

void Options::LoadForModule(const std::string& path) {
  constexpr std::string_view kBuildTail = "_7s";
  const std::size_t separator = path.find_last_of(FilePath::kSeparators);
  const std::size_t start = separator == std::string::npos ? 0 : separator + 1;
  const std::string folder = start == 0 ? "./" : path.substr(0, start);
  const std::string fullName = path.substr(start, path.rfind('.') - start);
  std::string base = fullName;
  if (base.ends_with(kBuildTail)) base.resize(base.size() - kBuildTail.size());

  AddEnvironment("Options");
  AddEnvironment(base + "Options");
  if (fullName != "Options") AddEnvironment(fullName);

  const std::string names[] = {base + "Options.txt", base + ".txt"};
  for (const std::string& name : names) Load((folder + name).c_str());
  if (Platform::IsSameFile(folder, ".")) return;
  for (const std::string& name : names) Load(("./" + name).c_str());
}

void Options::AddEnvironment(const std::string& name) {
  std::string text;
  if (Platform::GetEnvironment(name.c_str(), &text)) Add(text);
}

bool Options::Get(std::string_view name, std::string& value, std::string_view fallback) const {
  const std::string* text = Find(name);
  value = text == nullptr ? fallback : std::string_view(*text);
  return text != nullptr;
}

bool Options::Get(std::string_view name, bool& value, bool fallback) const {
  const std::string* text = Find(name);
  value = fallback;
  if (text == nullptr) return false;
  const bool isFalse =
      text->starts_with('-') || EqualFolded(*text, "false") || EqualFolded(*text, "off");
  const bool isTrue =
      text->starts_with('+') || EqualFolded(*text, "true") || EqualFolded(*text, "on");
  value = isTrue || (!isFalse && !fallback);
  return true;
}

bool Options::Get(std::string_view name, std::int32_t& value, std::int32_t fallback) const {
  const std::string* text = Find(name);
  value = text == nullptr ? fallback : 0;
  if (text == nullptr) return false;
  const char* at = text->data();
  ScanInteger(at, at + text->size(), value);
  return true;
}

bool Options::Get(std::string_view name, float& value, float fallback) const {
  const std::string* text = Find(name);
  value = text == nullptr ? fallback : 0;
  if (text == nullptr) return false;
  const char* at = text->data();
  ScanFloat(at, at + text->size(), value);
  return true;
}

bool Options::Has(std::string_view name) const { return Find(name) != nullptr; }

void Options::BeginValues(std::string_view name, std::string_view delimiters) {
  if (Has(name)) walks_[Folded(name)] = {std::string(delimiters)};
}

bool Options::NextValue(std::string_view name, std::string& value) {
  const auto found = walks_.find(Folded(name));
  if (found == walks_.end()) return false;
  Walk& walk = found->second;
  const std::string& all = *Find(name);
  const std::size_t start = all.find_first_not_of(walk.delimiters, walk.at);
  walk.at = start;
  if (start == std::string::npos) return false;
  const std::size_t end = std::min(all.find_first_of(walk.delimiters, start), all.size());
  value.assign(all, start, end - start);
  walk.at = end;
  return true;
}

const std::string* Options::Find(std::string_view name) const {
  const auto found = values_.find(Folded(name));
  return found == values_.end() ? nullptr : &found->second;
}

}  // namespace Zef
