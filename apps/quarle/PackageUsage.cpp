// The command lines of `quarle package`.

#include "apps/quarle/CommandLine.h"

namespace {

using PackageFunction = int (*)(const PackageOptions&, const CommonOptions&);

}  // namespace

void AddPackage(CLI::App& app, PackageOptions& options, CommonOptions& common,
                std::function<int()>& run) {
  CLI::App* const package =
      AddCommand(app, "package", "Make packages of assets (.kpx), and look into them",
                 "quarle package create wagons.kpx coal-wagon ore-wagon");
  package->require_subcommand(1);
  const auto add = [&](const char* name, const char* what, const char* example,
                       PackageFunction function) {
    CLI::App* const command = AddCommand(*package, name, what, example);
    AddText(*command, "PACKAGE", options.package, "The package file");
    AddCommon(*command, common);
    command->callback([&chosen = run, &options, &common, function] {
      chosen = [&options, &common, function] { return function(options, common); };
    });
    return command;
  };
  add("list", "List the assets of a package", "quarle package list wagons.kpx --json",
      RunPackageList);
  CLI::App* const create =
      add("create", "Make a package of asset folders, each with its config",
          "quarle package create wagons.kpx coal-wagon ore-wagon --author 'Agnes Thorne'",
          RunPackageCreate);
  create->add_option("FOLDER", options.folders, "Folders of the assets")
      ->required()
      ->check(kNotEmpty)
      ->type_name("");
  for (std::size_t i = 0; i < kPackageNotes.size(); ++i) {
    const PackageNote& note = kPackageNotes[i];
    create->add_option(std::string("--") + note.key, options.notes[i], note.what)
        ->type_name("TEXT");
  }
  CLI::App* const extract = add(
      "extract", "Put each asset of a package into a new folder of its own",
      "quarle package extract wagons.kpx out --asset '<plid2:1001:100001:1>'", RunPackageExtract);
  extract
      ->add_option("FOLDER", options.folder, "Where these folders go; without it the current one")
      ->check(kNotEmpty)
      ->type_name("");
  extract
      ->add_option("--asset", options.assets,
                   std::string("Only this asset, again for more: ") + kIdSpellings)
      ->allow_extra_args(false)
      ->check(kNotEmpty)
      ->type_name("ID");
  add("check", "Say whether every file of a package unpacks and every name and table is right",
      "quarle package check wagons.kpx", RunPackageCheck);
}
