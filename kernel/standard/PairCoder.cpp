#include "kernel/standard/PairCoder.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <numeric>
#include <utility>

namespace Zef {

namespace {

constexpr std::uint32_t kPageBytes = 2048;
constexpr std::uint32_t kCodes = 256;
// A page stops early at this many byte values, so that some are left to stand for pairs.
constexpr std::uint32_t kDistinctLimit = 210;
constexpr std::uint32_t kFirstCode = 254;
constexpr std::uint32_t kPairSlots = 4096;
constexpr std::uint32_t kNoSlot = kPairSlots;
constexpr std::uint8_t kLeastWorthwhile = 3;
constexpr std::uint8_t kMostCounted = 255;

// Control bytes of the table: below the base `value + 1` rows, else `value - 127` plain codes.
constexpr std::uint32_t kPlainRunBase = 127;
constexpr std::uint32_t kLongestRun = 128;

// Deeper than any table without a cycle can get (one entry a code).
constexpr std::uint32_t kStackLimit = 512;

using CodeTable = std::array<std::uint8_t, kCodes>;

constexpr CodeTable kIdentity = [] {
  CodeTable table{};
  std::iota(table.begin(), table.end(), std::uint8_t{0});
  return table;
}();

// Sixteen byte counters at once; the compiler makes the compare one instruction.
using Lanes = std::uint8_t __attribute__((vector_size(16)));

std::uint8_t Largest(const std::uint8_t* counts) {
  Lanes largest{};
  for (std::uint32_t i = 0; i < kPairSlots; i += sizeof(Lanes)) {
    Lanes next;
    std::memcpy(&next, counts + i, sizeof next);
    largest = next > largest ? next : largest;
  }
  std::uint8_t result = 0;
  for (std::uint32_t i = 0; i < sizeof(Lanes); i++) result = std::max(result, largest[i]);
  return result;
}

// Index of the first lane where both compares hold, or the number of lanes.
std::uint32_t FirstMatch(const std::uint8_t* bytes, std::uint8_t a, std::uint8_t b) {
  Lanes first;
  Lanes second;
  std::memcpy(&first, bytes, sizeof first);
  std::memcpy(&second, bytes + 1, sizeof second);
  const auto both = (first == a) & (second == b);
  std::uint64_t halves[2];
  std::memcpy(halves, &both, sizeof halves);
  if (halves[0] != 0) return static_cast<std::uint32_t>(std::countr_zero(halves[0])) / 8;
  return halves[1] == 0 ? sizeof(Lanes)
                        : 8 + static_cast<std::uint32_t>(std::countr_zero(halves[1])) / 8;
}

// Output that gives up at a limit instead of passing it.
class BoundedOutput {
 public:
  BoundedOutput(std::uint8_t* to, std::uint32_t limit) : to_(to), limit_(limit) {}

  void Put(std::uint32_t value) {
    if (used_ < limit_) to_[used_] = static_cast<std::uint8_t>(value);
    used_++;
  }
  void Put(const std::uint8_t* from, std::uint32_t count) {
    if (used_ < limit_ && count <= limit_ - used_) std::memcpy(to_ + used_, from, count);
    used_ += count;
  }
  bool IsFull() const { return used_ >= limit_; }
  std::uint32_t Used() const { return used_; }

 private:
  std::uint8_t* to_;
  std::uint32_t limit_;
  std::uint32_t used_ = 0;
};

}  // namespace

// One page on its way through the encoder: its bytes, the pairs counted in them and the codes
// given out so far.
struct PairCoder::Page {
  alignas(16) std::uint8_t counts[kPairSlots];
  std::uint8_t lefts[kPairSlots];
  std::uint8_t rights[kPairSlots];
  std::uint8_t bytes[kPageBytes + sizeof(Lanes)];  // searches look a little past the end
  std::uint32_t length;
  bool used[kCodes];
  CodeTable left;
  CodeTable right;

