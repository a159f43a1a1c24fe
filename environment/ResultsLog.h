// ResultsLog: what a batch of operations has to tell its user, entry by entry.
//
// Operations add entries; a window or a command shows them, told of each change by the message
// "list-updated" through the log's pipes. An entry has a level, an object that it is about, and a
// text, which for messages of the asset database is the key of an interface text.
//
// Any thread may call. The log is locked while it broadcasts, so a recipient sees the very state
// that it was told of. Recipients must not wait for a thread that uses this log, nor destroy it;
// two that copy each other's logs while they are told of a change wait for each other for ever.

#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "environment/MessagePipes.h"
#include "kernel/Containers.h"

/// The levels that are in use; 2 to 4 are counted.
namespace ResultLevel {
inline constexpr std::int32_t kDone = 1;
inline constexpr std::int32_t kWarning = 2;
inline constexpr std::int32_t kError = 3;
inline constexpr std::int32_t kFatal = 4;
}  // namespace ResultLevel

struct ResultEntry {
  std::int32_t level;
  Zef::Ref<Zef::ReferenceCountMP> reference;  ///< may be null
  std::string text;
};

class ResultsLog : public NuMessageRecipient {
 public:
  static constexpr const char* kUpdated = "list-updated";

  ResultsLog() = default;
  ~ResultsLog() override { ClosePipes(); }

  /// Appends an entry. The format is the program's own; texts from outside go through "%s".
  void Add(std::int32_t level, const Zef::Ref<Zef::ReferenceCountMP>& reference, const char* format,
           ...) __attribute__((format(printf, 4, 5)));
  /// Removes all entries; tells nobody if there were none.
  void Clear();
  /// Replaces the entries by copies and tells nobody. The log then counts as not empty, even if
  /// the other one is. A copy of itself changes nothing.
  void CopyFrom(const ResultsLog& other);

  /// True until something was added or copied, and after Clear.
  bool IsEmpty() const;
  /// Entries of level 2, 3 or 4; 0 for any other.
  std::uint32_t Count(std::int32_t level) const;
  /// A copy, in the order of arrival.
  std::vector<ResultEntry> Entries() const;

 private:
  mutable std::recursive_mutex lock_;
  std::vector<ResultEntry> entries_;
  std::array<std::uint32_t, 3> counts_{};
  bool isEmpty_ = true;
};
