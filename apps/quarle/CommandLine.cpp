#include "apps/quarle/CommandLine.h"

#include <map>

namespace {

const std::map<std::string, ProgressMode> kModes = {
    {"auto", ProgressMode::Auto}, {"always", ProgressMode::Always}, {"never", ProgressMode::Never}};

/// Behind a command's own options in its help.
constexpr const char* kCommonGroup = "Options of every command";

}  // namespace

const CLI::Validator kNotEmpty(
    [](const std::string& text) { return text.empty() ? "must not be empty" : std::string(); }, "");

CLI::App* AddCommand(CLI::App& parent, const char* name, const char* what, const char* example) {
  CLI::App* const command = parent.add_subcommand(name, what);
  command->footer(std::string("Example:\n  ") + example);
  return command;
}

void AddCommon(CLI::App& command, CommonOptions& common) {
  command.add_flag("--json", common.json, "Print the result as one JSON document")
      ->group(kCommonGroup);
  command.add_flag("-q,--quiet", common.quiet, "Print no summary and no progress")
      ->group(kCommonGroup);
  command
      .add_option_function<std::string>(
          "--progress", [&common](const std::string& when) { common.progress = kModes.at(when); },
          "Progress bar on standard error: auto (on a terminal), always, never")
      ->check(CLI::IsMember(kModes).description(""))
      ->type_name("WHEN")
      ->default_str("auto")
      ->group(kCommonGroup);
  command
      .add_option("--log", common.log,
                  "Keep a log of the run, and of its crash if it has one, in place of an older log")
      ->check(kNotEmpty)
      ->type_name("FILE")
      ->group(kCommonGroup);
}

CLI::Option* AddText(CLI::App& command, const char* name, std::string& value, const char* what) {
  return command.add_option(name, value, what)->required()->check(kNotEmpty)->type_name("");
}
