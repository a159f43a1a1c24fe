// ProductIdentity: what the host says of itself once at its start: name, build, version, and which
// thread is its main one.
//
// Any thread may ask. Costs a load; the name a lock.

#pragma once

#include <cstdint>

#include "kernel/KernelBoot.h"
#include "kernel/standard/PString.h"

/// Null, 0 and 0 until they are set.
void SetAppName(const Zef::PString& name);
Zef::PString GetAppName();
void SetBuildNumber(std::int32_t build);
std::int32_t GetBuildNumber();
void SetVersion(float version);
float GetVersion();
/// A byte whose meaning is the host's own.
void SetProductFlag(std::uint8_t flag);
std::uint8_t GetProductFlag();

/// Makes the calling thread the main thread of the process, for the kernel too.
void MarkMainThread();
using Zef::IsMainThread;

/// Returns at once unless `milliseconds` is above 0.
void SleepMs(std::int32_t milliseconds);
