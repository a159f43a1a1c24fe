// Options: named switches of the program, from its environment and from text files beside it.
//
// A switch text is a row of "-name=value", "+name=value" or "/name"; names are looked up in any
// case. A later text replaces the values of an earlier one, and '+' appends to them. The language
// and the sources are told in docs/format-config.md.
//
// Texts are taken in one pass, and a lookup costs one hash. Not locked: options are put together
// when the program starts, on one thread, and only read afterwards. Value walks change state too.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "kernel/KeyedHash.h"

namespace Zef {

class Options {
 public:
  static constexpr std::uint64_t kLongestText = std::uint64_t{1} << 20;  ///< bytes of a file

  /// The options of this process, empty until somebody loads them.
  static Options& Process();

  /// Parses a switch text, up to its first zero byte. Any text is legal.
  void Add(std::string_view text);
  /// Parses a text file in the code page or in UTF-16LE with a mark. A file that cannot be read,
  /// or is larger than kLongestText, changes nothing.
  void Load(const char* path);
  /// Environment variables and files of the module that holds this code.
  void LoadForProgram();
  /// The same for a module at `path`, whose name and folder decide; it need not exist.
  void LoadForModule(const std::string& path);

  /// False when there is no such option; `value` is then `fallback`.
  bool Get(std::string_view name, std::string& value, std::string_view fallback) const;
  /// False for '-', "false", "off"; true for '+', "true", "on"; all else, and so a bare switch,
  /// inverts the fallback.
  bool Get(std::string_view name, bool& value, bool fallback) const;
  /// Leading decimal digits with their sign, held to the range; 0 for a text that has none.
  bool Get(std::string_view name, std::int32_t& value, std::int32_t fallback) const;
  /// Leading decimal number; 0 for a text that has none.
  bool Get(std::string_view name, float& value, float fallback) const;
  bool Has(std::string_view name) const;

  /// Starts a walk over the pieces of a value between any of the bytes `delimiters`. A new value
  /// ends the walk.
  void BeginValues(std::string_view name, std::string_view delimiters);
  /// Next piece that is not empty; false, `value` untouched, at the end or without a walk.
  bool NextValue(std::string_view name, std::string& value);

 private:
  struct Walk {
    std::string delimiters;
    std::size_t at = 0;  // offset in the value
  };
  template <typename T>
  using ByFoldedName = std::unordered_map<std::string, T, KeyedTextHash>;

  void Set(std::string_view name, std::string_view value, bool append);
  const std::string* Find(std::string_view name) const;
  void AddEnvironment(const std::string& name);

  ByFoldedName<std::string> values_;
  ByFoldedName<Walk> walks_;  // few: only of options that were asked for values
};

}  // namespace Zef
