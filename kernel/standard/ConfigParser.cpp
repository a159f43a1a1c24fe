#include "kernel/standard/ConfigParser.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <utility>
#include <variant>
#include <vector>

#include "kernel/standard/ConfigNode.h"
#include "kernel/standard/ConfigScanner.h"
#include "kernel/standard/File.h"
#include "kernel/standard/TextFile.h"
#include "kernel/standard/Trace.h"

namespace Zef {

namespace {

using Kind = ConfigToken::Kind;

/// Descent through the grammar, a function for each of its symbols. Each returns false at an
/// error, with the token at fault as the current one.
class Descent {
 public:
  explicit Descent(std::string_view text) : scanner_(text), token_(scanner_.Next()) {}

  bool Main(ConfigNode& root);
  float Version() const { return version_; }
  std::uint32_t Line() const { return scanner_.Line(); }
  std::string Message() const;

 private:
  using Item = std::variant<std::int32_t, float, PString>;

  bool Is(Kind kind) const { return token_.kind == kind; }
  bool Accept(Kind kind);
  void Reduce(std::uint32_t symbols) { symbols_ = symbols; }
  bool CountValue();

  bool NodeList(ConfigNode& parent, Kind end);
  bool Node(ConfigNode& parent);
  bool Assignment(ConfigNode& node);
  bool CompoundNodeList(ConfigNode& node);
  bool DataNode(ConfigNode& node);
  bool Text(ConfigNode& node, bool isNamed);
  bool TextWithChildren(ConfigNode& node);
  bool SkipSemicolon();
  bool BinaryData(ConfigNode& node);
  bool BracketedArray(ConfigNode& node);
  bool MoreItems();
  bool TakeItem();
  template <typename T>
  bool HoldsItem() const;
  template <typename T>
  void SetItemsAs(ConfigNode& node);
  void SetArray(ConfigNode& node);

