// quarle: the command line of the asset library. Here command lines are parsed; what the
// commands do is in the files that are named after them.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <exception>
#include <functional>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "apps/quarle/CommandLine.h"
#include "apps/quarle/Commands.h"
#include "apps/quarle/Nearest.h"
#include "apps/quarle/Utf8.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/platform/Terminal.h"
#include "kernel/standard/FaultReport.h"
#include "kernel/standard/Log.h"
#include "kernel/standard/Options.h"

namespace {

/// What all commands have parsed into, and the one that was chosen.
struct CommandLine {
  CommonOptions common;
  DiffOptions diff;
  PatchOptions patch;
  SetOptions set;
  IndexOptions index;
  IndexBuildOptions indexBuild;
  TagsOptions tags;
  CoderOptions coder;
  PlidOptions plid;
  ArchiveOptions archive;
  PackageOptions package;
  AssetOptions asset;
  std::function<int()> run;
};

void AddIndexName(CLI::App& command, std::string& name) {
  command.add_option("--index", name, "Name of the index file")
      ->check(kNotEmpty)
      ->type_name("NAME")
      ->capture_default_str();
}

void AddPlugin(CLI::App& command, std::string& file) {
  command.add_option("--plugin", file, "The plug-in to load; without it the one of this program")
      ->check(kNotEmpty)
      ->type_name("FILE");
}

void AddDiff(CLI::App& app, CommandLine& line) {
  CLI::App* const diff =
      AddCommand(app, "diff", "Make the patch set that leads from one release to another",
                 "quarle diff release-1 release-2 patch-1-2");
  DiffOptions& options = line.diff;
  AddText(*diff, "OLD", options.oldRoot, "Folder of the old release, with its index");
  AddText(*diff, "NEW", options.newRoot, "Folder of the new release, with its index");
  AddText(*diff, "OUT", options.output, "Folder of the set to make; its files go into data/ there");
  AddIndexName(*diff, options.indexName);
  AddPlugin(*diff, options.plugin);
  AddCommon(*diff, line.common);
  diff->callback([&] { line.run = [&] { return RunDiff(line.diff, line.common); }; });
}

void AddPatch(CLI::App& app, CommandLine& line) {
  CLI::App* const patch = AddCommand(
      app, "patch", "Apply a patch set to the index in a folder",
      "quarle patch --dry-run /srv/content patch-1-2\n  quarle patch /srv/content patch-1-2");
  PatchOptions& options = line.patch;
  AddText(*patch, "ROOT", options.root,
          "Folder of the index; folders of replaced assets are deleted below it");
  AddText(*patch, "SET", options.set, "Folder of the patch set");
  AddIndexName(*patch, options.indexName);
  AddPlugin(*patch, options.plugin);
  patch->add_flag("-n,--dry-run", options.dryRun, "Say what would change, and change nothing");
  patch->add_flag("--no-backup", options.noBackup, "Keep no copy of the index as NAME.bak");
  patch->add_flag("--again", options.again,
                  "Patch even if no record would change: folders of what the set brings go");
  AddCommon(*patch, line.common);
  patch->callback([&] { line.run = [&] { return RunPatch(line.patch, line.common); }; });
}

using SetFunction = int (*)(const SetOptions&, const CommonOptions&);
using IndexFunction = int (*)(const IndexOptions&, const CommonOptions&);

void AddSetCommand(CLI::App& set, CommandLine& line, const char* name, const char* what,
                   const char* example, SetFunction run) {
  CLI::App* const command = AddCommand(set, name, what, example);
  AddText(*command, "SET", line.set.set, "Folder of the patch set");
  AddIndexName(*command, line.set.indexName);
  AddCommon(*command, line.common);
  command->callback(
      [&line, run] { line.run = [&line, run] { return run(line.set, line.common); }; });
}

CLI::App* AddIndexCommand(CLI::App& index, CommandLine& line, const char* name, const char* what,
                          const char* example, IndexFunction run) {
  CLI::App* const command = AddCommand(index, name, what, example);
  AddText(*command, "FILE", line.index.file, "The index file, such as release-1/assets.mkx");
  AddCommon(*command, line.common);
  command->callback(
      [&line, run] { line.run = [&line, run] { return run(line.index, line.common); }; });
  return command;
}

void AddIndexBuild(CLI::App& index, CommandLine& line) {
  CLI::App* const build =
      AddCommand(index, "build", "Make the index of a product from its asset folders",
                 "quarle index build /srv/content\n"
                 "  quarle index build --built-in --out new/assets.mkx release-2");
  IndexBuildOptions& options = line.indexBuild;
  AddText(*build, "ROOT", options.root, "Folder that holds world, trains, local or editing");
  build->add_option("--out", options.file, "The file to write; without it ROOT/assets.mkx")
      ->check(kNotEmpty)
      ->type_name("FILE");
  build->add_flag("--built-in", options.builtIn,
                  "Mark what lies in world and trains as the product's own, which a diff compares");
  build->add_flag("--archives-only", options.archivesOnly,
                  "Leave out what lies in folders of world, and local and editing");
  build->add_flag("--no-backup", options.noBackup,
                  "Keep no copy of an older index as FILE.bak, FILE.bak2...");
  build->add_flag("-v,--verbose", options.verbose, "List every folder that was skipped");
  AddCommon(*build, line.common);
  build->callback([&] { line.run = [&] { return RunIndexBuild(line.indexBuild, line.common); }; });
}

void AddGroups(CLI::App& app, CommandLine& line) {
  CLI::App* const set =
      AddCommand(app, "set", "Look into a patch set", "quarle set show patch-1-2");
  set->require_subcommand(1);
  AddSetCommand(*set, line, "show", "List what a patch set holds",
                "quarle set show patch-1-2 --json", RunSetShow);
  AddSetCommand(*set, line, "check", "Say whether every record of a patch set is whole",
                "quarle set check patch-1-2", RunSetCheck);

  CLI::App* const index =
      AddCommand(app, "index", "Make the index of all assets of a product, or look into one",
                 "quarle index build /srv/content\n  quarle index stat /srv/content/assets.mkx");
  index->require_subcommand(1);
  AddIndexBuild(*index, line);
  AddIndexCommand(*index, line, "show", "List the records and side tables of an index",
                  "quarle index show release-1/assets.mkx --json", RunIndexShow);
  CLI::App* const stat = AddIndexCommand(
      *index, line, "stat", "Count records, their flags and classes, and the bytes of each section",
      "quarle index stat release-1/assets.mkx --top 20", RunIndexStat);
  stat->add_option("--top", line.index.top, "Classes to list")
      ->check(CLI::Range(0, 1'000'000))
      ->type_name("N")
      ->capture_default_str();
  AddIndexCommand(*index, line, "check",
                  "Say why an index does not load, or what does not hold together in it",
                  "quarle index check release-1/assets.mkx", RunIndexCheck);
}

void AddTags(CLI::App& app, CommandLine& line) {
  CLI::App* const tags =
      AddCommand(app, "tags", "Look into tag files such as configs, and change their form",
                 "quarle tags show wagon/config.txt");
  tags->require_subcommand(1);

  CLI::App* const show = AddCommand(*tags, "show", "Draw a tag file as a tree",
                                    "quarle tags show wagon/config.txt --json");
  AddText(*show, "FILE", line.tags.file, "The file: .txt, .grole, .kpx or .kpx2");
  AddCommon(*show, line.common);
  show->callback([&] { line.run = [&] { return RunTagsShow(line.tags, line.common); }; });

  CLI::App* const convert = AddCommand(
      *tags, "convert", "Write a tag file in the form that a name's extension stands for",
      "quarle tags convert wagon/config.txt wagon.grole");
  AddText(*convert, "IN", line.tags.file, "The file to read");
  AddText(*convert, "OUT", line.tags.output, "The file to write: .txt, .grole, .kpx or .kpx2");
  AddCommon(*convert, line.common);
  convert->callback([&] { line.run = [&] { return RunTagsConvert(line.tags, line.common); }; });
}

/// "-0", or what is left of "-10", counts as a file's name otherwise.
const CLI::Validator kNoLevel(
    [](const std::string& text) {
      const bool isNumber = text.size() == 2 && text[0] == '-' && text[1] >= '0' && text[1] <= '9';
      return isNumber ? "levels are -1 to -9, of 'lzss pack'" : std::string();
    },
    "");

using CoderFunction = int (*)(const CoderOptions&, const CommonOptions&);

CLI::App* AddCoderCommand(CLI::App& coder, CommandLine& line, const char* name, const char* what,
                          const char* example, CoderFunction run) {
  CLI::App* const command = AddCommand(coder, name, what, example);
  AddText(*command, "IN", line.coder.input, "The file to read")->check(kNoLevel);
  AddText(*command, "OUT", line.coder.output, "The file to write; it may be IN");
  AddCommon(*command, line.common);
  command->callback(
      [&line, run] { line.run = [&line, run] { return run(line.coder, line.common); }; });
  return command;
}

void AddCoders(CLI::App& app, CommandLine& line) {
  CLI::App* const file = AddCommand(
      app, "file", "Compress a file so that the product reads it as before (CFIL), and back",
      "quarle file pack config.txt config.packed");
  file->require_subcommand(1);
  AddCoderCommand(*file, line, "pack", "Write the compressed form of a file",
                  "quarle file pack config.txt config.packed", RunFilePack);
  AddCoderCommand(*file, line, "unpack", "Write the plain form of a compressed file",
                  "quarle file unpack config.packed config.txt", RunFileUnpack);

  CLI::App* const lzss =
      AddCommand(app, "lzss", "Compress a file as packages do inside (LZSS), and back",
                 "quarle lzss pack -9 mesh.im mesh.lzss");
  lzss->require_subcommand(1);
  CLI::App* const pack =
      AddCoderCommand(*lzss, line, "pack", "Compress a file into one LZSS stream",
                      "quarle lzss pack -9 mesh.im mesh.lzss", RunLzssPack);
  // Nine names in one line of help would hide the rest of it.
  pack->add_flag("-1{1},-2{2},-3{3},-4{4},-5{5},-6{6},-7{7},-8{8},-9{9}", line.coder.level)
      ->group("");
  line.coder.level = kDefaultLzssLevel;  // the flags have set it to 0
  pack->footer(
      "Levels:\n  -1 to -6  unpack fastest; the higher, the smaller and the slower to pack\n"
      "  -7 to -9  smaller still, and slower to unpack; without a level -6\n\n" +
      pack->get_footer());
  AddCoderCommand(*lzss, line, "unpack", "Expand an LZSS stream of any level",
                  "quarle lzss unpack mesh.lzss mesh.im", RunLzssUnpack);
}

void AddPlid(CLI::App& app, CommandLine& line) {
  CLI::App* const plid = AddCommand(app, "plid", "Say what a text means as an asset identifier",
                                    "quarle plid '<plid2:1234:56789:3>' 1234:56789");
  plid->add_option("TEXT", line.plid.texts, kIdSpellings)->required()->type_name("");
  plid->add_flag("--strict", line.plid.strict, "Take only the forms in brackets");
  AddCommon(*plid, line.common);
  plid->callback([&] { line.run = [&] { return RunPlid(line.plid, line.common); }; });
}

using ArchiveFunction = int (*)(const ArchiveOptions&, const CommonOptions&);

CLI::App* AddArchiveCommand(CLI::App& archive, CommandLine& line, const char* name,
                            const char* what, const char* example, ArchiveFunction run) {
  CLI::App* const command = AddCommand(archive, name, what, example);
  AddText(*command, "ARCHIVE", line.archive.archive, "The archive file");
  AddCommon(*command, line.common);
  command->callback(
      [&line, run] { line.run = [&line, run] { return run(line.archive, line.common); }; });
  return command;
}

CLI::Option* AddNames(CLI::App& command, const char* name, CommandLine& line, const char* what) {
  return command.add_option(name, line.archive.names, what)->check(kNotEmpty)->type_name("");
}

void AddFilling(CLI::App& command, CommandLine& line) {
  command.add_option("-C,--folder", line.archive.folder, "Folder that the names start from")
      ->check(kNotEmpty)
      ->type_name("FOLDER");
  command.add_flag("-z,--compress", line.archive.compress, "Store the files compressed");
}

void AddArchive(CLI::App& app, CommandLine& line) {
  CLI::App* const archive =
      AddCommand(app, "archive", "Make an archive of files (.ja), look into it, change it",
                 "quarle archive list content.ja");
  archive->require_subcommand(1);
  AddArchiveCommand(*archive, line, "list", "List the files of an archive",
                    "quarle archive list content.ja --json", RunArchiveList);
  CLI::App* const extract = AddArchiveCommand(
      *archive, line, "extract", "Put the files of an archive into a folder",
      "quarle archive extract content.ja out\n  quarle archive extract content.ja out maps/one.txt",
      RunArchiveExtract);
  AddText(*extract, "FOLDER", line.archive.folder, "Folder that the files go to");
  AddNames(*extract, "NAME", line, "Files and folders of the archive; without any all of them");
  CLI::App* const create = AddArchiveCommand(
      *archive, line, "create", "Make an archive of files and folders",
      "quarle archive create content.ja maps\n  quarle archive create -z -C build/data c.ja .",
      RunArchiveCreate);
  AddNames(*create, "PATH", line, "Files, and folders with all they hold");
  AddFilling(*create, line);
  CLI::App* const add =
      AddArchiveCommand(*archive, line, "add", "Add files to an archive, or replace them",
                        "quarle archive add content.ja maps/one.txt", RunArchiveAdd);
  AddNames(*add, "PATH", line, "Files, and folders with all they hold")->required();
  AddFilling(*add, line);
  CLI::App* const remove =
      AddArchiveCommand(*archive, line, "delete", "Delete files of an archive",
                        "quarle archive delete content.ja maps/one.txt", RunArchiveDelete);
  AddNames(*remove, "NAME", line, "Files, and folders with all they hold")->required();
  CLI::App* const rename = AddArchiveCommand(
      *archive, line, "rename", "Give a file of an archive another name",
      "quarle archive rename content.ja maps/one.txt maps/1.txt", RunArchiveRename);
  AddText(*rename, "OLD", line.archive.from, "The file's name");
  AddText(*rename, "NEW", line.archive.to, "Its new name");
}

std::string MeantCommand(const CLI::App& at, const std::string& given) {
  std::vector<std::string> names;
  for (const CLI::App* command : at.get_subcommands({})) names.push_back(command->get_name());
  return Nearest(given, names);
}

std::string MeantOption(const CLI::App& at, const std::string& given) {
  std::vector<std::string> names;
  for (const CLI::Option* option : at.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return Nearest(given.substr(0, given.find('=')), names);
}

/// An option that stands ahead of the last command; nothing when there is none.
std::string OptionAhead(const CLI::App& app) {
  for (const CLI::App* at = &app; !at->get_subcommands().empty();
       at = at->get_subcommands().front()) {
    for (const std::string& word : at->remaining()) {
      if (word.starts_with('-')) return word;
    }
  }
  return {};
}

/// What is wrong with such an option. The words behind a "--" go to the commands ahead, unless the
/// last command has none of its names yet.
std::string WhyNotAhead(const std::string& option, std::span<char* const> words) {
  const auto mark = std::find(words.begin(), words.end(), std::string_view("--"));
  if (std::find(mark, words.end(), option) == words.end()) {
    return "Options go behind the command, " + Quoted(option) + " too";
  }
  return "'--' goes ahead of the first name, so that " + Quoted(option) + " counts as one";
}

/// Usage errors are one line of ours, with the way to the help of the command.
int ReportParse(const CLI::App& app, const CLI::ParseError& error, std::span<char* const> words) {
  if (error.get_exit_code() == 0) {
    std::ostringstream text;
    static_cast<void>(app.exit(error, text, text));
    std::string help = text.str();
    for (std::size_t at; (at = help.find("\n\n\n")) != std::string::npos;) help.erase(at, 1);
    Print(help);
    return kDone;
  }
  std::string command = "quarle";
  const CLI::App* at = &app;
  while (!at->get_subcommands().empty()) {
    at = at->get_subcommands().front();
    command += " " + at->get_name();
  }
  std::string what = error.what();
  std::string meant;
  what.resize(std::min(what.find('\n'), what.size()));
  const auto kind = static_cast<CLI::ExitCodes>(error.get_exit_code());
  const bool isOfCount =
      kind == CLI::ExitCodes::RequiredError || kind == CLI::ExitCodes::ExtrasError;
  const std::vector<std::string> unknown = isOfCount ? at->remaining() : std::vector<std::string>();
  const std::string early = isOfCount && unknown.empty() ? OptionAhead(app) : std::string();
  if (!early.empty()) {
    what = WhyNotAhead(early, words);
  } else if (!unknown.empty() && unknown.front().starts_with('-')) {
    what = "There is no option " + Quoted(unknown.front());
    meant = MeantOption(*at, unknown.front());
  } else if (!unknown.empty() && !at->get_subcommands({}).empty()) {
    what = "There is no command " + Quoted(unknown.front());
    meant = MeantCommand(*at, unknown.front());
  }
  if (!meant.empty()) what += ", but there is " + Quoted(meant);
  return FailUsage(Printable(what) + "; see " + command + " --help");
}

/// What a log takes the place of: nothing, or another log.
bool MayBecomeLog(const std::string& file) {
  const Zef::Platform::OwnedFile old = Zef::Platform::OpenFile(file, {});
  std::array<char, 5> start{};
  const std::int64_t size =
      old ? Zef::Platform::ReadAt(old.Get(), start.data(), start.size(), 0) : 0;
  return size <= 0 || std::string_view(start.data(), start.size()) == "Zef v";
}

/// Levels and form of the log come from the options of the program.
bool OpenLog(const std::string& file) {
  Zef::Options& options = Zef::Options::Process();
  options.LoadForProgram();
  Zef::LogSettings settings = Zef::ReadLogSettings(options);
  settings.file = file;
  Zef::LogInit(settings);
  return settings.disabled || !Zef::LogChannel::disabled;
}

int Run(int argc, char** argv) {
  CLI::App app(
      "Asset indexes and patch sets, tag files, archives, packages, and a product's assets.",
      "quarle");
  app.get_formatter()->label("Positionals", "Arguments");
  app.get_formatter()->label("REQUIRED", "(required)");
  app.footer(
      "Example:\n  quarle diff release-1 release-2 patch-1-2\n\n"
      "'quarle COMMAND --help' tells of a command. Exit status: 0 done, 1 failed, 2 wrong usage.");
  app.set_version_flag("-V,--version", "quarle " QUARLE_VERSION);
  app.require_subcommand(1);
  CommandLine line;
  AddDiff(app, line);
  AddPatch(app, line);
  AddGroups(app, line);
  AddTags(app, line);
  AddCoders(app, line);
  AddPlid(app, line);
  AddArchive(app, line);
  AddPackage(app, line.package, line.common, line.run);
  AddAsset(app, line.asset, line.common, line.run);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return ReportParse(app, error, {argv, static_cast<std::size_t>(argc)});
  }
  const std::string& log = line.common.log;
  if (!log.empty() && !MayBecomeLog(log)) {
    return Fail("the log would replace " + Quoted(log) + ", which is no log; name another file");
  }
  if (!log.empty() && !OpenLog(log)) {
    return Fail("cannot write the log " + Quoted(log) +
                "; check that it is a file in a folder which may be written and has room");
  }
  return line.run();
}

}  // namespace

int main(int argc, char** argv) {
  Zef::Platform::FillStandardStreams();
  Zef::InstallFaultReports();
  int status = kFailed;
  try {
    status = Run(argc, argv);
  } catch (const std::bad_alloc&) {
    status = Fail("there is not enough memory for this file");
  } catch (const std::exception& failure) {
    status = Fail(Printable(failure.what()));
  }
  return FinishOutput(status);
}
