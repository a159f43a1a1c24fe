// The log's settings as options; apart from the log itself, which the plug-in links too.

#include "kernel/standard/Log.h"
#include "kernel/standard/Options.h"

namespace Zef {

namespace {

// Each may make a channel, which every lookup of another one passes.
constexpr std::size_t kMostSettings = 256;

}  // namespace

LogSettings ReadLogSettings(Options& options) {
  LogSettings settings;
  options.Get("LogFlush", settings.flush, settings.flush);
  options.Get("LogDisplayModuleName", settings.prefix, settings.prefix);
  options.Get("LogFile", settings.file, LogSettings().file);
  settings.disabled = options.Has("NoLog");
  if (options.Has("LogStdOut")) settings.stream = LogStream::Output;
  if (options.Has("LogStdErr")) settings.stream = LogStream::Error;
  options.BeginValues("Log", ",");
  std::string value;
  while (settings.channels.size() < kMostSettings && options.NextValue("Log", value)) {
    settings.channels.push_back(value);
  }
  return settings;
}

void LogInit(Options& options) { LogInit(ReadLogSettings(options)); }

}  // namespace Zef
