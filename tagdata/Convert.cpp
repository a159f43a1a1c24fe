#include "tagdata/Convert.h"

#include <charconv>
#include <cstring>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "kernel/standard/NumberText.h"
#include "tagdata/PLID.h"

/// The process's converters. Found under a shared lock and run without one.
class ConverterList {
 public:
  /// Never destroyed: static objects of other files may still convert, or leave it, at exit.
  static ConverterList& Instance() {
    static ConverterList* const list = new ConverterList;
    return *list;
  }

  void PushFront(HCSConverter* converter) {
    const std::unique_lock lock(mutex_);
    converter->next_ = head_;
    head_ = converter;
  }

  void Remove(HCSConverter* converter) {
    const std::unique_lock lock(mutex_);
    for (HCSConverter** link = &head_; *link != nullptr; link = &(*link)->next_) {
      if (*link != converter) continue;
      *link = converter->next_;
      return;
    }
  }

  /// One converter in `first`, or two in order; false when there is no way.
  bool FindWay(std::int32_t from, std::int32_t to, const HCSConverter*& first,
               const HCSConverter*& second) const {
    const std::shared_lock lock(mutex_);
    second = nullptr;
    first = Find(from, to);
    if (first != nullptr) return true;
    for (first = head_; first != nullptr; first = first->next_) {
      if (first->fromType != from) continue;
      second = Find(first->toType, to);
      if (second != nullptr) return true;
    }
    return false;
  }

 private:
  const HCSConverter* Find(std::int32_t from, std::int32_t to) const {
    const HCSConverter* at = head_;
    while (at != nullptr && (at->fromType != from || at->toType != to)) at = at->next_;
    return at;
  }

  mutable std::shared_mutex mutex_;
  HCSConverter* head_ = nullptr;

  // The conversions that are always there, in the order in which they enter the list.
  HCSConverter_TextInt textInt_{*this};
  HCSConverter_TextFloat textFloat_{*this};
  HCSConverter_TextPLID textPLID_{*this};
  HCSConverter_IntText intText_{*this};
  HCSConverter_FloatText floatText_{*this};
  HCSConverter_PLIDText plidText_{*this};
};

namespace {

template <class T>
CoreRef CoreOfValue(const T& value) {
  return HCSRawDataCore::Copy(&value, sizeof value);
}

CoreRef CoreOfText(std::string_view text) { return HCSRawDataCore::Copy(text.data(), text.size()); }

std::string_view TextOf(const HCSRawDataCore* source) {
  return source != nullptr ? source->Text() : std::string_view();
}

/// All values of a payload as text with commas between; null past what a text file can hold.
/// `print` takes a buffer and a value.
template <class T, class Print>
CoreRef JoinValues(const HCSRawDataCore* source, const Print& print) {
  constexpr std::size_t kMaxText = 0x7FFFFFFF;
  if (source == nullptr) return nullptr;
  std::string text;
  for (std::uint32_t at = 0; source->Size() - at >= sizeof(T); at += sizeof(T)) {
    if (text.size() > kMaxText) return nullptr;
    T value{};
    std::memcpy(&value, source->Data() + at, sizeof value);
    char digits[64];
    if (!text.empty()) text.push_back(',');
    text.append(digits, print(digits, digits + sizeof digits, value).ptr);
  }
  return CoreOfText(text);
}

}  // namespace

HCSConverter::HCSConverter(std::int32_t from, std::int32_t to)
    : HCSConverter(from, to, ConverterList::Instance()) {}

HCSConverter::HCSConverter(std::int32_t from, std::int32_t to, ConverterList& list)
    : fromType(from), toType(to), list_(list) {
  list_.PushFront(this);
}

HCSConverter::~HCSConverter() { list_.Remove(this); }

CoreRef HCSConverter_TextInt::Convert(const HCSRawDataCore* source) const {
  const std::string_view text = TextOf(source);
  if (!IsNumberText(text)) return nullptr;
  std::int32_t value = 0;
  const char* at = text.data();
  Zef::ScanDecimal(at, at + text.size(), value);
  return CoreOfValue(value);
}

CoreRef HCSConverter_TextFloat::Convert(const HCSRawDataCore* source) const {
  const std::string_view text = TextOf(source);
  if (!IsNumberText(text)) return nullptr;
  float value = 0;
  const char* at = text.data();
  Zef::ScanFloat(at, at + text.size(), value);
  return CoreOfValue(value);
}

CoreRef HCSConverter_TextPLID::Convert(const HCSRawDataCore* source) const {
  return CoreOfValue(PLID(TextOf(source), /*strict=*/false).Stored());
}

CoreRef HCSConverter_IntText::Convert(const HCSRawDataCore* source) const {
  return JoinValues<std::int32_t>(source, [](char* begin, char* end, std::int32_t value) {
    return std::to_chars(begin, end, value);
  });
}

// Six significant digits in the general form, which is what "%g" prints in the "C" locale.
CoreRef HCSConverter_FloatText::Convert(const HCSRawDataCore* source) const {
  return JoinValues<float>(source, [](char* begin, char* end, float value) {
    return std::to_chars(begin, end, value, std::chars_format::general, 6);
  });
}

CoreRef HCSConverter_PLIDText::Convert(const HCSRawDataCore* source) const {
  if (source == nullptr || source->Size() != PLID::kStoredSize) return nullptr;
  std::string text = PLID::FromStored(source->Data()).TagText();
  text.push_back('\0');
  return CoreOfText(text);
}

CoreRef ConvertTagData(std::int32_t fromType, const CoreRef& source, std::int32_t toType) {
  if (fromType == toType) return source;
  if (fromType == TagNull || toType == TagNull) return nullptr;
  const HCSConverter* first = nullptr;
  const HCSConverter* second = nullptr;
  if (!ConverterList::Instance().FindWay(fromType, toType, first, second)) return nullptr;
  CoreRef result = first->Convert(source.Get());
  // Also of nothing: an empty text is no number, but it is the null identifier.
  if (second != nullptr) result = second->Convert(result.Get());
  return result;
}

void ConvertTag(HCSChunk& chunk, std::int32_t toType) {
  chunk.SetData(toType, ConvertTagData(chunk.GetType(), chunk.GetCore(), toType));
}

bool IsNumberText(std::string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  if (text.empty()) return false;
  bool dot = false;
  bool exponent = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (Zef::IsDigit(text[i])) continue;
    if (text[i] == '.' && !dot) {
      dot = true;
    } else if (text[i] == 'e' && dot && !exponent) {
      exponent = true;
      if (i + 2 >= text.size() || (text[i + 1] != '+' && text[i + 1] != '-')) return false;
      ++i;
    } else {
      return text.find_first_not_of(" \t", i) == std::string_view::npos;
    }
  }
  return true;
}
