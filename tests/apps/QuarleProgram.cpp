#include "tests/apps/QuarleProgram.h"

// Compiled once for all files that use it.
template class nlohmann::basic_json<>;

nlohmann::json Test::Parsed(const std::string& text) { return nlohmann::json::parse(text); }
