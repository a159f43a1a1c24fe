#include "kernel/standard/Version.h"

namespace Zef {

constinit const BuildVersion kBuildVersion = {ZEF_VERSION, ZEF_BUILD, ZEF_REVISION, __DATE__,
                                              __TIME__};

}  // namespace Zef
