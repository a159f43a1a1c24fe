// quarle package list, create, extract, check.

#include <algorithm>
#include <array>
#include <cstdio>

#include "apps/quarle/AssetId.h"
#include "apps/quarle/Commands.h"
#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/Progress.h"
#include "apps/quarle/StreamFiles.h"
#include "apps/quarle/Texts.h"
#include "apps/quarle/Utf8.h"
#include "database/AssetConfig.h"
#include "database/AssetFolder.h"
#include "database/ConfigWriter.h"
#include "database/MUKAsset.h"
#include "database/PackageCheck.h"
#include "database/PackageFolder.h"
#include "environment/ResultsLog.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/platform/System.h"

namespace {

namespace Platform = Zef::Platform;

/// An asset of a package as listings show it.
struct ShownAsset {
  std::uint32_t place = 0;
  PLID id;
  std::string name;
  PackageSize size;
};

PLID IdOf(const TagContainer& asset) { return asset.GetPLID(Zef::PString("plid")); }

std::string IdText(const PLID& id) { return id.IsNull() ? "no identifier" : id.TagText(); }

ShownAsset Look(const MUKPackage& package, std::uint32_t place) {
  const TagContainer asset = package.Get(place);
  MUKAsset record;
  const bool isConfig = FillFromConfig(record, asset, /*readId=*/true, {});
  return {place, IdOf(asset), isConfig ? std::string(record.ShownName().View()) : std::string(),
          MeasurePackageFiles(asset, package.Compression())};
}

std::vector<ShownAsset> LookAtAll(const MUKPackage& package) {
  std::vector<ShownAsset> assets;
  for (std::uint32_t i = 0; i < package.Count(); ++i) assets.push_back(Look(package, i));
  return assets;
}

PackageSize Total(const std::vector<ShownAsset>& assets) {
  PackageSize total;
  for (const ShownAsset& asset : assets) {
    total.files += asset.size.files;
    total.bytes += asset.size.bytes;
    total.stored += asset.size.stored;
  }
  return total;
}

std::string ContentText(const std::vector<ShownAsset>& assets) {
  const PackageSize total = Total(assets);
  return Counted(assets.size(), "asset") + ", " + Counted(total.files, "file") + ", " +
         ByteSize(total.bytes);
}

/// False, with the failure's line printed.
bool OpenPackage(const std::string& path, MUKPackage& package) {
  if (const InputFile file(path); !file.IsOpen()) {
    static_cast<void>(file.Fail());
    return false;
  }
  const std::string error = package.Open(path, "kpx");
  if (error.empty()) return true;
  static_cast<void>(Fail(Quoted(path) + ": " + error +
                         "; see that it is the package that you meant, or get it anew"));
  return false;
}

void WriteSize(JsonWriter& json, const PackageSize& size) {
  json.Unsigned("files", size.files);
  json.Unsigned("bytes", size.bytes);
  json.Unsigned("storedBytes", size.stored);
}

void WriteAssets(JsonWriter& json, const std::vector<ShownAsset>& assets) {
  json.BeginArray("assets");
  for (const ShownAsset& asset : assets) {
    json.NewLine();
    json.BeginObject();
    json.Text("id", asset.id.TagText());
    json.Text("name", asset.name);
    WriteSize(json, asset.size);
    json.EndObject();
  }
  json.EndArray();
}

void WriteTable(JsonWriter& json, const TagContainer& tags, const char* key, const char* table) {
  std::vector<PLID> ids;
  tags.GetSubContainer(Zef::PString(table)).CollectPLIDsFlat(ids);
  json.BeginArray(key);
  for (const PLID& id : ids) json.TextItem(id.TagText());
  json.EndArray();
}

/// Calls `visit` with each note that the package has, and its text.
template <class Visit>
void ForEachNote(const TagContainer& tags, Visit&& visit) {
  for (const PackageNote& note : kPackageNotes) {
    const Zef::PString key(note.key);
    if (tags.HasTag(key)) visit(note.key, tags.GetText(key));
  }
}

void ListJson(const PackageOptions& options, const TagContainer& tags,
              const std::vector<ShownAsset>& assets) {
  JsonWriter json;
  json.BeginObject();
  json.Text("package", options.package);
  json.Text("compression", tags.GetText(Zef::PString("compression")).View());
  ForEachNote(tags, [&](const char* key, const auto& text) { json.Text(key, text.View()); });
  WriteAssets(json, assets);
  WriteTable(json, tags, "dependencies", "plid-table");
  WriteTable(json, tags, "obsolete", "obsolete-table");
  json.EndObject();
}

void ListText(const TagContainer& tags, const std::vector<ShownAsset>& assets, bool quiet) {
  ForEachNote(tags, [](const char* key, const auto& text) {
    Print(Padded(key, 17) + Printable(text.View()) + "\n");
  });
  for (const ShownAsset& asset : assets) {
    Print(Padded(IdText(asset.id), 26) + "  " +
          Padded(Counted(asset.size.files, "file") + ", " + ByteSize(asset.size.bytes), 22) + "  " +
          Printable(asset.name) + "\n");
  }
  if (quiet) return;
  Print(ContentText(assets) + ", stored in " + ByteSize(Total(assets).stored) + "\n");
}

AssetPlace PlaceOf(const std::string& folder) { return {{}, folder}; }

/// Takes the folders in. False with the reason in `error`, or in `log`.
bool Fill(MUKPackage& package, const PackageOptions& options, const CommonOptions& common,
          ResultsLog& log, std::string& error) {
  std::vector<std::uint64_t> sizes;
  std::uint64_t total = 0;
  for (const std::string& folder : options.folders) {
    sizes.push_back(MeasureAssetFolder(PlaceOf(folder)).bytes);
    total += sizes.back();
  }
  Progress bar(common, "packing", total);
  std::uint64_t before = 0;
  for (std::size_t i = 0; i < options.folders.size(); ++i) {
    package.SetProgress([&](std::uint64_t bytes) { bar.Advance(before + bytes); });
    TagContainer asset;
    const bool isRead = ReadAssetFolder(package, PlaceOf(options.folders[i]), asset, &log);
    package.SetProgress({});
    if (!isRead) return false;
    const std::string refused = package.Add(asset);
    if (!refused.empty()) {
      error = Quoted(options.folders[i]) + ": " + refused +
              "; see the tag 'plid' of its config, by 'quarle tags show'";
    }
    if (!refused.empty()) return false;
    before += sizes[i];
  }
  return true;
}

/// Each identifier once. False, with the line of wrong usage printed.
bool ParseAssetIds(const std::vector<std::string>& texts, std::vector<PLID>& ids) {
  for (const std::string& text : texts) {
    PLID id;
    if (!ParseAssetId(text, &id)) return false;
    if (std::find(ids.begin(), ids.end(), id) == ids.end()) ids.push_back(id);
  }
  return true;
}

/// Those that were asked for, or all; false, with the failure's line printed.
bool Select(const MUKPackage& package, const PackageOptions& options, const std::vector<PLID>& ids,
            std::vector<ShownAsset>& selected) {
  if (ids.empty()) selected = LookAtAll(package);
  for (const PLID& id : ids) {
    const std::int32_t place = package.Find(id);
    if (place < 0) {
      static_cast<void>(Fail(Quoted(options.package) + " has no asset " + id.TagText() +
                             "; see 'quarle package list' for those it has"));
      return false;
    }
    selected.push_back(Look(package, static_cast<std::uint32_t>(place)));
  }
  return true;
}

/// Puts one asset into a folder that stands empty; an error text, empty when done.
std::string Extract(const MUKPackage& package, std::uint32_t place, const std::string& folder) {
  const TagContainer asset = package.Get(place);
  std::string error = package.ExtractFiles(asset, folder);
  if (!error.empty()) return error;
  const TagContainer config = TagsWithout(asset, kFilesTag);
  return WriteConfig(config, folder, ConfigForm::Text, IdOf(asset)) ? ""
                                                                    : "Unable to write its config";
}

/// A name that nothing else has.
std::string HiddenName() {
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), ".%016llx",
                static_cast<unsigned long long>(Platform::RandomWord()));
  return text.data();
}

