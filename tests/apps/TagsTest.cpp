#include "tagdata/NOLContainerTag.h"
#include "tagdata/TagFiles.h"
#include "tests/apps/QuarleProgram.h"
#include "tests/tagdata/TagBytes.h"

namespace {

using namespace Test;

using Tags = QuarleProgram;

TEST_F(Tags, ShowDrawsTheTree) {
  Write("config.txt",
        "n 1\nouter { in { t \"a\nb\xFF\x1B\" }\n}\nf 0.5\nid <plid:1:2>\nlast { x }\n");
  EXPECT_EQ(Run("tags show config.txt").out,
            "config.txt (5 tags)\n"
            "├── n = 1 (int)\n"
            "├── outer (1 tag)\n"
            "│   └── in (1 tag)\n"
            "│       └── t = \"a\\nbÿ\uFFFD\" (string)\n"
            "├── f = 0.5 (float)\n"
            "├── id = <plid:1:2> (plid)\n"
            "└── last (1 tag)\n"
            "    └── x (null)\n");
  const nlohmann::json tags = Run("tags show config.txt --json").Json();
  ASSERT_EQ(tags.size(), 5u);
  EXPECT_EQ(tags[1]["tags"][0]["tags"][0]["value"], "a\r\nb\u00FF\x1B");
  Write("empty.txt", "");
  EXPECT_EQ(Run("tags show empty.txt").out, "empty.txt (0 tags)\n");
  EXPECT_EQ(Run("tags show empty.txt --json").Json(), nlohmann::json::array());
}

TEST_F(Tags, ConvertGoesBothWaysAndTellsWhatChanges) {
  TagContainer inner;
  inner.SetFloat("scale", 1.0f);
  inner.SetFloat("kept", 1.5f);
  TagContainer tags;
  tags.SetString("e", "");
  tags.SetBinary("icon", "\x89P", 2);
  tags.SetSubContainer("Big Part", inner);
  tags.SetString(Zef::PString(std::string(56, 'k')), "v");
  tags.SetString("text", "say \"so\"");
  tags.Chunk()->AddTag("zero", NewHeapTag(TagString, HCSRawDataCore::Copy("x\0y\0", 4)));
  tags.Chunk()->AddTag("zeros", NewHeapTag(TagString, HCSRawDataCore::Copy("x\0\0", 3)));
  tags.SetInt("twice", 1);
  tags.Chunk()->AddTag("twice", NewHeapTag(TagNull, nullptr));
  ASSERT_TRUE(SaveTagFile(tags, {}, temp_ / "in.grole"));
  const Outcome outcome = Run("tags convert in.grole out.txt");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "'in.grole' is written as 'out.txt': 8 tags\n");
  EXPECT_EQ(outcome.err,
            "quarle: warning: 8 tags will not read back from 'out.txt' as before:\n"
            "  e: string \"\" becomes null\n"
            "  icon: binary 8950 becomes null\n"
            "  Big Part: its key becomes 'big_part'\n"
            "  Big Part/scale: float 1 becomes int 1\n"
            "  " +
                std::string(56, 'k') +
                ": string \"v\" is lost\n"
                "  text: string \"say \"so\"\" becomes string \"say 'so'\"\n"
                "  zero: string \"x\" and what follows its zero byte becomes string \"x\"\n"
                "  twice: repeats the key of an earlier tag, and its own value is lost\n");
  const nlohmann::json json = Run("tags convert in.grole out.txt --json").Json();
  EXPECT_EQ(json["changes"].size(), 8u);
  EXPECT_EQ(json["changes"][3]["tag"], "Big Part/scale");

