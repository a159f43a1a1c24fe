// InstallFixture: contents of packages, and everything about a product that a test compares.

#pragma once

#include <map>
#include <set>

#include "database/AssetFolder.h"
#include "database/AssetMessages.h"
#include "database/MUKPackage.h"
#include "environment/ResultsLog.h"
#include "tests/database/RunningFixture.h"

namespace Test {

class InstallTest : public RunningTest {
 protected:
  ~InstallTest() override {
    MUKShutdown();
    SetBaseUserId(PLID::kUnassignedUser);
  }

  /// What a package holds of an asset, with files for Stored().
  static TagContainer Content(PLID id, const char* name,
                              const std::map<std::string, std::string>& files) {
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

  /// "level key about;" of each entry since the last time.
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
  /// All records, and what is on disk that is neither a file of the database nor a setting.
  std::string State() const {
    std::set<std::string> state;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.Path())) {
      const std::string path = entry.path().lexically_relative(folder_.Path()).string();
      if (path.find('/') == std::string::npos || path.starts_with("cache/assets") ||
          path.ends_with("plid.txt")) {
        continue;
      }
      state.insert(path + (entry.is_regular_file() ? '=' + ReadWholeFile(entry.path()) : "") + ';');
    }
    const MUKLock guard(false);
    for (const MUKAsset* record : Database::Get().Index().AllRecords()) {
      state.insert(record->id.TagText() + record->name.String() + '|' +
                   record->installPath.String() + '|' + record->editPath.String() + '|' +
                   std::to_string(record->sizeBytes) + '|' + std::to_string(record->uploadTime));
    }
    std::string all;
    for (const std::string& line : state) all += line;
    return all;
  }
  /// Ends the database, and starts it from its file or, without that, from the folders.
  std::string Restarted(bool fromFolders = false) {
    MUKShutdown();
    if (fromFolders) Lay("-", "-", "-");
    Start();
    return State();
  }

  ResultsLog log_;
};

}  // namespace Test
