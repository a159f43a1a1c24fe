// A shared memory object, with its locks as open-file-description locks on its descriptor.
//
// Such a lock belongs to the opened object and not to the process, so the system drops it when
// the last descriptor closes: at death, before anybody has waited for the process.

#include "kernel/platform/SharedBlock.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <mutex>

#include "kernel/platform/posix/Posix.h"

namespace Zef::Platform {

namespace {

class PosixSharedBlock;

// All open blocks of the process. A forked child inherits them and so the locks, which would
// thereby outlive the parent.
constinit std::mutex openLock;
constinit PosixSharedBlock* firstOpen = nullptr;

class PosixSharedBlock final : public SharedBlock {
 public:
  /// With openLock held since before `object` was opened.
  PosixSharedBlock(OwnedFile object, void* data, std::size_t size)
      : object_(std::move(object)),
        data_(data),
        size_(size),
        nextOpen_(std::exchange(firstOpen, this)) {}
  PosixSharedBlock(const PosixSharedBlock&) = delete;
  PosixSharedBlock& operator=(const PosixSharedBlock&) = delete;

  // Closing frees the slots, and under the lock, so that no fork comes in between: its child would
  // map over what another thread may have in the block's place by then.
  ~PosixSharedBlock() override {
    const std::lock_guard guard(openLock);
    PosixSharedBlock** link = &firstOpen;
    while (*link != this) link = &(*link)->nextOpen_;
    *link = nextOpen_;
    munmap(data_, size_);
    object_.Close();
  }

  /// True if every fork from now on leaves the child without any open block.
  static bool WatchForks() {
    static const int error =
        pthread_atfork([] { openLock.lock(); }, [] { openLock.unlock(); }, LeaveAllToParent);
    return error == 0;
  }

  void* Data() override { return data_; }
  bool LockExclusive(std::uint32_t slot, bool wait) override { return Lock(F_WRLCK, slot, wait); }
  bool LockShared(std::uint32_t slot, bool wait) override { return Lock(F_RDLCK, slot, wait); }
  void Unlock(std::uint32_t slot) override { Lock(F_UNLCK, slot, false); }

  bool IsLockedByOthers(std::uint32_t slot) override {
    struct flock range = Range(F_WRLCK, slot);
    return fcntl(object_.Get(), F_OFD_GETLK, &range) != 0 || range.l_type != F_UNLCK;
  }

 private:
  static void LeaveAllToParent() {
    for (PosixSharedBlock* block = firstOpen; block != nullptr; block = block->nextOpen_) {
      block->object_.Close();
      // The mapping holds the locks as well. Memory of the child's own in its place keeps a stray
      // look harmless.
      (void)mmap(block->data_, block->size_, PROT_READ | PROT_WRITE,
                 MAP_FIXED | MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    }
    openLock.unlock();
  }

  static struct flock Range(int type, std::uint32_t slot) {
    struct flock range {};
    range.l_type = static_cast<short>(type);
    range.l_whence = SEEK_SET;
    range.l_start = slot;
    range.l_len = 1;
    return range;
  }

  bool Lock(int type, std::uint32_t slot, bool wait) {
    struct flock range = Range(type, slot);
    const int command = wait ? F_OFD_SETLKW : F_OFD_SETLK;
    return Uninterrupted([&] { return fcntl(object_.Get(), command, &range); }) == 0;
  }

  OwnedFile object_;
  void* data_;
  std::size_t size_;
  PosixSharedBlock* nextOpen_;
};

// Reserves the memory too, so that touching the block cannot fault on a full system. Never
// shrinks: another process may have the larger block mapped.
bool Reserve(int object, std::size_t size) {
  int error = 0;
  do {
    error = posix_fallocate(object, 0, static_cast<off_t>(size));
  } while (error == EINTR);
  return error == 0;
}

}  // namespace

std::unique_ptr<SharedBlock> SharedBlock::Open(const std::string& name, std::size_t size) {
  if (size == 0 || name.find('\0') != std::string::npos) return nullptr;
  const std::string rooted = !name.empty() && name.front() == '/' ? name : "/" + name;
  if (!PosixSharedBlock::WatchForks()) return nullptr;
  const std::lock_guard guard(openLock);
  OwnedFile object(Uninterrupted(
      [&] { return shm_open(rooted.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, mode_t{0600}); }));
  struct stat facts {};
  // Somebody else's object under our name could change or vanish at his will.
  if (!object || fstat(object.Get(), &facts) != 0 || facts.st_uid != geteuid()) return nullptr;
  if (!Reserve(object.Get(), size)) return nullptr;
  void* const data = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, object.Get(), 0);
  if (data == MAP_FAILED) return nullptr;
  return std::make_unique<PosixSharedBlock>(std::move(object), data, size);
}

}  // namespace Zef::Platform
