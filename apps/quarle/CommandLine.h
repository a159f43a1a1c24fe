// CommandLine: what the declarations of all commands are made of, and those that have a file of
// their own.

#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "apps/quarle/Commands.h"

extern const CLI::Validator kNotEmpty;

/// How the help of a command names an asset's identifier.
inline constexpr const char* kIdSpellings =
    "'<plid2:USER:CONTENT:VERSION>', '<plid:USER:CONTENT>' or USER:CONTENT";

CLI::App* AddCommand(CLI::App& parent, const char* name, const char* what, const char* example);
/// The options that every command takes.
void AddCommon(CLI::App& command, CommonOptions& common);
/// A required text that is not empty: by its place, or by its name if that begins with "--".
CLI::Option* AddText(CLI::App& command, const char* name, std::string& value, const char* what);

/// `quarle asset` with its commands. Parsing one sets `run`, which may be called as long as the
/// others live.
void AddAsset(CLI::App& app, AssetOptions& options, CommonOptions& common,
              std::function<int()>& run);
/// The same for `quarle package`.
void AddPackage(CLI::App& app, PackageOptions& options, CommonOptions& common,
                std::function<int()>& run);
