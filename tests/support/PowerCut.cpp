#undef _FORTIFY_SOURCE  // which would define some of these calls inline

#include "tests/support/PowerCut.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

#include "tests/support/TestFiles.h"

namespace {

namespace fs = std::filesystem;

enum class Kind : std::uint8_t {
  File,
  Folder,
  Remove,
  Move,
  Exchange,
  Write,
  Size,
  Flush,
  Promise
};
constexpr const char* kKinds[] = {"file",  "folder", "remove", "move",   "exchange",
                                  "write", "size",   "flush",  "promise"};

struct Event {
  Kind kind = Kind::Promise;
  std::string path;          // below the root
  std::uint64_t number = 0;  // serial, offset or size
  std::string more;          // bytes, or the other path
};

constexpr std::size_t kJournalSize = std::size_t{1} << 28;

// Of the recording child.
std::mutex lock;
std::string root;
char* journal = nullptr;  // begins with the size of what is in it
bool exchangeForbidden = false;

void Append(const void* bytes, std::size_t size) {
  auto& used = *reinterpret_cast<std::size_t*>(journal);
  if (used + size > kJournalSize - sizeof used) std::abort();
  if (size > 0) std::memcpy(journal + sizeof used + used, bytes, size);
  used += size;
}

void Tell(Kind kind, const std::optional<std::string>& path, std::uint64_t number = 0,
          std::string_view more = "") {
  if (!path) return;
  const std::uint64_t head[] = {static_cast<std::uint64_t>(kind), number, path->size(),
                                more.size()};
  Append(head, sizeof head);
  Append(path->data(), path->size());
  Append(more.data(), more.size());
}

std::vector<Event> EventsOf(const char* from) {
  std::vector<Event> events;
  const char* at = from + sizeof(std::size_t);
  const char* const end = at + *reinterpret_cast<const std::size_t*>(from);
  while (at < end) {
    std::uint64_t head[4];
    std::memcpy(head, at, sizeof head);
    at += sizeof head;
    events.push_back({static_cast<Kind>(head[0]), {at, head[2]}, head[1], {at + head[2], head[3]}});
    at += head[2] + head[3];
  }
  return events;
}

/// Of a file or folder below the root, which may be the root itself.
std::optional<std::string> Below(const fs::path& path) {
  std::string plain = path.lexically_normal().string();
  while (plain.ends_with('/')) plain.pop_back();
  if (plain == root) return "";
  if (!plain.starts_with(root + '/') || plain.ends_with(" (deleted)")) return std::nullopt;
  return plain.substr(root.size() + 1);
}

std::optional<std::string> PathOf(int file) {
  char path[4096];
  const ssize_t size =
      readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), path, sizeof path);
  return size <= 0 ? std::nullopt : Below(std::string(path, static_cast<std::size_t>(size)));
}

std::optional<std::string> PathAt(int folder, const char* path) {
  if (*path == '/' || folder == AT_FDCWD) return Below(fs::absolute(path));
  const auto above = PathOf(folder);
  return above ? Below(fs::path(root) / *above / path) : std::nullopt;
}

std::uint64_t SerialOf(const fs::path& path) {
  struct stat facts {};
  return lstat(path.c_str(), &facts) == 0 ? facts.st_ino : 0;
}

/// Makes a system call and, where it succeeds, tells of it while no other is made.
template <typename Result = int, typename Tale, typename... Arguments>
Result Call(Tale tale, long number, Arguments... arguments) {
  if (journal == nullptr) return static_cast<Result>(syscall(number, arguments...));
  const std::lock_guard guard(lock);
  const auto result = static_cast<Result>(syscall(number, arguments...));
  const int code = errno;
  if (result >= 0) tale(result);
  errno = code;
  return result;
}

int Open(int folder, const char* path, int flags, va_list rest) {
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
  if (journal == nullptr || (flags & (O_CREAT | O_TRUNC)) == 0) {
    return static_cast<int>(syscall(SYS_openat, folder, path, flags, mode));
  }
  const bool isNew = faccessat(folder, path, F_OK, AT_SYMLINK_NOFOLLOW) != 0;
  const auto tale = [&](int file) {
    const auto name = PathOf(file);
    if (isNew) return Tell(Kind::File, name);
    if ((flags & O_TRUNC) != 0) Tell(Kind::Size, name);
  };
  return Call(tale, SYS_openat, folder, path, flags, mode);
}

