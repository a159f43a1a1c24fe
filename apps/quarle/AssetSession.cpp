#include "apps/quarle/AssetSession.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "apps/quarle/IndexFiles.h"
#include "apps/quarle/Progress.h"
#include "database/Database.h"
#include "kernel/platform/FileSystem.h"

namespace {

namespace Platform = Zef::Platform;
using namespace std::chrono_literals;

constexpr std::uint32_t kTurnPoll = 20;  // milliseconds; commands are short
constexpr auto kWatchStep = 100ms;
// With the patience of a progress bar this makes a second.
constexpr int kStepsToTell = 5;
// Without a bar there is but one line to spend.
constexpr int kStepsToWarn = 30;

/// What a product root holds one of at least.
constexpr std::array<const char*, 7> kSigns = {
    "assets.mkx", "cache/assets.mkx", "cache/assets.bku", "local", "editing", "world", "trains"};

bool IsProduct(const std::string& root) {
  return std::any_of(kSigns.begin(), kSigns.end(), [&](const char* name) {
    return Platform::Exists(Platform::ResolveCase(root, name));
  });
}

std::string Unwritten(const std::string& root) {
  return "cannot write the database in " + Quoted(root) +
         "; see that its disk has room and that you may write there, and to what its folder cache "
         "holds";
}

/// Shows what a start waits for: the load, or another process. Where no progress is shown, a
/// warning tells of the latter once.
class StartWatch {
 public:
  StartWatch(const CommonOptions& common, const std::string& named)
      : common_(common), named_(named), loading_("loading " + Quoted(named)) {
    if (common.quiet) return;
    watcher_ = std::thread([this] { Progress::IsWanted(common_) ? Show() : WarnOnce(); });
  }
  ~StartWatch() {
    if (!watcher_.joinable()) return;
    {
      const std::lock_guard hold(lock_);
      ending_ = true;
    }
    ended_.notify_one();
    watcher_.join();
  }
  StartWatch(const StartWatch&) = delete;
  StartWatch& operator=(const StartWatch&) = delete;

 private:
  void Show() {
    std::optional<Progress> shown;
    shown.emplace(common_, loading_);
    int waited = 0;
    std::unique_lock hold(lock_);
    while (!ended_.wait_for(hold, kWatchStep, [this] { return ending_; })) {
      const bool told = waited >= kStepsToTell;
      waited = Database::Get().IsAwaitingTurn() ? waited + 1 : 0;
      if (told == (waited >= kStepsToTell)) continue;
      shown.reset();
      shown.emplace(common_, told ? loading_ : "waiting for another process");
    }
  }

  void WarnOnce() {
    int waited = 0;
    std::unique_lock hold(lock_);
    while (!ended_.wait_for(hold, kWatchStep, [this] { return ending_; })) {
      waited = Database::Get().IsAwaitingTurn() ? waited + 1 : 0;
      if (waited < kStepsToWarn) continue;
      Warn("waiting for another process that works on " + Quoted(named_));
      return;
    }
  }

  const CommonOptions& common_;
  const std::string named_;
  const std::string loading_;
  std::mutex lock_;
  std::condition_variable ended_;
  bool ending_ = false;
  std::thread watcher_;
};

}  // namespace

AssetSession::~AssetSession() { End(); }

bool AssetSession::Open() {
  const std::string root = Platform::CanonicalPath(ExactPath(named_));
  if (root.empty() || !Platform::IsFolder(root)) {
    static_cast<void>(
        Fail("there is no folder " + Quoted(named_) + "; name the root of a product by --root"));
    return false;
  }
  // A database that starts in any other folder would make that a product.
  if (!IsProduct(root)) {
    static_cast<void>(Fail("there is no product in " + Quoted(named_) +
                           ": it has no assets.mkx, and none of the folders world, trains, local "
                           "and editing; make one of them to start a new product"));
    return false;
  }
  MUKSettings settings;
  settings.productRoot = root;
  settings.pollMilliseconds = kTurnPoll;
  {
    const StartWatch watch(common_, named_);
    started_ = true;
    MUKInitialise(settings);
    guard_.emplace(true);
  }
  if (guard_->IsHeld()) return true;
  End();
  static_cast<void>(Fail("cannot read the database in " + Quoted(named_) +
                         "; see that you may read its file assets.mkx and those in cache"));
  return false;
}

bool AssetSession::OpenForWork() {
  if (!Open()) return false;
  if (Database::Get().BeginDiskChange()) return true;
  End();
  static_cast<void>(Fail(Unwritten(named_) + "; nothing was changed"));
  return false;
}

bool AssetSession::Close() {
  if (Write()) return true;
  static_cast<void>(Fail(Unwritten(named_)));
  return false;
}

void AssetSession::CloseUnchanged() {
  if (!Write()) Warn(Unwritten(named_));
}

/// Ends the database too.
bool AssetSession::Write() {
  const Progress progress(common_, "writing " + Quoted(named_));
  Database& database = Database::Get();
  if (database.IsDirty()) MUKInternalWriteDatabase();
  const bool written = !database.IsDirty();
  End();
  return written;
}

void AssetSession::End() {
  guard_.reset();
  if (started_) MUKShutdown();
  started_ = false;
}

const std::string& AssetSession::Root() const { return Database::Get().Settings().productRoot; }

MUKAssetIndex& AssetSession::Index() const { return Database::Get().Index(); }

MUKAsset* AssetSession::Find(const PLID& id) const {
  MUKAsset* const record = Index().Find(id);
  if (record != nullptr) return record;
  const PLID replacement = Index().ResolveExact(id);
  const std::string advice = replacement.IsNull()
                                 ? "see 'quarle asset list' for those that are known"
                                 : "it is replaced by " + replacement.TagText();
  static_cast<void>(
      Fail("asset " + id.TagText() + " is unknown in " + Quoted(named_) + "; " + advice));
  return nullptr;
}
