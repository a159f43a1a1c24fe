#include "database/CodeList.h"

#include "kernel/standard/CodePage.h"
#include "kernel/standard/PopWord.h"

namespace {

using Zef::PopWord;

bool MatchWord(std::string_view list, std::string_view word) {
  const bool absent = !word.empty() && word.front() == '-';
  if (absent) word.remove_prefix(1);
  return !word.empty() && HasCode(list, word) != absent;
}

bool MatchAll(std::string_view list, std::string_view words) {
  if (words.ends_with(';')) return false;
  do {
    if (!MatchWord(list, PopWord(words, ';'))) return false;
  } while (!words.empty());
  return true;
}

bool EndsKeyword(char character) {
  return std::string_view(" \t\r\n'\",()[]{}").find(character) != std::string_view::npos;
}

}  // namespace

bool HasCode(std::string_view list, std::string_view code) {
  for (std::size_t at = list.find(code); at != std::string_view::npos;
       at = list.find(code, at + 1)) {
    const std::size_t end = at + code.size();
    const bool starts = at == 0 || list[at - 1] == ';';
    if (starts && (end == list.size() || list[end] == ';')) return true;
  }
  return false;
}

bool MatchCodes(std::string_view list, std::string_view expression) {
  if (expression.empty()) return true;
  while (!expression.empty()) {
    if (MatchAll(list, PopWord(expression, '|'))) return true;
  }
  return false;
}

void AddCodes(std::string& target, std::string_view words) {
  while (!words.empty()) {
    const std::string_view word = PopWord(words, ';');
    if (word.empty() || HasCode(target, word)) continue;
    if (!target.empty()) target += ';';
    target += word;
  }
}

std::string KeywordForm(std::string_view text) {
  std::string words;
  for (const char character : text) {
    if (!EndsKeyword(character)) {
      words += Zef::FoldAscii(character);
    } else if (!words.empty() && words.back() != ';') {
      words += ';';
    }
  }
  return words;
}
