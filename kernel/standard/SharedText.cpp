#include "kernel/standard/SharedText.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <new>

#include "kernel/BlockAllocator.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/FormatBuffer.h"
#include "kernel/standard/PString.h"

namespace Zef {
namespace {

using Record = SharedText::Record;

constexpr std::uint32_t kLeastCapacity = 16;

// Room for the terminator included.
constexpr std::uint32_t CapacityFor(std::uint64_t length) {
  return static_cast<std::uint32_t>((length + 17) & ~std::uint64_t{15});
}

Record* MakeRecord(std::uint32_t capacity) {
  void* memory = BlockAllocator::Allocate(sizeof(Record) + std::uint64_t{capacity});
  if (memory == nullptr) throw std::bad_alloc();
  auto* record = ::new (memory) Record{{1}, capacity, 0};
  record->Text()[0] = 0;
  return record;
}

bool PointsInto(const char* text, std::string_view bytes) {
  const auto address = reinterpret_cast<std::uintptr_t>(text);
  const auto first = reinterpret_cast<std::uintptr_t>(bytes.data());
  return address >= first && address - first <= bytes.size();
}

int ThreeWay(int order) { return order < 0 ? 0 : 1 + (order > 0); }

// What the compare operations give when a side lacks storage; -1 when both have it.
int CompareStorage(bool leftHasStorage, bool rightHasStorage) {
  if (!leftHasStorage) return rightHasStorage ? 0 : 1;
  return rightHasStorage ? -1 : 2;
}

std::int32_t OffsetOrAbsent(std::size_t offset) {
  return offset == std::string_view::npos ? -1 : static_cast<std::int32_t>(offset);
}

}  // namespace

constinit SharedText::EmptyRecord SharedText::empty_ = {{{1}, 0, 0}, 0};

void SharedText::FreeRecord(Record* record) noexcept { BlockAllocator::Free(record); }

SharedText::SharedText(const char* text) : SharedText() { *this = text; }

SharedText::SharedText(const PString& text) : SharedText() { *this = text; }

SharedText::SharedText(char character, std::uint32_t count) : SharedText() {
  if (count == 0 || count > kMostLength) return;
  record_ = MakeRecord(CapacityFor(count));
  std::memset(record_->Text(), character, count);
  SetLength(count);
}

SharedText& SharedText::operator=(const char* text) {
  if (text == nullptr) {
    Replace(&empty_.record);
  } else {
    Assign(text);
  }
  return *this;
}

SharedText& SharedText::operator=(const PString& text) {
  if (text.IsEmpty()) {
    Replace(&empty_.record);
  } else {
    Assign(text.View());
  }
  return *this;
}

void SharedText::Assign(std::string_view bytes) {
  if (bytes.size() > kMostLength) return;
  // Keeps a record that `bytes` may point into until they are copied.
  const SharedText old = PointsInto(bytes.data(), View()) ? *this : SharedText();
  EnsureUnique(CapacityFor(bytes.size()), false);
  if (!bytes.empty()) std::memcpy(record_->Text(), bytes.data(), bytes.size());
  SetLength(static_cast<std::uint32_t>(bytes.size()));
}

void SharedText::AssignLimited(const char* text, std::uint32_t limit) {
  if (text == nullptr || limit == 0) {
    Replace(&empty_.record);
  } else {
    Assign({text, strnlen(text, limit)});
  }
}

int SharedText::AssignFormat(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const FormatBuffer buffer(format, arguments);
  va_end(arguments);
  buffer.RaiseIfNoMemory();
  if (buffer.Length() == 0) {
    Replace(&empty_.record);
  } else {
    Assign(buffer.View());
  }
  return buffer.Result();
}

int SharedText::AppendFormat(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const FormatBuffer buffer(format, arguments);
  va_end(arguments);
  buffer.RaiseIfNoMemory();
  Append(buffer.View());
  return buffer.Result();
}

void SharedText::Append(std::string_view bytes) { InsertView(bytes, Length()); }

void SharedText::Truncate(std::uint32_t length) {
  if (length >= Length()) return;
  EnsureUnique(CapacityFor(length), true);
  SetLength(length);
}

void SharedText::Insert(const char* text, std::uint32_t position) {
  if (text != nullptr) InsertView(text, position);
}

void SharedText::InsertView(std::string_view text, std::uint32_t position) {
  const std::uint32_t length = Length();
  if (text.empty() || position > length || text.size() > kMostLength - length) return;
  const SharedText old = PointsInto(text.data(), View()) ? *this : SharedText();
  const auto newLength = static_cast<std::uint32_t>(length + text.size());
  std::uint32_t capacity = CapacityFor(newLength);
  // A text that is built piece by piece must not be copied for each piece.
  if (capacity > Capacity()) capacity = std::max(capacity, Capacity() + Capacity() / 2);
  EnsureUnique(capacity, true);
  char* place = record_->Text() + position;
  std::memmove(place + text.size(), place, length - position);
  std::memcpy(place, text.data(), text.size());
  SetLength(newLength);
}

void SharedText::Erase(std::uint32_t position, std::uint32_t count) {
  const std::uint32_t length = Length();
  if (count == 0 || position >= length) return;
  EnsureUnique(CapacityFor(length), true);
  const std::uint32_t cut = std::min(count, length - position);
  char* place = record_->Text() + position;
  std::memmove(place, place + cut, length - position - cut);
  SetLength(length - cut);
}

std::int32_t SharedText::Find(char character, std::uint32_t start) const {
  return OffsetOrAbsent(View().find(character, start));
}

std::int32_t SharedText::Find(const char* text, std::uint32_t start) const {
  if (text == nullptr || !HasStorage()) return -1;
  return OffsetOrAbsent(View().find(text, start));
}

std::int32_t SharedText::FindNoCase(char character, std::uint32_t start) const {
  const char pattern[] = {FoldAscii(character), UpperAscii(character)};
  return OffsetOrAbsent(View().find_first_of({pattern, sizeof(pattern)}, start));
}

std::int32_t SharedText::FindNoCase(const char* text, std::uint32_t start) const {
  if (text == nullptr || !HasStorage() || start > Length()) return -1;
  const std::string_view all = View();
  const std::string_view pattern = text;
  const auto found = std::search(all.begin() + start, all.end(), pattern.begin(), pattern.end(),
                                 [](char a, char b) { return FoldAscii(a) == FoldAscii(b); });
  return found == all.end() && !pattern.empty() ? -1
                                                : static_cast<std::int32_t>(found - all.begin());
}

SharedText SharedText::PopToken(const char* delimiters) {
  const std::string_view all = View();
  const std::string_view set = delimiters == nullptr ? "" : delimiters;
  const std::size_t first = std::min(all.find_first_not_of(set), all.size());
  const std::size_t last = std::min(all.find_first_of(set, first), all.size());
  SharedText token;
  if (last > first) token.Assign(all.substr(first, last - first));
  Erase(0, static_cast<std::uint32_t>(last));
  return token;
}

int SharedText::Compare(const char* text) const {
  const int storage = CompareStorage(HasStorage(), text != nullptr);
  return storage >= 0 ? storage : ThreeWay(View().compare(text));
}

int SharedText::Compare(const SharedText& other) const {
  const int storage = CompareStorage(HasStorage(), other.HasStorage());
  return storage >= 0 ? storage : ThreeWay(View().compare(other.View()));
}

int SharedText::CompareNoCase(const char* text) const {
  const int storage = CompareStorage(HasStorage(), text != nullptr);
  return storage >= 0 ? storage : ThreeWay(CompareFolded(View(), text));
}

int SharedText::CompareNoCase(const SharedText& other) const {
  const int storage = CompareStorage(HasStorage(), other.HasStorage());
  return storage >= 0 ? storage : ThreeWay(CompareFolded(View(), other.View()));
}

void SharedText::EnsureUnique(std::uint32_t size, bool keep) {
  // Acquire: whoever let go before has read the text before it changes.
  const bool isUnique = HasStorage() && record_->references.load(std::memory_order_acquire) == 1;
  if (isUnique && Capacity() >= size) return;
  const std::uint32_t least = keep ? std::max(size, Capacity()) : size;
  Record* unique = MakeRecord(std::max(least, kLeastCapacity));
  if (keep) {
    std::memcpy(unique->Text(), record_->Text(), std::size_t{Length()} + 1);
    unique->length = Length();
  }
  Replace(unique);
}

void SharedText::SetLength(std::uint32_t length) {
  record_->length = length;
  record_->Text()[length] = 0;
}

}  // namespace Zef
