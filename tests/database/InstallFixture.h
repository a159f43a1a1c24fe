// InstallFixture: packages, asset folders, and everything about a product that a test compares.

#pragma once

#include <map>

#include "database/AssetFolder.h"
#include "database/AssetMessages.h"
#include "database/MUKPackage.h"
#include "environment/ResultsLog.h"
#include "tests/database/RunningFixture.h"

namespace Test {

using FileTexts = std::map<std::string, std::string>;

class InstallTest : public RunningTest {
 protected:
  ~InstallTest() override {
    MUKShutdown();
    SetBaseUserId(PLID::kUnassignedUser);
  }

  /// A package's container with a config, stored files, and whatever `alter` does to it.
  static TagContainer Content(PLID id, const char* name, const FileTexts& files) {
    TagContainer content;
    content.SetPLID(Zef::PString("plid"), id);
    content.SetString(Zef::PString("username"), name);
    TagContainer folder;
    folder.Ensure();
    for (const auto& [file, bytes] : files) {
      folder.SetBinary(Zef::PString(file), bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    }
    content.SetSubContainer(Zef::PString("files"), folder);
    return content;
  }
  static MUKPackage Stored() {
    MUKPackage package;
    package.Tags().SetString(Zef::PString("compression"), "");
    return package;
  }
  void Put(const std::string& folder, const std::string& config) const {
    WriteWholeFile(folder_ / (folder + "/config.txt"), config);
  }

  /// What the log was told since the last time: "level key about;" of each entry.
  std::string Told() {
    std::string told;
    for (const ResultEntry& entry : log_.Entries()) {
      const auto& message = dynamic_cast<const AssetMessage&>(*entry.reference);
      told += std::to_string(entry.level) + ' ' + entry.text + ' ' +
              (message.asset.IsNull() ? message.parameters[0] : message.asset.ToDelimited(':')) +
              ';';
    }
    log_.Clear();
    return told;
  }
  /// Below the root, what is no file of the database: "path=content;", a folder without content.
  std::string OnDisk() const {
    std::map<std::string, std::string> entries;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.Path())) {
      const std::string path = entry.path().lexically_relative(folder_.Path()).string();
      if (path.starts_with("cache") || path.starts_with("assets.mkx") || path.starts_with("Sett")) {
        continue;
      }
      entries[path] = entry.is_regular_file() ? '=' + ReadWholeFile(entry.path()) : "";
    }
    std::string disk;
    for (const auto& [path, content] : entries) disk += path + content + ';';
    return disk;
  }
  /// "id name legacy|install@archive|edit flags;" of each record.
  static std::string Records() {
    const MUKLock guard(false);
    std::string records;
    for (const MUKAsset* record : Database::Get().Index().AllRecords()) {
      records += record->id.ToDelimited(':') + ' ' + record->name.String() + ' ' +
                 record->legacyPath.String() + '|' + record->installPath.String() + '@' +
                 record->archiveName.String() + '|' + record->editPath.String() + ' ' +
                 std::to_string(record->flags.Byte(1) & 1) + ' ' +
                 std::to_string(record->uploadTime) + ';';
    }
    return records;
  }
  /// Ends the database and starts it again, from its file or, without that, from the folders.
  std::string Restarted(bool fromFolders = false) {
    MUKShutdown();
    if (fromFolders) Lay("-", "-", "-");
    Start();
    return Records();
  }

  ResultsLog log_;
};

}  // namespace Test
