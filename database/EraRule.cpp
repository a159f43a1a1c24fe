#include "database/EraRule.h"

#include <algorithm>
#include <cstddef>

#include "database/NumberedTexts.h"
#include "tagdata/TagContainer.h"

std::string_view EraDigits(std::string_view text) {
  const std::size_t first = std::min(text.find_first_not_of(' '), text.size());
  text = text.substr(first, text.find_last_not_of(' ') + 1 - first);
  if (text.ends_with('s') || text.ends_with('S')) text.remove_suffix(1);
  const bool isYear = (text.size() == 2 || text.size() == 4) &&
                      text.find_first_not_of("0123456789") == std::string_view::npos;
  return isYear ? text : std::string_view();
}

std::string ConfigEra(const TagContainer& config) {
  static const Zef::PString kList = "category-era";
  if (config.HasTag(kList)) return std::string(config.GetText(kList).View());
  std::string eras;
  ForEachNumberedText(config, "category-era-", [&](std::string_view text) {
    const std::string_view digits = EraDigits(text);
    if (digits.empty()) return;
    if (!eras.empty()) eras += ';';
    eras += digits;
  });
  return eras;
}

std::string_view EraFilterForm(std::int32_t year) {
  static constexpr std::string_view kDecades[] = {"1900", "1910", "1920", "1930", "1940", "1950",
                                                  "1960", "1970", "1980", "1990", "2000"};
  return kDecades[(std::clamp(year, 1900, 2000) - 1900) / 10];
}
