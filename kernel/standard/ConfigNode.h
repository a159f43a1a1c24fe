// ConfigNode: one item of a configuration, with a name, a value and child nodes.
//
// A tree is what ConfigParser makes of a text (docs/format-config.md); it may also be put together
// by hand. A node owns its children. Lookups never fail: what is not there is the shared missing
// node, and a getter that finds nothing to give leaves the caller's default as it is.
//
// Nodes come from one pool with a lock, so trees may be built on several threads; a tree itself
// has no lock. Lookups by name or index walk the children. Copying and destroying recurse: keep
// trees to some thousand levels (a parsed one has fewer than 250).

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <variant>
#include <vector>

#include "kernel/Containers.h"
#include "kernel/standard/PString.h"

namespace Zef {

class ConfigNode {
 public:
  enum class Type : std::uint32_t {
    None,
    Integer,
    Float,
    String,
    Binary,
    IntegerArray,
    FloatArray,
    StringArray,
  };
  /// The alternatives stand in the order of Type.
  using Value = std::variant<std::monostate, std::int32_t, float, PString, std::vector<std::byte>,
                             std::vector<std::int32_t>, std::vector<float>, std::vector<PString>>;

  /// The node that stands for one that is not there: no name, no value, no children.
  static const ConfigNode& Missing();

  /// A null name makes an anonymous node.
  explicit ConfigNode(PString name = {}) : name_(std::move(name)) {}
  /// Deep: values and children are copied, texts shared.
  ConfigNode(const ConfigNode& other);
  ConfigNode& operator=(const ConfigNode& other);
  ~ConfigNode();

  const PString& Name() const { return name_; }
  Type GetType() const { return static_cast<Type>(value_.index()); }
  const Value& GetValue() const { return value_; }
  void Set(Value value) { value_ = std::move(value); }
  bool IsMissing() const { return this == &Missing(); }

  // One value, converted. False, with `value` untouched, when the type has no such conversion.

  /// From a float cut towards zero and held to the range, from a text its leading decimal digits.
  bool Get(std::int32_t& value) const;
  bool Get(float& value) const;
  /// From an integer in base 10, from a float with 8 significant digits and never without a point
  /// or an exponent; a float without a number gives "1.#INF", "1.#QNAN" or "-1.#IND".
  bool Get(PString& value) const;
  /// From an integer other than 0; from a text only "1" and "true", in any case, are true.
  bool Get(bool& value) const;

  // Arrays in place, valid until the value changes; empty for a node of another type.

  std::span<const std::byte> Bytes() const { return Items<std::byte>(); }
  std::span<const std::int32_t> Integers() const { return Items<std::int32_t>(); }
  std::span<const float> Floats() const { return Items<float>(); }
  std::span<const PString> Texts() const { return Items<PString>(); }

  /// Four numbers of an array of integers or floats. Of a shorter one the items that are there,
  /// and 1 in the last place. False without an array.
  bool Get(std::array<float, 4>& numbers) const;
  /// The Euler angles of a rotation: exactly three numbers. A rotation of four is a quaternion.
  bool Get(std::array<float, 3>& angles) const;

  const ChunkList<ConfigNode*>& Children() const { return children_; }
  std::size_t CountChildren() const { return children_.Count(); }
  std::size_t CountChildren(const PString& name) const;
  /// The child of this name with `index` others of the name before it, or the missing node.
  const ConfigNode& Child(const PString& name, std::size_t index = 0) const;
  const ConfigNode& ChildAt(std::size_t index) const;

  /// A new last child.
  ConfigNode& AddChild(PString name);
  /// Moves the children of another node behind those of this one.
  void AddChildren(ConfigNode& from);

  static void* operator new(std::size_t size);
  static void operator delete(void* node);

 private:
  template <typename T>
  std::span<const T> Items() const {
    const auto* items = std::get_if<std::vector<T>>(&value_);
    return items == nullptr ? std::span<const T>() : std::span<const T>(*items);
  }
  std::size_t GetNumbers(std::span<float> numbers) const;
  ConfigNode& Adopt(std::unique_ptr<ConfigNode> child);

  PString name_;
  Value value_;
  ChunkList<ConfigNode*> children_;
};

/// The text of a float as the getters give it.
PString ConfigFloatText(float value);

}  // namespace Zef
