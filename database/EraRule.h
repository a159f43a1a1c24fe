// EraRule: the eras of an asset, years such as "1960", from the tags of its config.
//
// Cost: linear in the texts. Any thread.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

class TagContainer;

/// Semicolon-separated: "category-era" as it stands, else the good ones among "category-era-0",
/// "category-era-1" and so on.
std::string ConfigEra(const TagContainer& config);

/// The digits of a text such as " 1960s"; empty unless there are two or four and nothing else.
std::string_view EraDigits(std::string_view text);

/// The decade by which lists of assets are narrowed down: "1900" for that year and all before,
/// "1910" to "1990", and "2000" for all later ones.
std::string_view EraFilterForm(std::int32_t year);
