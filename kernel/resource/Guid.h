// Guid: the 16-byte identifier of plug-ins and their groups.
//
// A value; the null one stands for "none". Its text is "8DBDFEB0-52F4-4C1B-BA91-6A7B1CCC6D3E".
// Reading never fails: digits are taken from fixed places, and a malformed text gives an id that
// finds nothing.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "kernel/standard/NumberText.h"

namespace Zef {

struct Guid {
  static constexpr std::size_t kTextLength = 36;

  std::uint32_t first = 0;
  std::uint16_t second = 0;
  std::uint16_t third = 0;
  std::array<std::uint8_t, 8> rest{};

  /// Reads hexadecimal digits of either case at the places of a well-formed text; a group ends at
  /// its first other character. Text behind 36 characters does not count.
  static constexpr Guid Parse(std::string_view text);
  /// 36 characters, in upper case.
  std::string Text() const;

  constexpr bool IsNull() const { return *this == Guid(); }
  /// XOR of the four little-endian words.
  constexpr std::uint32_t Hash() const;

  friend constexpr bool operator==(const Guid&, const Guid&) = default;
};

static_assert(sizeof(Guid) == 16);

namespace GuidText {

/// Number in the `length` characters at `at`, up to the first that is no digit.
constexpr std::uint32_t Group(std::string_view text, std::size_t at, std::size_t length) {
  std::uint32_t number = 0;
  for (std::size_t i = at; i < at + length && i < text.size(); ++i) {
    const std::uint32_t digit = HexDigit(text[i]);
    if (digit > 15) break;
    number = number << 4 | digit;
  }
  return number;
}

}  // namespace GuidText

constexpr Guid Guid::Parse(std::string_view text) {
  constexpr std::size_t kPairs[] = {19, 21, 24, 26, 28, 30, 32, 34};
  Guid id;
  id.first = GuidText::Group(text, 0, 8);
  id.second = static_cast<std::uint16_t>(GuidText::Group(text, 9, 4));
  id.third = static_cast<std::uint16_t>(GuidText::Group(text, 14, 4));
  for (std::size_t i = 0; i < id.rest.size(); ++i) {
    id.rest[i] = static_cast<std::uint8_t>(GuidText::Group(text, kPairs[i], 2));
  }
  return id;
}

constexpr std::uint32_t Guid::Hash() const {
  std::uint32_t hash = first ^ (std::uint32_t{third} << 16 | second);
  for (std::size_t i = 0; i < rest.size(); ++i) hash ^= std::uint32_t{rest[i]} << i % 4 * 8;
  return hash;
}

}  // namespace Zef
