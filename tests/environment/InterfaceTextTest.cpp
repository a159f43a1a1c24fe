#include "environment/InterfaceText.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "environment/Languages.h"
#include "environment/QuarleLog.h"
#include "kernel/standard/Subst.h"
#include "tagdata/TagFiles.h"
#include "tests/environment/LogLines.h"
#include "tests/support/TestFiles.h"
#include "tests/support/Threads.h"

namespace {

namespace fs = std::filesystem;

class InterfaceTextTest : public testing::Test {
 protected:
  void SetUp() override { Start((folder_ / "").c_str()); }
  void TearDown() override { Start(nullptr); }

  static void Start(const char* folder) {
    DestroyInterfaceText();
    SetLanguage("EN");
    SetInterfaceFile("interfacetext.grole");
    Zef::Subst("data", folder, true);
  }
  void WriteText(std::string_view text) const {
    ::Test::WriteWholeFile(folder_ / "interfacetext.txt", text);
  }
  static std::string Get(const char* key) { return InterfaceText()->GetString(key, false).Text(); }

  ::Test::TempFolder folder_;
  ::Test::LogLines log_;
};

TEST_F(InterfaceTextTest, OnlyLanguagesWithAFileChangeIt) {
  const char* const steps[][3] = {
      {"AU", "interfacetext.grole", "AU"},    {"de", "interfacetext.grole", "AU"},
      {"DE", "interfaceGerman.grole", "DE"},  {"EN", "interfaceGerman.grole", "EN"},
      {"DEX", "interfaceGerman.grole", "EN"}, {"CN", "interfaceChinese.grole", "CN"}};
  for (const auto& [code, file, current] : steps) {
    SetLanguage(code);
    EXPECT_STREQ(GetInterfaceFile().Text(), file) << code;
    EXPECT_EQ(GetLanguageCode(), current) << code;
  }
}

TEST_F(InterfaceTextTest, TheTextFileStandsInForAMissingCompiledOne) {
  EXPECT_THROW(EnsureInterfaceText(), QuarleEx);
  EXPECT_EQ(log_.Count("InterfaceTextDB> Unable to read interface file 'interfacetext.grole'"), 1);
  WriteText("greeting \"from text\"");
  ::Test::OnThreads(4, [](int) { EXPECT_EQ(Get("greeting"), "from text"); });
  EXPECT_EQ(log_.Count("InterfaceTextDB> failed to load compiled interfacetext file"), 2);

  TagContainer tags;
  tags.SetString("greeting", "compiled");
  ASSERT_TRUE(SaveTagFile(tags, "data", "interfacetext.grole"));
  const auto held = InterfaceText();
  DestroyInterfaceText();
  EXPECT_EQ(Get("greeting"), "compiled");
  EXPECT_STREQ(held->GetString("greeting").Text(), "from text");

  // A damaged file counts as read, so nothing stands in for it.
  ::Test::WriteWholeFile(folder_ / "interfacetext.grole", "no tags");
  DestroyInterfaceText();
  EXPECT_EQ(Get("greeting"), "");
}

TEST_F(InterfaceTextTest, SectionsAndMissingKeys) {
  WriteText("top 1\nmirev_spec_text { some_key found\n }\nscenario_text { end over\n}\n");
  const auto texts = InterfaceText();
  EXPECT_STREQ(texts->GetSpecText("Some Key").Text(), "found");
  EXPECT_STREQ(texts->GetSpecText("Top").Text(), "Top");
  EXPECT_STREQ(texts->GetScenarioText("end").Text(), "over");
  EXPECT_STREQ(texts->GetScenarioText("End").Text(), "");
  EXPECT_TRUE(texts->MapText().IsNull());
  for (int i = 0; i < 12; ++i) texts->GetString("absent");
  EXPECT_EQ(log_.Count("Tag 'absent' not found in 'interfacetext.grole'"), 10);
}

TEST(FillText, PutsParametersInOrderAndRunsNoOtherDirective) {
  const std::string parameters[] = {"a%", "%s"};
  const std::pair<const char*, const char*> cases[] = {
      {"%s and %s", "a% and %s"}, {"%s%s%s.", "a%%s."}, {"%n%d%100s", "%n%d%100s"},
      {"100%% %s", "100% a%"},    {"end %", "end %"},   {"", ""}};
  for (const auto& [text, filled] : cases) EXPECT_EQ(FillText(text, parameters), filled) << text;
  EXPECT_EQ(ResolveMessage(nullptr, "$muk_cloned", parameters), "$muk_cloned");
}

// The texts, the page that tells what fills them, and the code that uses them must agree.
TEST_F(InterfaceTextTest, EveryKeyOfTheSystemHasItsTextInTheCompiledFile) {
  const fs::path source = QUARLE_SOURCE_DIR;
  ::Test::WriteWholeFile(folder_ / "interfacetext.grole",
                         ::Test::ReadWholeFile(QUARLE_COMPILED_TEXTS));
  const auto texts = InterfaceText();
  const std::string page = ::Test::ReadWholeFile(source / "docs/interface-text.md");
  texts->Root().ForEach([&](std::string_view key, const ChunkRef&) {
    const std::string row = std::string("| `").append(key).append("` |");
    ASSERT_NE(page.find(row), std::string::npos) << row;
    const std::string cell = page.substr(page.find(row) + row.size(), 60);
    const auto count = 1 + std::count(cell.begin(), std::find(cell.begin(), cell.end(), '|'), ',');
    const std::string text = texts->GetString(Zef::PString(key)).Text();
    EXPECT_EQ(std::count(text.begin(), text.end(), '%'), count) << text;
    EXPECT_EQ(FillText(text).find('%'), std::string::npos) << text;
    EXPECT_TRUE(text.ends_with('.') || text.ends_with(": %s")) << text;
  });
  EXPECT_GE(texts->Root().GetCount(), 43U);
  for (const char* folder : {"environment", "database", "plugin", "apps"}) {
    for (const auto& entry : fs::recursive_directory_iterator(source / folder)) {
      if (!entry.is_regular_file()) continue;
      const std::string code = ::Test::ReadWholeFile(entry.path());
      for (std::size_t at = 0; (at = code.find("\"$muk_", at) + 1) != 0;) {
        const std::string key = code.substr(at, code.find('"', at) - at);
        EXPECT_NE(Get(key.c_str()), "") << entry.path() << ": " << key;
      }
    }
  }
}

}  // namespace
