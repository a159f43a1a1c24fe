#include "kernel/standard/ConfigNode.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <string>

#include "kernel/FixedBlockPool.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/NumberText.h"

namespace Zef {

namespace {

constexpr std::uint32_t kNodesPerChunk = 512;
constexpr int kSignificantDigits = 8;

static_assert(std::variant_size_v<ConfigNode::Value> ==
              static_cast<std::size_t>(ConfigNode::Type::StringArray) + 1);

/// Never destroyed: trees in static objects of other files give their nodes back at exit.
FixedBlockPool& NodePool() {
  alignas(FixedBlockPool) static std::byte place[sizeof(FixedBlockPool)];
  static auto* const pool =
      ::new (place) FixedBlockPool(sizeof(ConfigNode), kNodesPerChunk, alignof(ConfigNode));
  return *pool;
}

std::int32_t CutToInteger(float number) {
  using Limits = std::numeric_limits<std::int32_t>;
  if (std::isnan(number)) return 0;
  const double whole = std::trunc(static_cast<double>(number));
  return static_cast<std::int32_t>(std::clamp<double>(whole, Limits::min(), Limits::max()));
}

/// What the leading part of a text says, 0 when it says nothing.
template <typename T>
T Leading(bool (*scan)(const char*&, const char*, T&), const PString& text) {
  T value = 0;
  const char* at = text.Text();
  scan(at, at + text.Length(), value);
  return value;
}

}  // namespace

const ConfigNode& ConfigNode::Missing() {
  static const ConfigNode missing;
  return missing;
}

// Delegates, so that a copy that fails half way is destroyed with the children it has.
ConfigNode::ConfigNode(const ConfigNode& other) : ConfigNode(other.name_) {
  value_ = other.value_;
  for (const ConfigNode* child : other.children_) Adopt(std::make_unique<ConfigNode>(*child));
}

// The copy is whole before anything of this tree goes: `other` may be a part of it.
ConfigNode& ConfigNode::operator=(const ConfigNode& other) {
  ConfigNode copy(other);
  std::swap(name_, copy.name_);
  std::swap(value_, copy.value_);
  std::swap(children_, copy.children_);
  return *this;
}

ConfigNode::~ConfigNode() {
  for (const ConfigNode* child : children_) delete child;
}

bool ConfigNode::Get(std::int32_t& value) const {
  if (const auto* integer = std::get_if<std::int32_t>(&value_)) {
    value = *integer;
  } else if (const auto* number = std::get_if<float>(&value_)) {
    value = CutToInteger(*number);
  } else if (const auto* text = std::get_if<PString>(&value_)) {
    value = Leading(ScanInteger, *text);
  } else {
    return false;
  }
  return true;
}

bool ConfigNode::Get(float& value) const {
  if (const auto* integer = std::get_if<std::int32_t>(&value_)) {
    value = static_cast<float>(*integer);
  } else if (const auto* number = std::get_if<float>(&value_)) {
    value = *number;
  } else if (const auto* text = std::get_if<PString>(&value_)) {
    value = Leading(ScanFloat, *text);
  } else {
    return false;
  }
  return true;
}

bool ConfigNode::Get(PString& value) const {
  if (const auto* integer = std::get_if<std::int32_t>(&value_)) {
    value = PString(std::to_string(*integer));
  } else if (const auto* number = std::get_if<float>(&value_)) {
    value = ConfigFloatText(*number);
  } else if (const auto* text = std::get_if<PString>(&value_)) {
    value = *text;
  } else {
    return false;
  }
  return true;
}

bool ConfigNode::Get(bool& value) const {
  if (const auto* integer = std::get_if<std::int32_t>(&value_)) {
    value = *integer != 0;
  } else if (const auto* text = std::get_if<PString>(&value_)) {
    value = text->View() == "1" || EqualFolded(text->View(), "true");
  } else {
    return false;
  }
  return true;
}

bool ConfigNode::Get(std::array<float, 4>& numbers) const {
  const std::size_t count = GetNumbers(numbers);
  if (count == 0) return false;
  if (count < numbers.size()) numbers.back() = 1.0F;
  return true;
}

bool ConfigNode::Get(std::array<float, 3>& angles) const {
  const bool isEuler = Integers().size() == angles.size() || Floats().size() == angles.size();
  return isEuler && GetNumbers(angles) == angles.size();
}

/// Copies the items of a number array as far as there is room; returns how many.
std::size_t ConfigNode::GetNumbers(std::span<float> numbers) const {
  const auto copy = [&](const auto& items) {
    const std::size_t count = std::min(items.size(), numbers.size());
    std::transform(items.begin(), items.begin() + static_cast<std::ptrdiff_t>(count),
                   numbers.begin(), [](auto item) { return static_cast<float>(item); });
    return count;
  };
  return Floats().empty() ? copy(Integers()) : copy(Floats());
}

std::size_t ConfigNode::CountChildren(const PString& name) const {
  std::size_t count = 0;
  for (const ConfigNode* child : children_) count += child->name_ == name ? 1 : 0;
  return count;
}

const ConfigNode& ConfigNode::Child(const PString& name, std::size_t index) const {
  for (const ConfigNode* child : children_) {
    if (child->name_ == name && index-- == 0) return *child;
  }
  return Missing();
}

const ConfigNode& ConfigNode::ChildAt(std::size_t index) const {
  for (const ConfigNode* child : children_) {
    if (index-- == 0) return *child;
  }
  return Missing();
}

ConfigNode& ConfigNode::AddChild(PString name) {
  return Adopt(std::make_unique<ConfigNode>(std::move(name)));
}

ConfigNode& ConfigNode::Adopt(std::unique_ptr<ConfigNode> child) {
  children_.PushBack(child.get());
  return *child.release();
}

void ConfigNode::AddChildren(ConfigNode& from) {
  if (this == &from) return;
  if (children_.IsEmpty()) std::swap(children_, from.children_);
  // One by one, so that each has an owner when memory runs out.
  while (!from.children_.IsEmpty()) {
    children_.PushBack(*from.children_.begin());
    from.children_.Erase(from.children_.begin());
  }
}

void* ConfigNode::operator new(std::size_t) {
  void* const node = NodePool().Acquire();
  if (node == nullptr) throw std::bad_alloc();
  return node;
}

void ConfigNode::operator delete(void* node) { NodePool().Release(node); }

PString ConfigFloatText(float value) {
  const bool negative = std::signbit(value);
  if (std::isinf(value)) return negative ? "-1.#INF" : "1.#INF";
  if (std::isnan(value)) return negative ? "-1.#IND" : "1.#QNAN";
  char digits[32];
  const auto printed = std::to_chars(digits, digits + sizeof digits, value,
                                     std::chars_format::general, kSignificantDigits);
  std::string text(digits, printed.ptr);
  if (text.find_first_of(".e") == std::string::npos) text += ".0";
  return PString(text);
}

}  // namespace Zef
