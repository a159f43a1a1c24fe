// NumberedTexts: lists that a config spells as "stem0", "stem1" and so on.
//
// The list ends before the first number that is missing. Cost: one lookup a text; keys are not
// interned, so that a config cannot fill the string pool.

#pragma once

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

#include "tagdata/Convert.h"
#include "tagdata/TagContainer.h"

/// Calls `visit(std::string_view text)` for each in order; a tag that is no text gives "" or, if it
/// can be one, its text form. False when there is not even a first.
template <class Visit>
bool ForEachNumberedText(const TagContainer& config, std::string_view stem, const Visit& visit) {
  std::string key(stem);
  for (std::uint32_t number = 0;; ++number) {
    char digits[16];
    key.resize(stem.size());
    key.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
    const TagContainer tag(config.FindTag(key));
    if (!tag.IsValid()) return number != 0;
    const CoreRef text = ConvertTagData(tag.Chunk()->GetType(), tag.Chunk()->GetCore(), TagString);
    visit(text ? text->Text() : std::string_view());
  }
}
