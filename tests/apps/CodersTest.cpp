#include <filesystem>

#include "tests/apps/QuarleProgram.h"

namespace {

using namespace Test;

class Coders : public QuarleProgram {
 protected:
  /// Nothing but these two is left in the folder of a run.
  std::size_t FileCount() const {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(temp_ / "d"), {}));
  }
};

std::string Content() {
  std::string content;
  for (std::uint64_t i = 0; i < 60'000; ++i)
    content += "line " + std::to_string(i * i % 977) + "\r\n";
  return content;
}

TEST_F(Coders, PackAndUnpackGiveTheFileBack) {
  const std::string content = Content();
  Write("d/in", content);
  const auto kPrivate = std::filesystem::perms::owner_read | std::filesystem::perms::owner_write;
  std::filesystem::permissions(temp_ / "d/in", kPrivate);
  for (const char* pack : {"lzss pack -1", "lzss pack", "lzss pack -9", "file pack"}) {
    const std::string unpack = std::string(pack).substr(0, 4) + " unpack ";
    const Outcome packed = Run(std::string(pack) + " d/in d/packed --json");
    ASSERT_EQ(packed.status, 0) << packed.err;
    EXPECT_EQ(packed.Json()["inputBytes"], content.size());
    EXPECT_EQ(packed.Json()["outputBytes"], Read("d/packed").size());
    EXPECT_LT(Read("d/packed").size(), content.size() / 2) << pack;
    const Outcome unpacked = Run(unpack + "d/packed d/packed --json");  // over itself
    ASSERT_EQ(unpacked.status, 0) << unpacked.err;
    EXPECT_EQ(unpacked.Json()["inputBytes"], packed.Json()["outputBytes"]) << pack;
    EXPECT_TRUE(Read("d/packed") == content) << pack;
    EXPECT_EQ(std::filesystem::status(temp_ / "d/packed").permissions(), kPrivate) << pack;
    EXPECT_EQ(FileCount(), 2u) << pack;
    EXPECT_EQ(Run(std::string(pack) + " d/in d/packed --quiet").out, "");
  }
  EXPECT_NE(Run("lzss pack d/in d/x --progress always").err.find("packing 'd/in'"),
            std::string::npos);
  const std::string levels[] = {"-1", "-6", ""};
  for (const std::string& level : levels) {
    EXPECT_EQ(Run("lzss pack d/in d/x " + level).status, 0);
    EXPECT_EQ(Read("d/x")[0], level == "-1" ? '\x11' : '\x26') << level;
  }
  Write("d/empty", "");
  for (const std::string coder : {"lzss", "file"}) {
    EXPECT_EQ(Run(coder + " pack d/empty d/x").status, 0);
    EXPECT_EQ(Run(coder + " unpack d/x d/y").status, 0);
    EXPECT_EQ(Read("d/y"), "");
  }
}

// A failure is one line, and what stood under the name of the output still does.
TEST_F(Coders, DamageIsToldAndWritesNothing) {
  const std::string content = Content();
  Write("in", content);
  ASSERT_EQ(Run("lzss pack -9 in stream").status + Run("file pack in cfil").status, 0);
  const std::string stream = Read("stream");
  const std::string cfil = Read("cfil");
  Write("cut.lzss", stream.substr(0, stream.size() / 2));
  Write("long.lzss", stream + "xx");
  Write("back.lzss", std::string("\x11\1\0\0\0\1\0", 7));
  Write("cut.cfil", cfil.substr(0, cfil.size() - 1));
  Write("wrong.cfil", cfil.substr(0, 12) + "\x05" + cfil.substr(13));
  Write("less.cfil", cfil.substr(0, 8) + std::string("\x10\0\0\0", 4) + cfil.substr(12));
  Write("fixed", "before");
  std::filesystem::permissions(temp_ / "fixed", std::filesystem::perms::owner_read);
  std::filesystem::create_symlink("nothing", temp_ / "link");
  Write("huge.cfil", cfil.substr(0, 8) + "\xFF\xFF\xFF\xFF" + cfil.substr(12));
  Write("short", "CFIL");
  Write("d/out", "before");
  const std::pair<const char*, const char*> cases[] = {
      {"lzss unpack in", "'in': it is no LZSS stream"},
      {"lzss unpack cut.lzss", "'cut.lzss': it is damaged or cut short"},
      {"lzss unpack long.lzss", "goes on behind its end"},
      {"lzss unpack back.lzss", "points before its beginning"},
      {"lzss unpack none", "'none': there is no such file"},
      {"lzss pack d", "'d': it is a folder"},
      {"file unpack in", "'in': it is not packed"},
      {"file unpack short", "'short': it is not packed"},
      {"file unpack cut.cfil", "'cut.cfil': it is damaged or cut short"},
      {"file unpack wrong.cfil", "it is damaged"},
      {"file unpack huge.cfil", "it is damaged"},
      {"file unpack less.cfil", "it is damaged"},
      {"file unpack none", "'none': there is no such file"},
      {"file pack cfil", "'cfil': it is packed already"},
      {"file pack d", "'d': it is a folder"},
      {"file pack /dev/null", "'/dev/null': it is no file"},
  };
  for (const auto& [arguments, said] : cases) {
    Fail(std::string(arguments) + " d/out", said);
    EXPECT_EQ(Read("d/out"), "before") << arguments;
    EXPECT_EQ(FileCount(), 1u) << "something is left by " << arguments;
  }
  for (const char* command :
       {"lzss pack in", "lzss unpack stream", "file pack in", "file unpack cfil"}) {
    for (const char* output : {" d", " none/out", " /dev/full", " fixed", " link"}) {
      Fail(command + std::string(output), "cannot write");
    }
  }
}

}  // namespace
