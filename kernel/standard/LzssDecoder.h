// LzssDecoder: takes the items of an LZSS stream apart, into whatever block it is given.
//
// Keeps its place between calls, so input and output may come in pieces. Never looks outside the
// blocks. Whatever the bytes are, it comes to an end and yields something; Finding tells of damage.
//
// Cost: while the blocks have room ahead, a few steps an item and 8 or 16 bytes a step of a copy;
// near their ends every byte is checked. Holds about 9 KiB with Huffman codes. Serves one thread.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "kernel/standard/AdaptiveHuffman.h"
#include "kernel/standard/LzssFormat.h"

namespace Zef {

class LzssDecoder {
 public:
  /// Input that holds more than this holds the next item whole.
  static constexpr std::size_t kReserve = Lzss::kLongestItem - 1;
  /// Bytes on either side with which items are decoded without a look at the ends: some literals,
  /// an item, and what copies read or write behind it.
  static constexpr std::size_t kFastInput = Lzss::kLongestItem + 32;
  static constexpr std::size_t kFastRoom = Lzss::kLongestMatch + 64;

  struct Input {
    const std::uint8_t* next;
    const std::uint8_t* end;
    bool last;  ///< nothing comes behind this block

    std::size_t Remaining() const { return static_cast<std::size_t>(end - next); }
  };
  /// Matches reach back to `start`; before it stand zeros.
  struct Output {
    const std::uint8_t* start;
    std::uint8_t* next;
    const std::uint8_t* end;
    bool last;              ///< there will be no other room: fill it to the end
    bool overflow = false;  ///< set when the stream holds more than the last room

    std::size_t Room() const { return static_cast<std::size_t>(end - next); }
  };

  /// Takes the first byte of a stream; false when it names no window or level.
  [[nodiscard]] bool Start(std::uint8_t header);
  const Lzss::WindowKind& Window() const { return *window_; }

  /// Decodes until the input has no whole item for sure, the room is used up or the stream ends.
  void Decode(Input& in, Output& out);

  /// True from the end mark, or from an item that is not there in full.
  bool Ended() const { return ended_; }
  /// What there is to say of a stream with `payload` bytes behind its first one, the last `behind`
  /// of which were left over. Codes fill up whole words of two bytes.
  LzssFinding Finding(std::size_t payload, std::size_t behind) const;

 private:
  struct Match {
    std::uint32_t distance;
    std::uint32_t length;
  };

  void CopyStored(Input& in, Output& out);
  void FastFlagItems(Input& in, Output& out);
  void FastHuffmanItems(Input& in, Output& out);
  void CheckedItem(Input& in, Output& out);
  bool CheckedFlagItem(Input& in, Output& out);
  bool CheckedHuffmanItem(Input& in, Output& out);

  std::optional<std::uint32_t> NextFlag(Input& in);
  std::optional<Match> FlagMatch(Input& in);
  std::optional<Match> ShortMatch(Input& in);
  void Refill(Input& in);
  std::optional<std::uint32_t> TakeSymbol(AdaptiveHuffman& tree);
  std::optional<std::uint32_t> TakeBits(std::uint32_t count);

  void Literals(const std::uint8_t* from, std::size_t count, Output& out);
  void CheckedCopy(Match match, Output& out);
  std::uint8_t* CopyOddMatch(std::uint8_t* to, Match match, const std::uint8_t* start);

  const Lzss::WindowKind* window_ = nullptr;
  Lzss::Coding coding_ = Lzss::Coding::Stored;
  bool ended_ = false;
  bool endMark_ = false;
  bool cutShort_ = false;
  bool beforeStart_ = false;
  // Flags not used yet, from bit 0, and a 1 above the last of them.
  std::uint64_t flags_ = 1;
  // Bits not used yet, from bit 0; above bitCount_ may stand bits that are read again.
  std::uint64_t bits_ = 0;
  std::uint32_t bitCount_ = 0;
  std::optional<AdaptiveHuffman> mainTree_;
  std::optional<AdaptiveHuffman> distanceTree_;
};

}  // namespace Zef
