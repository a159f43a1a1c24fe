// InstallFixture: what packages hold of assets, and what is told of them.

#pragma once

#include <map>

#include "database/AssetMessages.h"
#include "database/MUKPackage.h"
#include "tests/database/LifeFixture.h"

namespace Test {

class InstallTest : public LifeTest {
 protected:
  ~InstallTest() override {
    MUKShutdown();
    SetBaseUserId(PLID::kUnassignedUser);
  }
  /// An asset for a package that does not compress.
  static TagContainer Content(PLID id, const std::map<std::string, std::string>& texts) {
    TagContainer content;
    content.SetPLID(Zef::PString("plid"), id);
    TagContainer files;
    files.Ensure();
    for (const auto& [name, text] : texts) {
      files.SetBinary(Zef::PString(name), text.data(), static_cast<std::uint32_t>(text.size()));
    }
    content.SetSubContainer(Zef::PString("files"), files);
    return content;
  }
  static MUKPackage Stored() {
    MUKPackage package;
    package.Tags().SetString(Zef::PString("compression"), "");
    return package;
  }
  /// "level key about;" of each entry, which is gone then. Keys lose "$muk_", paths the root's.
  std::string Told() {
    std::string told;
    for (const ResultEntry& entry : log_.Entries()) {
      const auto& message = dynamic_cast<const AssetMessage&>(*entry.reference);
      const bool isFile = message.asset.IsNull() && !message.parameters[0].empty();
      const std::string about = isFile ? message.parameters[0] : message.asset.ToDelimited(':');
      told += std::to_string(entry.level) + ' ' + entry.text.substr(5) + ' ' +
              about.substr(about.find(folder_.Path().string()) == 0 ? Root().size() : 0) + ';';
    }
    log_.Clear();
    return told;
  }
  std::string Root() const { return folder_ / ""; }
};

}  // namespace Test
