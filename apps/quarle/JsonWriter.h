// JsonWriter: one JSON document on standard output, written as it is made.
//
// For documents of any length: nothing is kept but a small buffer. The caller calls in the order
// of the document and closes what it opened; in objects every value has a key, in arrays none.
// Texts may hold any bytes: what is no UTF-8 becomes U+FFFD, control characters are escaped.
// Numbers that JSON does not know become null.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

class JsonWriter {
 public:
  JsonWriter() = default;
  /// Ends the document with a line end and hands it over to Print.
  ~JsonWriter();
  JsonWriter(const JsonWriter&) = delete;
  JsonWriter& operator=(const JsonWriter&) = delete;

  /// Starts an object or an array, as an array item or under a key.
  void BeginObject(std::string_view key = {}) { Open(key, '{'); }
  void EndObject() { Close('}'); }
  void BeginArray(std::string_view key = {}) { Open(key, '['); }
  void EndArray() { Close(']'); }
  /// Puts the next array item on a line of its own.
  void NewLine() { lineWanted_ = true; }

  void Text(std::string_view key, std::string_view value);
  void Number(std::string_view key, std::int64_t value);
  void Unsigned(std::string_view key, std::uint64_t value);
  /// The shortest decimal that reads back as the same float.
  void Float(std::string_view key, float value);
  void Bool(std::string_view key, bool value);
  void Null(std::string_view key);

  void TextItem(std::string_view value);
  void UnsignedItem(std::uint64_t value);

 private:
  void Separate();
  void Key(std::string_view key);
  void Open(std::string_view key, char bracket);
  void Close(char bracket);
  void Quote(std::string_view text);
  void Done();

  std::string buffer_;
  bool commaWanted_ = false;
  bool lineWanted_ = false;
};
