#include "environment/ProductIdentity.h"

#include <atomic>

#include "kernel/LockedValue.h"
#include "kernel/platform/System.h"

namespace {

Zef::LockedValue<Zef::PString>& TheAppName() {
  static Zef::LockedValue<Zef::PString> name;
  return name;
}

constinit std::atomic<std::int32_t> buildNumber{0};
constinit std::atomic<float> productVersion{0};
constinit std::atomic<std::uint8_t> productFlag{0};

}  // namespace

void SetAppName(const Zef::PString& name) { TheAppName().Set(name); }
Zef::PString GetAppName() { return TheAppName().Get(); }
void SetBuildNumber(std::int32_t build) { buildNumber.store(build); }
std::int32_t GetBuildNumber() { return buildNumber.load(); }
void SetVersion(float version) { productVersion.store(version); }
float GetVersion() { return productVersion.load(); }
void SetProductFlag(std::uint8_t flag) { productFlag.store(flag); }
std::uint8_t GetProductFlag() { return productFlag.load(); }

void MarkMainThread() { Zef::RememberMainThread(); }

void SleepMs(std::int32_t milliseconds) {
  if (milliseconds > 0) Zef::Platform::SleepMilliseconds(static_cast<std::uint32_t>(milliseconds));
}
