// The command lines of `quarle asset`.

#include "apps/quarle/CommandLine.h"

namespace {

using AssetFunction = int (*)(const AssetOptions&, const CommonOptions&);

/// What the commands below `asset` are declared with.
struct Declaration {
  CLI::App& asset;
  AssetOptions& options;
  CommonOptions& common;
  std::function<int()>& run;

  CLI::App* Add(const char* name, const char* what, const char* example, AssetFunction function) {
    CLI::App* const command = AddCommand(asset, name, what, example);
    AddText(*command, "--root", options.root,
            "Folder of the product: that of world, trains, local and editing")
        ->type_name("ROOT");
    AddCommon(*command, common);
    command->callback([&chosen = run, &given = options, &shared = common, function] {
      chosen = [&given, &shared, function] { return function(given, shared); };
    });
    return command;
  }
  CLI::App* AddOnAsset(const char* name, const char* what, const char* example,
                       AssetFunction function) {
    CLI::App* const command = Add(name, what, example, function);
    AddText(*command, "ID", options.id, (std::string("The asset: ") + kIdSpellings).c_str());
    return command;
  }
};

void AddLooking(Declaration& to) {
  AssetOptions& options = to.options;
  CLI::App* const list = to.Add("list", "List the assets of a product",
                                "quarle asset list --root /srv/content --query 'coal wagon'\n"
                                "  quarle asset list --root /srv/content --kind 'TR;TV' --missing",
                                RunAssetList);
  list->add_option("--query", options.query, "Only those in whose names and keywords all words are")
      ->type_name("TEXT");
  list->add_option("--kind", options.kinds,
                   "Only those of one of these class codes, ';' between them")
      ->type_name("CODES");
  list->add_flag("--faulty", options.faulty, "Only those that are faulty or depend on faulty ones");
  list->add_flag("--missing", options.missing, "Only those that lack something they depend on");
  to.AddOnAsset("show", "Show what is known of an asset",
                "quarle asset show '<plid2:1001:100001:1>' --root /srv/content", RunAssetShow);
  to.AddOnAsset("why", "Say what an asset lacks, and through which others it needs that",
                "quarle asset why 1001:100001 --root /srv/content", RunAssetWhy);
}

void AddLife(Declaration& to) {
  AssetOptions& options = to.options;
  to.AddOnAsset("edit", "Open an asset for edit, and print its working folder",
                "quarle asset edit 1001:100001 --root /srv/content", RunAssetEdit);
  to.AddOnAsset("commit", "Make what is in the working folder the installed asset",
                "quarle asset commit 1001:100001 --root /srv/content", RunAssetCommit)
      ->add_flag("--keep", options.keep, "Keep the working folder: the asset stays open for edit");
  to.AddOnAsset("revert", "Throw the working folder away, and a never committed asset with it",
                "quarle asset revert 1001:100001 --root /srv/content", RunAssetRevert);
  to.AddOnAsset("delete", "Delete the folders of an asset",
                "quarle asset delete 1001:100001 --root /srv/content --forget", RunAssetDelete)
      ->add_flag("--forget", options.forget, "Drop its record too, unless a catalogue knows it");
}

void AddComing(Declaration& to) {
  AssetOptions& options = to.options;
  CLI::App* const install =
      to.Add("install", "Install assets from packages, folders and config files",
             "quarle asset install wagons.kpx my-asset/ --root /srv/content", RunAssetInstall);
  install
      ->add_option("FILE", options.files,
                   "Packages (.kpx), folders of assets, or the config in one")
      ->required()
      ->check(kNotEmpty)
      ->type_name("");
  install->add_flag("--overwrite", options.overwrite, "Replace assets that are installed already");
  to.AddOnAsset("clone", "Make a new asset, open for edit, of the files of another one",
                "quarle asset clone 1001:100001 --root /srv/content --new-version", RunAssetClone)
      ->add_flag("--new-version", options.newVersion,
                 "As the next version of the same asset, which must be your own");
}

}  // namespace

void AddAsset(CLI::App& app, AssetOptions& options, CommonOptions& common,
              std::function<int()>& run) {
  CLI::App* const asset =
      AddCommand(app, "asset", "Work on the assets of a product, through its database",
                 "quarle asset list --root /srv/content");
  asset->require_subcommand(1);
  Declaration to{*asset, options, common, run};
  AddLooking(to);
  AddLife(to);
  AddComing(to);
}
