// CodePage: the meaning of the bytes in the system's texts; with the rule for their letter case.
//
// Texts are bytes of Windows-1252. The table is fixed: an undefined byte stands for the control
// code of the same number, so widening never fails; narrowing gives '?' for what has no byte.
// The locale of the process, which is the host's, is neither read nor set. Stateless; any thread.

#pragma once

#include <string>
#include <string_view>

#include "kernel/platform/LetterCase.h"

namespace Zef {

/// The text in lower case.
std::string Folded(std::string_view text);

/// The character of a byte.
char16_t WidenByte(char byte);
/// The byte of a character, '?' if it has none.
char NarrowCharacter(char32_t character);

std::u16string Widen(std::string_view bytes);
/// One '?' for each unit that has no byte; a surrogate pair is one character.
std::string Narrow(std::u16string_view text);

std::string ToUtf8(std::string_view bytes);
/// One '?' for each character without a byte, and for each byte that is not part of one.
std::string FromUtf8(std::string_view utf8);

}  // namespace Zef
