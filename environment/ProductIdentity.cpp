#include "environment/ProductIdentity.h"

#include <atomic>
#include <mutex>

#include "kernel/platform/System.h"

namespace {

struct AppName {
  std::mutex lock;
  Zef::PString text;
};

AppName& TheAppName() {
  static AppName name;
  return name;
}

constinit std::atomic<std::int32_t> buildNumber{0};
constinit std::atomic<float> productVersion{0};
constinit std::atomic<std::uint8_t> productFlag{0};

}  // namespace

void SetAppName(const Zef::PString& name) {
  AppName& appName = TheAppName();
  const std::lock_guard guard(appName.lock);
  appName.text = name;
}

Zef::PString GetAppName() {
  AppName& appName = TheAppName();
  const std::lock_guard guard(appName.lock);
  return appName.text;
}

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
