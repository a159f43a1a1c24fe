#include "kernel/standard/LzssDecoder.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace Zef {

using namespace Lzss;

namespace {

template <class T>
T Load(const std::uint8_t* from) {
  T value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

template <std::size_t kStep>
void CopySteps(std::uint8_t* to, const std::uint8_t* from, const std::uint8_t* end) {
  do {
    std::memcpy(to, from, kStep);
    to += kStep;
    from += kStep;
  } while (to < end);
}

// Copies a match with a distance from 1 on that the output has; up to 31 bytes behind it are
// overwritten.
std::uint8_t* CopyMatch(std::uint8_t* to, std::uint32_t distance, std::uint32_t length) {
  const std::uint8_t* const from = to - distance;
  std::uint8_t* const end = to + length;
  if (distance >= 16) {
    CopySteps<16>(to, from, end);
  } else if (distance >= 8) {
    CopySteps<8>(to, from, end);
  } else {
    // Each step makes the repeated pattern twice as long, until it fills a word.
    while (distance < 8) {
      const auto word = Load<std::uint64_t>(from);  // the blocks overlap
      std::memcpy(to, &word, sizeof word);
      to += distance;
      distance *= 2;
    }
    if (to < end) CopySteps<8>(to, from, end);
  }
  return end;
}

}  // namespace

bool LzssDecoder::Start(std::uint8_t header) {
  const std::uint32_t kind = header >> 4;
  const std::uint32_t level = header & 15;
  if (kind >= kWindowKinds.size() || level >= kLevels.size()) return false;
  window_ = &kWindowKinds[kind];
  coding_ = kLevels[level].coding;
  if (coding_ != Coding::Huffman) return true;
  mainTree_.emplace(kMainSymbols);
  distanceTree_.emplace(window_->distanceSlots);
  return true;
}

void LzssDecoder::Decode(Input& in, Output& out) {
  while (!ended_) {
    if (out.Room() < kFastRoom && !out.last) return;
    if (coding_ == Coding::Stored) {
      CopyStored(in, out);
      if (in.Remaining() == 0) return;
    } else if (in.Remaining() >= kFastInput && out.Room() >= kFastRoom &&
               window_->windowBits > kShortWindowBits) {
      coding_ == Coding::Huffman ? FastHuffmanItems(in, out) : FastFlagItems(in, out);
    } else if (in.Remaining() > kReserve || in.last) {
      CheckedItem(in, out);
    } else {
      return;
    }
  }
}

LzssFinding LzssDecoder::Finding(std::size_t payload, std::size_t behind) const {
  if (cutShort_) return LzssFinding::CutShort;
  if (beforeStart_) return LzssFinding::BeforeStart;
  if (!endMark_) return LzssFinding::Whole;
  const std::size_t unread = bitCount_ + 8 * std::min<std::size_t>(behind, 2);
  const std::uint64_t padding = bits_ & ((std::uint64_t{1} << bitCount_) - 1);
  if (unread >= 16 || padding != 0) return LzssFinding::BytesBehindEnd;
  if (payload % 2 == 0) return LzssFinding::Whole;
  return unread < 8 ? LzssFinding::CutShort : LzssFinding::BytesBehindEnd;
}

void LzssDecoder::CopyStored(Input& in, Output& out) {
  const std::size_t count = std::min(in.Remaining(), out.Room());
  Literals(in.next, count, out);
  in.next += count;
  if (count > 0 || in.Remaining() == 0) return;
  out.overflow = true;
  ended_ = true;
}

// The commonest order of things is some literals and then a match; both go without a branch on
// how many or how long.
void LzssDecoder::FastFlagItems(Input& in, Output& out) {
  const std::uint8_t* const inLimit = in.end - kFastInput;
  const std::uint8_t* const outLimit = out.end - kFastRoom;
  const std::uint32_t windowBits = window_->windowBits;
  const std::uint32_t distanceMask = window_->DistanceMask();
  const std::uint32_t lengthMask = window_->LengthMask();
  const std::uint8_t* next = in.next;
  std::uint8_t* to = out.next;
  std::uint64_t flags = flags_;
  while (next <= inLimit && to <= outLimit) {
    if (flags == 1) {
      flags = Load<std::uint32_t>(next) | (std::uint64_t{1} << 32);
      next += 4;
    }
    const auto zeros = static_cast<std::uint32_t>(std::countr_zero(flags));
    std::memcpy(to, next, 16);
    next += zeros / 2;
    to += zeros / 2;
    flags >>= zeros & ~1u;
    if (flags == 1) continue;
    if ((flags & 1) != 0) {
      flags >>= 1;
      const std::uint32_t word = Load<std::uint16_t>(next);
      const std::uint32_t field = word >> windowBits;
      const std::uint32_t extra = next[2];
      const std::uint32_t length = (field == lengthMask ? extra : field) + kCountBase;
      next += field == lengthMask ? 3 : 2;
      const std::uint32_t distance = word & distanceMask;
      const auto produced = static_cast<std::size_t>(to - out.start);
      to = std::size_t{distance} - 1 < produced ? CopyMatch(to, distance, length)
                                                : CopyOddMatch(to, {distance, length}, out.start);
      continue;
    }
    bool run = true;
    if (flags == 2) {  // the second flag stands in the next word
      flags = Load<std::uint32_t>(next) | (std::uint64_t{1} << 32);
      next += 4;
      run = (flags & 1) != 0;
      flags >>= 1;
    } else {
      flags >>= 2;
    }
    const std::uint32_t count = run ? *next++ + kCountBase : 1;
    std::memcpy(to, next, count);
    next += count;
    to += count;
  }
  in.next = next;
  out.next = to;
  flags_ = flags;
}

void LzssDecoder::FastHuffmanItems(Input& in, Output& out) {
  const std::uint8_t* const inLimit = in.end - kFastInput;
  const std::uint8_t* const outLimit = out.end - kFastRoom;
  AdaptiveHuffman& mainTree = *mainTree_;
  AdaptiveHuffman& distanceTree = *distanceTree_;
  const std::uint32_t lowBits = window_->lowBits;
  const std::uint32_t distanceMask = window_->DistanceMask();
  std::uint64_t bits = bits_;
  std::uint32_t bitCount = bitCount_;
  const std::uint8_t* next = in.next;
  std::uint8_t* to = out.next;
  const auto take = [&](std::uint32_t count) {
    const auto value = static_cast<std::uint32_t>(bits) & ((1u << count) - 1);
    bits >>= count;
    bitCount -= count;
    return value;
  };
  const auto takeSymbol = [&](AdaptiveHuffman& tree) {
    bits |= Load<std::uint64_t>(next) << bitCount;
    next += (63 - bitCount) / 8;
    bitCount |= 56;
    const AdaptiveHuffman::Found found = tree.Read(bits);
    take(found.length);
    tree.Update(found.symbol);
    return found.symbol;
  };
  while (next <= inLimit && to <= outLimit) {
    const std::uint32_t symbol = takeSymbol(mainTree);
    if (symbol < kFirstLengthSymbol) {
      *to++ = static_cast<std::uint8_t>(symbol);
      continue;
    }
    if (symbol >= kEndSymbol) {
      ended_ = true;
      (symbol == kEndSymbol ? endMark_ : cutShort_) = true;
      break;
    }
    const LengthSlot slot = kLengthSlots[symbol - kFirstLengthSymbol];
    const std::uint32_t length = slot.base + take(slot.extraBits) + kCountBase;
    const std::uint32_t high = takeSymbol(distanceTree) << lowBits;
    const std::uint32_t distance = (high | take(lowBits)) & distanceMask;
    const auto produced = static_cast<std::size_t>(to - out.start);
    to = std::size_t{distance} - 1 < produced ? CopyMatch(to, distance, length)
                                              : CopyOddMatch(to, {distance, length}, out.start);
  }
  in.next = next;
  out.next = to;
  bits_ = bits;
  bitCount_ = bitCount;
}

void LzssDecoder::CheckedItem(Input& in, Output& out) {
  if (coding_ == Coding::Huffman) {
    cutShort_ = !CheckedHuffmanItem(in, out);
  } else if (in.Remaining() == 0 && std::has_single_bit(flags_)) {
    ended_ = true;  // no data, and the flags left are those that fill up the last word
  } else {
    cutShort_ = !CheckedFlagItem(in, out);
  }
  ended_ = ended_ || cutShort_ || out.overflow;
}

std::optional<std::uint32_t> LzssDecoder::NextFlag(Input& in) {
  if (flags_ == 1) {
    if (in.Remaining() < 4) return std::nullopt;
    flags_ = Load<std::uint32_t>(in.next) | (std::uint64_t{1} << 32);
    in.next += 4;
  }
  const auto flag = static_cast<std::uint32_t>(flags_ & 1);
  flags_ >>= 1;
  return flag;
}

// False when the input ends inside the item.
bool LzssDecoder::CheckedFlagItem(Input& in, Output& out) {
  const auto first = NextFlag(in);
  if (!first) return false;
  std::size_t count = 1;
  if (*first == 1) {
    const auto match = window_->windowBits == kShortWindowBits ? ShortMatch(in) : FlagMatch(in);
    if (!match) return false;
    CheckedCopy(*match, out);
    return true;
  }
  if (window_->windowBits > kShortWindowBits) {
    const auto second = NextFlag(in);
    if (!second) return false;
    if (*second == 1) {
      if (in.Remaining() == 0) return false;
      count = *in.next++ + std::size_t{kCountBase};
    }
  }
  if (count > in.Remaining()) return false;
  Literals(in.next, count, out);
  in.next += count;
  return true;
}

std::optional<LzssDecoder::Match> LzssDecoder::FlagMatch(Input& in) {
  if (in.Remaining() < 2) return std::nullopt;
  const std::uint32_t word = Load<std::uint16_t>(in.next);
  in.next += 2;
  std::uint32_t length = word >> window_->windowBits;
  if (length == window_->LengthMask()) {
    if (in.Remaining() == 0) return std::nullopt;
    length = *in.next++;
  }
  return Match{word & window_->DistanceMask(), length + kCountBase};
}

std::optional<LzssDecoder::Match> LzssDecoder::ShortMatch(Input& in) {
  std::uint32_t length = 0;
  for (std::uint32_t bit = 0; bit < kShortLengthFlags; ++bit) {
    const auto flag = NextFlag(in);
    if (!flag) return std::nullopt;
    length |= *flag << bit;
  }
  const bool extended = length == kShortLengthMask;
  if (in.Remaining() < (extended ? 2u : 1u)) return std::nullopt;
  if (extended) length = *in.next++;
  return Match{*in.next++, length + kCountBase};
}

void LzssDecoder::Refill(Input& in) {
  bits_ &= (std::uint64_t{1} << bitCount_) - 1;
  for (; bitCount_ <= 55 && in.next != in.end; bitCount_ += 8) {
    bits_ |= std::uint64_t{*in.next++} << bitCount_;
  }
}

std::optional<std::uint32_t> LzssDecoder::TakeBits(std::uint32_t count) {
  if (count > bitCount_) return std::nullopt;
  const auto value = static_cast<std::uint32_t>(bits_) & ((1u << count) - 1);
  bits_ >>= count;
  bitCount_ -= count;
  return value;
}

std::optional<std::uint32_t> LzssDecoder::TakeSymbol(AdaptiveHuffman& tree) {
  const AdaptiveHuffman::Found found = tree.Read(bits_);
  if (!TakeBits(found.length)) return std::nullopt;
  tree.Update(found.symbol);
  return found.symbol;
}

bool LzssDecoder::CheckedHuffmanItem(Input& in, Output& out) {
  Refill(in);
  const auto symbol = TakeSymbol(*mainTree_);
  if (!symbol || *symbol > kEndSymbol) return false;
  if (*symbol < kFirstLengthSymbol) {
    const auto literal = static_cast<std::uint8_t>(*symbol);
    Literals(&literal, 1, out);
    return true;
  }
  if (*symbol == kEndSymbol) {
    ended_ = endMark_ = true;
    return true;
  }
  const LengthSlot slot = kLengthSlots[*symbol - kFirstLengthSymbol];
  const auto extra = TakeBits(slot.extraBits);
  Refill(in);
  const auto high = TakeSymbol(*distanceTree_);
  const auto low = TakeBits(window_->lowBits);
  if (!extra || !high || !low) return false;
  const std::uint32_t distance = (*high << window_->lowBits) | *low;
  CheckedCopy({distance & window_->DistanceMask(), slot.base + *extra + kCountBase}, out);
  return true;
}

void LzssDecoder::Literals(const std::uint8_t* from, std::size_t count, Output& out) {
  const std::size_t fits = std::min(count, out.Room());
  if (fits > 0) std::memcpy(out.next, from, fits);
  out.next += fits;
  out.overflow = out.overflow || fits < count;
}

void LzssDecoder::CheckedCopy(Match match, Output& out) {
  const auto fits = static_cast<std::uint32_t>(std::min<std::size_t>(match.length, out.Room()));
  out.overflow = out.overflow || fits < match.length;
  out.next = CopyOddMatch(out.next, {match.distance, fits}, out.start);
}

// Byte by byte and no further than the match; zeros where there is nothing to copy from.
std::uint8_t* LzssDecoder::CopyOddMatch(std::uint8_t* to, Match match, const std::uint8_t* start) {
  for (std::uint32_t left = match.length; left > 0; --left, ++to) {
    const bool there =
        match.distance != 0 && match.distance <= static_cast<std::size_t>(to - start);
    *to = there ? *(to - match.distance) : std::uint8_t{0};
    beforeStart_ = beforeStart_ || !there;
  }
  return to;
}

}  // namespace Zef
