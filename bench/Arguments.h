// Arguments: what a generator of content is called with: options with a number each, such as
// "--seed 7", and places to write to. Prints the usage itself.

#pragma once

#include <concepts>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <limits>
#include <string>
#include <vector>

class Arguments {
 public:
  /// Texts for the usage: name of the program, one sentence, arguments of an example.
  Arguments(std::string program, std::string about, std::string example);

  /// An option that may be missing; `value` keeps what it is then.
  template <std::unsigned_integral Number>
  void Option(const char* name, const char* help, Number& value, std::uint64_t least = 0,
              std::uint64_t most = std::numeric_limits<Number>::max()) {
    options_.push_back({name, help, least, most,
                        [&value](std::uint64_t number) { value = static_cast<Number>(number); }});
  }
  /// The next place, which has to be there.
  void Place(const char* name, std::string& path) { places_.push_back({name, &path}); }

  /// Reads all arguments and calls `body`. Its result is the exit status; 1 with a line on stderr
  /// for what it throws, 2 for wrong arguments, 0 for a call of "--help".
  int Run(int argc, char** argv, const std::function<int()>& body) const;

 private:
  struct NumberOption {
    std::string name;
    std::string help;
    std::uint64_t least;
    std::uint64_t most;
    std::function<void(std::uint64_t)> set;
  };
  struct NamedPlace {
    std::string name;
    std::string* path;
  };

  bool Read(int argc, char** argv) const;
  bool Set(const std::string& name, const char* text) const;
  void PrintUsage(std::FILE* to) const;

  std::string program_;
  std::string about_;
  std::string example_;
  std::vector<NumberOption> options_;
  std::vector<NamedPlace> places_;
};
