#include <filesystem>
#include <sstream>

#include "tests/apps/QuarleProgram.h"

namespace {

using namespace Test;

using Usage = QuarleProgram;

// A misspelt command must neither do something else nor end with "done".
TEST_F(Usage, WrongCommandLinesAreStatus2AndOneLine) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "subcommand"},
      {"frobnicate", "no command 'frobnicate'"},
      {"set frobnicate", "no command 'frobnicate'; see"},
      {"idnex", "but there is 'index'; see quarle --help"},
      {"index build r --bulit-in=1", "but there is '--built-in'"},
      {"lzss pack -10 a b", "levels are -1 to -9"},
      {"index", "quarle index --help"},
      {"diff a b", "OUT"},
      {"diff a b ''", "must not be empty"},
      {"diff a b c d", "d"},
      {"--json diff a b c", "behind the command, '--json' too"},
      {"plid 1:2 -- -x", "ahead of the first name"},
      {"patch a b --frob", "no option '--frob'"},
      {"asset edit --frob", "no option '--frob'"},
      {"package extract none.kpx --asset foo", "'foo' is no asset identifier"},
      {"patch a b --progress sometimes", "sometimes"},
      {"index stat f --top many", "many"},
      {"index show f --index x", "--index"},
      {"plid", "TEXT"},
      {"'fr\xFFob\x1b'", "fr\uFFFDob\uFFFD"},
  };
  for (const auto& [arguments, said] : cases) EXPECT_EQ(Fail(arguments, said, 2).out, "");
}

TEST_F(Usage, EveryCommandHelpsWithAnExample) {
  std::vector<std::string> commands{""};
  for (std::size_t i = 0; i < commands.size(); ++i) {
    const Outcome outcome = Run(commands[i] + " --help");
    EXPECT_EQ(outcome.status, 0) << commands[i];
    EXPECT_NE(outcome.out.find("Example:\n  quarle "), std::string::npos) << commands[i];
    std::istringstream lines(outcome.out);
    std::string line;
    while (std::getline(lines, line) && line != "Subcommands:") continue;
    while (std::getline(lines, line) && line.starts_with("  ")) {
      commands.push_back(commands[i] + " " + line.substr(2, line.find(' ', 2) - 2));
    }
  }
  EXPECT_GT(commands.size(), 40u);
}

TEST_F(Usage, FailuresAreStatus1AndOneLineThatNamesTheFile) {
  Save("good/assets.mkx", {Asset(1, "a")});
  std::string bytes = Read("good/assets.mkx");
  Write("cut/assets.mkx", bytes.substr(0, bytes.size() - 1));
  Write("text/assets.mkx", "this is no index at all");
  bytes[4] = 18;
  Write("v18/assets.mkx", bytes);
  bytes[4] = 19;
  bytes[15] = '\x7F';
  Write("count/assets.mkx", bytes);
  Write("file", "");
  Write("killed/Cache/assets.bku", "");
  const std::pair<const char*, const char*> cases[] = {
      {"index show none.mkx", "'none.mkx': there is no such file"},
      {"index stat good", "'good': it is a folder; name the file in it, such as 'good/assets.mkx'"},
      {"index check cut/assets.mkx", "'cut/assets.mkx': the stored length"},
      {"index check text/assets.mkx", "no asset index"},
      {"index check v18/assets.mkx", "(18 instead of 19)"},
      {"index check count/assets.mkx", "(at byte 16)"},
      {"index show killed/assets.mkx", "quarle asset list --root killed/'"},
      {"diff none good out", "'none/assets.mkx'"},
      {"diff good cut out", "'cut/assets.mkx'"},
      {"diff good good file", "'file/data'"},
      {"diff good good out --index other.mkx", "'good/other.mkx'"},
      {"diff good good out --plugin none.so", "'none.so'"},
      {"diff good good out --plugin libm.so.6", "'libm.so.6'"},
      {"patch good none", "'none/data/assets.mkx.MUKDel'"},
      {"set show none", "'none/data/assets.mkx.MUKDel'"},
      {"set check none", "none/data/assets.mkx.MUKDel' is missing, as is all"},
      {"diff good/assets.mkx good out", "name the folder"},
      {"plid 7:8 hello", "'hello'"},
      {"plid --strict 7:8", "'7:8'"},
  };
  for (const auto& [arguments, said] : cases) Fail(arguments, said);
  EXPECT_EQ(Run("index check cut/assets.mkx --json").Json()["loads"], false);
  EXPECT_EQ(Run("patch good out").status, 1);  // half a set: the failed diffs made no files
  EXPECT_EQ(Read("good/assets.mkx").size(), bytes.size());
}

