#include "environment/InterfaceText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <regex>

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
  static std::string Get(const char* key) {
    return InterfaceText()->GetString(key, /*warnIfMissing=*/false).Text();
  }

  ::Test::TempFolder folder_;
  ::Test::LogLines log_;
};

TEST_F(InterfaceTextTest, OnlyLanguagesWithAFileChangeIt) {
  const struct {
    const char* code;
    const char* file;
    const char* current;
  } steps[] = {{"AU", "interfacetext.grole", "AU"},    {"de", "interfacetext.grole", "AU"},
               {"DE", "interfaceGerman.grole", "DE"},  {"EN", "interfaceGerman.grole", "EN"},
               {"DEX", "interfaceGerman.grole", "EN"}, {"CH", "interfaceGerman.grole", "CH"},
               {"CN", "interfaceChinese.grole", "CN"}, {"", "interfaceChinese.grole", "CN"}};
  for (const auto& step : steps) {
    SetLanguage(step.code);
    EXPECT_STREQ(GetInterfaceFile().Text(), step.file) << step.code;
    EXPECT_EQ(GetLanguageCode(), step.current) << step.code;
  }
}

TEST_F(InterfaceTextTest, TheTextFileStandsInForAMissingCompiledOne) {
  WriteText("greeting \"from text\"");
  EXPECT_EQ(Get("greeting"), "from text");
  EXPECT_EQ(log_.CountWith("failed to load compiled interfacetext file"), 1U);

  TagContainer tags;
  tags.SetString("greeting", "compiled");
  ASSERT_TRUE(SaveTagFile(tags, "data", "interfacetext.grole"));
  EXPECT_EQ(Get("greeting"), "from text") << "read again without being asked to";
  const auto held = InterfaceText();
  DestroyInterfaceText();
  EXPECT_EQ(Get("greeting"), "compiled");
  EXPECT_STREQ(held->GetString("greeting").Text(), "from text");

  // A damaged file counts as read, so nothing stands in for it.
  ::Test::WriteWholeFile(folder_ / "interfacetext.grole", "no tags");
  DestroyInterfaceText();
  EXPECT_EQ(Get("greeting"), "");
  EXPECT_EQ(log_.CountWith("failed to load"), 1U);
}

TEST_F(InterfaceTextTest, NoFileAtAllIsFatalAndCanBeMended) {
  try {
    EnsureInterfaceText();
    FAIL() << "nothing raised";
  } catch (const QuarleEx& failure) {
    EXPECT_STREQ(failure.Message(),
                 "InterfaceTextDB> Unable to read interface file 'interfacetext.grole'");
    EXPECT_STREQ(failure.Class(), "Quarle Error");
    EXPECT_STREQ(failure.File(), "QuarleLog");
  }
  WriteText("greeting hello");
  EXPECT_EQ(Get("greeting"), "hello");
}

TEST_F(InterfaceTextTest, SectionsAndKeys) {
  WriteText(
      "top 1\nmirev_spec_text { some_key found\n kl\xE4r no }\nscenario_text { end over\n}\n");
  const auto texts = InterfaceText();
  EXPECT_STREQ(texts->GetSpecText("Some Key").Text(), "found");
  EXPECT_STREQ(texts->GetSpecText("Other Key").Text(), "Other Key");
  EXPECT_STREQ(texts->GetSpecText("top").Text(), "top");
  EXPECT_STREQ(texts->GetScenarioText("end").Text(), "over");
  EXPECT_STREQ(texts->GetScenarioText("End").Text(), "");
  EXPECT_STREQ(texts->GetSpecText("").Text(), "");
  EXPECT_TRUE(texts->MapText().IsNull());
}

TEST_F(InterfaceTextTest, OnlyTenMissingTextsAreTold) {
  WriteText("a b");
  const auto texts = InterfaceText();
  texts->GetString("silent", false);
  texts->GetString("", true);
  ::Test::OnThreads(4, [&](int) {
    for (int i = 0; i < 5; ++i) texts->GetString("absent", true);
  });
  EXPECT_EQ(log_.CountWith("InterfaceTextDB::GetString> Tag 'absent' not found in "
                           "'interfacetext.grole'"),
            10U);
}

TEST_F(InterfaceTextTest, ThreadsShareOneInstance) {
  WriteText("greeting hello");
  const InterfaceTextDB* seen[4] = {};
  ::Test::OnThreads(4, [&](int id) {
    seen[id] = InterfaceText().get();
    EXPECT_EQ(Get("greeting"), "hello");
  });
  EXPECT_EQ(std::count(std::begin(seen), std::end(seen), seen[0]), 4);
}

TEST(FillText, PutsParametersInOrderAndRunsNoOtherDirective) {
  const struct {
    const char* text;
    const char* filled;
  } cases[] = {{"%s and %s", "a% and %s"}, {"%s%s%s.", "a%%s."}, {"%n%d%100s", "%n%d%100s"},
               {"100%% %s", "100% a%"},    {"end %", "end %"},   {"", ""}};
  const std::string parameters[] = {"a%", "%s"};
  for (const auto& c : cases) EXPECT_EQ(FillText(c.text, parameters), c.filled) << c.text;
  EXPECT_EQ(ResolveMessage(nullptr, "$muk_cloned", parameters), "$muk_cloned");
}

// The texts, the page that tells what fills them, and the code that uses them must agree.
TEST_F(InterfaceTextTest, EveryKeyOfTheSystemHasItsText) {
  const fs::path source = QUARLE_SOURCE_DIR;
  Start((source / "data/").c_str());
  const auto texts = InterfaceText();

  const std::string page = ::Test::ReadWholeFile(source / "docs/interface-text.md");
  const std::regex row(R"(\| `(\$\w+)` \| ([^|]*) \|)");
  std::size_t rows = 0;
  for (std::sregex_iterator at(page.begin(), page.end(), row), end; at != end; ++at, ++rows) {
    const std::string parameters = (*at)[2];
    const auto commas = std::count(parameters.begin(), parameters.end(), ',');
    const std::vector<std::string> marks(static_cast<std::size_t>(commas) + 1, "MARK");
    const std::string text = ResolveMessage(texts.get(), (*at)[1].str().c_str(), marks);
    EXPECT_TRUE(std::regex_match(text, std::regex("[A-Z'].*(\\.|says: MARK)"))) << text;
    EXPECT_EQ(text.find('%'), std::string::npos) << text;
    std::size_t found = 0;
    for (std::size_t i = 0; (i = text.find("MARK", i)) != std::string::npos; ++i) ++found;
    EXPECT_EQ(found, marks.size()) << text;
  }
  EXPECT_EQ(rows, texts->Root().GetCount());

  const std::regex literal(R"re("(\$muk_\w+)")re");
  for (const char* folder : {"environment", "database", "plugin", "apps"}) {
    for (const auto& entry : fs::recursive_directory_iterator(source / folder)) {
      if (entry.path().extension() != ".cpp" && entry.path().extension() != ".h") continue;
      const std::string code = ::Test::ReadWholeFile(entry.path());
      for (std::sregex_iterator at(code.begin(), code.end(), literal), end; at != end; ++at) {
        EXPECT_NE(Get((*at)[1].str().c_str()), "") << entry.path() << ": " << (*at)[1];
      }
    }
  }
}

}  // namespace
