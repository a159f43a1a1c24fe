#include "database/FileRules.h"

#include <algorithm>
#include <array>

#include "database/AssetWalk.h"
#include "kernel/standard/CodePage.h"

namespace {

constexpr std::string_view kMarks = "-&,+'._$()~ ";
constexpr std::array<std::string_view, 2> kIgnored = {"thumbs.db", "pspbrwse.jbf"};
constexpr std::array<std::string_view, 26> kExtensions = {
    "txt", "bmp", "tga", "grole", "kin", "wav", "jpg", "jpeg",   "gnd",
    "ref", "tso", "obs", "trk",   "bmk", "dat", "gse", "html",   "htm",
    "evt", "mp3", "lst", "pfx",   "tfx", "avi", "wmv", "texture"};

bool IsAllowed(char c) {
  const char folded = Zef::FoldAscii(c);
  return (folded >= 'a' && folded <= 'z') || (c >= '0' && c <= '9') ||
         kMarks.find(c) != std::string_view::npos;
}

template <std::size_t kCount>
bool Contains(const std::array<std::string_view, kCount>& texts, std::string_view text) {
  return std::any_of(texts.begin(), texts.end(),
                     [&](std::string_view each) { return Zef::EqualFolded(each, text); });
}

}  // namespace

bool ValidName(std::string_view name) {
  if (name.empty() || name.size() > kLongestAssetName || name.back() == ' ') return false;
  if (name.front() == ' ' || name.front() == '.' || name.front() == '~') return false;
  return std::all_of(name.begin(), name.end(), IsAllowed);
}

bool Ignored(std::string_view name) { return Contains(kIgnored, name); }

bool ValidExtension(std::string_view name) {
  const std::size_t point = name.rfind('.');
  return point != std::string_view::npos && Contains(kExtensions, name.substr(point + 1));
}

bool CheckFolder(const AssetPlace& folder, ResultsLog* log) {
  const AssetWalkFault fault = WalkAssetFolder(folder, "$muk_package_folder_err", {});
  TellOfFault(log, fault);
  return fault.key == nullptr;
}
