// Sample: what the tests and the sample plug-in libraries know of each other.

#pragma once

#include "kernel/resource/Plugin.h"

namespace Sample {

class Thing : public virtual Zef::ReferenceCount {
 public:
  virtual int Number() = 0;
};

inline constexpr Zef::Guid kGroup = Zef::Guid::Parse("00000001-0000-0000-0000-000000000001");
inline constexpr Zef::Guid kOne = Zef::Guid::Parse("00000001-0000-0000-0000-000000000002");
inline constexpr Zef::Guid kTwo = Zef::Guid::Parse("00000001-0000-0000-0000-000000000003");
inline constexpr Zef::Guid kGhost = Zef::Guid::Parse("00000001-0000-0000-0000-000000000004");
inline constexpr Zef::Guid kInner = Zef::Guid::Parse("00000001-0000-0000-0000-000000000005");

/// Makes things of one number.
class ThingFactory final : public Zef::PluginFactoryBase<Thing> {
 public:
  ThingFactory(const char* name, const Zef::Guid& id, int number, const Zef::Guid& group = kGroup)
      : PluginFactoryBase(name, id, group), number_(number) {}
  Zef::Ref<Thing> Create() override { return Zef::Ref<Thing>(new Instance(*this, number_)); }

 private:
  struct Instance final : Thing, Zef::PluginInstance {
    Instance(PluginType& type, int itsNumber) : PluginInstance(type), number(itsNumber) {}
    int Number() override { return number; }
    const int number;
  };

  const int number_;
};

}  // namespace Sample
