#include "environment/ResultsLog.h"

#include <cstdarg>
#include <utility>

#include "kernel/standard/FormatBuffer.h"

namespace {

// Past the end of the counters for a level that is not counted.
std::size_t CounterOf(std::int32_t level) {
  return static_cast<std::uint32_t>(level) - std::uint32_t{ResultLevel::kWarning};
}

}  // namespace

void ResultsLog::Add(std::int32_t level, const Zef::Ref<Zef::ReferenceCountMP>& reference,
                     const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const Zef::FormatBuffer text(format, arguments);
  va_end(arguments);
  const std::lock_guard guard(lock_);
  entries_.push_back({level, reference, std::string(text.View())});
  if (CounterOf(level) < counts_.size()) ++counts_[CounterOf(level)];
  isEmpty_ = false;
  Broadcast({kUpdated, this});
}

void ResultsLog::Clear() {
  std::vector<ResultEntry> removed;  // freed after the lock: references may do anything then
  const std::lock_guard guard(lock_);
  if (entries_.empty()) return;
  removed.swap(entries_);
  counts_ = {};
  isEmpty_ = true;
  Broadcast({kUpdated, this});
}

void ResultsLog::CopyFrom(const ResultsLog& other) {
  if (&other == this) return;
  std::vector<ResultEntry> entries;
  // Takes neither lock while it waits for the other: copies in both directions may cross.
  const std::scoped_lock guard(lock_, other.lock_);
  entries = other.entries_;
  entries_.swap(entries);
  counts_ = other.counts_;
  isEmpty_ = false;
}

bool ResultsLog::IsEmpty() const {
  const std::lock_guard guard(lock_);
  return isEmpty_;
}

std::uint32_t ResultsLog::Count(std::int32_t level) const {
  const std::lock_guard guard(lock_);
  return CounterOf(level) < counts_.size() ? counts_[CounterOf(level)] : 0;
}

std::vector<ResultEntry> ResultsLog::Entries() const {
  const std::lock_guard guard(lock_);
  return entries_;
}
