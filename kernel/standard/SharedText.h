// SharedText: a mutable text with copy on write, in one pointer that is never null.
//
// A copy costs one atomic increment. A mutator makes the text its own first. Two empty states
// exist and survive storage: "no storage" (the shared empty record; what default construction,
// a null text or an empty PString give) and "storage, but no characters" (what the text ""
// gives). Text() is null exactly for the first.
//
// Counts are atomic, so copies may be handed between threads; one value must not be changed by
// two threads. A change that would pass 2^31-64 bytes is refused and leaves the value; one that
// finds no memory leaves it too and raises std::bad_alloc. Arguments may be parts of the text
// itself. Case folding is ASCII only.

#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>
#include <utility>

namespace Zef {

class PString;

class SharedText {
 public:
  static constexpr std::uint32_t kMostLength = 0x7FFFFFFF - 63;

  /// What a value points to; the zero-terminated text follows it.
  struct Record {
    std::atomic<std::int32_t> references;
    std::uint32_t capacity;  ///< bytes of text space; 0 only in the shared empty record
    std::uint32_t length;

    char* Text() { return reinterpret_cast<char*>(this + 1); }
  };

  SharedText() noexcept : record_(&empty_.record) {}
  /// A null text gives the empty record, "" gives storage without characters.
  SharedText(const char* text);  // NOLINT(google-explicit-constructor): a text is a text
  /// A null or empty text gives the empty record.
  explicit SharedText(const PString& text);
  /// A count of 0 gives the empty record.
  SharedText(char character, std::uint32_t count);
  SharedText(const SharedText& other) noexcept : record_(AddReference(other.record_)) {}
  SharedText(SharedText&& other) noexcept : record_(std::exchange(other.record_, &empty_.record)) {}
  SharedText& operator=(const SharedText& other) noexcept { return *this = SharedText(other); }
  SharedText& operator=(SharedText&& other) noexcept {
    std::swap(record_, other.record_);
    return *this;
  }
  ~SharedText() { Release(record_); }

  /// Null gives the empty record; "" gives storage without characters.
  SharedText& operator=(const char* text);
  /// A null or empty PString gives the empty record.
  SharedText& operator=(const PString& text);
  /// Exactly these bytes, always with storage (as assigning a zero-terminated text).
  void Assign(std::string_view bytes);
  /// At most `limit` bytes of a zero-terminated text; limit 0 or null gives the empty record.
  void AssignLimited(const char* text, std::uint32_t limit);
  /// An empty result gives the empty record. Returns the format's length.
  int AssignFormat(const char* format, ...) __attribute__((format(printf, 2, 3)));
  int AppendFormat(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void Append(std::string_view bytes);

  /// False for the empty record.
  bool HasStorage() const { return record_ != &empty_.record; }
  bool IsEmpty() const { return Length() == 0; }
  std::uint32_t Length() const { return record_->length; }
  std::uint32_t Capacity() const { return record_->capacity; }
  /// Zero-terminated text, or null without storage.
  const char* Text() const { return HasStorage() ? record_->Text() : nullptr; }
  /// Zero-terminated text, "" without storage.
  const char* TextOrEmpty() const { return HasStorage() ? record_->Text() : ""; }
  std::string_view View() const { return {TextOrEmpty(), Length()}; }

  /// Cuts to `length` characters; longer values change nothing. Cutting to 0 keeps storage.
  void Truncate(std::uint32_t length);
  /// Ignored for null or empty text and for a position past the end.
  void Insert(const char* text, std::uint32_t position);
  /// Ignored for a zero count or a position at or past the end.
  void Erase(std::uint32_t position, std::uint32_t count);

  /// Offset of the first match at or after `start`; -1 when absent or without storage.
  std::int32_t Find(char character, std::uint32_t start = 0) const;
  std::int32_t Find(const char* text, std::uint32_t start = 0) const;
  std::int32_t FindNoCase(char character, std::uint32_t start = 0) const;
  std::int32_t FindNoCase(const char* text, std::uint32_t start = 0) const;

  /// Removes leading delimiters and the token behind them; the delimiter that ended the token
  /// stays. An exhausted text gives the empty record.
  SharedText PopToken(const char* delimiters);

  /// 0 when this sorts first, 1 when equal, 2 when after. Without storage: equal only to a null
  /// text or to another text without storage, and before everything else, "" included.
  int Compare(const char* text) const;
  int Compare(const SharedText& other) const;
  int CompareNoCase(const char* text) const;
  int CompareNoCase(const SharedText& other) const;

  /// Makes the record this value's own with room for `size` bytes; `keep` keeps the text.
  void EnsureUnique(std::uint32_t size, bool keep);

 private:
  // Nobody counts the holders of the empty record: it stands still, so threads share its line.
  struct EmptyRecord {
    Record record;
    char terminator;
  };
  static EmptyRecord empty_;

  static Record* AddReference(Record* record) noexcept {
    if (record != &empty_.record) record->references.fetch_add(1, std::memory_order_relaxed);
    return record;
  }
  static void Release(Record* record) noexcept {
    if (record == &empty_.record) return;
    // The only holder needs no locked instruction to know that it is the last one.
    const bool isLast = record->references.load(std::memory_order_acquire) == 1 ||
                        record->references.fetch_sub(1, std::memory_order_acq_rel) == 1;
    if (isLast) FreeRecord(record);
  }
  static void FreeRecord(Record* record) noexcept;
  void Replace(Record* record) noexcept { Release(std::exchange(record_, record)); }
  void SetLength(std::uint32_t length);
  void InsertView(std::string_view text, std::uint32_t position);

  Record* record_;
};

}  // namespace Zef
