// Version: what this build of the system calls itself in logs and reports.

#pragma once

namespace Zef {

struct BuildVersion {
  const char* version;  ///< "0.1"
  const char* build;    ///< two numbers that tell builds of one version apart
  const char* revision;
  const char* date;  ///< of the compiler's run, or of SOURCE_DATE_EPOCH where that is set
  const char* time;
};

extern const BuildVersion kBuildVersion;

}  // namespace Zef
