#include "kernel/standard/FileSub.h"

#include <mutex>

#include "kernel/standard/Exception.h"
#include "kernel/standard/Subst.h"

namespace Zef {

void FileSub::CloseFile(File& /*file*/) {
  throw FileEx(__FILE__, __LINE__, "CloseFile() Logic Error");
}

bool FileSub::Resolve(const FilePath& path, FilePath& result) {
  result = path;
  return Exists(path);
}

void FileSub::ReleaseFile() {
  const std::lock_guard guard(SubstList::Lock());
  if (--openFiles == 0 && removed_) delete this;
}

void FileSub::Remove() {
  const std::lock_guard guard(SubstList::Lock());
  removed_ = true;
  if (openFiles == 0) delete this;
}

}  // namespace Zef