/// Makes the folder of an asset with all that is in it, or nothing. An error text, or empty.
std::string ExtractAnew(const MUKPackage& package, const ShownAsset& asset,
                        const std::string& parent) {
  if (asset.id.IsNull()) return "an entry has no identifier; see 'quarle package check'";
  const std::string name = asset.id.ToWords();
  const std::string folder = parent + "/" + name;
  const std::string taken = " exists already; move it away, or name another folder";
  if (Platform::Exists(folder)) return Quoted(folder) + taken;
  // Filled out of sight: a command that is killed leaves no half asset under the asset's name.
  // Its name is not longer: what fits the one fits the other.
  const std::string hidden = parent + "/" + HiddenName().substr(0, name.size());
  if (!Platform::MakeFolder(hidden)) {
    return Quoted(folder) + " cannot be made; see that you may write there, or name another folder";
  }
  std::string error = Extract(package, asset.place, hidden);
  if (!error.empty()) {
    error = asset.id.TagText() + ": " + error +
            "; make room on the disk if it is full, or see 'quarle package check'";
  } else if (!Platform::Rename(hidden, folder)) {
    error = Quoted(folder) + taken;
  }
  if (!error.empty()) static_cast<void>(Platform::DeleteTree(hidden));
  return error;
}

/// False, with the failure's line printed, for a name that anything has, if only a link to nothing.
bool CheckFree(const std::string& package) {
  Platform::FileInfo info;
  if (!Platform::GetInfoNoFollow(package, &info)) return true;
  static_cast<void>(Fail(Quoted(package) + " exists already; delete it first"));
  return false;
}