  std::uint32_t Fill(const std::uint8_t* from, std::uint32_t available);
  void ReplacePairs();
  void WriteTo(BoundedOutput& out) const;

 private:
  std::uint32_t Slot(std::uint8_t a, std::uint8_t b);
  void Count(std::uint8_t a, std::uint8_t b);
  void Uncount(std::uint8_t a, std::uint8_t b);
  std::uint32_t FindPair(std::uint32_t from, std::uint8_t a, std::uint8_t b) const;
  void Replace(std::uint8_t a, std::uint8_t b, std::uint8_t code);
  bool IsChanged(std::uint32_t code) const { return left[code] != code; }
  std::uint32_t ChangedRun(std::uint32_t code) const;
  std::uint32_t PlainRun(std::uint32_t code) const;
};

// Slot of a pair, claimed when it is new. Slots are never given back, so a page may fill them
// all; a pair without a slot is simply not counted.
std::uint32_t PairCoder::Page::Slot(std::uint8_t a, std::uint8_t b) {
  std::uint32_t slot = ((static_cast<std::uint32_t>(b) << 5) & (kPairSlots - 1)) ^ a;
  for (std::uint32_t probes = 0; probes < kPairSlots; probes++) {
    if (counts[slot] == 0) {
      lefts[slot] = a;
      rights[slot] = b;
      return slot;
    }
    if (lefts[slot] == a && rights[slot] == b) return slot;
    slot = (slot + 1) & (kPairSlots - 1);
  }
  return kNoSlot;
}

void PairCoder::Page::Count(std::uint8_t a, std::uint8_t b) {
  const std::uint32_t slot = Slot(a, b);
  if (slot != kNoSlot && counts[slot] < kMostCounted) counts[slot]++;
}

void PairCoder::Page::Uncount(std::uint8_t a, std::uint8_t b) {
  const std::uint32_t slot = Slot(a, b);
  if (slot != kNoSlot && counts[slot] > 1) counts[slot]--;
}

// Takes the next page from the input and counts its pairs; returns the bytes taken.
std::uint32_t PairCoder::Page::Fill(const std::uint8_t* from, std::uint32_t available) {
  std::fill(std::begin(counts), std::end(counts), std::uint8_t{0});
  std::fill(std::begin(used), std::end(used), false);
  left = kIdentity;
  right = {};
  length = 0;
  std::uint32_t distinct = 0;
  while (length < available && length < kPageBytes && distinct < kDistinctLimit) {
    const std::uint8_t next = from[length];
    if (!std::exchange(used[next], true)) distinct++;
    if (length > 0) Count(bytes[length - 1], next);
    bytes[length++] = next;
  }
  return length;
}

void PairCoder::Page::ReplacePairs() {
  for (std::uint32_t code = kFirstCode + 1; code-- > 0;) {
    if (used[code]) continue;
    const std::uint8_t most = Largest(counts);
    if (most < kLeastWorthwhile) return;
    const auto* found = static_cast<const std::uint8_t*>(std::memchr(counts, most, kPairSlots));
    const auto slot = static_cast<std::uint32_t>(found - counts);
    Replace(lefts[slot], rights[slot], static_cast<std::uint8_t>(code));
    // The pair is gone from the page; a count of 1 keeps its slot from being chosen again.
    counts[slot] = 1;
  }
}

// Place of the next pair, or the length of the page.
std::uint32_t PairCoder::Page::FindPair(std::uint32_t from, std::uint8_t a, std::uint8_t b) const {
  for (std::uint32_t at = from; at < length; at += sizeof(Lanes)) {
    const std::uint32_t lane = FirstMatch(bytes + at, a, b);
    if (lane == sizeof(Lanes)) continue;
    return at + lane + 1 < length ? at + lane : length;
  }
  return length;
}

// Left to right, no overlap. Neighbours are counted as the page stands at that moment: new
// codes to the left, old bytes to the right.
void PairCoder::Page::Replace(std::uint8_t a, std::uint8_t b, std::uint8_t code) {
  std::uint32_t from = 0;
  std::uint32_t to = 0;
  for (;;) {
    const std::uint32_t found = FindPair(from, a, b);
    std::memmove(bytes + to, bytes + from, found - from);
    to += found - from;
    if (found == length) break;
    if (to > 0) {
      Uncount(bytes[to - 1], a);
      Count(bytes[to - 1], code);
    }
    from = found + 2;
    if (from < length) {
      Uncount(b, bytes[from]);
      Count(code, bytes[from]);
    }
    bytes[to++] = code;
  }
  length = to;
  left[code] = a;
  right[code] = b;
}

std::uint32_t PairCoder::Page::PlainRun(std::uint32_t code) const {
  std::uint32_t run = 0;
  while (run < kLongestRun && code + run < kCodes && !IsChanged(code + run)) run++;
  return run;
}

// Rows from `code` on that go out one by one. A single plain code between two changed ones is
// cheaper as a row of one byte than as a run of its own.
std::uint32_t PairCoder::Page::ChangedRun(std::uint32_t code) const {
  std::uint32_t run = 0;
  while (run < kLongestRun && code + run < kCodes) {
    if (IsChanged(code + run)) {
      run++;
    } else if (run + 2 <= kLongestRun && code + run + 1 < kCodes && IsChanged(code + run + 1)) {
      run += 2;
    } else {
      break;
    }
  }
  return run;
}

void PairCoder::Page::WriteTo(BoundedOutput& out) const {
  std::uint32_t code = 0;
  while (code < kCodes) {
    if (const std::uint32_t plain = PlainRun(code); plain > 0) {
      out.Put(kPlainRunBase + plain);
      code += plain;
      continue;
    }
    const std::uint32_t rows = ChangedRun(code);
    out.Put(rows - 1);
    for (const std::uint32_t end = code + rows; code < end; code++) {
      out.Put(left[code]);
      if (IsChanged(code)) out.Put(right[code]);
    }
  }
  out.Put(length >> 8);
  out.Put(length & 0xFF);
  out.Put(bytes, length);
}

PairCoder::PairCoder() : page_(std::make_unique<Page>()) {}
PairCoder::~PairCoder() = default;

std::uint32_t PairCoder::Encode(std::uint8_t* to, const std::uint8_t* from, std::uint32_t length) {
  BoundedOutput out(to, length);
  std::uint32_t taken = 0;
  while (taken < length && !out.IsFull()) {
    taken += page_->Fill(from + taken, length - taken);
    page_->ReplacePairs();
    page_->WriteTo(out);
  }
  if (!out.IsFull()) return out.Used();
  if (length > 0) std::memcpy(to, from, length);
  return length;
}

namespace {

// What most codes stand for fits a word, so that it goes out in one store; the others are walked
// down to such codes.
constexpr std::uint32_t kWordBytes = 8;

class PageDecoder {
 public:
  PageDecoder(const std::uint8_t* from, std::uint32_t length) : from_(from), end_(from + length) {}

