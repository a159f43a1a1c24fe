#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>

#include "plugin/gne_d.h"

// The environment variable FAKE_PLUGIN says what goes wrong.

bool Diff(const char*, const char*, const char*, const char*) { return false; }

bool Patch(const char* indexName, const char* indexRoot, const char*) {
  const char* const fault = std::getenv("FAKE_PLUGIN");
  const std::string what = fault != nullptr ? fault : "";
  const std::string index = std::string(indexRoot) + "/" + indexName;
  if (what == "damage") std::ofstream(index) << "half an index";
  if (what == "other") std::ofstream(index) << std::ifstream("old/assets.mkx").rdbuf();
  if (what == "crash") std::raise(SIGSEGV);
  return what != "refuse";
}

const char* GetName() { return "gne_d"; }