/// Makes the file, and never in the place of another one, which may have come at any moment.
int SaveAnew(MUKPackage& package, const std::string& path) {
  const std::string folder = path.substr(0, path.find_last_of("/\\") + 1);
  const std::string hidden = folder + HiddenName() + ".kpx";
  std::string error = package.Save(hidden);
  if (error.empty() && Platform::Rename(hidden, path)) return kDone;
  static_cast<void>(Platform::DeleteFile(hidden));
  if (!CheckFree(path)) return kFailed;
  if (error.empty()) error = "Unable to rename " + Quoted(hidden);
  return Fail(Quoted(path) + ": " + error +
              "; see that its folder is there, has room and lets you write");
}

/// The first failure's text, empty when all were extracted.
std::string ExtractAll(MUKPackage& package, const PackageOptions& options,
                       const CommonOptions& common, const std::vector<ShownAsset>& assets) {
  Progress bar(common, "extracting", Total(assets).bytes);
  std::uint64_t before = 0;
  package.SetProgress([&](std::uint64_t bytes) { bar.Advance(before + bytes); });
  std::string error;
  for (std::size_t i = 0; i < assets.size() && error.empty(); ++i) {
    error = ExtractAnew(package, assets[i], options.folder);
    before += assets[i].size.bytes;
  }
  package.SetProgress({});
  return error;
}

void PrintExtraction(const PackageOptions& options, const CommonOptions& common,
                     const std::vector<ShownAsset>& assets) {
  if (common.json) {
    JsonWriter json;
    json.BeginObject();
    json.Text("package", options.package);
    json.Text("folder", options.folder);
    WriteAssets(json, assets);
    json.EndObject();
  } else if (!common.quiet) {
    Print(ContentText(assets) + " extracted to " + Quoted(options.folder) + "\n");
  }
}