int Rename(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) {
  if (exchangeForbidden && flags != 0) {
    errno = EINVAL;
    return -1;
  }
  const auto tale = [&](int) {
    const Kind kind = (flags & RENAME_EXCHANGE) != 0 ? Kind::Exchange : Kind::Move;
    if (const auto target = PathAt(toFolder, to)) Tell(kind, PathAt(fromFolder, from), 0, *target);
  };
  return Call(tale, SYS_renameat2, fromFolder, from, toFolder, to, flags);
}

int MakeFolder(int folder, const char* path, mode_t mode) {
  const auto tale = [&](int) {
    if (const auto name = PathAt(folder, path)) {
      Tell(Kind::Folder, name, SerialOf(fs::path(root) / *name));
    }
  };
  return Call(tale, SYS_mkdirat, folder, path, mode);
}

int Remove(int folder, const char* path, int flags) {
  const auto tale = [&](int) { Tell(Kind::Remove, PathAt(folder, path)); };
  return Call(tale, SYS_unlinkat, folder, path, flags);
}

/// Takes no time: what processes see does not depend on it.
int Flush(int file) {
  const auto tale = [&](int) { Tell(Kind::Flush, PathOf(file)); };
  return Call(tale, SYS_fcntl, file, F_GETFD) < 0 ? -1 : 0;
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const int file = Open(AT_FDCWD, path, flags, rest);
  va_end(rest);
  return file;
}
int openat(int folder, const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const int file = Open(folder, path, flags, rest);
  va_end(rest);
  return file;
}
ssize_t pwrite(int file, const void* from, size_t size, off_t offset) {
  const auto tale = [&](ssize_t count) {
    Tell(Kind::Write, PathOf(file), static_cast<std::uint64_t>(offset),
         {static_cast<const char*>(from), static_cast<std::size_t>(count)});
  };
  return Call<ssize_t>(tale, SYS_pwrite64, file, from, size, offset);
}
ssize_t copy_file_range(int from, off_t* read, int to, off_t* write, size_t size, unsigned flags) {
  const off_t source = *read;
  const off_t target = *write;
  const auto tale = [&](ssize_t count) {
    std::string bytes(static_cast<std::size_t>(count), '\0');
    if (pread(from, bytes.data(), bytes.size(), source) != count) std::abort();
    Tell(Kind::Write, PathOf(to), static_cast<std::uint64_t>(target), bytes);
  };
  return Call<ssize_t>(tale, SYS_copy_file_range, from, read, to, write, size, flags);
}
int ftruncate(int file, off_t size) noexcept {
  const auto tale = [&](int) { Tell(Kind::Size, PathOf(file), static_cast<std::uint64_t>(size)); };
  return Call(tale, SYS_ftruncate, file, size);
}
int rename(const char* from, const char* to) noexcept {
  return Rename(AT_FDCWD, from, AT_FDCWD, to, 0);
}
int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
              unsigned flags) noexcept {
  return Rename(fromFolder, from, toFolder, to, flags);
}
int mkdir(const char* path, mode_t mode) noexcept { return MakeFolder(AT_FDCWD, path, mode); }
int mkdirat(int folder, const char* path, mode_t mode) noexcept {
  return MakeFolder(folder, path, mode);
}
int rmdir(const char* path) noexcept { return Remove(AT_FDCWD, path, AT_REMOVEDIR); }
int unlink(const char* path) noexcept { return Remove(AT_FDCWD, path, 0); }
int unlinkat(int folder, const char* path, int flags) noexcept {
  return Remove(folder, path, flags);
}
int fsync(int file) { return Flush(file); }
int fdatasync(int file) { return Flush(file); }

}  // extern "C"

namespace Test {

namespace {

/// How much of the writes that were not flushed is on the disk.
struct Arrival {
  enum Rest { Lost, Sized, Whole } rest = Whole;  ///< Sized: zeros that make up the size
  std::size_t but = std::string::npos;            ///< the event that is another matter
  enum Other { Comes, Misses, Half } other = Comes;
};

std::string ParentOf(const std::string& path) {
  return path.substr(0, path.find('/') == std::string::npos ? 0 : path.rfind('/'));
}

void Change(const Event& event, std::string& content, Arrival::Rest rest, bool isHalf = false) {
  if (rest == Arrival::Lost) return;
  if (event.kind == Kind::Size) return content.resize(event.number);
  const std::size_t size = isHalf ? event.more.size() / 2 : event.more.size();
  content.resize(std::max(content.size(), event.number + size));
  if (rest == Arrival::Whole) content.replace(event.number, size, event.more, 0, size);
}

}  // namespace

/// The system's view behind some events, and what of it must be on the disk.
class PowerCut::Disk {
 public:
  Disk(const Tree& start, const std::vector<Event>& events, std::size_t count) : names_(1) {
    Make("", {true});
    for (const auto& [path, item] : start) Make(path, item);
    names_.front() = now_;
    for (std::size_t at = 0; at < count; ++at) Apply(events[at]);
  }

