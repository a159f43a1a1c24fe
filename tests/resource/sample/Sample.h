// Sample: what the tests and the sample plug-in libraries know of each other.

#pragma once

#include "kernel/resource/Plugin.h"

namespace Sample {

class Counter : public virtual Zef::ReferenceCount {
 public:
  virtual int Next() = 0;
};

inline constexpr Zef::Guid kGroup = Zef::Guid::Parse("00000001-0000-0000-0000-000000000001");
inline constexpr Zef::Guid kOne = Zef::Guid::Parse("00000001-0000-0000-0000-000000000002");
inline constexpr Zef::Guid kTwo = Zef::Guid::Parse("00000001-0000-0000-0000-000000000003");
inline constexpr Zef::Guid kGhost = Zef::Guid::Parse("00000001-0000-0000-0000-000000000004");
inline constexpr Zef::Guid kInner = Zef::Guid::Parse("00000001-0000-0000-0000-000000000005");

/// Makes objects that count up by a step.
class CounterFactory final : public Zef::PluginFactoryBase<Counter> {
 public:
  CounterFactory(const char* name, const Zef::Guid& id, int step)
      : PluginFactoryBase(name, id, kGroup), step_(step) {}
  Zef::Ref<Counter> Create() override { return Zef::Ref<Counter>(new Instance(*this, step_)); }

 private:
  class Instance final : public Counter, public Zef::PluginInstance {
   public:
    Instance(PluginType& type, int step) : PluginInstance(type), step_(step) {}
    int Next() override { return count_ += step_; }

   private:
    int count_ = 0;
    const int step_;
  };

  const int step_;
};

}  // namespace Sample
