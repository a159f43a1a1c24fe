#include "kernel/standard/LzssMatcher.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace Zef {

using namespace Lzss;

namespace {

constexpr std::uint32_t kSlack = 516;  // of the buffer, beyond two windows
constexpr std::uint32_t kThreeBits = 15;
constexpr std::uint32_t kFourBits = 15;

template <class T>
T Load(const std::uint8_t* from) {
  T value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

std::uint32_t FirstThree(const std::uint8_t* at) {
  return Load<std::uint16_t>(at) | static_cast<std::uint32_t>(at[2]) << 16;
}

std::uint32_t HashThree(std::uint32_t bytes) { return (bytes * 0x9E377900u) >> (32 - kThreeBits); }

std::uint32_t HashFour(const std::uint8_t* at) {
  return (Load<std::uint32_t>(at) * 0x9E3779B1u) >> (32 - kFourBits);
}

// Sixteen-bit places at once; both compilers turn the operations into a saturating subtraction.
using Lanes = std::uint16_t __attribute__((vector_size(16)));

// Takes `by` off `count` places from `from` on and puts them at the table's front. The count is a
// multiple of 8, as all sizes of tables and windows are.
void Shift(std::vector<std::uint16_t>& table, std::size_t from, std::size_t count,
           std::uint16_t by) {
  for (std::size_t i = 0; i < count; i += 8) {
    Lanes places;
    std::memcpy(&places, &table[from + i], sizeof places);
    places = (places > by) & (places - by);
    std::memcpy(&table[i], &places, sizeof places);
  }
}

}  // namespace

LzssMatcher::LzssMatcher(const WindowKind& window, std::uint32_t goodLength)
    : window_(window.Window()),
      goodLength_(goodLength),
      bytes_(2 * std::size_t{window_} + kSlack),
      headThree_(std::size_t{1} << kThreeBits),
      headFour_(std::size_t{1} << kFourBits),
      previousThree_(bytes_.size()),
      previousFour_(bytes_.size()) {}

std::size_t LzssMatcher::Fill(const std::uint8_t* data, std::size_t length) {
  // A match that ended in the last bytes of the buffer leaves the slide to us.
  if (IsFull()) SlideIfDue();
  const std::size_t count = std::min(length, bytes_.size() - end_);
  std::memcpy(bytes_.data() + end_, data, count);
  end_ += static_cast<std::uint32_t>(count);
  if (lateFour_ != 0 && end_ - lateFour_ >= 4) {
    EnterFour(lateFour_);
    lateFour_ = 0;
  }
  return count;
}

void LzssMatcher::Slide() {
  const std::uint32_t by = position_ - window_;
  std::memmove(bytes_.data(), bytes_.data() + by, end_ - by);
  const auto places = static_cast<std::uint16_t>(by);
  Shift(headThree_, 0, headThree_.size(), places);
  Shift(headFour_, 0, headFour_.size(), places);
  Shift(previousThree_, by, window_, places);
  Shift(previousFour_, by, window_, places);
  position_ -= by;
  end_ -= by;
  if (lateFour_ != 0) lateFour_ -= by;
}

void LzssMatcher::EnterFour(std::uint32_t position) {
  std::uint16_t& head = headFour_[HashFour(bytes_.data() + position)];
  previousFour_[position] = head;
  head = static_cast<std::uint16_t>(position + 1);
}

// The last two bytes of the buffer are in no table; a later fill does not make up for that.
void LzssMatcher::Enter(std::uint32_t position) {
  const std::uint8_t* const at = bytes_.data() + position;
  const std::uint32_t left = end_ - position;
  if (left < kLeastMatch) return;
  std::uint16_t& head = headThree_[HashThree(FirstThree(at))];
  previousThree_[position] = head;
  head = static_cast<std::uint16_t>(position + 1);
  if (left >= 4) {
    EnterFour(position);
  } else {
    lateFour_ = position;
  }
}

void LzssMatcher::PassMatch(std::uint32_t length) {
  for (std::uint32_t i = 1; i < length; ++i) Enter(position_ + i);
  position_ += length;
}

LzssMatcher::Match LzssMatcher::Find() {
  Match best{0, kLeastMatch - 1};
  if (Remaining() < kLeastMatch) return best;
  Enter(position_);
  if (Remaining() == kLeastMatch || !SearchFour(best)) SearchThree(best);
  return best;
}

std::uint32_t LzssMatcher::CommonLength(std::uint32_t candidate, std::uint32_t limit) const {
  const std::uint8_t* const a = bytes_.data() + position_;
  const std::uint8_t* const b = bytes_.data() + candidate;
  std::uint32_t length = 0;
  for (; length + 8 <= limit; length += 8) {
    const std::uint64_t differs = Load<std::uint64_t>(a + length) ^ Load<std::uint64_t>(b + length);
    if (differs != 0) return length + static_cast<std::uint32_t>(std::countr_zero(differs)) / 8;
  }
  while (length < limit && a[length] == b[length]) ++length;
  return length;
}

bool LzssMatcher::SearchFour(Match& best) const {
  const std::uint32_t limit = Remaining();
  const std::uint8_t* const bytes = bytes_.data();
  const std::uint8_t* const here = bytes + position_;
  const std::uint32_t oldest = position_ < window_ ? 0 : position_ - window_ + 1;
  // A longer match agrees in the four bytes that end one behind the best.
  std::uint32_t longest = kLeastMatch;
  std::uint32_t tail = Load<std::uint32_t>(here);
  std::uint32_t found = 0;
  for (std::uint32_t place = previousFour_[position_]; place > oldest;
       place = previousFour_[place - 1]) {
    const std::uint32_t candidate = place - 1;
    if (Load<std::uint32_t>(bytes + candidate + longest - 3) != tail) continue;
    const std::uint32_t length = CommonLength(candidate, limit);
    if (length <= longest) continue;
    longest = length;
    found = candidate;
    if (length >= goodLength_ || length == limit) break;
    tail = Load<std::uint32_t>(here + longest - 3);
  }
  if (longest == kLeastMatch) return false;
  best = {position_ - found, longest};
  return true;
}

// Only asked when no match is longer, so the first one is it.
void LzssMatcher::SearchThree(Match& best) const {
  const std::uint32_t oldest = position_ < window_ ? 0 : position_ - window_ + 1;
  const std::uint32_t wanted = FirstThree(bytes_.data() + position_);
  for (std::uint32_t place = previousThree_[position_]; place > oldest;
       place = previousThree_[place - 1]) {
    if (FirstThree(bytes_.data() + place - 1) != wanted) continue;
    best = {position_ - place + 1, kLeastMatch};
    return;
  }
}

}  // namespace Zef