  /// Entries are certain up to here.
  std::size_t Committed() const { return committed_; }
  int Promises() const { return promises_; }

  Tree Show(std::size_t entries, const Arrival& arrival) const {
    Tree tree;
    for (const auto& [path, id] : names_[entries]) {
      const Node& node = nodes_[id];
      Item item = node.item;
      for (const auto& [at, event] : node.pending) {
        const bool isOther = at == arrival.but;
        const auto other = arrival.other == Arrival::Misses ? Arrival::Sized : Arrival::Whole;
        Change(*event, item.content, isOther ? other : arrival.rest,
               isOther && arrival.other == Arrival::Half);
      }
      if (!path.empty()) tree[path] = std::move(item);
    }
    return tree;
  }

  std::vector<Arrival> Arrivals(std::size_t entries) const {
    std::vector<Arrival> all = {{Arrival::Whole}, {Arrival::Sized}, {Arrival::Lost}};
    if (entries != committed_ && entries + 1 != names_.size()) return all;
    for (const auto& [path, id] : names_[entries]) {
      for (const auto& [at, event] : nodes_[id].pending) {
        all.push_back({Arrival::Lost, at});
        all.push_back({Arrival::Whole, at, Arrival::Misses});
        if (at + 1 == names_.size() - 1) all.push_back({Arrival::Whole, at, Arrival::Half});
      }
    }
    return all;
  }

 private:
  using Names = std::map<std::string, std::size_t>;  // the places of nodes

  struct Node {
    Item item;  // as flushed
    std::size_t size = 0;
    std::size_t touched = 0;  // by which change of an entry or its size
    std::vector<std::pair<std::size_t, const Event*>> pending{};
  };

  void Make(const std::string& path, const Item& item) {
    now_[path] = nodes_.size();
    nodes_.push_back({item, item.content.size()});
  }

  Node* Find(const std::string& path) {
    const auto found = now_.find(path);
    return found == now_.end() ? nullptr : &nodes_[found->second];
  }
  void Touch(const std::string& path) {
    if (Node* const node = Find(path)) node->touched = names_.size();
  }

  /// An entry with all below it goes; the rest of their paths stays in the names.
  Names Take(const std::string& path) {
    Names taken;
    std::erase_if(now_, [&](const auto& entry) {
      const bool isBelow = entry.first == path || entry.first.starts_with(path + '/');
      if (isBelow) taken[entry.first.substr(path.size())] = entry.second;
      return isBelow;
    });
    return taken;
  }
  void Put(const std::string& path, const Names& names) {
    for (const auto& [rest, id] : names) now_[path + rest] = id;
  }

  void Flush(Node& node) {
    for (const auto& [at, event] : node.pending) {
      Change(*event, node.item.content, Arrival::Whole);
    }
    node.pending.clear();
    committed_ = std::max(committed_, node.touched);
  }

  void Apply(const Event& event) {
    Node* const node = Find(event.path);
    const bool isWrite = event.kind == Kind::Write || event.kind == Kind::Size;
    if (isWrite && node != nullptr) {
      const std::size_t end = event.number + event.more.size();
      const std::size_t size = event.kind == Kind::Write ? std::max(node->size, end) : end;
      if (std::exchange(node->size, size) != size) node->touched = names_.size();
      node->pending.emplace_back(names_.size() - 1, &event);
    } else if (event.kind == Kind::Flush && node != nullptr) {
      Flush(*node);
    } else if (event.kind == Kind::Promise) {
      ++promises_;
    } else if (event.kind == Kind::Remove) {
      Take(event.path);
    } else if (event.kind == Kind::File || event.kind == Kind::Folder) {
      Make(event.path, {event.kind == Kind::Folder, event.number});
    } else if (event.kind == Kind::Move || event.kind == Kind::Exchange) {
      const Names moved = Take(event.path);
      const Names other = Take(event.more);
      Put(event.more, moved);
      if (event.kind == Kind::Exchange) Put(event.path, other);
      Touch(event.more);
      Touch(ParentOf(event.more));
    }
    if (event.kind < Kind::Write) {
      Touch(event.path);
      Touch(ParentOf(event.path));
    }
    names_.push_back(now_);
  }

