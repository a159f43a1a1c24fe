#include "apps/quarle/IndexOwner.h"

#include <string_view>

#include "apps/quarle/Commands.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/standard/CodePage.h"

IndexPlace PlaceOf(const std::string& file) {
  const std::size_t slash = file.find_last_of("/\\");
  const std::size_t name = slash == std::string::npos ? 0 : slash + 1;
  return {name == 0 ? "." : file.substr(0, name),
          Zef::EqualFolded(std::string_view(file).substr(name), kDefaultIndexName)};
}

bool IndexOwner::Take(const std::string& file, const std::string& advice) {
  const IndexPlace place = PlaceOf(file);
  if (!place.isDatabase || !Zef::Platform::IsFolder(place.folder)) return true;
  lock_.IpcStartup(place.folder);
  if (lock_.TryAcquireWriteLock()) return true;
  static_cast<void>(
      Fail("the database in " + Quoted(place.folder) + " belongs to a running program; " + advice));
  return false;
}

void IndexOwner::MarkChanged() {
  if (lock_.HoldsWriteLock()) lock_.MarkChanged();
}
