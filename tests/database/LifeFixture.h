// LifeFixture: one asset on its way through its states, in a running database with folders on disk.

#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "database/AssetEdit.h"
#include "database/AssetInstall.h"
#include "database/FolderSweep.h"
#include "environment/ResultsLog.h"
#include "tests/database/PackageFixture.h"
#include "tests/database/RunningFixture.h"

namespace Test {

class LifeTest : public RunningTest {
 protected:
  static constexpr PLID kId{1, 7, 0};

  /// Writes a config of this generation, which is its name, and a file that holds it too.
  void Write(const std::string& folder, char generation) const {
    const std::string name(1, generation);
    WriteWholeFile(folder_ / (folder + "/config.txt"), "plid <plid:1:7>\nname \"" + name + "\"\n");
    WriteWholeFile(folder_ / (folder + "/parts/body.txt"), name);
  }
  std::string EditFolder() const { return MUKGetEditPath(kId); }
  std::string InstallFolder() const { return "local/" + MUKGetInstallPath(kId); }

  /// The second generation as a package has it that does not compress.
  static TagContainer Packed() {
    TagContainer asset = PackedAsset(kId);
    TagContainer parts = Container();
    AddBinary(parts, "body.txt", "2");
    asset.GetSubContainer("files").SetSubContainer("parts", parts);
    asset.SetString("name", "2");
    return asset;
  }
  bool Install(const TagContainer& asset, std::uint32_t flags) {
    MUKPackage package;
    package.Tags().SetString("compression", "");
    return MUKInstallAsset(asset, package, &log_, flags);
  }

  /// One letter, one step of a life; false when it was refused. Digits write that generation into
  /// the working folder; others are commits, or stand for what they call.
  bool Do(char step) {
    constexpr std::string_view kCommits = "cku";
    if (const std::size_t flags = kCommits.find(step); flags != std::string_view::npos) {
      return MUKCommitAssetEdits(kId, &log_, static_cast<std::uint32_t>(flags));
    }
    switch (step) {
      case 'n':  // new, with its first generation
        return !MUKCreateNew(kId).IsNull() && Live("o1");
      case 'l':  // there in the older layout
      case 'L':
        Write(step == 'l' ? "world/w/g/a" : "local/a", '1');
        MUKCreateNew(kId);
        return MUKSetLegacyPath(kId, step == 'l' ? "world\\w/g/a" : "LOCAL/a");
      case 'o':
        return !MUKOpenAsset(kId, true, &log_).IsNull();
      case 'r':
        return MUKRevertAssetEdits({kId, true});
      case 'i':
        return Install(Packed(), kInstallOverwrite);
      case 's':
        return MUKSetListed(kId, true);
      case 'b':
        return MUKSetBuiltIn(kId, true);
      case 't':  // what a picture viewer leaves behind
        WriteWholeFile(folder_ / (EditFolder() + "/parts/Thumbs.DB"), "");
        return true;
      default:
        step == 'd' || step == 'f' ? MUKDeleteAsset(kId, step == 'f') : Write(EditFolder(), step);
        return true;
    }
  }
  bool Live(std::string_view steps) {
    return std::all_of(steps.begin(), steps.end(), [this](char step) { return Do(step); });
  }

  /// "E", "I" and "L" for the places of the record, each with the generation found there, '?' for
  /// half a one and '!' for nothing; "." without a place, "-" without a record.
  std::string State() const {
    if (!MUKFind(kId)) return "-";
    std::string state;
    if (!EditFolder().empty()) state += "E" + Generation(EditFolder());
    if (!MUKGetInstallPath(kId).empty()) state += "I" + Generation(InstallFolder());
    if (!MUKGetLegacyPath(kId).empty()) state += "L" + Generation(MUKGetLegacyPath(kId));
    return state.empty() ? "." : state;
  }
  std::string Generation(std::string folder) const {
    std::replace(folder.begin(), folder.end(), '\\', '/');
    if (!std::filesystem::exists(folder_ / folder)) return "!";
    const std::string config = folder_ / (folder + "/config.txt");
    const std::string body = folder_ / (folder + "/parts/body.txt");
    if (!std::filesystem::is_regular_file(config) || !std::filesystem::exists(body)) return "?";
    const std::string name = ReadWholeFile(body);
    return ReadWholeFile(config).find('"' + name + '"') == std::string::npos ? "?" : name;
  }

  /// Starts with an empty product root.
  void Renew() {
    MUKShutdown();
    std::filesystem::remove_all(folder_.Path());
    std::filesystem::create_directories(folder_.Path());
    Start();
  }
  /// Ends and starts again; after a crash with the backup alone.
  void Restart(bool crashed) {
    MUKShutdown();
    if (crashed) std::filesystem::rename(folder_ / kMain, folder_ / kBackup);
    Start();
  }

  /// The index file as it is now.
  std::string Index() {
    MUKShutdown();
    std::string index = ReadWholeFile(folder_ / kMain);
    Start();
    return index;
  }
  /// Starts again behind a crash that left this index.
  void Crash(const std::string& index) {
    MUKShutdown();
    std::filesystem::remove(folder_ / kMain);
    WriteWholeFile(folder_ / kBackup, index);
    Start();
  }

  /// All paths in the folders of assets, with the contents.
  std::string Tree() const {
    AwaitSweeps();
    std::vector<std::string> all;
    for (const char* const area : {"local", "editing", "world", "temp"}) {
      if (!std::filesystem::is_directory(folder_ / area)) continue;
      for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_ / area)) {
        const bool isFile = entry.is_regular_file() && !entry.is_symlink();
        all.push_back(entry.path().string() + (isFile ? "=" + ReadWholeFile(entry.path()) : ""));
      }
    }
    std::sort(all.begin(), all.end());
    std::string tree;
    for (const std::string& each : all) tree += each + '\n';
    return tree;
  }

  /// The keys in the log, each with ';' behind it; empties the log.
  std::string Told() {
    std::string told;
    for (const ResultEntry& entry : log_.Entries()) told += entry.text + ';';
    log_.Clear();
    return told;
  }

  ResultsLog log_;
};

}  // namespace Test
