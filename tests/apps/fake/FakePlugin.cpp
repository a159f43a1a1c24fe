#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>

#include "plugin/gne_d.h"

// The environment variable FAKE_PLUGIN says what goes wrong.

namespace {

std::string Fault() {
  const char* const fault = std::getenv("FAKE_PLUGIN");
  return fault != nullptr ? fault : "";
}

}  // namespace

bool Diff(const char* indexName, const char*, const char*, const char* outputRoot) {
  std::ofstream(std::string(outputRoot) + "data/" + indexName + ".MUKAdd") << "half a set";
  if (Fault() == "crash") std::raise(SIGKILL);
  return false;
}

bool Patch(const char* indexName, const char* indexRoot, const char*) {
  const std::string what = Fault();
  const std::string index = std::string(indexRoot) + "/" + indexName;
  if (what == "damage") std::ofstream(index) << "half an index";
  if (what == "other") std::ofstream(index) << std::ifstream("old/assets.mkx").rdbuf();
  if (what == "crash") std::raise(SIGSEGV);
  return what != "refuse";
}

const char* GetName() { return "gne_d"; }
