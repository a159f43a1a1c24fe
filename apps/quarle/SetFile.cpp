#include "apps/quarle/SetFile.h"

#include "apps/quarle/Output.h"
#include "apps/quarle/Utf8.h"
#include "database/MUKAsset.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/standard/Exception.h"

bool ReadSetFile(const std::string& path, const std::function<void(Zef::File& file)>& read) {
  try {
    Zef::File file;
    if (file.Open(path.c_str(), Zef::FileMode::kRead) == Zef::RES_OK) {
      read(file);
      return true;
    }
    const bool missing = !Zef::Platform::Exists(path);
    static_cast<void>(
        Fail("cannot open the patch file " + Quoted(path) + ": " +
             (missing ? "there is no such file; name the folder that holds data/, and by --index "
                        "the index, if it is not assets.mkx"
                      : "it cannot be read; check its permissions")));
  } catch (const Zef::Exception& failure) {
    static_cast<void>(Fail("cannot read the patch file " + Quoted(path) + ": " +
                           Printable(failure.Reason()) + "; make the set anew"));
  }
  return false;
}

bool CountSet(const std::string& stem, std::array<PatchFileReport, kSetParts.size()>& reports) {
  for (std::size_t i = 0; i < kSetParts.size(); ++i) {
    const SetPart& part = kSetParts[i];
    const auto count = [&](Zef::File& file) { reports[i] = CountEntries(part, file); };
    if (!ReadSetFile(stem + part.extension, count)) return false;
  }
  return true;
}

PatchFileReport CountEntries(const SetPart& part, Zef::File& file) {
  return part.identifiers ? ForEachDeletion(file, [](const PLID&, bool) {})
                          : ForEachRecord(file, [](const MUKAsset&, bool) {});
}
