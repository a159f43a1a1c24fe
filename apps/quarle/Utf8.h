// Utf8: making bytes from files fit to be shown.
//
// Names in an index are bytes of any origin. A byte that is no part of well-formed UTF-8 becomes
// U+FFFD, one for each, so that output is always valid text.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

inline constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

/// Bytes at the start of `text` that are printable ASCII other than '"' and '\\': most texts are
/// nothing else, and such a run goes out in one piece.
std::size_t PlainPrefixSize(std::string_view text);

/// Bytes of the well-formed character at the start of `text`, or 0 when there is none.
std::size_t Utf8CharacterSize(std::string_view text);

/// True for a whole character that steers a terminal instead of showing something.
bool IsControlCharacter(std::string_view character);

/// The text as one line for a terminal: control characters become U+FFFD too, because a name
/// from a file must not steer the terminal of its reader.
std::string Printable(std::string_view text);

/// Characters of a well-formed text, for columns.
std::size_t Utf8Length(std::string_view text);