void WriteProblems(const PackageOptions& options, const std::vector<PackageProblem>& problems) {
  JsonWriter json;
  json.BeginObject();
  json.Text("package", options.package);
  json.Bool("ok", problems.empty());
  json.BeginArray("problems");
  for (const PackageProblem& problem : problems) {
    json.NewLine();
    json.BeginObject();
    json.Text("id", problem.asset.TagText());
    json.Text("path", problem.path);
    json.Text("problem", problem.what);
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
}

std::string ProblemLine(const PackageProblem& problem) {
  std::string line = problem.asset.IsNull() ? "" : problem.asset.TagText() + ": ";
  if (!problem.path.empty()) line += Quoted(problem.path) + ": ";
  return line + Printable(problem.what);
}

}  // namespace

int RunPackageList(const PackageOptions& options, const CommonOptions& common) {
  MUKPackage package;
  if (!OpenPackage(options.package, package)) return kFailed;
  const std::vector<ShownAsset> assets = LookAtAll(package);
  if (common.json) {
    ListJson(options, package.Tags(), assets);
  } else {
    ListText(package.Tags(), assets, common.quiet);
  }
  return kDone;
}

int RunPackageCreate(const PackageOptions& options, const CommonOptions& common) {
  if (!CheckFree(options.package)) return kFailed;
  std::string error = MUKPackage::CheckName(options.package);
  if (!error.empty()) return Fail(Quoted(options.package) + ": " + error);
  for (const std::string& folder : options.folders) {
    if (Platform::IsFolder(folder)) continue;
    return Fail(Quoted(folder) +
                " is no folder; name the folder of an asset, with its config in it");
  }
  MUKPackage package;
  for (std::size_t i = 0; i < kPackageNotes.size(); ++i) {
    if (options.notes[i].empty()) continue;
    package.Tags().SetString(Zef::PString(kPackageNotes[i].key), options.notes[i]);
  }
  ResultsLog log;
  if (!Fill(package, options, common, log, error)) {
    if (!error.empty()) return Fail(error);
    PrintMessages(log, /*done=*/false, common);
    return kFailed;
  }
  if (const int failed = SaveAnew(package, options.package); failed != kDone) return failed;
  const std::vector<ShownAsset> assets = LookAtAll(package);
  if (common.json) {
    JsonWriter json;
    json.BeginObject();
    json.Text("package", options.package);
    WriteAssets(json, assets);
    json.EndObject();
  } else if (!common.quiet) {
    Print(Quoted(options.package) + ": " + ContentText(assets) + ", stored in " +
          ByteSize(Total(assets).stored) + "\n");
  }
  return kDone;
}

int RunPackageExtract(const PackageOptions& options, const CommonOptions& common) {
  std::vector<PLID> ids;
  if (!ParseAssetIds(options.assets, ids)) return kUsage;
  MUKPackage package;
  std::vector<ShownAsset> assets;
  if (!OpenPackage(options.package, package) || !Select(package, options, ids, assets)) {
    return kFailed;
  }
  if (!Platform::MakeFolders(options.folder)) {
    return Fail(Quoted(options.folder) + ": this folder cannot be made; name another one");
  }
  const std::string error = ExtractAll(package, options, common, assets);
  if (!error.empty()) return Fail(Quoted(options.package) + ": " + error);
  PrintExtraction(options, common, assets);
  return kDone;
}

int RunPackageCheck(const PackageOptions& options, const CommonOptions& common) {
  MUKPackage package;
  if (!OpenPackage(options.package, package)) return kFailed;
  std::vector<PackageProblem> problems;
  const std::vector<ShownAsset> assets = LookAtAll(package);
  {
    Progress bar(common, "checking", Total(assets).bytes);
    problems = CheckPackage(package, [&](std::uint64_t bytes) { bar.Advance(bytes); });
  }
  if (common.json) {
    WriteProblems(options, problems);
  } else if (!common.quiet) {
    for (const PackageProblem& problem : problems) Print("  " + ProblemLine(problem) + "\n");
    if (problems.empty()) Print(Quoted(options.package) + ": " + ContentText(assets) + ", whole\n");
  }
  if (problems.empty()) return kDone;
  return Fail(Quoted(options.package) + ": " + Counted(problems.size(), "problem") + ", first " +
              ProblemLine(problems.front()));
}
