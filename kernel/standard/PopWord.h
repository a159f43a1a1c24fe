// PopWord: a list such as "TR;TV;LOCO", or a path, taken apart from the front.
//
// Loop while the text is not empty; empty words come too, but for one behind a last separator.
// Cost: one pass, no copies. Any thread.

#pragma once

#include <string_view>

namespace Zef {

/// Takes what stands before the first of `separators`, a character or a text of them, and that
/// separator off the text. A text without one is taken whole.
template <class Separators>
std::string_view PopWord(std::string_view& text, Separators separators) {
  const std::size_t end = text.find_first_of(separators);
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return word;
}

}  // namespace Zef
