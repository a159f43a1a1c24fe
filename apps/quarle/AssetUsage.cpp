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
    AddText(*command, "--root", options.root, "Folder of the product")->type_name("ROOT");
    AddCommon(*command, common);
    command->callback([&chosen = run, &given = options, &shared = common, function] {
      chosen = [&given, &shared, function] { return function(given, shared); };
    });
    return command;
  }
  CLI::App* AddOnAsset(const char* name, const char* what, const char* example,
                       AssetFunction function) {
    CLI::App* const command = Add(name, what, example, function);
    AddText(*command, "ID", options.id, "Identifier of the asset, in any spelling");
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
  list->add_option("--kind", options.kinds, "Only those of one of these classes, ';' between them")
      ->type_name("CODES");
  list->add_flag("--faulty", options.faulty, "Only those that are faulty or depend on faulty ones");
  list->add_flag("--missing", options.missing, "Only those that lack something they depend on");
  to.AddOnAsset("show", "Show what is known of an asset",
                "quarle asset show '<plid2:1001:100001:1>' --root /srv/content", RunAssetShow);
  to.AddOnAsset("why", "Say by which ways an asset lacks what it depends on",
                "quarle asset why 1001:100001 --root /srv/content", RunAssetWhy);
}

}  // namespace

void AddAsset(CLI::App& app, AssetOptions& options, CommonOptions& common,
              std::function<int()>& run) {
  CLI::App* const asset =
      AddCommand(app, "asset", "Work on the assets of a product: its running database",
                 "quarle asset list --root /srv/content");
  asset->require_subcommand(1);
  Declaration to{*asset, options, common, run};
  AddLooking(to);
}
