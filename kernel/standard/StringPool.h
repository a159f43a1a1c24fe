// StringPool: the table behind PString. Only PString and the start-up use it.
//
// Records are found by a keyed hash of the whole text, kept in the record, through a table that
// doubles as it fills, so a probe is one word compare whatever the number of texts. A record
// that nobody holds stays and is revived by the next interning of its text. One lock guards the
// table; the counts in the records are atomic and need none, because nobody but a holder, or
// the lock's owner, ever raises them. Without memory interning raises std::bad_alloc.

#pragma once

#include <cstdint>
#include <mutex>
#include <string_view>
#include <vector>

#include "kernel/BlockAllocator.h"
#include "kernel/standard/PString.h"

namespace Zef {

class StringPool : public KernelObject {
 public:
  using Record = PString::Record;

  static constexpr std::uint32_t kReportedBuckets = 997;
  static constexpr std::uint32_t kMostLength = 0x7FFFFFFF - 63;

  /// Makes the pool, once in the life of the module, and registers its end as the next entry
  /// of the exit table.
  static void Create();
  /// The pool, made if need be; null after its end.
  static StringPool* Get();

  ~StringPool();
  StringPool(const StringPool&) = delete;
  StringPool& operator=(const StringPool&) = delete;

  /// A reference to the record of `text`; null when it is too long.
  Record* Intern(std::string_view text);

  /// The record for `old` with a change of its text: `edit` gets `length` bytes of space, which
  /// hold the old text as far as it fits. Takes the reference to `old`, gives one to the result.
  template <typename Edit>
  Record* Change(Record* old, std::uint32_t length, Edit edit);

  StringPoolStatistics Statistics();

 private:
  static constexpr std::size_t kFirstBuckets = 1024;

  StringPool() : buckets_(kFirstBuckets) {}
  static void Destroy();

  Record*& BucketOf(std::uint32_t hash) { return buckets_[hash & (buckets_.size() - 1)]; }
  Record* FindAndRaise(std::string_view text, std::uint32_t hash);
  void Insert(Record* record, std::uint32_t hash);
  void Unlink(Record* record);
  void Grow();
  Record* TakeWorkingRecord(Record* old, std::uint32_t length);
  Record* Reintern(Record* working);

  std::mutex lock_;
  std::vector<Record*> buckets_;  // a power of two of them
  std::uint32_t entries_ = 0;
  std::uint32_t hits_ = 0;
  std::uint32_t created_ = 0;
  std::uint32_t probes_ = 0;
};

template <typename Edit>
StringPool::Record* StringPool::Change(Record* old, std::uint32_t length, Edit edit) {
  const std::lock_guard guard(lock_);
  Record* working = TakeWorkingRecord(old, length);
  edit(working->Text());
  working->length = length;
  working->Text()[length] = 0;
  return Reintern(working);
}

}  // namespace Zef
