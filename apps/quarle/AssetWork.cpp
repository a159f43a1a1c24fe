#include "apps/quarle/AssetWork.h"

#include "apps/quarle/AssetId.h"
#include "apps/quarle/AssetState.h"
#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/Progress.h"
#include "apps/quarle/Texts.h"
#include "apps/quarle/Utf8.h"
#include "database/AssetFolder.h"
#include "database/AssetWalk.h"
#include "database/MUKAssetIndex.h"
#include "kernel/platform/Terminal.h"

namespace {

/// How the asset stands after the work.
struct Result {
  AssetStatus status;
  std::string editPath;
  std::string folder;  ///< in which its files are worked on, or else lie
};

Result ResultOf(const AssetWork& work) {
  Result result;
  MUKAsset* const record = work.Record();
  result.status = StatusOf(work.session.Index(), record);
  if (record == nullptr) return result;
  const std::string& root = work.session.Root();
  const bool isOpen = !record->editPath.IsEmpty();
  result.editPath = record->editPath.String();
  result.folder = PlaceText(isOpen ? EditPlace(root, *record) : AssetPlaceOf(root, *record));
  return result;
}

void PrintJson(const AssetWork& work, bool done, const Result& result) {
  JsonWriter json;
  json.BeginObject();
  json.Bool("done", done);
  WriteMessages(json, work.log);
  json.Text("id", work.id.TagText());
  WriteStatus(json, result.status);
  json.Text("editPath", result.editPath);
  json.Text("folder", result.folder);
  json.EndObject();
}

}  // namespace

MUKAsset* AssetWork::Record() const { return session.Index().Find(id); }

int RunAssetWork(const AssetOptions& options, const CommonOptions& common, const char* label,
                 bool (*work)(AssetWork&)) {
  PLID id;
  if (!ParseAssetId(options.id, &id)) return kUsage;
  AssetSession session(options.root, common);
  if (!session.OpenForWork() || session.Find(id) == nullptr) return kFailed;
  AssetWork asset{options, session, id, {}};
  bool done = false;
  {
    const Progress progress(common, label + (" " + id.TagText()));
    done = work(asset);
  }
  const Result result = ResultOf(asset);
  const bool written = session.Close();
  if (common.json) PrintJson(asset, done && written, result);
  PrintOutcome(asset.log, done, asset.failure, common);
  if (done && written && !common.json) {
    // What a shell puts into another command has to lead there.
    const bool isRead = Zef::Platform::IsTerminal(Zef::Platform::StandardStream::Output);
    if (!asset.answer.empty()) Print((isRead ? Printable(asset.answer) : asset.answer) + "\n");
    if (!asset.summary.empty() && !common.quiet) Print(asset.summary + "\n");
  }
  return done && written ? kDone : kFailed;
}

void PrintOutcome(const ResultsLog& log, bool done, const std::string& failure,
                  const CommonOptions& common) {
  if (PrintMessages(log, done, common) || done) return;
  static_cast<void>(Fail(failure));
}
