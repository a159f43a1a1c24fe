// Convert: turns the payload of one tag type into that of another.
//
// All built-in conversions pass through text: int, float and identifier each to it and from it,
// so any two of them convert in two steps. Null, containers, binary and the reserved string
// have none. Numbers print and parse as in the "C" locale.
//
// Thread-safe; a converter must live until nobody converts any more. A new built-in one is a
// class here and a line in the list of Convert.cpp.

#pragma once

#include <cstdint>
#include <string_view>

#include "tagdata/HCSChunk.h"

class ConverterList;

/// One conversion. Construction puts it at the front of the process's list, destruction takes it
/// out; the front one wins, also over the built-in ones, which enter the list when it is made. It
/// is found before its derived part stands: make static objects only, before there are threads.
class HCSConverter {
 public:
  HCSConverter(std::int32_t from, std::int32_t to);
  HCSConverter(std::int32_t from, std::int32_t to, ConverterList& list);
  virtual ~HCSConverter();
  HCSConverter(const HCSConverter&) = delete;
  HCSConverter& operator=(const HCSConverter&) = delete;

  /// Null when the payload cannot be converted. A null `source` is an empty payload.
  virtual CoreRef Convert(const HCSRawDataCore* source) const = 0;

  const std::int32_t fromType;
  const std::int32_t toType;

 private:
  friend class ConverterList;
  ConverterList& list_;
  HCSConverter* next_ = nullptr;
};

/// A number's text gives one value; any other text none.
class HCSConverter_TextInt final : public HCSConverter {
 public:
  explicit HCSConverter_TextInt(ConverterList& list) : HCSConverter(TagString, TagInt, list) {}
  CoreRef Convert(const HCSRawDataCore* source) const override;
};

class HCSConverter_TextFloat final : public HCSConverter {
 public:
  explicit HCSConverter_TextFloat(ConverterList& list) : HCSConverter(TagString, TagFloat, list) {}
  CoreRef Convert(const HCSRawDataCore* source) const override;
};

/// Any text gives an identifier, a bad or empty one the null identifier.
class HCSConverter_TextPLID final : public HCSConverter {
 public:
  explicit HCSConverter_TextPLID(ConverterList& list) : HCSConverter(TagString, TagPLID, list) {}
  CoreRef Convert(const HCSRawDataCore* source) const override;
};

/// All values, joined by commas, without a closing zero.
class HCSConverter_IntText final : public HCSConverter {
 public:
  explicit HCSConverter_IntText(ConverterList& list) : HCSConverter(TagInt, TagString, list) {}
  CoreRef Convert(const HCSRawDataCore* source) const override;
};

class HCSConverter_FloatText final : public HCSConverter {
 public:
  explicit HCSConverter_FloatText(ConverterList& list) : HCSConverter(TagFloat, TagString, list) {}
  CoreRef Convert(const HCSRawDataCore* source) const override;
};

/// The tag form with its closing zero; none for a payload that is not 8 bytes long.
class HCSConverter_PLIDText final : public HCSConverter {
 public:
  explicit HCSConverter_PLIDText(ConverterList& list) : HCSConverter(TagPLID, TagString, list) {}
  CoreRef Convert(const HCSRawDataCore* source) const override;
};

/// `source` itself when the types are equal; else through one converter or, through a type
/// between, two; null when there is no way or the last step fails. The second step takes what the
/// first could not convert for an empty payload.
CoreRef ConvertTagData(std::int32_t fromType, const CoreRef& source, std::int32_t toType);

/// Converts a heap tag in place; an impossible conversion leaves it without payload.
void ConvertTag(HCSChunk& chunk, std::int32_t toType);

/// An optional "-", digits, at most one ".", behind it at most one "e" with a sign and something
/// more; blanks at the end are ignored. Blanks alone count as a number, "-" and "" do not.
bool IsNumberText(std::string_view text);