  bool AtEnd() const { return from_ == end_; }

  // Next page into [to, end); null if the input is malformed or the page does not fit.
  std::uint8_t* Decode(std::uint8_t* to, const std::uint8_t* end) {
    if (!ReadTable() || Remaining() < 2) return nullptr;
    const std::uint32_t length = (static_cast<std::uint32_t>(from_[0]) << 8) | from_[1];
    from_ += 2;
    if (length > Remaining()) return nullptr;
    const std::uint8_t* data = from_;
    from_ += length;
    return Expand(data, from_, to, end);
  }

 private:
  std::uint32_t Remaining() const { return static_cast<std::uint32_t>(end_ - from_); }

  bool ReadTable() {
    for (std::uint32_t code = 0; code < kCodes; code++) words_[code] = code;
    sizes_.fill(1);
    changedCount_ = 0;
    std::uint32_t code = 0;
    while (code < kCodes) {
      if (AtEnd()) return false;
      const std::uint32_t control = *from_++;
      const bool plain = control > kPlainRunBase;
      const std::uint32_t run = plain ? control - kPlainRunBase : control + 1;
      if (run > kCodes - code) return false;
      if (!plain && !ReadRows(code, run)) return false;
      code += run;
    }
    FillWords();
    return true;
  }

  bool ReadRows(std::uint32_t code, std::uint32_t rows) {
    for (; rows > 0; rows--, code++) {
      if (AtEnd()) return false;
      left_[code] = *from_++;
      if (left_[code] == code) continue;
      if (AtEnd()) return false;
      right_[code] = *from_++;
      sizes_[code] = 0;
      changed_[changedCount_++] = static_cast<std::uint8_t>(code);
    }
    return true;
  }

