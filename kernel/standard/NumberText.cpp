#include "kernel/standard/NumberText.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>
#include <system_error>

namespace Zef {

namespace {

/// Skips white space and a sign; true for a minus.
bool SkipSign(const char*& at, const char* end) {
  while (at != end && IsSpace(*at)) ++at;
  const bool negative = at != end && *at == '-';
  if (at != end && (*at == '-' || *at == '+')) ++at;
  return negative;
}

/// Of "e+12" or the like, held within what any count of digits can make up for; 0 of "".
std::int64_t ExponentOf(std::string_view text) {
  constexpr std::int64_t kHuge = std::int64_t{1} << 62;
  if (!text.empty()) text.remove_prefix(1);
  if (text.starts_with('+')) text.remove_prefix(1);
  std::int64_t exponent = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), exponent);
  if (parsed.ec == std::errc::result_out_of_range) return text[0] == '-' ? -kHuge : kHuge;
  return std::clamp(exponent, -kHuge, kHuge);
}

/// What a number beyond the range of float is taken for: nothing or infinity.
float OutOfRange(std::string_view number) {
  double value = 0;
  const auto parsed = std::from_chars(number.data(), number.data() + number.size(), value);
  if (parsed.ec == std::errc()) return static_cast<float>(value);
  const std::size_t mark = std::min(number.find_first_of("eE"), number.size());
  const std::string_view digits = number.substr(0, mark);
  const std::size_t leading = digits.find_first_of("123456789");
  if (leading == std::string_view::npos) return 0.0f;
  const std::size_t point = std::min(digits.find('.'), digits.size());
  const std::int64_t power = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(leading);
  const bool tiny = power + ExponentOf(number.substr(mark)) <= 0;
  return tiny ? 0.0f : std::numeric_limits<float>::infinity();
}

}  // namespace

bool ScanFloat(const char*& text, const char* end, float& value) {
  const char* at = text;
  const bool negative = SkipSign(at, end);
  if (at == end || (!IsDigit(*at) && *at != '.')) return false;
  float number = 0;
  const auto parsed = std::from_chars(at, end, number);
  if (parsed.ec == std::errc::invalid_argument) return false;
  if (parsed.ec == std::errc::result_out_of_range) {
    number = OutOfRange({at, static_cast<std::size_t>(parsed.ptr - at)});
  }
  value = negative ? -number : number;
  text = parsed.ptr;
  return true;
}

bool ScanInteger(const char*& text, const char* end, std::int32_t& value) {
  const char* at = text;
  const bool negative = SkipSign(at, end);
  if (at == end || !IsDigit(*at)) return false;
  constexpr std::int64_t kBound = std::int64_t{1} << 32;
  std::int64_t number = 0;
  for (; at != end && IsDigit(*at); ++at) number = std::min(number * 10 + (*at - '0'), kBound);
  using Limits = std::numeric_limits<std::int32_t>;
  if (negative) number = -number;
  value = static_cast<std::int32_t>(std::clamp<std::int64_t>(number, Limits::min(), Limits::max()));
  text = at;
  return true;
}

bool ScanDecimal(const char*& text, const char* end, std::int32_t& value) {
  const char* at = text;
  const bool negative = SkipSign(at, end);
  if (at == end || !IsDigit(*at)) return false;
  std::uint32_t number = 0;
  for (; at != end && IsDigit(*at); ++at) {
    number = number * 10 + static_cast<std::uint32_t>(*at - '0');
  }
  value = static_cast<std::int32_t>(negative ? 0u - number : number);
  text = at;
  return true;
}

}  // namespace Zef
