// RegionTable: two-letter codes of the regions in which assets are at home, and their names.
//
// Countries as old content writes them, one code for no country in particular ("00"), and behind
// them other names under which old configs know some countries. Fixed; any thread.
//
// Cost: a code is found by halving, a name by one walk that compares lengths first.

#pragma once

#include <span>
#include <string_view>

struct RegionRow {
  std::string_view code;  ///< two upper-case letters or digits
  std::string_view name;
};

/// All rows: countries by code, "00", then the other names.
std::span<const RegionRow> RegionTable();

/// Upper-case codes only.
bool IsRegionCode(std::string_view code);
/// The code of a whole name, ignoring case; empty for a name that nobody has.
std::string_view RegionCodeByName(std::string_view name);
/// The chief name of an upper-case code; empty for an unknown code.
std::string_view RegionName(std::string_view code);
