// Any bytes as the three files of a patch set, applied to a small index: always terminates, and
// the index loads afterwards. The first two bytes say how the rest is shared out.

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>

#include "database/MUKAssetIndex.h"
#include "fuzz/ScratchFile.h"
#include "plugin/PatchSet.h"
#include "plugin/PatchSetFiles.h"

namespace {

void SaveBase(const std::string& path) {
  MUKAssetIndex index;
  for (int i = 0; i < 4; ++i) {
    MUKAsset record;
    record.id = PLID(1, i, 0);
    record.name = "base";
    record.Set(AssetFlag::Listed, i == 1);
    if (i >= 2) record.installPath = "base";
    if (i == 3) record.legacyPath = "world/base";
    index.Add(std::move(record));
  }
  if (!index.Save(path)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::string root = ScratchFile::Folder() + "root";
  mkdir(root.c_str(), 0777);
  mkdir((root + "/data").c_str(), 0777);
  SaveBase(root + "/i");

  const std::size_t rest = size - 2;
  const std::size_t first = rest * data[0] / 255;
  const std::size_t second = first + (rest - first) * data[1] / 255;
  const std::string stem = root.substr(ScratchFile::Folder().size()) + "/data/i";
  const ScratchFile deletions(stem + kDeleteExtension, data + 2, first);
  const ScratchFile additions(stem + kAddExtension, data + 2 + first, second - first);
  const ScratchFile changes(stem + kPatchExtension, data + 2 + second, rest - second);
  static_cast<void>(ApplyPatchSet("i", root, root + "/"));

  MUKAssetIndex after;
  if (!after.Load(root + "/i")) std::abort();
  return 0;
}
