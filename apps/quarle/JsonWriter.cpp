#include "apps/quarle/JsonWriter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "apps/quarle/Output.h"
#include "apps/quarle/Utf8.h"

namespace {

constexpr std::size_t kFlushSize = 1u << 16;

void AppendEscape(std::string& out, std::string_view control) {
  static constexpr char kDigits[] = "0123456789abcdef";
  const auto code = static_cast<std::uint8_t>(control.back());
  out += "\\u00";
  out += kDigits[code >> 4];
  out += kDigits[code & 15];
}

}  // namespace

JsonWriter::~JsonWriter() {
  buffer_ += '\n';
  Print(buffer_);
}

void JsonWriter::Separate() {
  if (commaWanted_) buffer_ += ',';
  if (lineWanted_) buffer_ += '\n';
  commaWanted_ = lineWanted_ = false;
}

void JsonWriter::Key(std::string_view key) {
  Separate();
  if (key.empty()) return;
  Quote(key);
  buffer_ += ':';
}

void JsonWriter::Open(std::string_view key, char bracket) {
  Key(key);
  buffer_ += bracket;
}

void JsonWriter::Close(char bracket) {
  commaWanted_ = false;
  Separate();
  buffer_ += bracket;
  Done();
}

void JsonWriter::Done() {
  commaWanted_ = true;
  if (buffer_.size() < kFlushSize) return;
  Print(buffer_);
  buffer_.clear();
}

void JsonWriter::Quote(std::string_view text) {
  buffer_ += '"';
  while (true) {
    const std::size_t plain = PlainPrefixSize(text);
    buffer_ += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty()) break;
    const std::size_t size = Utf8CharacterSize(text);
    const std::string_view character = text.substr(0, std::max<std::size_t>(size, 1));
    if (size == 0) {
      buffer_ += kReplacementCharacter;
    } else if (IsControlCharacter(character)) {
      AppendEscape(buffer_, character);
    } else {
      if (character == "\"" || character == "\\") buffer_ += '\\';
      buffer_ += character;
    }
    text.remove_prefix(character.size());
  }
  buffer_ += '"';
}

void JsonWriter::Text(std::string_view key, std::string_view value) {
  Key(key);
  Quote(value);
  Done();
}

void JsonWriter::Number(std::string_view key, std::int64_t value) {
  Key(key);
  buffer_ += std::to_string(value);
  Done();
}

void JsonWriter::Unsigned(std::string_view key, std::uint64_t value) {
  Key(key);
  buffer_ += std::to_string(value);
  Done();
}

void JsonWriter::Float(std::string_view key, float value) {
  if (!std::isfinite(value)) return Null(key);
  Key(key);
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
  buffer_.append(text.data(), end);
  Done();
}

void JsonWriter::Bool(std::string_view key, bool value) {
  Key(key);
  buffer_ += value ? "true" : "false";
  Done();
}

void JsonWriter::Null(std::string_view key) {
  Key(key);
  buffer_ += "null";
  Done();
}

void JsonWriter::TextItem(std::string_view value) { Text({}, value); }

void JsonWriter::UnsignedItem(std::uint64_t value) { Unsigned({}, value); }
