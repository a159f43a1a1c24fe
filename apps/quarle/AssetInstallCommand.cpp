// quarle asset install: takes assets out of packages and folders into a product.

#include <vector>

#include "apps/quarle/AssetWork.h"
#include "apps/quarle/IndexFiles.h"
#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/Progress.h"
#include "apps/quarle/Texts.h"
#include "database/AssetFolder.h"
#include "database/AssetInstall.h"
#include "database/AssetMessages.h"
#include "kernel/platform/FileSystem.h"

namespace {

namespace Platform = Zef::Platform;

constexpr std::uint64_t kStepsAFile = 1000;

/// The path of the system; empty if nothing is there. A link to a file keeps its own name, which
/// tells what it is and what lies beside it.
std::string Located(const std::string& path) {
  std::string canonical = Platform::CanonicalPath(path);
  if (canonical.empty() || Platform::IsFolder(canonical)) return canonical;
  const std::size_t name = path.find_last_of('/') + 1;
  const std::string folder = name == 0 ? "." : path.substr(0, name);
  return Platform::CanonicalPath(folder) + "/" + path.substr(name);
}

/// The files as paths of the system. False, with the failure's line printed, if one is missing.
bool Locate(const std::vector<std::string>& files, std::vector<std::string>* paths) {
  for (const std::string& file : files) {
    paths->push_back(Located(ExactPath(file)));
    if (!paths->back().empty()) continue;
    static_cast<void>(Fail("there is no file or folder " + Quoted(file) +
                           "; name a package, the folder of an asset or its config file"));
    return false;
  }
  return true;
}

/// Puts packages without assets, of which no message tells, into `empty`.
bool Install(const std::vector<std::string>& paths, std::uint32_t flags, ResultsLog* log,
             std::vector<std::string>* empty, const CommonOptions& common) {
  Progress progress(common, "installing", kStepsAFile * paths.size());
  bool all = true;
  std::uint64_t before = 0;
  for (const std::string& path : paths) {
    const auto advance = [&](std::uint64_t done, std::uint64_t total) {
      progress.Advance(before + kStepsAFile * done / total);
    };
    const std::size_t told = log->Entries().size();
    const bool installed = Platform::IsFolder(path) ? MUKInstallFolder({{}, path}, log, flags)
                                                    : MUKInstallFile(path, log, flags, advance);
    if (installed && log->Entries().size() == told) empty->push_back(path);
    all = all && installed;
    progress.Advance(before += kStepsAFile);
  }
  return all;
}

void PrintJson(const ResultsLog& log, bool done) {
  JsonWriter json;
  json.BeginObject();
  json.Bool("done", done);
  WriteMessages(json, log);
  json.BeginArray("installed");
  for (const ResultEntry& entry : log.Entries()) {
    const auto* const message = dynamic_cast<const AssetMessage*>(entry.reference.Get());
    if (entry.level == ResultLevel::kDone && message != nullptr) {
      json.TextItem(message->asset.TagText());
    }
  }
  json.EndArray();
  json.EndObject();
}

}  // namespace

int RunAssetInstall(const AssetOptions& options, const CommonOptions& common) {
  std::vector<std::string> paths;
  if (!Locate(options.files, &paths)) return kFailed;
  AssetSession session(options.root, common);
  if (!session.OpenForWork()) return kFailed;
  ResultsLog log;
  std::vector<std::string> empty;
  const std::uint32_t flags = options.overwrite ? kInstallOverwrite : 0;
  const bool done = Install(paths, flags, &log, &empty, common);
  const bool written = session.Close();
  if (common.json) PrintJson(log, done && written);
  PrintOutcome(log, done, "not everything was installed", common);
  for (const std::string& path : empty) {
    Warn(Quoted(path) + " holds no assets; see that it is the package that you meant");
  }
  return done && written ? kDone : kFailed;
}
