#include "kernel/resource/Guid.h"

#include <cstdio>

namespace Zef {

std::string Guid::Text() const {
  char text[kTextLength + 1];
  std::snprintf(text, sizeof text, "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", first,
                second, third, rest[0], rest[1], rest[2], rest[3], rest[4], rest[5], rest[6],
                rest[7]);
  return text;
}

}  // namespace Zef
