#include "kernel/standard/Subst.h"

#include "kernel/Containers.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/standard/Exception.h"
#include "kernel/standard/FileSubArchive.h"
#include "kernel/standard/FileSubPath.h"

namespace Zef {

namespace {

/// Path within a source, without one leading separator; false for a text that does not fit.
bool ToSourcePath(std::string_view text, FilePath* path) {
  if (!text.empty() && IsSeparator(text.front())) text.remove_prefix(1);
  if (text.find('\0') != std::string_view::npos) return false;
  *path = FilePath(text);
  return !path->IsFull();
}

bool CanRead(const FileSub& source) { return source.IsAvailable(); }
bool CanCreate(const FileSub& source) { return !source.IsReadOnly(); }
bool CanChange(const FileSub& source) { return source.IsAvailable() && !source.IsReadOnly(); }

}  // namespace

struct SubstList::Node : KernelObject {
  Node(const PString& substName, std::unique_ptr<Node> following)
      : next(std::move(following)), name(substName) {}
  ~Node() {
    while (FileSub* source = sources.Head()) {
      sources.Remove(source);
      source->Remove();
    }
  }

  std::unique_ptr<Node> next;
  PString name;
  ISingleList<FileSub> sources;  // latest first
};

bool Subst(const PString& name, const char* target, bool writable) {
  if (name.IsEmpty()) return false;
  SubstList& list = SubstList::Get();
  const std::lock_guard guard(SubstList::Lock());
  if (!target) {
    if (list.Contains(name)) list.Remove(name);
    return true;
  }
  const std::string_view text(target);
  if (text.empty()) return false;
  if (IsSeparator(text.back())) {
    list.Add(name, std::make_unique<FileSubPath>(target, !writable));
  } else {
    list.Add(name, std::make_unique<FileSubArchive>(target, !writable));
  }
  return true;
}

bool FindSubst(std::string_view text, PString* name, std::string_view* path) {
  const std::size_t colon = text.find_first_of("/\\:");
  if (colon == std::string_view::npos || text[colon] != ':') return false;
  const std::lock_guard guard(SubstList::Lock());
  const SubstList::Node* node = SubstList::Get().FindText(text.substr(0, colon));
  if (!node) return false;
  if (name) *name = node->name;
  if (path) *path = text.substr(colon + 1);
  return true;
}

bool IsRootedPath(std::string_view text) {
  return Platform::IsRooted(text) || FindSubst(text, nullptr, nullptr);
}

SubstList::SubstList() = default;
SubstList::~SubstList() = default;

SubstList& SubstList::Get() {
  static SubstList list;
  return list;
}

std::recursive_mutex& SubstList::Lock() {
  // Files that outlive the list at exit still release their sources under it.
  static auto* lock = new std::recursive_mutex;
  return *lock;
}

bool SubstList::Contains(const PString& name) {
  const std::lock_guard guard(Lock());
  return Find(name) != nullptr;
}

void SubstList::Add(const PString& name, std::unique_ptr<FileSub> source) {
  const std::lock_guard guard(Lock());
  std::unique_ptr<Node>* place = Place(name);
  if (!*place || (*place)->name != name) *place = std::make_unique<Node>(name, std::move(*place));
  (*place)->sources.PushFront(source.release());
}

void SubstList::Remove(const PString& name) {
  const std::lock_guard guard(Lock());
  std::unique_ptr<Node>* place = Place(name);
  if (!*place || (*place)->name != name) {
    Exception unknown(__FILE__, __LINE__);
    unknown.FormatReason("Subst(%s) Closing non-existant subst?", name.Text());
    throw unknown;
  }
  const std::unique_ptr<Node> node = std::move(*place);
  *place = std::move(node->next);
}

bool SubstList::OpenForRead(const PString& name, File& file, std::string_view path,
                            std::uint32_t mode) {
  return FirstSuccess(name, path, CanRead, [&](FileSub& source, const FilePath& inside) {
    return source.OpenForRead(file, inside, mode);
  });
}

bool SubstList::OpenForWrite(const PString& name, File& file, std::string_view path,
                             std::uint32_t mode) {
  return FirstSuccess(name, path, CanCreate, [&](FileSub& source, const FilePath& inside) {
    return source.OpenForWrite(file, inside, mode);
  });
}

bool SubstList::Exists(const PString& name, std::string_view path) {
  return FirstSuccess(name, path, CanRead, [](FileSub& source, const FilePath& inside) {
    return source.Exists(inside);
  });
}

bool SubstList::Delete(const PString& name, std::string_view path) {
  return EverySuccess(
      name, path, [](FileSub& source, const FilePath& inside) { return source.Delete(inside); });
}

bool SubstList::DeleteFolder(const PString& name, std::string_view path) {
  bool remains = false;
  const bool any = EverySuccess(name, path, [&](FileSub& source, const FilePath& inside) {
    const bool gone = source.DeleteFolder(inside);
    remains = remains || !gone;
    return gone;
  });
  return any && !remains;
}

bool SubstList::Rename(const PString& name, std::string_view from, std::string_view to) {
  FilePath target;
  if (!ToSourcePath(to, &target)) return false;
  return FirstSuccess(name, from, CanChange, [&](FileSub& source, const FilePath& inside) {
    return source.Rename(inside, target);
  });
}

bool SubstList::MakeFolder(const PString& name, std::string_view path) {
  return FirstSuccess(name, path, CanChange, [](FileSub& source, const FilePath& inside) {
    return source.MakeFolder(inside);
  });
}

bool SubstList::Qualify(const PString& name, FilePath& path) {
  return FirstSuccess(name, path.View(), CanRead, [&](FileSub& source, const FilePath& inside) {
    FilePath full = inside;
    if (!source.Qualify(full)) return false;
    path = full;
    return true;
  });
}

bool SubstList::GetTime(const PString& name, std::string_view path, std::uint32_t* time) {
  return FirstSuccess(name, path, CanRead, [&](FileSub& source, const FilePath& inside) {
    return source.GetTime(time, inside);
  });
}

bool SubstList::SetReadOnly(const PString& name, std::string_view path, bool readOnly) {
  return FirstSuccess(name, path, CanChange, [&](FileSub& source, const FilePath& inside) {
    return source.SetReadOnly(inside, readOnly);
  });
}

bool SubstList::GetReadOnly(const PString& name, std::string_view path, bool* readOnly) {
  return FirstSuccess(name, path, CanRead, [&](FileSub& source, const FilePath& inside) {
    return source.GetReadOnly(inside, readOnly);
  });
}

bool SubstList::Hold(const PString& name, std::vector<FileSub*>* sources) {
  const std::lock_guard guard(Lock());
  const Node* node = Find(name);
  if (!node) return false;
  for (FileSub* source = node->sources.Head(); source; source = node->sources.Next(source)) {
    if (!source->IsAvailable()) continue;
    sources->push_back(source);
    ++source->openFiles;
  }
  return true;
}

std::unique_ptr<SubstList::Node>* SubstList::Place(const PString& name) {
  std::unique_ptr<Node>* place = &head_;
  while (*place && (*place)->name.Key() < name.Key()) place = &(*place)->next;
  return place;
}

SubstList::Node* SubstList::Find(const PString& name) {
  Node* node = Place(name)->get();
  return node && node->name == name ? node : nullptr;
}

// Compares texts instead of interning what stands before the colon: names are few, the pool never
// shrinks, and the text may come from anywhere.
const SubstList::Node* SubstList::FindText(std::string_view name) const {
  const Node* node = head_.get();
  while (node && node->name.View() != name) node = node->next.get();
  return node;
}

template <typename Accept, typename Action>
bool SubstList::FirstSuccess(const PString& name, std::string_view path, Accept accept,
                             Action action) {
  FilePath inside;
  if (!ToSourcePath(path, &inside)) return false;
  const std::lock_guard guard(Lock());
  const Node* node = Find(name);
  FileSub* source = node ? node->sources.Head() : nullptr;
  while (source && !(accept(*source) && action(*source, inside))) {
    source = node->sources.Next(source);
  }
  return source != nullptr;
}

template <typename Action>
bool SubstList::EverySuccess(const PString& name, std::string_view path, Action action) {
  bool any = false;
  FirstSuccess(name, path, CanChange, [&](FileSub& source, const FilePath& inside) {
    any = action(source, inside) || any;
    return false;
  });
  return any;
}

}  // namespace Zef
