#include "environment/IpcLock.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "kernel/platform/FileSystem.h"

namespace Platform = Zef::Platform;

namespace {

constexpr char kName[] = "09731AC6-B611-4e2a-B181-578073F64F24-ipc";
constexpr std::uint32_t kNone = 0xFFFFFFFF;

constexpr std::uint32_t kMutexSlot = 0;
constexpr std::uint32_t kPresenceSlot = 1;       // shared by all that are attached
constexpr std::uint32_t kFirstLifeSlot = 65536;  // plus the process id; held for life
constexpr std::uint32_t kLastProcess = 0x7FFFFFFF;
constexpr std::uint32_t kMostTwins = 256;      // processes with one id
constexpr std::uint32_t kTwinStep = 1U << 22;  // beyond every id that the system gives

std::uint64_t HashOf(const std::string& text) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  return hash;
}

// The same text for every spelling of a root. What is there of it is resolved, the rest folded, so
// that making the folder between two start-ups changes nothing.
std::string Identity(const std::string& productRoot) {
  std::string root = Platform::CanonicalPath(productRoot);
  if (!root.empty()) return root;
  std::string path =
      Platform::IsRooted(productRoot) ? productRoot : Platform::CurrentFolder() + "/" + productRoot;
  std::replace(path.begin(), path.end(), '\\', '/');
  for (std::size_t start = 0; start < path.size();) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    const std::string name = path.substr(start, end - start);
    start = end + 1;
    if (name.empty() || name == ".") continue;
    if (name == "..") {
      root.erase(std::min(root.rfind('/'), root.size()));
      continue;
    }
    root += '/' + name;
    const std::string resolved = Platform::CanonicalPath(root);
    if (!resolved.empty()) root = resolved;
  }
  return root.empty() ? "/" : root;
}

void RemoveStaleFile() {
  Platform::FileInfo info;
  if (Platform::GetInfoNoFollow(kName, &info) && info.regular) {
    (void)Platform::DeleteFile(kName);  // one that stays does no harm
  }
}

}  // namespace

std::string IpcLock::BlockName(const std::string& productRoot) {
  char text[128];
  std::snprintf(text, sizeof text, "/%s-%" PRIu32 "-%016" PRIx64, kName, Platform::CurrentUserId(),
                HashOf(Identity(productRoot)));
  return text;
}

// The mutex between processes. Its slot belongs to the block and so to all threads of this
// process at once, which a lock of the process therefore keeps apart first.
class IpcLock::Section {
 public:
  explicit Section(IpcLock* owner) : guard_(owner->mutex_), block_(owner->block_.get()) {
    if (block_ != nullptr) block_->LockExclusive(kMutexSlot, true);
  }
  Section(const Section&) = delete;
  Section& operator=(const Section&) = delete;
  ~Section() {
    if (block_ != nullptr) block_->Unlock(kMutexSlot);
  }

 private:
  std::lock_guard<std::mutex> guard_;
  Platform::SharedBlock* block_;
};

void IpcLock::Reset(Record* record) const {
  record->masterPid = myId_;
  record->writerPid = kNone;
  record->waitCount = 0;
  record->changeCounter = 0;
}

// Usually the process id itself. A process in another container may have the same one, and an
// object before this one in our own process has it too.
bool IpcLock::TakeLifeSlot() {
  for (std::uint32_t twin = 0; twin < kMostTwins; ++twin) {
    myId_ = (processId_ + twin * kTwinStep) & kLastProcess;
    if (block_->LockExclusive(kFirstLifeSlot + myId_, false)) return true;
  }
  return false;
}

// Memory objects outlive processes, so being the first means that nobody else is attached.
bool IpcLock::Join(const std::string& productRoot) {
  block_ = Platform::SharedBlock::Open(BlockName(productRoot), sizeof(Record));
  if (block_ == nullptr) return false;
  const Section section(this);
  if (!TakeLifeSlot()) return false;
  auto* const record = static_cast<Record*>(block_->Data());
  if (!block_->IsLockedByOthers(kPresenceSlot)) {
    RemoveStaleFile();
    Reset(record);
  }
  // Our id in the record, while we hold its slot, is that of a dead process before us.
  std::uint32_t predecessor = myId_;
  record->writerPid.compare_exchange_strong(predecessor, kNone);
  isMaster_ = record->masterPid == myId_;
  lastSeenCounter_ = record->changeCounter.load();
  record_ = record;
  return block_->LockShared(kPresenceSlot, false);
}

