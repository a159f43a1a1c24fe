// SharedText: a mutable text with copy on write, in one pointer that is never null.
//
// A copy costs one atomic increment. A mutator makes the text its own first. Two empty states
// exist and survive storage: "no storage" (the shared empty record; what default construction,
// a null text or an empty PString give) and "storage, but no characters" (what assigning ""
// gives). Text() is null exactly for the first.
//
// Counts are atomic, so copies may be handed between threads; one value must not be changed by
// two threads. Texts above 2^31-64 bytes are refused. Case folding is ASCII only.

#pragma once

#include <cstdint>
#include <string_view>

namespace Zef {

class PString;

class SharedText {
 public:
  struct Record;

  SharedText() noexcept;
  /// A null text gives the empty record; "" too (construction only).
  SharedText(const char* text);  // NOLINT(google-explicit-constructor): a text is a text
  explicit SharedText(const PString& text);
  SharedText(char character, std::uint32_t count);
  SharedText(const SharedText& other) noexcept;
  SharedText(SharedText&& other) noexcept;
  SharedText& operator=(const SharedText& other) noexcept;
  SharedText& operator=(SharedText&& other) noexcept;
  ~SharedText();

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
  bool HasStorage() const;
  bool IsEmpty() const { return Length() == 0; }
  std::uint32_t Length() const;
  std::uint32_t Capacity() const;
  /// Zero-terminated text, or null without storage.
  const char* Text() const;
  /// Zero-terminated text, "" without storage.
  const char* TextOrEmpty() const;
  std::string_view View() const;

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
  Record* record_;
};

}  // namespace Zef
