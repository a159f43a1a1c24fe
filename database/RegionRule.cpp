#include "database/RegionRule.h"

#include <cstddef>

#include "database/CodeList.h"
#include "database/NumberedTexts.h"
#include "database/RegionTable.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/PopWord.h"
#include "tagdata/TagContainer.h"

namespace {

/// In content of older builds the code of Tonga stands for no region in particular.
constexpr float kTonganBuild = 2.5f;

std::string_view CutTrailingSpaces(std::string_view text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

/// Adds each text of a list with ';' between.
void AddRegions(std::string& codes, std::string_view list) {
  while (!list.empty()) AddRegion(codes, Zef::PopWord(list, ';'));
}

}  // namespace

void AddRegion(std::string& codes, std::string_view text) {
  text = CutTrailingSpaces(text);
  if (text.size() == 2) {
    const char code[] = {Zef::UpperAscii(text[0]), Zef::UpperAscii(text[1])};
    const std::string_view upper(code, sizeof code);
    if (IsRegionCode(upper)) return AddCodes(codes, upper);
  }
  AddCodes(codes, RegionCodeByName(text));
}

std::string ConfigRegion(const TagContainer& config, float build) {
  static const Zef::PString kList = "category-region";
  static const Zef::PString kSingle[] = {"region", "origin"};
  std::string codes;
  if (config.HasTag(kList)) {
    AddRegions(codes, config.GetText(kList).View());
  } else if (!ForEachNumberedText(config, "category-region-",
                                  [&](std::string_view text) { AddRegion(codes, text); })) {
    Zef::SharedText region = config.GetText(kSingle[0]);
    if (region.IsEmpty()) region = config.GetText(kSingle[1]);
    AddRegion(codes, region.View());
  }
  if (build < kTonganBuild && codes == "TO") codes = "00";
  return codes;
}