void IpcLock::IpcStartup(const std::string& productRoot) {
  if (record_ != nullptr) return;
  processId_ = myId_ = Platform::CurrentProcessId();
  if (!productRoot.empty() && Join(productRoot)) return;
  block_.reset();
  Reset(&own_);
  isMaster_ = true;
  lastSeenCounter_ = 0;
  record_ = &own_;
}

void IpcLock::IpcShutdown() {
  if (record_ == nullptr) return;
  // A forked child that runs its destructors must not give up what its parent holds.
  const bool ours = processId_ == Platform::CurrentProcessId();
  if (ours) ReleaseWriteLock();
  if (ours && isMaster_) {
    const Section section(this);
    record_->masterPid = kNone;
  }
  isMaster_ = false;
  record_ = nullptr;
  block_.reset();
}

// The slot of a process is free the moment it has died, while its id may live on in a zombie or
// in an unrelated process.
bool IpcLock::IsAlive(std::uint32_t process) const {
  if (process == myId_) return true;
  return process <= kLastProcess && block_ != nullptr &&
         block_->IsLockedByOthers(kFirstLifeSlot + process);
}

void IpcLock::TakeMaster() {
  const Section section(this);
  const std::uint32_t master = record_->masterPid;
  if (master != kNone && IsAlive(master)) return;
  record_->masterPid = myId_;
  isMaster_ = true;
}

void IpcLock::StrikeOutDeadWriter() {
  std::uint32_t writer = record_->writerPid;
  if (writer == kNone || IsAlive(writer)) return;
  const Section section(this);
  // A new process may have come by the same id meanwhile, and by the lock.
  if (IsAlive(writer)) return;
  record_->writerPid.compare_exchange_strong(writer, kNone);
}

void IpcLock::IpcPoll() {
  if (record_ == nullptr) return;
  if (isMaster_) {
    StrikeOutDeadWriter();
    return;
  }
  const std::uint32_t master = record_->masterPid;
  if (master == kNone || !IsAlive(master)) TakeMaster();
}

// `waiting`: this caller is in the count of waiters, and leaves it with success.
bool IpcLock::TryBecomeWriter(bool waiting) {
  const Section section(this);
  std::uint32_t writer = kNone;
  const bool taken = record_->writerPid.compare_exchange_strong(writer, myId_);
  if (taken || writer == myId_) {
    if (waiting) --record_->waitCount;
    return true;
  }
  if (!waiting) ++record_->waitCount;
  return false;
}

void IpcLock::AcquireWriteLock() {
  if (record_ == nullptr || HoldsWriteLock() || TryBecomeWriter(false)) return;
  for (;;) {
    // Another thread of this process may have got it for all of us.
    const std::uint32_t writer = record_->writerPid;
    if ((writer == kNone || writer == myId_) && TryBecomeWriter(true)) return;
    Platform::SleepMilliseconds(poll_);
    IpcPoll();
  }
}

bool IpcLock::TryAcquireWriteLock() {
  if (record_ == nullptr) return false;
  StrikeOutDeadWriter();
  const Section section(this);
  std::uint32_t writer = kNone;
  return record_->writerPid.compare_exchange_strong(writer, myId_) || writer == myId_;
}

// Without the mutex: nobody but the writer changes the field while it names him.
void IpcLock::ReleaseWriteLock() {
  if (record_ == nullptr) return;
  std::uint32_t writer = myId_;
  record_->writerPid.compare_exchange_strong(writer, kNone);
}

bool IpcLock::HoldsWriteLock() const { return record_ != nullptr && record_->writerPid == myId_; }

bool IpcLock::OthersWaiting() const { return HoldsWriteLock() && record_->waitCount != 0; }

void IpcLock::MarkChanged() {
  if (record_ != nullptr) lastSeenCounter_ = ++record_->changeCounter;
}

bool IpcLock::HasChanged() {
  if (record_ == nullptr) return false;
  // Of several threads one gets the news, and none puts an older counter back.
  std::uint32_t seen = lastSeenCounter_;
  const std::uint32_t counter = record_->changeCounter;
  return seen != counter && lastSeenCounter_.compare_exchange_strong(seen, counter);
}
