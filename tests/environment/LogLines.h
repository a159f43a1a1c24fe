// LogLines: the lines that the process logs while an object of this class lives.

#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "kernel/standard/Log.h"

namespace Test {

class LogLines {
 public:
  LogLines() {
    lines.clear();
    Zef::SetLogDebugHook([](const char* line) {
      const std::lock_guard guard(lock);
      lines.emplace_back(line);
    });
  }
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;
  ~LogLines() { Zef::SetLogDebugHook(nullptr); }

  static std::size_t CountWith(const std::string& text) {
    const std::lock_guard guard(lock);
    std::size_t count = 0;
    for (const std::string& line : lines) count += line.find(text) != std::string::npos ? 1 : 0;
    return count;
  }

 private:
  inline static std::mutex lock;
  inline static std::vector<std::string> lines;
};

}  // namespace Test
