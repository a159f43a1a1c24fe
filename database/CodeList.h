// CodeList: lists of short codes in one text, such as "TR;TV;LOCO", and keyword texts.

#pragma once

#include <string>
#include <string_view>

/// True when `code`, which has characters and no ';', is one of the codes. Exact.
bool HasCode(std::string_view list, std::string_view code);

/// True when every word of some alternative is in `list`. Alternatives are separated by '|',
/// their words by ';'; a leading '-' requires absence. An empty expression is true; an empty
/// word never matches, nor does an alternative of none. Exact and case-sensitive.
bool MatchCodes(std::string_view list, std::string_view expression);

/// Appends each word of `words` that `target` does not hold.
void AddCodes(std::string& target, std::string_view words);

/// Words of a text, lower-cased. White space, quotes, commas and brackets end a word, which shows
/// as one ';' behind it: the last word has one too if something ends it.
std::string KeywordForm(std::string_view text);
