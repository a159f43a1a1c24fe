// Any text as an identifier: what the parser accepts is in range, prints, and parses back to
// itself; strict readers never accept what lax ones read differently.

#include <cstdlib>
#include <string_view>

#include "tagdata/PLID.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const PLID lax(text, /*strict=*/false);
  const PLID strict(text, /*strict=*/true);
  if (!PLID::IsValidUser(lax.user) || !PLID::IsValidVersion(lax.version)) std::abort();
  if (!strict.IsNull() && !(strict == lax)) std::abort();
  // A negative user under another version than 127 cannot be spelled, nor can it be parsed.
  if (PLID(lax.TagText(), /*strict=*/false) != lax) std::abort();
  return 0;
}