  std::string many;
  for (int i = 0; i < 30; ++i) many += "k" + std::to_string(i) + " 1.0\n";
  Write("many.txt", many);
  const std::string err = Run("tags convert many.txt out.txt").err;
  EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 22) << err;
  EXPECT_NE(err.find("and 10 more"), std::string::npos) << err;

  Write("config.txt", "a 1\nb { c \"x\" d 1.0 \n}\n" + std::string(300, 'k') + " 1\n");
  const Outcome back = Run("tags convert config.txt config.kpx --quiet");
  EXPECT_EQ(back.out, "");
  EXPECT_EQ(back.err, "quarle: warning: 1 tag will not read back from 'config.kpx' as before:\n  " +
                          std::string(100, 'k') + "..." + std::string(100, 'k') +
                          ": int 1 is lost\n");
  EXPECT_EQ(Run("tags show config.kpx --json").Json()[1]["tags"][1]["type"], "float");

  Write("left.txt", "a 1\na 2\nb 1.2.3\n} and more");
  EXPECT_NE(Run("tags show left.txt --json").err.find("  8 bytes behind"), std::string::npos);
  Outcome kept = Run("tags convert left.txt left.txt");
  EXPECT_TRUE(kept.status == 1 && Read("left.txt").ends_with("} and more"));
  EXPECT_EQ(Run("tags convert left.txt whole.txt").err,
            "quarle: warning: not everything in 'left.txt' is read:\n"
            "  8 bytes behind a closing brace or a zero byte that ends the text too early\n"
            "  1 tag replaced by a later tag of the same key\n"
            "  1 token not read to the end\n");
  EXPECT_EQ(Read("whole.txt"), "\xEF\xBB\xBF\r\na\t\t\t\t\t\t\t2\r\nb\t\t\t\t\t\t\t1.2\r\n");
  EXPECT_EQ(Run("tags convert whole.txt whole.txt --json").Json()["unread"]["replaced"], 0);
}

TEST_F(Tags, FailuresNameTheFileAndWriteNothing) {
  Write("a.txt", "a 1");
  Write("a.dat", "a 1");
  Write("cut.grole", "HCS$\x01");
  Write("empty.grole", std::string("HCS$\1\0\0\0\0\0\0\0\0\0\0\0", 16));
  Write("folder.txt/x", "");
  std::string bomb;
  for (int i = 0; i < 40; ++i) {
    bomb = TagBytes::Record({"a", 2}, 0, bomb) + TagBytes::Record({"a", 2}, 5, "");
  }
  Write("bomb.grole", TagBytes::File(bomb));
  Write("old.txt", "old");
  Write("fixed.txt", "fixed");
  std::filesystem::permissions(temp_ / "fixed.txt", std::filesystem::perms::owner_read);
  const std::pair<const char*, const char*> cases[] = {
      {"show none.txt", "'none.txt': there is no such file"},
      {"show folder.txt", "'folder.txt': it is a folder"},
      {"show cut.grole", "'cut.grole': it is damaged"},
      {"show a.dat", "'a.dat' is no tag file by its name"},
      {"convert a.txt out.dat", "'out.dat' is no tag file by its name"},
      {"convert a.txt none/out.txt", "'none/out.txt'"},
      {"convert cut.grole out.txt", "'cut.grole'"},
      {"convert bomb.grole old.txt", "repeats its keys too often"},
      {"convert a.txt fixed.txt", "'fixed.txt': it is read-only"},
      {"convert a.txt folder.txt", "'folder.txt': it is a folder"},
  };
  for (const auto& [arguments, said] : cases) Fail(std::string("tags ") + arguments, said);
  EXPECT_FALSE(std::filesystem::exists(temp_ / "out.txt"));
  EXPECT_EQ(Read("old.txt") + Read("fixed.txt"), "oldfixed");
  const std::filesystem::directory_iterator files(temp_.Path());
  EXPECT_EQ(std::distance(begin(files), end(files)), 10) << "nothing else is left there";
  EXPECT_EQ(Run("tags show empty.grole").out, "empty.grole (0 tags)\n");
  EXPECT_EQ(Run("tags convert empty.grole a.txt").status, 0);
  EXPECT_EQ(Read("a.txt"), "\xEF\xBB\xBF\r\n");
}

}  // namespace
