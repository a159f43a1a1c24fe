// Any bytes as an index file: loads or not; what loads is walked, saved and loads again alike.
// The length word is set right, since a file with a wrong one is not read any further.

#include <cstdlib>
#include <cstring>
#include <vector>

#include "database/IndexHeader.h"
#include "database/MUKAssetIndex.h"
#include "fuzz/ScratchFile.h"

namespace {

std::vector<std::uint8_t> WithItsLength(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> bytes(data, data + size);
  const auto length = static_cast<std::uint32_t>(size);
  const bool isPlain =
      size >= kIndexHeaderSize && std::memcmp(data, &kIndexMagic, sizeof kIndexMagic) == 0;
  if (isPlain) std::memcpy(&bytes[8], &length, sizeof length);
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::uint8_t> bytes = WithItsLength(data, size);
  const ScratchFile file("assets.mkx", bytes.data(), bytes.size());
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