  std::vector<Node> nodes_;
  Names now_;
  std::vector<Names> names_;  // behind each event
  std::size_t committed_ = 0;
  int promises_ = 0;
};

PowerCut::PowerCut(fs::path folder)
    : root_(std::move(folder)),
      start_(Read(root_)),
      journal_(static_cast<char*>(mmap(nullptr, kJournalSize, PROT_READ | PROT_WRITE,
                                       MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))) {
  if (journal_ == MAP_FAILED) throw std::runtime_error("no journal");
}

PowerCut::~PowerCut() { munmap(journal_, kJournalSize); }

void PowerCut::Record() {
  root = root_.lexically_normal().string();
  journal = journal_;
}

void PowerCut::Promise() {
  const std::lock_guard guard(lock);
  Tell(Kind::Promise, "");
}

void PowerCut::ForbidExchange() { exchangeForbidden = true; }

PowerCut::Tree PowerCut::Read(const fs::path& folder) {
  Tree tree;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const bool isFolder = entry.is_directory();
    tree[entry.path().lexically_relative(folder)] = {isFolder,
                                                     isFolder ? SerialOf(entry.path()) : 0,
                                                     isFolder ? "" : ReadWholeFile(entry.path())};
  }
  return tree;
}

void PowerCut::Lay(const Tree& tree) const {
  for (const auto& entry : fs::directory_iterator(root_)) fs::remove_all(entry);
  std::map<std::string, std::string> serials;
  for (const auto& [path, item] : tree) {
    if (!item.isFolder) {
      WriteWholeFile(root_ / path, item.content);
      continue;
    }
    fs::create_directory(root_ / path);
    serials[std::to_string(item.serial)] = std::to_string(SerialOf(root_ / path));
  }
  // Notes tell folders by their serial numbers.
  for (const auto& [path, item] : tree) {
    if (!path.ends_with(".note")) continue;
    std::istringstream lines(item.content);
    std::string text;
    for (std::string line; std::getline(lines, line);) {
      const auto serial = serials.find(line);
      text += (serial == serials.end() ? line : serial->second) + (lines.eof() ? "" : "\n");
    }
    WriteWholeFile(root_ / path, text);
  }
}

int PowerCut::ForEachState(const std::function<void(int promises)>& check) {
  const std::vector<Event> events = EventsOf(journal_);
  const auto textOf = [](const Tree& tree) {
    std::string text;
    for (const auto& [path, item] : tree) {
      text.append(path).append(item.isFolder ? "/" : "=" + item.content).push_back('\0');
    }
    return text;
  };
  const Disk last(start_, events, events.size());
  if (textOf(last.Show(events.size(), {})) != textOf(Read(root_))) {
    throw std::runtime_error("a change was made by a call that is not replaced");
  }
  std::set<std::size_t> seen;
  // The last ones first, as they have the most promises.
  for (std::size_t count = events.size() + 1; count-- > 0;) {
    const Disk disk(start_, events, count);
    for (std::size_t entries = disk.Committed(); entries <= count; ++entries) {
      for (const Arrival& arrival : disk.Arrivals(entries)) {
        const Tree tree = disk.Show(entries, arrival);
        isKill_ =
            entries == count && arrival.rest == Arrival::Whole && arrival.other != Arrival::Misses;
        const std::string text = textOf(tree) + (isKill_ ? "killed" : "");
        if (!seen.insert(std::hash<std::string>()(text)).second) continue;
        const Event event = count > 0 ? events[count - 1] : Event();
        where_ = "power cut behind " + std::to_string(count) + " (" +
                 kKinds[static_cast<int>(event.kind)] + " " + event.path + "), entries up to " +
                 std::to_string(entries) + ", writes " + "LSW"[arrival.rest] +
                 "CMH"[arrival.other] + std::to_string(arrival.but);
        Lay(tree);
        check(disk.Promises());
      }
    }
  }
  return static_cast<int>(seen.size());
}

}  // namespace Test
