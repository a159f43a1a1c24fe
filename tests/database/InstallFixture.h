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
    TagContainer files;
    files.Ensure();
    for (const auto& [name, text] : texts) {
      files.SetBinary(Zef::PString(name), text.data(), static_cast<std::uint32_t>(text.size()));
    }
    content.SetPLID(Zef::PString("plid"), id);
    content.SetSubContainer(Zef::PString("files"), files);
    return content;
  }
  /// "level key about;" of each entry, which is gone then, without "$muk_" and the root.
  std::string Told() {
    std::string told;
    for (const ResultEntry& entry : log_.Entries()) {
      const auto& message = dynamic_cast<const AssetMessage&>(*entry.reference);
      std::string about = message.asset.ToDelimited(':');
      if (message.asset.IsNull()) about = message.parameters[0];
      if (about[0] == '/') about.erase(0, folder_.Path().string().size() + 1);
      told += std::to_string(entry.level) + ' ' + entry.text.substr(5) + ' ' + about + ';';
    }
    log_.Clear();
    return told;
  }
};

}  // namespace Test
