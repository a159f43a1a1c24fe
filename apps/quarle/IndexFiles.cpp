#include "apps/quarle/IndexFiles.h"

#include "apps/quarle/IndexOwner.h"
#include "apps/quarle/OlderIndex.h"
#include "apps/quarle/Progress.h"
#include "apps/quarle/Utf8.h"
#include "kernel/platform/FileSystem.h"

namespace {

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

namespace Platform = Zef::Platform;

std::string AdviceToOpen(const std::string& path) {
  if (Platform::IsFolder(path)) {
    return "name the file in it, such as " + Quoted(FolderPath(path) + "assets.mkx");
  }
  if (Platform::Exists(path)) return "check that you may read it";
  const IndexPlace place = PlaceOf(path);
  if (place.isDatabase && HasLeftover(place.folder)) {
    return "a program works on this database or was killed: 'quarle asset list --root " +
           Printable(place.folder) + "' waits for its end, and recovers what it left";
  }
  const std::string folder = path.substr(0, path.find_last_of("/\\") + 1);
  const bool isBelowFile = folder.size() > 1 && !Platform::IsFolder(folder) &&
                           Platform::Exists(folder.substr(0, folder.size() - 1));
  return isBelowFile ? "name the folder that it lies in" : "check its name";
}

std::string Advice(const std::string& path, IndexDamage damage) {
  switch (damage) {
    case IndexDamage::CannotOpen:
      return AdviceToOpen(path);
    case IndexDamage::BadMagic:
      return "name an index file";
    case IndexDamage::BadVersion:
      return "build it anew";
    default:
      return "restore a copy or build it anew";
  }
}

}  // namespace

std::string ExactPath(const std::string& path) {
  const std::size_t stop = path.find_first_of("/\\:");
  const bool prefixed = stop != std::string::npos && path[stop] == ':';
  return prefixed ? "./" + path : path;
}

std::string FolderPath(const std::string& path) {
  const std::string exact = ExactPath(path);
  return exact.empty() || IsSeparator(exact.back()) ? exact : exact + "/";
}

std::string SetStem(const std::string& set, const std::string& indexName) {
  return FolderPath(set) + "data/" + indexName;
}

bool LoadIndex(const std::string& path, const CommonOptions& common, MUKAssetIndex& index,
               IndexLoadReport* report, IndexLoadOptions options) {
  IndexLoadReport local;
  IndexLoadReport& result = report != nullptr ? *report : local;
  bool loaded = false;
  {
    const Progress progress(common, "loading " + Quoted(path));
    loaded = index.Load(path, &result, options);
  }
  if (!loaded) static_cast<void>(Fail(LoadFailure(path, result)));
  return loaded;
}

std::string LoadFailure(const std::string& path, const IndexLoadReport& report) {
  return "cannot load the index " + Quoted(path) + ": " + DamageText(path, report) + "; " +
         Advice(path, report.damage);
}

std::string DamageText(const std::string& path, const IndexLoadReport& report) {
  if (report.damage == IndexDamage::CannotOpen) {
    if (!Platform::Exists(path)) return "there is no such file";
    if (Platform::IsFolder(path)) return "it is a folder";
  }
  std::string text = IndexDamageText(report.damage);
  if (report.damage == IndexDamage::BadVersion) {
    text += " (" + std::to_string(report.version) + " instead of " + std::to_string(kIndexVersion) +
            ")";
  }
  if (report.offset != 0) text += " (at byte " + std::to_string(report.offset) + ")";
  return text;
}
