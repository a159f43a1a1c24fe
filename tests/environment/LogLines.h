// LogLines: what the process logs while an object of this class lives, on one thread.

#pragma once

#include <string>

#include "kernel/standard/Log.h"

namespace Test {

class LogLines {
 public:
  LogLines() {
    Zef::SetLogDebugHook([](const char* line) { text += line; });
  }
  ~LogLines() {
    Zef::SetLogDebugHook(nullptr);
    text.clear();
  }

  /// How often the words were logged.
  static int Count(const std::string& words) {
    int count = 0;
    for (std::size_t at = 0; (at = text.find(words, at)) != std::string::npos; ++at) ++count;
    return count;
  }

 private:
  inline static std::string text;
};

}  // namespace Test
