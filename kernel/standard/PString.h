// PString: an interned, counted text in one pointer.
//
// Equal bytes are the same pointer, so exact equality is a pointer compare and a PString serves
// as a numeric key. Null is the empty string; a handle made from "" is a record of its own and
// not null. Bytes are compared exactly; case folding is ASCII only. The pool only grows until it
// is torn down at exit, after which releases do nothing and copies and new texts are null: intern
// names and keys, not descriptions.
//
// Interning costs a lock and one probe of a chain; copying and releasing a handle cost one
// atomic operation. Handles may be copied and released on any thread; one handle object must
// not be changed by two. Texts above 2^31-64 bytes are refused and give null.

#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>
#include <utility>

#include "kernel/platform/Export.h"

namespace Zef {

class StringPool;

class ZEF_API PString {
 public:
  /// What a handle points to; the zero-terminated text follows it. Never changed while shared.
  struct Record {
    Record* next;            ///< chain of the pool's table
    std::uint32_t hash;      ///< of the whole text
    std::uint32_t length;    ///< bytes of text
    std::uint32_t capacity;  ///< bytes that the text may grow to in place
    std::atomic<std::uint32_t> references;

    char* Text() { return reinterpret_cast<char*>(this + 1); }
    const char* Text() const { return reinterpret_cast<const char*>(this + 1); }
    std::string_view View() const { return {Text(), length}; }
  };

  constexpr PString() = default;
  /// Null for a null pointer, else the interned record (also for "").
  PString(const char* text);  // NOLINT(google-explicit-constructor): literals are keys everywhere
  /// Null when `text` is null, else the interned record. May hold zero bytes.
  PString(const char* text, std::uint32_t length);
  /// Null when the view has no data pointer, as a default view.
  explicit PString(std::string_view text);
  /// At most `maximum` bytes of a zero-terminated text; a negative maximum takes it whole.
  static PString Limited(const char* text, std::int32_t maximum);

  PString(const PString& other) noexcept : record_(AddReference(other.record_)) {}
  PString(PString&& other) noexcept : record_(std::exchange(other.record_, nullptr)) {}
  PString& operator=(const PString& other) noexcept { return *this = PString(other); }
  PString& operator=(PString&& other) noexcept {
    std::swap(record_, other.record_);
    return *this;
  }
  ~PString() { Release(record_); }

  bool IsNull() const { return record_ == nullptr; }
  bool IsEmpty() const { return Length() == 0; }
  std::uint32_t Length() const { return record_ == nullptr ? 0 : record_->length; }
  /// Zero-terminated; "" for null. Valid while any handle to the record lives.
  const char* Text() const { return record_ == nullptr ? "" : record_->Text(); }
  std::string_view View() const { return {Text(), Length()}; }

  /// Inserts at `position`. A null handle interns the text; null or empty text, or a position
  /// past the end, changes nothing.
  void Insert(const char* text, std::uint32_t position);
  /// Appends formatted text; returns the format's length.
  int AppendFormat(const char* format, ...) __attribute__((format(printf, 2, 3)));
  /// Removes a range; one that passes the end cuts at `position`.
  void Erase(std::uint32_t position, std::uint32_t count);
  /// Replaces the value; an empty result gives null. Returns the format's length.
  int Format(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void LowerCase();
  void UpperCase();

  /// -1, 0 or 1 by bytes up to the first zero byte; null equals a null or empty text.
  int Compare(const char* text) const;
  /// Order of the ASCII-folded bytes, with plain text up to the first zero byte; null counts as
  /// empty.
  int CompareNoCase(const PString& other) const;
  int CompareNoCase(const char* text) const;
  /// Null equals only null.
  bool EqualNoCase(const PString& other) const;

  friend bool operator==(const PString& a, const PString& b) { return a.record_ == b.record_; }
  /// The pointer value, for tables keyed by identity.
  std::uintptr_t Key() const { return reinterpret_cast<std::uintptr_t>(record_); }

  /// False once the pool is torn down, which takes all records along: handles that are left must
  /// not be looked into, and let go of nothing.
  static bool PoolExists() { return pool_.load(std::memory_order_relaxed) != nullptr; }

 private:
  friend class StringPool;

  static Record* AddReference(Record* record) noexcept {
    if (record == nullptr || !PoolExists()) return nullptr;
    record->references.fetch_add(1, std::memory_order_relaxed);
    return record;
  }
  static void Release(Record* record) noexcept {
    if (record == nullptr || !PoolExists()) return;
    record->references.fetch_sub(1, std::memory_order_release);
  }

  void InsertView(std::string_view text, std::uint32_t position);
  void ChangeCase(char (*map)(char));

  static std::atomic<StringPool*> pool_;

  Record* record_ = nullptr;
};

/// Byte order; null sorts before every record, also before that of "".
bool Less(const PString& a, const PString& b);

/// Counters of the pool, for tests and reports.
struct StringPoolStatistics {
  std::uint32_t liveStrings;  ///< records with a count above 0
  std::uint32_t references;   ///< sum of all counts
  std::uint32_t hits;         ///< lookups that found an existing record
  std::uint32_t created;      ///< records ever put in the table
  std::uint32_t probes;       ///< entries passed over during lookups
  std::uint32_t bucketCount;  ///< 997
};
StringPoolStatistics GetStringPoolStatistics();

}  // namespace Zef
