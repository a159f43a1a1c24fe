// The archive commands as their users run them.

#include <filesystem>

#include "tests/apps/QuarleProgram.h"

namespace {

namespace fs = std::filesystem;
using namespace Test;

class ArchiveTool : public QuarleProgram {
 protected:
  ArchiveTool() {
    Write("in/Maps/one.txt", "one");
    Write("in/Maps/deep/two.txt", std::string(50'000, '2'));
    Write("in/three", "");
  }
  /// Replaces a text in an archive by one of the same length, everywhere.
  void Forge(const std::string& from, const std::string& to) const {
    std::string bytes = Read("a.ja");
    for (std::size_t at = bytes.find(from); at != std::string::npos; at = bytes.find(from, at)) {
      bytes.replace(at, to.size(), to);
    }
    Write("a.ja", bytes);
  }
  std::string Files() const {
    std::string names;
    const nlohmann::json list = Run("archive list a.ja --json").Json();
    for (const auto& file : list["files"]) {
      names += file["name"].get<std::string>() + " ";
    }
    return names;
  }
};

TEST_F(ArchiveTool, WhatGoesInComesOut) {
  Shell("ln -s three in/link; mkfifo in/pipe");
  const nlohmann::json made = Run("archive create -z -C in in/a.ja . --json").Json();
  EXPECT_EQ(made["added"], 3);
  EXPECT_TRUE(made["linksLeftOut"] == 1 && made["specialsLeftOut"] == 1) << made;
  Shell("mv in/a.ja .");
  ASSERT_EQ(Run("archive extract a.ja out/folder .").status, 0);
  EXPECT_EQ(Shell("rm in/link in/pipe; diff -r in out/folder").status, 0);
  const nlohmann::json list = Run("archive list a.ja --json").Json();
  EXPECT_EQ(list["files"][2]["compressed"], true);
  EXPECT_NE(Run("archive list a.ja").out.find("3 files, 48.8 KiB"), std::string::npos);
  Write("some/MAPS/One.txt", "before");
  EXPECT_EQ(Run("archive extract a.ja some maps THREE --quiet").out, "");
  EXPECT_EQ(Read("some/MAPS/One.txt") + Read("some/three"), "one");
  Shell("chmod 444 some/three");
  EXPECT_NE(Fail("archive extract a.ja some", "'some/three' is read-only").out.find("2 files extr"),
            std::string::npos);
  EXPECT_EQ(Run("archive extract a.ja none nothing").status, 1);
}

TEST_F(ArchiveTool, ChangesAreThoseAskedFor) {
  ASSERT_EQ(Run("archive create a.ja in/Maps").status, 0);
  EXPECT_EQ(Run("archive create a.ja in").status, 1);
  EXPECT_EQ(Files(), "in/Maps/one.txt in/Maps/deep/two.txt ");
  Write("in/Maps/ONE.txt", "other");
  EXPECT_EQ(Run("archive add a.ja in/Maps/ONE.txt in/three --json").Json()["replaced"], 1);
  EXPECT_EQ(Run("archive rename a.ja in/three in/maps/one.txt").status, 1);
  EXPECT_EQ(Run("archive rename a.ja in/three ../three").status, 1);
  EXPECT_NE(Run("archive rename a.ja IN/three x/../Three").out.find("is now 'Three'"),
            std::string::npos);
  EXPECT_EQ(Files(), "in/Maps/deep/two.txt in/Maps/ONE.txt Three ");
  EXPECT_EQ(Run("archive delete a.ja three none").status, 1);
  EXPECT_EQ(Run("archive delete a.ja three in/maps/deep --json").Json()["files"], 1);
  EXPECT_EQ(Files(), "in/Maps/ONE.txt ");
  Shell("mkdir -p drive split both/maps both/in; touch drive/c:x 'split/a\\b' both/in/maps");
  Shell("touch both/maps/x both/Maps; truncate -s 5G huge");
  const std::pair<const char*, const char*> cases[] = {
      {"archive list none.ja", "quarle archive create"},
      {"archive add in/Maps/one.txt in/three", "no archive of version"},
      {"archive add in/three in/Maps/one.txt", "it is empty"},
      {"archive create b.ja in", "the name of 'in/Maps/"},
      {"archive create b.ja -C drive .", "'c:x': "},
      {"archive create b.ja split", "holds '\\'"},
      {"archive create b.ja both", "its folder has the name of 'both/Maps'"},
      {"archive create b.ja both/maps both/Maps", "it has the name of the folder 'both/maps'"},
      {"archive create b.ja huge", "5.0 GiB do not fit"},
      {"archive add a.ja -C both in/maps", "'in/maps' is a folder there"},
      {"archive rename a.ja in/Maps/ONE.txt IN/maps", "'IN/maps' is a folder there"},
      {"archive rename a.ja in/Maps/ONE.txt in/maps/one.TXT/x",
       "'in/maps/one.TXT' is a file there"},
      {"archive rename a.ja in/Maps/ONE.txt ./x:y", "no name for a file"},
      {"archive add a.ja ../x", "-C"},
      {"archive add a.ja none", "'none': there is no such file"},
      {"archive create no/b.ja in/three", "cannot be written"}};
  for (const auto& [arguments, said] : cases) Fail(arguments, said);
  const Outcome second = Shell("flock a.ja " QUARLE_PATH " archive delete a.ja in");
  EXPECT_EQ(second.err, "quarle: 'a.ja': another program changes it; try again when it is done\n");
  Shell("ulimit -c 0; ulimit -f 20; " QUARLE_PATH " archive create b.ja in/Maps/deep");
  EXPECT_TRUE(fs::exists(temp_ / "b.ja")) << "it was not killed at work";
  const Outcome full =
      Shell("trap '' XFSZ; ulimit -f 20; " QUARLE_PATH " archive create b.ja in/Maps/deep");
  EXPECT_TRUE(full.status == 1 && full.HasOneErrorLine()) << full.err;
  EXPECT_NE(full.err.find("make room on the disk"), std::string::npos) << full.err;
  EXPECT_FALSE(fs::exists(temp_ / "b.ja") || fs::exists(temp_ / "none.ja"));
  Shell(": > b.ja; ln -s b.ja l.ja; trap '' XFSZ; ulimit -f 20; " QUARLE_PATH
        " archive create l.ja in/Maps/deep");
  EXPECT_EQ(Shell("cat l.ja").status + Read("b.ja").size(), 0u);
}

// A name, or a link in the target, must not lead a file out of the folder it is extracted to.
TEST_F(ArchiveTool, ExtractionStaysInItsFolder) {
  Write("outside/one.txt", "mine");
  fs::create_directories(temp_ / "out");
  fs::create_directory_symlink("../outside", temp_ / "out/lin");
  fs::create_symlink("../outside/one.txt", temp_ / "out/file");
  Write("out/dir/x", "");
  for (const char* name :
       {"../outside/one.txt", "/../outside/one.tx", "a/../../outside/on", "..\\outside\\one.txt",
        "LIN/one.txt", "c:/outside/one.txt", "file", "dir", "out/one/", "."}) {
    const std::string hidden(std::string_view(name).size(), 'q');
    Write("src/" + hidden, "theirs");
    fs::remove(temp_ / "a.ja");
    ASSERT_EQ(Run("archive create -C src a.ja " + hidden).status, 0);
    Forge(hidden, name);
    const Outcome outcome = Fail("archive extract a.ja out", "");
    EXPECT_NE(outcome.out.find("  '"), std::string::npos) << name << ": " << outcome.out;
  }
  EXPECT_EQ(Read("outside/one.txt"), "mine");
  EXPECT_EQ(Shell("find outside out in -type f | wc -l").out, "5\n");
}

TEST_F(ArchiveTool, DamagedArchivesYieldWhatIsWhole) {
  ASSERT_EQ(Run("archive create a.ja in").status, 0);
  const std::string bytes = Read("a.ja");
  Forge("one\x46", "onf\x46");  // content
  Fail("archive extract a.ja out", "'in/Maps/one.txt': its content is damaged");
  EXPECT_EQ(Read("out/in/Maps/one.txt") + Read("out/in/three"), "onf");
  const std::size_t rows = bytes.size() - std::size_t{3} * 296;
  Write("a.ja", std::string(bytes).replace(rows, 8, bytes, rows + 296, 8));
  EXPECT_EQ(Run("archive extract a.ja shared --json").Json()["problems"].size(), 2u);
  EXPECT_EQ(Shell("find shared -type f | wc -l").out, "2\n");
  Write("a.ja", bytes.substr(0, 10'000));
  for (const char* command : {"list a.ja --json", "extract a.ja cut . none --json",
                              "add a.ja in/three", "delete a.ja in", "rename a.ja in/x in/y"}) {
    const Outcome outcome = Fail("archive " + std::string(command), " is damaged at byte");
    EXPECT_TRUE(outcome.out.empty() || outcome.Json()["damaged"] == true) << outcome.out;
  }
  EXPECT_EQ(Read("a.ja"), bytes.substr(0, 10'000));
  EXPECT_GE(std::distance(fs::recursive_directory_iterator(temp_ / "cut"), {}), 2);
}

}  // namespace
