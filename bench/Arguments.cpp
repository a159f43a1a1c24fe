#include "bench/Arguments.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <exception>
#include <utility>

Arguments::Arguments(std::string program, std::string about, std::string example)
    : program_(std::move(program)), about_(std::move(about)), example_(std::move(example)) {}

int Arguments::Run(int argc, char** argv, const std::function<int()>& body) const try {
  if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
    PrintUsage(stdout);
    return 0;
  }
  if (Read(argc, argv)) return body();
  PrintUsage(stderr);
  return 2;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s: %s\n", program_.c_str(), error.what());
  return 1;
}

bool Arguments::Read(int argc, char** argv) const {
  std::size_t places = 0;
  for (int i = 1; i < argc; ++i) {
    if (argv[i][0] == '-') {
      if (i + 1 == argc || !Set(argv[i], argv[i + 1])) return false;
      ++i;
    } else {
      if (places == places_.size()) return false;
      *places_[places++].path = argv[i];
    }
  }
  return places == places_.size();
}

bool Arguments::Set(const std::string& name, const char* text) const {
  const char* end = text + std::strlen(text);
  std::uint64_t number = 0;
  const auto result = std::from_chars(text, end, number);
  if (result.ec != std::errc() || result.ptr != end) return false;
  for (const NumberOption& option : options_) {
    if (option.name != name || number < option.least || number > option.most) continue;
    option.set(number);
    return true;
  }
  return false;
}

void Arguments::PrintUsage(std::FILE* to) const {
  std::fprintf(to, "%s\nUsage: %s [OPTIONS]", about_.c_str(), program_.c_str());
  for (const NamedPlace& place : places_) std::fprintf(to, " %s", place.name.c_str());
  std::fputs("\n", to);
  for (const NumberOption& option : options_) {
    std::fprintf(to, "  %s NUMBER  %s\n", option.name.c_str(), option.help.c_str());
  }
  std::fprintf(to, "Example: %s %s\n", program_.c_str(), example_.c_str());
}
