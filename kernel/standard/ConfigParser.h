// ConfigParser: makes a tree of ConfigNodes of a configuration text.
//
// The language is told in docs/format-config.md. Texts are hostile: parsing takes one pass, time
// and memory grow linearly with the text, and a text that nests too deep or holds too many values
// fails. The first error ends a parse; it goes to the trace with source and line.
//
// A parser belongs to one thread; any number of them may work at once.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Zef {

class ConfigNode;
class File;

enum class ConfigParseStatus : std::uint32_t { Ok = 0, Failed = 3 };

class ConfigParser {
 public:
  static constexpr std::uint64_t kLongestFile = std::uint64_t{128} << 20;
  /// Symbols that the grammar may have open at once; a level of braces takes two to six.
  static constexpr std::uint32_t kMostSymbols = 500;
  /// Nodes and array items of one text.
  static constexpr std::uint32_t kMostValues = 1U << 22;

  /// Bytes of the code page, or UTF-16LE with a mark; zeros at the end, as a caller may count them
  /// in, are left out. `text` must live as long as the parser; `sourceName` stands in error
  /// reports.
  ConfigParser(std::string_view text, std::string_view sourceName);
  /// Reads the rest of an open file, which may raise FileEx. A file above kLongestFile fails to
  /// parse.
  explicit ConfigParser(File& file);
  ConfigParser(const ConfigParser&) = delete;
  ConfigParser& operator=(const ConfigParser&) = delete;

  /// Adds the nodes of the text to the children of `result`; none of them on failure.
  [[nodiscard]] ConfigParseStatus Parse(ConfigNode& result);

  /// Number in the header of the text that was parsed; 0 before.
  float Version() const { return version_; }

 private:
  std::string owned_;      // the text, unless it is the caller's
  std::string_view text_;  // in the code page
  std::string sourceName_;
  bool isTooLong_ = false;
  float version_ = 0;
};

}  // namespace Zef
