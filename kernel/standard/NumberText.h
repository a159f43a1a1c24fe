// NumberText: numbers at the front of a text, read the same in every locale.
//
// One pass over the characters of the number, however many. Stateless; any thread.

#pragma once

#include <cstdint>

namespace Zef {

constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }
/// White space as the "C" locale has it.
constexpr bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
/// Value of a hexadecimal digit of either case, 16 for any other character.
constexpr std::uint32_t HexDigit(char c) {
  if (IsDigit(c)) return static_cast<std::uint32_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<std::uint32_t>(c - 'a') + 10;
  if (c >= 'A' && c <= 'F') return static_cast<std::uint32_t>(c - 'A') + 10;
  return 16;
}

/// Number as "%f" scans it: leading white space, one sign, digits with a point and an exponent.
/// Advances `text` past what it took; false (value untouched) when there is none.
bool ScanFloat(const char*& text, const char* end, float& value);

/// Decimal integer behind white space and one sign, held to the range of its type. Advances and
/// fails like ScanFloat.
bool ScanInteger(const char*& text, const char* end, std::int32_t& value);

/// As ScanInteger, but a number beyond the range wraps: the low 32 bits of it count.
bool ScanDecimal(const char*& text, const char* end, std::int32_t& value);

}  // namespace Zef
