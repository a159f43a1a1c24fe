#include "apps/quarle/AssetId.h"

#include "apps/quarle/Output.h"

bool ParseAssetId(const std::string& text, PLID* id) {
  *id = PLID(std::string_view(text), false);
  if (!id->IsNull()) return true;
  static_cast<void>(FailUsage(Quoted(text) +
                              " is no asset identifier; write USER:CONTENT, or in quotes "
                              "'<plid:USER:CONTENT>' or '<plid2:USER:CONTENT:VERSION>'"));
  return false;
}
