#include "kernel/standard/PString.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <string>

#include "kernel/standard/CodePage.h"
#include "kernel/standard/FormatBuffer.h"
#include "kernel/standard/StringPool.h"

namespace Zef {
namespace {

PString::Record* Intern(std::string_view text) {
  StringPool* pool = text.data() == nullptr ? nullptr : StringPool::Get();
  return pool == nullptr ? nullptr : pool->Intern(text);
}

std::string_view ViewOf(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

int SignOf(int order) { return (order > 0) - (order < 0); }

}  // namespace

PString::PString(const char* text) : record_(Intern(ViewOf(text))) {}

PString::PString(const char* text, std::uint32_t length)
    : PString(text == nullptr ? std::string_view() : std::string_view(text, length)) {}

PString::PString(std::string_view text) : record_(Intern(text)) {}

PString PString::Limited(const char* text, std::int32_t maximum) {
  if (text == nullptr || maximum < 0) return {text};
  return PString(std::string_view(text, strnlen(text, static_cast<std::size_t>(maximum))));
}

void PString::Insert(const char* text, std::uint32_t position) {
  InsertView(ViewOf(text), position);
}

void PString::InsertView(std::string_view text, std::uint32_t position) {
  if (text.empty()) return;
  StringPool* pool = StringPool::Get();
  if (pool == nullptr) return;
  if (record_ == nullptr) {
    record_ = pool->Intern(text);
    return;
  }
  const std::uint32_t length = record_->length;
  if (position > length || text.size() > StringPool::kMostLength - length) return;
  // The text may be a part of this one, which is about to move.
  const std::string copy(text);
  const auto newLength = static_cast<std::uint32_t>(length + copy.size());
  record_ = pool->Change(record_, newLength, [&](char* bytes) {
    std::memmove(bytes + position + copy.size(), bytes + position, length - position);
    copy.copy(bytes + position, copy.size());
  });
}

int PString::AppendFormat(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const FormatBuffer buffer(format, arguments);
  va_end(arguments);
  buffer.RaiseIfNoMemory();
  InsertView(buffer.View(), Length());
  return buffer.Result();
}

void PString::Erase(std::uint32_t position, std::uint32_t count) {
  const std::uint32_t length = Length();
  if (count == 0 || position >= length) return;
  StringPool* pool = StringPool::Get();
  if (pool == nullptr) return;
  const std::uint32_t cut = std::min(count, length - position);
  record_ = pool->Change(record_, length - cut, [&](char* bytes) {
    std::memmove(bytes + position, bytes + position + cut, length - position - cut);
  });
}

int PString::Format(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const FormatBuffer buffer(format, arguments);
  va_end(arguments);
  buffer.RaiseIfNoMemory();
  *this = buffer.Length() == 0 ? PString() : PString(buffer.View());
  return buffer.Result();
}

void PString::LowerCase() { ChangeCase(FoldAscii); }

void PString::UpperCase() { ChangeCase(UpperAscii); }

void PString::ChangeCase(char (*map)(char)) {
  const std::string_view text = View();
  const bool isSame = std::all_of(text.begin(), text.end(), [&](char c) { return map(c) == c; });
  StringPool* pool = isSame ? nullptr : StringPool::Get();
  if (pool == nullptr) return;
  const std::uint32_t length = Length();
  record_ = pool->Change(record_, length,
                         [&](char* bytes) { std::transform(bytes, bytes + length, bytes, map); });
}

bool Less(const PString& a, const PString& b) {
  if (a.IsNull() || b.IsNull()) return a.IsNull() && !b.IsNull();
  return a.View() < b.View();
}

int PString::Compare(const char* text) const {
  return SignOf(ViewOf(Text()).compare(ViewOf(text)));
}

int PString::CompareNoCase(const PString& other) const {
  return record_ == other.record_ ? 0 : CompareFolded(View(), other.View());
}

int PString::CompareNoCase(const char* text) const {
  return CompareFolded(ViewOf(Text()), ViewOf(text));
}

bool PString::EqualNoCase(const PString& other) const {
  if (record_ == other.record_) return true;
  return !IsNull() && !other.IsNull() && EqualFolded(View(), other.View());
}

}  // namespace Zef
