// PackageFixture: asset folders, packages made of them, and packages made by hand.

#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "database/AssetFolder.h"
#include "database/AssetMessages.h"
#include "database/MUKPackage.h"
#include "environment/ResultsLog.h"
#include "tests/support/TestFiles.h"

namespace Test {

/// "key path;" of each entry, with paths below `folder`.
inline std::string Told(const ResultsLog& log, const std::filesystem::path& folder) {
  std::string told;
  for (const ResultEntry& entry : log.Entries()) {
    const auto& message = dynamic_cast<const AssetMessage&>(*entry.reference);
    const std::string& path = message.parameters.at(0);
    const std::string prefix = folder.string() + "/";
    told += entry.text + ' ' + (path.starts_with(prefix) ? path.substr(prefix.size()) : path) + ';';
  }
  return told;
}

inline TagContainer Container() {
  TagContainer tags;
  tags.Ensure();
  return tags;
}

inline void AddBinary(TagContainer& folder, std::string_view name, std::string_view bytes) {
  folder.Chunk()->AddTag(Zef::PString(name),
                         NewHeapTag(TagBinary, HCSRawDataCore::Copy(bytes.data(), bytes.size())));
}

/// A container as Add takes it.
inline TagContainer PackedAsset(const PLID& id, const std::vector<PLID>& dependencies = {},
                                const std::vector<PLID>& obsolete = {}) {
  const auto table = [](const std::vector<PLID>& ids) {
    TagContainer tags = Container();
    for (std::size_t i = 0; i < ids.size(); ++i) {
      tags.SetPLID(Zef::PString(std::to_string(i)), ids[i]);
    }
    return tags;
  };
  TagContainer asset;
  asset.SetPLID("plid", id);
  asset.SetSubContainer("plid-table", table(dependencies));
  asset.SetSubContainer("obsolete-table", table(obsolete));
  asset.SetSubContainer("files", Container());
  return asset;
}

/// The identifiers in a table of a package, in order: "1:2:3 1:2:4 ".
inline std::string Table(const TagContainer& package, const char* name) {
  std::vector<PLID> ids;
  package.GetSubContainer(Zef::PString(name)).CollectPLIDsFlat(ids);
  std::string text;
  for (const PLID& id : ids) text += id.ToDelimited(':') + ' ';
  return text;
}

class PackageTest : public testing::Test {
 protected:
  void Put(std::string_view name, std::string_view bytes) const {
    WriteWholeFile(folder_ / name, bytes);
  }
  std::string Read(std::string_view name) const { return ReadWholeFile(folder_ / name); }
  AssetPlace Place(std::string_view name) const { return {{}, folder_ / name}; }

  /// What importing a folder tells; "done" when it went well.
  std::string Import(std::string_view name) const {
    ResultsLog log;
    TagContainer files;
    return package_.ImportFolder(Place(name), files, &log) ? "done" : Told(log, folder_.Path());
  }

  TempFolder folder_;
  MUKPackage package_;
};

}  // namespace Test
