#include "kernel/standard/Log.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "kernel/standard/FileSubPath.h"
#include "kernel/standard/Options.h"
#include "kernel/standard/Subst.h"
#include "kernel/standard/Trace.h"
#include "tests/support/TestFiles.h"
#include "tests/support/Threads.h"

namespace Zef {
namespace {

std::string debugged;

class LogFixture : public ::testing::Test {
 protected:
  LogFixture() {
    debugged.clear();
    SetLogDebugHook([](const char* line) { debugged += line; });
  }
  ~LogFixture() override {
    SetLogDebugHook(nullptr);
    Begin("-LogFile=\"\"");
  }

  static void Begin(const std::string& switches) {
    Options options;
    options.Add(switches);
    LogInit(options);
  }
  void BeginFile(const std::string& switches = {}) const {
    Begin("-LogFile=\"" + path_ + "\" " + switches);
  }
  /// The lines behind the banner.
  std::string Lines() const {
    const std::string text = ::Test::ReadWholeFile(path_);
    const std::size_t banner = text.find(".\r\n\r\n");
    EXPECT_TRUE(text.starts_with("Zef v") && banner != std::string::npos) << text;
    return text.substr(banner + 5);
  }

  const ::Test::TempFolder folder_;
  const std::string path_ = folder_ / "log.txt";
};

TEST(LogPrefix, KeepsItsColumnsAndItsRoundingOfMinutes) {
  const struct {
    LogLevel level;
    double seconds;
    const char *name, *prefix;
  } cases[] = {{LogLevel::Error, 0, "Main", "! 000000AB Err    0:00.0 Main            : "},
               {LogLevel::Warning, 60, "Main", "? 000000AB Warn   0:60.0 Main            : "},
               {LogLevel::Diagnostic, 60.04, "Main", "+ 000000AB Diag   1:00.0 Main            : "},
               {LogLevel::Progress, 180, "", "- 000000AB Prog   2:60.0                 : "},
               {LogLevel::None, 7259.5, "FifteenLettersAndMore",
                "  000000AB None 120:59.5 FifteenLettersA : "},
               {LogLevel::None, 1e12, "x", "  000000AB None 16666666666:40.0 x               : "}};
  for (const auto& c : cases) {
    char prefix[64];
    const std::size_t length = FormatLogPrefix(prefix, c.level, 0xAB, c.seconds, c.name);
    EXPECT_EQ(std::string(prefix, length), std::string(c.prefix).substr(0, 63));
  }
}

TEST_F(LogFixture, OptionsDecideWhatIsWrittenAndWhere) {
  const struct {
    const char* switches;
    const char* lines;  // behind the banner, when a warning was logged and the log shut down
    const char* debugged;
  } cases[] = {{"-LogDisplayModuleName=off", "Begin:\r\nText 7\r\nShutdown.\r\n", "Text 7\r\n"},
               {"/NoLog", "Log Disabled.\r\n", ""},
               {"-LogDisplayModuleName=off -Log=oPtIoNs:newlines=off:window:file=off",
                "Begin:\r\nShutdown.\r\n", "Text 7"},
               {"-Log=options:DisplayModuleName=Off:mono=off:frob:mono=maybe",
                "Begin:\r\nText 7\r\nShutdown.\r\n", ""},
               {"-Log=Options:err", "Begin:\r\nShutdown.\r\n", ""},
               {"-Log=Options:None,Other,Options:Prog:displaymodulename=off",
                "Begin:\r\nText 7\r\nShutdown.\r\n", "Text 7\r\n"}};
  LogChannel& channel = GetLog("Options");
  EXPECT_EQ(&GetLog("OPTIONS"), &channel);
  for (const auto& c : cases) {
    channel.SetLevel(LogLevel::Warning);
    channel.SetOutput(LogOutput::kFile | LogOutput::kDebug, true);
    channel.SetFormat(LogFormat::kLineEnd, true);
    debugged.clear();
    BeginFile(c.switches);
    if (channel.Begin(LogLevel::Warning)) Log(channel, "Text %d", 7);
    LogShutdown(false);
    EXPECT_EQ(Lines(), c.lines) << c.switches;
    EXPECT_EQ(debugged, c.debugged) << c.switches;
  }
  EXPECT_TRUE(channel.Begin(LogLevel::Progress)) << "the last setting's level";
}

TEST_F(LogFixture, HostileSettingsEndSoon) {
  LogSettings settings;
  settings.file.clear();
  settings.channels = {"Long:Err"};
  for (int i = 0; i < 500'000; ++i) settings.channels[0] += ":x:";
  settings.channels[0] += "Diag";
  LogInit(settings);
  EXPECT_EQ(GetLog("Long").Level(), LogLevel::Diagnostic);
  Options options;
  for (int i = 0; i < 1000; ++i) options.Add("+Log=c" + std::to_string(i));
  EXPECT_EQ(ReadLogSettings(options).channels.size(), 256U);
  const std::string name(64, 'n');
  EXPECT_EQ(GetLog(name + "m").Name().View(), name);
}

TEST_F(LogFixture, AFileThatCannotBeWrittenTurnsLoggingOffAndNoFileDoesNot) {
  // What writes past an archive would spoil it; and who logs must not wait for the opening.
  struct Archive : FileSubPath {
    using FileSubPath::FileSubPath;
    bool IsKind(FileSubKind) const override { return false; }
    bool OpenForWrite(File& file, const FilePath& path, std::uint32_t mode) override {
      ::Test::OnThreads(1, [](int) { GetLog("Other"); });
      return FileSubPath::OpenForWrite(file, path, mode);
    }
  };
  SubstList::Get().Add("packed", std::make_unique<Archive>((folder_ / "").c_str(), false));
  LogChannel& channel = GetLog("Opening");
  for (const std::string& path :
       {folder_ / "missing/log.txt", std::string("/dev/full"), std::string("packed:log.txt")}) {
    Begin("-LogFile=\"\"");
    Begin("-LogFile=\"" + path + "\"");
    EXPECT_FALSE(channel.Begin(LogLevel::Error)) << path;
  }
  SubstList::Get().Remove("packed");
  Begin("-LogFile=\"\"");
  EXPECT_TRUE(channel.Begin(LogLevel::Error));
  EXPECT_FALSE(channel.Begin(LogLevel::Diagnostic));
  Begin("-LogFile=\"\" /NoLog");
  EXPECT_FALSE(channel.Begin(LogLevel::Error));
}

TEST_F(LogFixture, LinesOfAnyLengthArriveAndUnflushedOnesWait) {
  LogChannel& channel = GetLog("Length");
  std::string expected = "Begin:\r\n";
  BeginFile("-LogFlush=off -LogDisplayModuleName=off");
  for (const std::size_t length : {0, 1, 1023, 1024, 4096, 4097, 8191, 8192, 100'000}) {
    const std::string text(length, 'x');
    ASSERT_TRUE(channel.Begin(LogLevel::Error));
    Log(channel, "%s", text.c_str());
    EXPECT_TRUE(length != 1 || Lines() == "Begin:\r\n");
    expected += text + "\r\n";
  }
  LogShutdown(true);
  EXPECT_EQ(Lines(), expected);
}

TEST_F(LogFixture, TakesEachTraceAsOneLine) {
  BeginFile("-LogDisplayModuleName=off -Log=Trace:displaymodulename=off");
  Trace("renamed %s\r\n", "a\r\n! 1 Err\x1b[2J\x7F\xC2\x9B\xC2\xA0");
  LogShutdown(true);
  EXPECT_EQ(Lines(), "Begin:\r\nrenamed a?\?! 1 Err?[2J??\?\xC2\xA0\r\n");
}

TEST_F(LogFixture, LinesOfThreadsStayWhole) {
  constexpr int kLines = 200;
  SetLogDebugHook(nullptr);
  BeginFile();
  ::Test::OnThreads(4, [](int id) {
    LogChannel& channel = GetLog(id % 2 == 0 ? "Even" : "Odd");
    const std::string text(100, static_cast<char>('a' + id));
    for (int i = 0; i < kLines; ++i) {
      if (channel.Begin(LogLevel::Warning)) LogText(channel, text);
    }
  });
  LogShutdown(true);
  const std::string text = ::Test::ReadWholeFile(path_);
  for (const char letter : {'a', 'b', 'c', 'd'}) {
    const std::string line = " : " + std::string(100, letter) + "\r\n";
    int whole = 0;
    for (auto at = text.find(line); at != text.npos; at = text.find(line, at + 1)) ++whole;
    EXPECT_EQ(whole, kLines) << letter;
  }
}

// Both streams asked for: one gets the lines. The last text of a process comes after all others.
TEST_F(LogFixture, StandardErrorWinsAndTheProcessEndsItsLog) {
  const auto logAndExit = [this] {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    BeginFile("/LogStdOut /LogStdErr -LogDisplayModuleName=off");
    LogChannel& channel = GetLog("Streams");
    channel.SetFormat(LogFormat::kPrefix, false);
    if (channel.Begin(LogLevel::Error)) Log(channel, "once");
    std::exit(3);
  };
  EXPECT_EXIT(logAndExit(), ::testing::ExitedWithCode(3), "^once\r\n$");
  EXPECT_EQ(Lines(), "Begin:\r\nonce\r\nEnd.\r\n");
}

}  // namespace
}  // namespace Zef
