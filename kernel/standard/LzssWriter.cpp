#include "kernel/standard/LzssWriter.h"

#include <algorithm>
#include <cstring>

namespace Zef {

using namespace Lzss;

namespace {

constexpr std::uint32_t kFlagsInWord = 32;

// Slot of a length less 3, by value.
constexpr std::array<std::uint8_t, 256> kSlotOfLength = [] {
  std::array<std::uint8_t, 256> slots{};
  std::uint32_t slot = 0;
  for (std::uint32_t value = 0; value < slots.size(); ++value) {
    if (slot + 1 < kLengthSlots.size() && kLengthSlots[slot + 1].base <= value) ++slot;
    slots[value] = static_cast<std::uint8_t>(slot);
  }
  return slots;
}();

}  // namespace

LzssWriter::LzssWriter(Ref<ByteSink> sink, std::uint32_t level)
    : sink_(std::move(sink)),
      window_(kWindowKinds[kLevels[level].kind]),
      coding_(kLevels[level].coding) {
  U8((std::uint32_t{kLevels[level].kind} << 4) | level);
  if (coding_ != Coding::Huffman) return;
  mainTree_.emplace(kMainSymbols);
  distanceTree_.emplace(window_.distanceSlots);
}

bool LzssWriter::Literals(const std::uint8_t* bytes, std::uint32_t count) {
  if (coding_ == Coding::Huffman) {
    for (std::uint32_t i = 0; i < count; ++i) Symbol(*mainTree_, bytes[i]);
    return FlushBlock();
  }
  if (count >= kLeastRun) {
    Flag(0);
    Flag(1);
    U8(count - kCountBase);
    std::memcpy(&bytes_[size_], bytes, count);
    size_ += count;
    return FlushBlock();
  }
  for (std::uint32_t i = 0; i < count; ++i) {
    Flag(0);
    Flag(0);
    U8(bytes[i]);
  }
  return FlushBlock();
}

bool LzssWriter::Match(std::uint32_t distance, std::uint32_t length) {
  if (coding_ == Coding::Huffman) {
    HuffmanMatch(distance, length - kCountBase);
  } else {
    FlagMatch(distance, length - kCountBase);
  }
  return FlushBlock();
}

bool LzssWriter::Finish() {
  if (coding_ == Coding::Huffman) {
    Symbol(*mainTree_, kEndSymbol);
    if (bitCount_ > 0) U16(static_cast<std::uint32_t>(bits_));
  } else {
    CloseGroup();
  }
  return size_ == 0 || sink_->Write(bytes_.data(), static_cast<std::uint32_t>(size_));
}

// The open group stays: its word is not known yet.
bool LzssWriter::FlushBlock() {
  const std::size_t done = flagCount_ > 0 ? flagPlace_ : size_;
  if (done < kBlock) return true;
  if (!sink_->Write(bytes_.data(), static_cast<std::uint32_t>(done))) return false;
  std::memmove(bytes_.data(), bytes_.data() + done, size_ - done);
  size_ -= done;
  flagPlace_ = 0;
  return true;
}

// A new word opens only for a flag that has no place in the old one, so the data of an item stands
// behind the word of its last flag.
void LzssWriter::Flag(std::uint32_t flag) {
  if (flagCount_ == kFlagsInWord) CloseGroup();
  if (flagCount_ == 0) {
    flagPlace_ = size_;
    size_ += sizeof flags_;
  }
  flags_ |= flag << flagCount_++;
}

void LzssWriter::CloseGroup() {
  if (flagCount_ == 0) return;
  std::memcpy(&bytes_[flagPlace_], &flags_, sizeof flags_);
  flags_ = 0;
  flagCount_ = 0;
}

void LzssWriter::FlagMatch(std::uint32_t distance, std::uint32_t length) {
  Flag(1);
  const std::uint32_t field = std::min(length, window_.LengthMask());
  U16(distance | (field << window_.windowBits));
  if (field == window_.LengthMask()) U8(length);
}

void LzssWriter::HuffmanMatch(std::uint32_t distance, std::uint32_t length) {
  const std::uint32_t slot = kSlotOfLength[length];
  Symbol(*mainTree_, kFirstLengthSymbol + slot);
  Bits(length - kLengthSlots[slot].base, kLengthSlots[slot].extraBits);
  Symbol(*distanceTree_, distance >> window_.lowBits);
  Bits(distance & ((1u << window_.lowBits) - 1), window_.lowBits);
}

void LzssWriter::Symbol(AdaptiveHuffman& tree, std::uint32_t symbol) {
  const AdaptiveHuffman::Code code = tree.Find(symbol);
  tree.Update(symbol);
  Bits(code.bits, code.length);
}

void LzssWriter::Bits(std::uint32_t bits, std::uint32_t count) {
  bits_ |= std::uint64_t{bits} << bitCount_;
  bitCount_ += count;
  for (; bitCount_ >= 16; bitCount_ -= 16, bits_ >>= 16) U16(static_cast<std::uint32_t>(bits_));
}

void LzssWriter::U16(std::uint32_t value) {
  const auto word = static_cast<std::uint16_t>(value);
  std::memcpy(&bytes_[size_], &word, sizeof word);
  size_ += sizeof word;
}

}  // namespace Zef
