// HardwareException: a fault in the form of an exception, with a report as its call stack: where
// it happened, the registers, and the functions that led there.
//
// Made while the process is at fault: uses no heap, and reads nothing that it has not tried.

#pragma once

#include "kernel/platform/Fault.h"
#include "kernel/standard/Exception.h"

namespace Zef {

/// Name of a fault, or null for a code that has none.
const char* FaultName(Platform::FaultCode code);

class HardwareException : public Exception {
 public:
  explicit HardwareException(const Platform::Fault& fault);
  const char* Class() const override { return "Hardware"; }
};

}  // namespace Zef
