// LockedValue: a value that any thread may set and copy out as a whole.
//
// Cost: a lock and a copy each time. Not for values that are changed in place.

#pragma once

#include <mutex>
#include <utility>

namespace Zef {

template <class Value>
class LockedValue {
 public:
  LockedValue() = default;
  explicit LockedValue(Value value) : value_(std::move(value)) {}

  Value Get() const {
    const std::lock_guard guard(lock_);
    return value_;
  }
  void Set(Value value) {
    const std::lock_guard guard(lock_);
    std::swap(value_, value);
  }

 private:
  mutable std::mutex lock_;
  Value value_;
};

}  // namespace Zef