  // From above, as codes are given out: mostly the parts of a code are there before it. What is
  // not stays 0, and so does all that refers to itself.
  void FillWords() {
    for (std::uint32_t i = changedCount_; i-- > 0;) {
      const std::uint8_t code = changed_[i];
      const std::uint32_t left = sizes_[left_[code]];
      const std::uint32_t right = sizes_[right_[code]];
      if (left == 0 || right == 0 || left + right > kWordBytes) continue;
      words_[code] = words_[left_[code]] | (words_[right_[code]] << (8 * left));
      sizes_[code] = static_cast<std::uint8_t>(left + right);
    }
  }

  std::uint8_t* Expand(const std::uint8_t* data, const std::uint8_t* dataEnd, std::uint8_t* to,
                       const std::uint8_t* end) const {
    for (; data < dataEnd && to != nullptr; data++) {
      const std::uint32_t size = sizes_[*data];
      if (size == 0 || static_cast<std::size_t>(end - to) < kWordBytes) {
        to = Walk(*data, to, end);
        continue;
      }
      std::memcpy(to, &words_[*data], kWordBytes);
      to += size;
    }
    return to;
  }

  // A table that refers to itself ends here too: each turn of a cycle deepens the stack or emits.
  std::uint8_t* Walk(std::uint8_t code, std::uint8_t* to, const std::uint8_t* end) const {
    std::uint8_t stack[kStackLimit];
    std::uint32_t depth = 0;
    for (;;) {
      while (sizes_[code] == 0) {
        if (depth == kStackLimit) return nullptr;
        stack[depth++] = right_[code];
        code = left_[code];
      }
      if (static_cast<std::size_t>(end - to) >= kWordBytes) {
        std::memcpy(to, &words_[code], kWordBytes);
      } else if (static_cast<std::size_t>(end - to) >= sizes_[code]) {
        std::memcpy(to, &words_[code], sizes_[code]);
      } else {
        return nullptr;
      }
      to += sizes_[code];
      if (depth == 0) return to;
      code = stack[--depth];
    }
  }

  const std::uint8_t* from_;
  const std::uint8_t* end_;
  // Of a code that is changed.
  CodeTable left_;
  CodeTable right_;
  std::uint32_t changedCount_;
  CodeTable changed_;
  // Bytes that a code stands for, and how many; 0 when they are to be looked for.
  std::array<std::uint64_t, kCodes> words_;
  CodeTable sizes_;
};

}  // namespace

std::optional<std::uint32_t> PairCoder::Decode(std::uint8_t* to, std::uint32_t capacity,
                                               const std::uint8_t* from, std::uint32_t length) {
  PageDecoder pages(from, length);
  std::uint8_t* next = to;
  while (!pages.AtEnd()) {
    next = pages.Decode(next, to + capacity);
    if (next == nullptr) return std::nullopt;
  }
  return static_cast<std::uint32_t>(next - to);
}

}  // namespace Zef
