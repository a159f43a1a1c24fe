// LzssMatcher: the input that a compressor can see, and the search for what repeats in it.
//
// A buffer of two windows and 516 bytes, filled whole and searched from front to back. What is
// found follows from the input alone: the longest match among the positions entered before, closer
// ones first among equals, where one of the good length ends the search. Tables only make that
// fast: positions are chained by three bytes and by four, and a chain of four answers for every
// match but the shortest.
//
// Cost: the length of a chain a position, so data of few different byte groups is slow. Holds about
// 290 KiB for the largest window. Serves one thread.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kernel/standard/LzssFormat.h"

namespace Zef {

class LzssMatcher {
 public:
  struct Match {
    std::uint32_t distance;
    std::uint32_t length;  ///< below 3: none
  };

  LzssMatcher(const Lzss::WindowKind& window, std::uint32_t goodLength);

  /// Takes bytes until the buffer is full; returns how many.
  std::size_t Fill(const std::uint8_t* data, std::size_t length);
  bool IsFull() const { return end_ == bytes_.size(); }
  std::uint32_t Remaining() const { return end_ - position_; }

  /// Makes room when the position is two windows in. Pointers into the buffer move with it.
  void SlideIfDue() {
    if (position_ >= 2 * window_) Slide();
  }

  /// The best match at the position, which is entered in the tables.
  Match Find();
  /// Moves on by one byte, which is entered or not.
  void Pass() { ++position_; }
  /// Moves past a match at a position that was searched; all of it is entered.
  void PassMatch(std::uint32_t length);
  /// The `count` bytes before the position.
  const std::uint8_t* Before(std::uint32_t count) const {
    return bytes_.data() + position_ - count;
  }

 private:
  using Table = std::vector<std::uint16_t>;

  void Slide();
  void Enter(std::uint32_t position);
  void EnterFour(std::uint32_t position);
  bool SearchFour(Match& best) const;
  void SearchThree(Match& best) const;
  std::uint32_t CommonLength(std::uint32_t candidate, std::uint32_t limit) const;

  const std::uint32_t window_;
  const std::uint32_t goodLength_;
  std::uint32_t position_ = 0;
  std::uint32_t end_ = 0;
  // A position whose fourth byte was not there yet, 0 for none.
  std::uint32_t lateFour_ = 0;
  std::vector<std::uint8_t> bytes_;
  // Positions plus 1, so that 0 is none and falls out of a subtraction that stops at 0.
  Table headThree_;
  Table headFour_;
  Table previousThree_;
  Table previousFour_;
};

}  // namespace Zef