  ConfigScanner scanner_;
  ConfigToken token_;
  std::uint32_t symbols_ = 0;  // open in the grammar: shifted and not yet reduced
  std::uint32_t values_ = 0;   // nodes and items so far
  float version_ = 0;
  std::string text_;         // the name or value in the making
  std::vector<Item> items_;  // the array in the making
};

bool Descent::Accept(Kind kind) {
  if (!Is(kind) || symbols_ >= ConfigParser::kMostSymbols) return false;
  ++symbols_;
  token_ = scanner_.Next();
  return true;
}

bool Descent::CountValue() { return ++values_ <= ConfigParser::kMostValues; }

// main: version nodeList; version: VERSION FLOAT
bool Descent::Main(ConfigNode& root) {
  if (!Accept(Kind::Version)) return false;
  const float version = token_.number;
  if (!std::isfinite(version) || !Accept(Kind::Float)) return false;
  version_ = version;
  Reduce(1);
  return NodeList(root, Kind::End);
}

// nodeList: node | nodeList node
bool Descent::NodeList(ConfigNode& parent, Kind end) {
  const std::uint32_t before = symbols_;
  do {
    if (!Node(parent)) return false;
    Reduce(before + 1);
  } while (!Is(end));
  return true;
}

// node: dataNode | STRING ASSIGN ... | STRING compoundNodeList
bool Descent::Node(ConfigNode& parent) {
  if (!CountValue()) return false;
  if (!Is(Kind::String)) return DataNode(parent.AddChild({}));
  text_ = token_.text;
  if (!Accept(Kind::String)) return false;
  if (Is(Kind::Assign)) return Assignment(parent.AddChild(PString(text_)));
  if (Is(Kind::Start)) return CompoundNodeList(parent.AddChild(PString(text_)));
  return Text(parent.AddChild({}), false);
}

// ASSIGN dataNode | ASSIGN dataNode SC | ASSIGN SC | ASSIGN STRING (separator) compoundNodeList
bool Descent::Assignment(ConfigNode& node) {
  if (!Accept(Kind::Assign)) return false;
  if (Is(Kind::Semicolon)) return Accept(Kind::Semicolon);
  if (!Is(Kind::String)) return DataNode(node) && SkipSemicolon();
  text_ = token_.text;
  return Accept(Kind::String) && Text(node, true);
}

// The second one that data of a named node may have.
bool Descent::SkipSemicolon() { return !Is(Kind::Semicolon) || Accept(Kind::Semicolon); }

// compoundNodeList: START END | START nodeList END
bool Descent::CompoundNodeList(ConfigNode& node) {
  if (!Accept(Kind::Start)) return false;
  if (!Is(Kind::EndBrace) && !NodeList(node, Kind::EndBrace)) return false;
  return Accept(Kind::EndBrace);
}

// dataNode, unless it begins with a text: those come to Text() with it
bool Descent::DataNode(ConfigNode& node) {
  if (Is(Kind::Hex)) return BinaryData(node);
  if (Is(Kind::Open)) return BracketedArray(node);
  const std::uint32_t before = symbols_;
  items_.clear();
  if (!TakeItem()) return false;
  Reduce(before + 1);
  if (Is(Kind::Comma)) {
    if (!MoreItems()) return false;
    SetArray(node);
  } else {
    std::visit([&](auto& item) { node.Set(std::move(item)); }, items_.front());
  }
  return Accept(Kind::Semicolon);
}

// stringNode SC | dataArray SC, behind the first text, which is in text_. With a name, another SC
// may follow, or the first text have child nodes behind it.
bool Descent::Text(ConfigNode& node, bool isNamed) {
  if (isNamed && Is(Kind::Start)) return TextWithChildren(node);
  if (Is(Kind::Comma)) {
    const std::uint32_t before = symbols_;
    if (!Accept(Kind::Comma)) return false;
    if (isNamed && Is(Kind::Start)) return TextWithChildren(node);
    items_.clear();
    items_.emplace_back(PString(text_));
    if (!CountValue() || !TakeItem()) return false;
    Reduce(before);
    if (!MoreItems()) return false;
    SetArray(node);
    return Accept(Kind::Semicolon) && (!isNamed || SkipSemicolon());
  }
  const bool isOneText = !Is(Kind::String);
  const std::uint32_t before = symbols_;
  while (Is(Kind::String)) {
    text_ += token_.text;
    if (!Accept(Kind::String)) return false;
    Reduce(before);
  }
  if (!Accept(Kind::Semicolon)) return false;
  if (isNamed && isOneText && Is(Kind::Start)) return TextWithChildren(node);
  node.Set(PString(text_));
  return !isNamed || SkipSemicolon();
}

bool Descent::TextWithChildren(ConfigNode& node) {
  node.Set(PString(text_));
  return CompoundNodeList(node);
}

bool Descent::BinaryData(ConfigNode& node) {
  std::vector<std::byte> bytes(token_.text.size());
  if (!bytes.empty()) std::memcpy(bytes.data(), token_.text.data(), bytes.size());
  node.Set(std::move(bytes));
  return Accept(Kind::Hex) && Accept(Kind::Semicolon);
}

// OPEN dataArray CLOSE SC
bool Descent::BracketedArray(ConfigNode& node) {
  items_.clear();
  if (!Accept(Kind::Open) || !TakeItem() || !MoreItems()) return false;
  SetArray(node);
  return Accept(Kind::Close) && Accept(Kind::Semicolon);
}

// The items of a dataArray behind its first one.
bool Descent::MoreItems() {
  const std::uint32_t before = symbols_;
  while (Is(Kind::Comma)) {
    if (!Accept(Kind::Comma) || !TakeItem()) return false;
    Reduce(before);
  }
  return true;
}

bool Descent::TakeItem() {
  if (!CountValue()) return false;
  switch (token_.kind) {
    case Kind::Integer:
      items_.emplace_back(token_.integer);
      break;
    case Kind::Float:
      items_.emplace_back(token_.number);
      break;
    case Kind::String:
      items_.emplace_back(PString(token_.text));
      break;
    default:
      return false;
  }
  return Accept(token_.kind);
}

template <typename T>
bool Descent::HoldsItem() const {
  return std::any_of(items_.begin(), items_.end(),
                     [](const Item& item) { return std::holds_alternative<T>(item); });
}

template <typename T>
void Descent::SetItemsAs(ConfigNode& node) {
  std::vector<T> values(items_.size());
  ConfigNode converter;
  for (std::size_t i = 0; i < values.size(); ++i) {
    std::visit([&](auto& item) { converter.Set(std::move(item)); }, items_[i]);
    converter.Get(values[i]);
  }
  node.Set(std::move(values));
}

// The narrowest type that holds all items.
void Descent::SetArray(ConfigNode& node) {
  if (HoldsItem<PString>()) return SetItemsAs<PString>(node);
  if (HoldsItem<float>()) return SetItemsAs<float>(node);
  SetItemsAs<std::int32_t>(node);
}

std::string Descent::Message() const {
  constexpr std::size_t kMostShown = 100;
  if (values_ > ConfigParser::kMostValues) return "Too many values.";
  if (Is(Kind::Invalid)) return "Syntax error.";
  const bool isAtEnd = Is(Kind::End) || Is(Kind::Unterminated);
  std::string_view text = isAtEnd ? "end of file" : token_.text.substr(0, kMostShown);
  if (Is(Kind::Hex)) text = "``";
  return "Syntax error at " + std::string(text) + ".";
}

void Report(const std::string& source, std::uint32_t line, const std::string& message) {
  std::string text = source;
  if (line != 0) text.append("(").append(std::to_string(line)).append(")");
  text.append(": ").append(message);
  Trace("%s", text.c_str());
}

}  // namespace

ConfigParser::ConfigParser(std::string_view text, std::string_view sourceName)
    : text_(text), sourceName_(sourceName) {
  if (IsMarkedWide(text)) {
    owned_ = NarrowMarked(text);
    text_ = owned_;
  }
  while (text_.ends_with('\0')) text_.remove_suffix(1);
}

ConfigParser::ConfigParser(File& file) : sourceName_(file.Name()) {
  isTooLong_ = !ReadTextFile(file, kLongestFile, owned_);
  text_ = owned_;
}

ConfigParseStatus ConfigParser::Parse(ConfigNode& result) {
  if (isTooLong_) {
    Report(sourceName_, 0, "The file is too long.");
    return ConfigParseStatus::Failed;
  }
  Descent descent(text_);
  ConfigNode root;
  if (!descent.Main(root)) {
    Report(sourceName_, descent.Line(), descent.Message());
    return ConfigParseStatus::Failed;
  }
  version_ = descent.Version();
  result.AddChildren(root);
  return ConfigParseStatus::Ok;
}

}  // namespace Zef
