// Fuzzes configuration texts and switch texts: any bytes are parsed as both.
//
// A parsed tree must equal its copy and a second parse, and its getters must agree with each
// other; a switch text must leave options that can be read.

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "fuzz/Require.h"
#include "kernel/standard/ConfigNode.h"
#include "kernel/standard/ConfigParser.h"
#include "kernel/standard/Options.h"
#include "kernel/standard/Trace.h"

namespace {

using Zef::ConfigNode;

/// Bit for bit: a float that is no number equals itself.
bool IsSame(const ConfigNode& a, const ConfigNode& b) {
  float left = 0;
  float right = 0;
  if (a.GetType() == ConfigNode::Type::Float) {
    Require(a.Get(left) && b.Get(right));
    if (std::memcmp(&left, &right, sizeof left) != 0) return false;
  } else if (a.GetType() != ConfigNode::Type::FloatArray && a.GetValue() != b.GetValue()) {
    return false;
  }
  if (!(a.Name() == b.Name()) || a.CountChildren() != b.CountChildren()) return false;
  auto other = b.Children().begin();
  for (const ConfigNode* child : a.Children()) {
    if (!IsSame(*child, **other)) return false;
    ++other;
  }
  return true;
}

void CheckGetters(const ConfigNode& node) {
  std::int32_t integer = 0;
  float number = 0;
  bool truth = false;
  Zef::PString text;
  std::array<float, 4> four{};
  std::array<float, 3> angles{};
  const bool isOne = node.Get(integer);
  Require(node.Get(number) == isOne && node.Get(text) == isOne && (isOne || !node.Get(truth)));
  const std::size_t numbers = node.Integers().size() + node.Floats().size();
  Require(node.Get(four) == (numbers > 0) && node.Get(angles) == (numbers == 3));
  for (const ConfigNode* child : node.Children()) {
    Require(!node.Child(child->Name()).IsMissing());
    CheckGetters(*child);
  }
}

void CheckConfig(std::string_view text) {
  ConfigNode root;
  Zef::ConfigParser parser(text, "fuzz");
  const bool isGood = parser.Parse(root) == Zef::ConfigParseStatus::Ok;
  Require(isGood == (root.CountChildren() > 0));
  CheckGetters(root);
  const ConfigNode copy(root);
  Require(IsSame(root, copy));
  ConfigNode twice;
  twice.AddChildren(root);
  Require((parser.Parse(root) == Zef::ConfigParseStatus::Ok) == isGood);
  Require(IsSame(root, twice));
}

void CheckOptions(std::string_view text) {
  Zef::Options options;
  options.Add(text);
  options.Add("-last=1,2");
  options.BeginValues("last", ",");
  std::string value;
  int values = 0;
  while (options.NextValue("LAST", value)) ++values;
  Require(values == 2 && value == "2");
  // Any name that the text can have given is one of its pieces.
  const std::string_view name = text.substr(0, text.find_first_of(" \t\r\n=+-/"));
  if (!options.Get(name, value, "")) return;
  Require(value.size() <= text.size() * 2);
  std::int32_t integer = 0;
  float number = 0;
  bool truth = false;
  bool inverse = false;
  Require(options.Get(name, integer, 1) && options.Get(name, number, 1));
  Require(options.Get(name, truth, true) && options.Get(name, inverse, false));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Zef::SetTraceSink([](const char* line) {
    const std::string_view text(line);
    Require(text.size() < 200);
    for (const char c : text) Require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F);
  });
  const std::string text(data, data + size);
  CheckConfig(text);
  CheckConfig("ver 1.0 " + text);
  CheckOptions(text);
  return 0;
}
