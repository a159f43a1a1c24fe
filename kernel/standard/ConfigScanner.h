// ConfigScanner: cuts a configuration text into tokens. Only ConfigParser uses it.
//
// One pass, one token at a time, no look-ahead but white space between back-quotes. A text without
// escapes is a view into the source; others are put together in one buffer that is used again.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Zef {

struct ConfigToken {
  enum class Kind : std::uint8_t {
    End,           ///< of the text
    Unterminated,  ///< the text ends within a quote, a comment or a hex run
    Invalid,       ///< a character that no token begins with
    Version,
    Start,
    EndBrace,
    Open,
    Close,
    Semicolon,
    Comma,
    Assign,  ///< "=", or ":", which starts a raw text
    Integer,
    Float,  ///< the special numbers as well
    Hex,    ///< its bytes are the token's text
    String,
  };

  Kind kind = Kind::End;
  std::string_view text;  ///< valid until the next token; of a String without quotes and escapes
  std::int32_t integer = 0;
  float number = 0;
};

class ConfigScanner {
 public:
  /// `text` must outlive the scanner.
  explicit ConfigScanner(std::string_view text) : text_(text) {}

  /// The token behind the last one; End for ever once the text is used up.
  ConfigToken Next();
  /// Line of the last character taken, from 1 on.
  std::uint32_t Line() const { return line_; }

 private:
  enum class State { Initial, Node, Raw };

  bool AtEnd() const { return position_ == text_.size(); }
  char Peek() const { return text_[position_]; }
  ConfigToken Take(ConfigToken::Kind kind, std::size_t length);
  void SkipTo(std::size_t position);
  bool AtComment() const;
  bool SkipComment();
  bool SkipBlanks();

  ConfigToken NextVersion();
  ConfigToken NextNode();
  ConfigToken NextRun();
  bool TakeSpecialNumber(ConfigToken& token);
  bool TakeRaw(ConfigToken& token);
  ConfigToken TakeQuoted();
  bool TakeText(std::uint8_t stops, std::string_view& text);
  void TakeEscape();
  bool SkipHexMark();
  ConfigToken TakeHex();

  std::string_view text_;
  std::size_t position_ = 0;
  std::uint32_t line_ = 1;
  State state_ = State::Initial;
  std::string buffer_;
};

}  // namespace Zef
