// LzssFormat: numbers of the LZSS stream, and what may be wrong with one, for its writer and its
// readers.

#pragma once

#include <array>
#include <cstdint>

namespace Zef {

/// What reading a stream to its end found. Damage does not stop a reader that can go on.
enum class LzssFinding {
  Whole,
  NoStream,        ///< empty, or the first byte names no window or level
  CutShort,        ///< the last item is not there in full, or the end mark is missing
  BeforeStart,     ///< a match reaches before the first byte (there stand zeros), or to itself
  BytesBehindEnd,  ///< something follows the end mark
};

namespace Lzss {

enum class Coding : std::uint8_t { Stored, FlagWords, Huffman };

struct WindowKind {
  std::uint8_t windowBits;
  std::uint8_t distanceSlots;
  std::uint8_t lowBits;  ///< of a distance, behind its slot

  constexpr std::uint32_t Window() const { return 1u << windowBits; }
  constexpr std::uint32_t DistanceMask() const { return Window() - 1; }
  /// Of the length in the 16 bits that it shares with the distance.
  constexpr std::uint32_t LengthMask() const { return (1u << (16 - windowBits)) - 1; }
};
inline constexpr std::array<WindowKind, 3> kWindowKinds = {{{8, 16, 4}, {12, 64, 6}, {14, 64, 8}}};

struct Level {
  std::uint8_t kind;
  std::uint16_t goodLength;  ///< a match of this length ends the search
  Coding coding;
};
inline constexpr std::array<Level, 10> kLevels = {{
    {0, 0, Coding::Stored},
    {1, 8, Coding::FlagWords},
    {1, 16, Coding::FlagWords},
    {1, 32, Coding::FlagWords},
    {2, 64, Coding::FlagWords},
    {2, 128, Coding::FlagWords},
    {2, 256, Coding::FlagWords},
    {2, 64, Coding::Huffman},
    {2, 128, Coding::Huffman},
    {2, 256, Coding::Huffman},
}};

inline constexpr std::uint32_t kLeastMatch = 3;
inline constexpr std::uint32_t kLongestMatch = 258;
// A run of literals has its count in one byte, as a match its length; below six, flags are cheaper.
inline constexpr std::uint32_t kLeastRun = 6;
inline constexpr std::uint32_t kLongestRun = 258;
inline constexpr std::uint32_t kCountBase = 3;
// The longest item: a new flag word, a count and a whole run.
inline constexpr std::uint32_t kLongestItem = 4 + 1 + kLongestRun;

// In the shortest window the length of a match stands in three flags.
inline constexpr std::uint32_t kShortWindowBits = 8;
inline constexpr std::uint32_t kShortLengthFlags = 3;
inline constexpr std::uint32_t kShortLengthMask = 7;

inline constexpr std::uint32_t kFirstLengthSymbol = 256;
inline constexpr std::uint32_t kEndSymbol = 272;
inline constexpr std::uint32_t kMainSymbols = 273;

struct LengthSlot {
  std::uint8_t base;
  std::uint8_t extraBits;
};
inline constexpr std::array<LengthSlot, 16> kLengthSlots = {{{0, 0},
                                                             {1, 0},
                                                             {2, 0},
                                                             {3, 0},
                                                             {4, 0},
                                                             {5, 1},
                                                             {7, 1},
                                                             {9, 2},
                                                             {13, 2},
                                                             {17, 3},
                                                             {25, 3},
                                                             {33, 4},
                                                             {49, 4},
                                                             {65, 5},
                                                             {97, 5},
                                                             {129, 7}}};

}  // namespace Lzss

}  // namespace Zef