TEST_F(Usage, OnlyAnOptionMakesALog) {
  EXPECT_EQ(Run("index stat none.mkx").status, 1);
  EXPECT_FALSE(std::filesystem::exists(temp_ / "ZefLog.txt"));
  EXPECT_EQ(Run("index stat none.mkx --log run.log", "Options=-LogDisplayModuleName=off").status,
            1);
  const std::string log = Read("run.log");
  EXPECT_TRUE(log.ends_with("; check its name\r\nEnd.\r\n")) << log;
  EXPECT_EQ(Fail("plid 1:2 --log none/run.log", "run.log").out, "");
  Write("work.txt", "years of it");
  EXPECT_EQ(Fail("plid 1:2 --log work.txt", "is no log").out, "");
  EXPECT_EQ(Run("plid 1:2 --log run.log").status + (Read("work.txt") == "years of it"), 1);
}

TEST_F(Usage, AFullDiskUnderTheOutputIsAFailure) {
  for (const char* arguments : {"plid 1:2", "--version", "--help"}) {
    const Outcome outcome = Shell(std::string("( " QUARLE_PATH " ") + arguments + " >/dev/full )");
    EXPECT_TRUE(outcome.status == 1 && outcome.HasOneErrorLine()) << arguments << outcome.err;
  }
  // What is printed to a stream that is not there must not go to a file that took its number.
  ASSERT_EQ(Run("archive create a.ja .out").status, 0);
  const std::string archive = Read("a.ja");
  EXPECT_EQ(Shell("( " QUARLE_PATH " archive rename a.ja none x 2>&- )").status, 1);
  EXPECT_EQ(Read("a.ja"), archive);
}

// What a script reads must not change with the terminal, and NO_COLOR is a promise.
TEST_F(Usage, ColoursAndBarsAreForTerminals) {
  Save("assets.mkx", {Asset(1, "a")});
  const auto onTerminal = [this](const std::string& environment) {
    return Shell(environment + " TERM=xterm script -qec '" QUARLE_PATH
                               " index stat assets.mkx' typescript")
        .out;
  };
  const std::string escape = "\x1b[";
  EXPECT_NE(onTerminal("").find(escape), std::string::npos);
  EXPECT_EQ(onTerminal("NO_COLOR=1").find(escape), std::string::npos);
  EXPECT_EQ(Run("index stat assets.mkx").out.find(escape), std::string::npos);
  EXPECT_EQ(Run("index stat assets.mkx").err, "");
  EXPECT_NE(Run("index stat assets.mkx --progress always").err.find("loading"), std::string::npos);
  EXPECT_EQ(Run("index stat assets.mkx --progress always --quiet").err, "");
}

TEST_F(Usage, PlidTellsEveryForm) {
  const nlohmann::json ids = Run("plid '<PLID2:5:6:3>' -3:7 '<null>' --json").Json();
  ASSERT_EQ(ids.size(), 3u);
  EXPECT_EQ(ids[0]["tag"], "<plid2:5:6:3>");
  EXPECT_EQ(ids[0]["words"], "plid2 5 6 3");
  EXPECT_EQ(ids[0]["packed"], nlohmann::json({6, 5 + (3u << 25)}));
  EXPECT_EQ(ids[1]["user"], -3);
  EXPECT_EQ(ids[1]["version"], 127);
  EXPECT_EQ(ids[2]["null"], true);
  const std::string text = Run("plid '<PLID2:5:6:3>'").out;
  for (const char* part : {"plid2 5 6 3", "user 5, content 6, version 3", "0x06000005"}) {
    EXPECT_NE(text.find(part), std::string::npos) << text;
  }
}

// Bytes that are no characters come out as U+FFFD, one each; everything else unchanged.
TEST_F(Usage, AnyBytesGiveValidJson) {
  const struct {
    const char *bytes, *shown;
  } cases[] = {
      {R"(a"b\c/)", R"(a"b\c/)"},
      {"\x01\t\x7F", "\x01\t\x7F"},
      {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x9A\x82", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x9A\x82"},
      {"\xC3", "\uFFFD"},                                // cut short
      {"x\xE2\x82y", "x\uFFFD\uFFFDy"},                  // cut by a letter
      {"\xC0\xAF", "\uFFFD\uFFFD"},                      // overlong
      {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},            // surrogate
      {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},  // past the last plane
      {"\xC2\x85", "\xC2\x85"},                          // a control character of two bytes
      {"\xFF\xFE", "\uFFFD\uFFFD"},
  };
  for (const auto& c : cases) {
    const Outcome outcome = Run(std::string("plid --json '") + c.bytes + "'");
    EXPECT_EQ(outcome.Json()[0]["text"], c.shown) << outcome.out;
  }
}

}  // namespace
