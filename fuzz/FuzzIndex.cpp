// Any bytes as an index file: loads or not; what loads is walked, saved and loads again alike.

#include <cstdlib>

#include "database/MUKAssetIndex.h"
#include "fuzz/ScratchFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ScratchFile file("assets.mkx", data, size);
  MUKAssetIndex index;
  IndexLoadReport report;
  if (!index.Load(file.Path(), &report)) {
    if (report.damage == IndexDamage::None || index.Count() != 0) std::abort();
    return 0;
  }
  for (const MUKAsset* record : index.Records()) {
    index.SearchText(*record);
    index.IsObsolete(*record);
  }
  if (!index.Save(file.Path())) std::abort();
  MUKAssetIndex again;
  if (!again.Load(file.Path()) || again.Count() != index.Count()) std::abort();
  if (again.Obsolete().Count() != index.Obsolete().Count()) std::abort();
  return 0;
}
