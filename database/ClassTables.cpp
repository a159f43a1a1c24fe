#include "database/ClassTables.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <span>

#include "database/CodeList.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/PopWord.h"

namespace {

struct OldClassRow {
  std::string_view kind;  ///< empty fits every kind
  std::string_view classes;
  std::string_view oldCodes;  ///< blanks between
};

constexpr OldClassRow kOldClasses[] = {
    {"traincar", "TR;TV;LOC;ELEC", "AA AC AD"},
    {"traincar", "TR;TV;LOC;OTHR", "AE AG AM"},
    {"traincar", "TR;TV;LOC;DIES", "AH AL"},
    {"traincar", "TR;TV;TDR", "AS"},
    {"traincar", "TR;TV;LOC;STEM", "AS AT"},
    {"buildable", "BD;BDB;FIXD", "BB"},
    {"scenery", "BD;COM", "BC"},
    {"scenery", "BD;RES", "BH"},
    {"scenery", "BD;STA;NACT", "BI"},
    {"industry", "BD;STA;ACTV", "BPF"},
    {"scenery", "BD;RRD", "BR"},
    {"scenery", "BD;SPC", "BS"},
    {"scenery", "BD;UTL", "BU"},
    {"scenery", "RD;ACC", "BT"},
    {"scenery", "TO;CAT", "BR"},
    {"traincar", "TR;TV;CAB", "CB CC"},
    {"environment", "TX;ENV;SKYS", "ES"},
    {"water2", "TX;ENV;AQUA", "EW"},
    {"", "FL;SCEN", "FT FC FF FO FS"},
    {"groundtexture", "TX;ENV;GRND", "GA GL GS"},
    {"mesh", "CMP;MESH", "HM"},
    {"product", "CY;CON", "IC"},
    {"product", "CY;PAX", "IP"},
    {"product", "CY;BKL", "IB"},
    {"product", "CY;LIQ", "IL"},
    {"texture", "TX;NEV", "JC JI JO JP"},
    {"traincar", "TR;TV;TRM", "LT"},
    {"traincar", "TR;TV;LTR", "LS"},
    {"traincar", "TR;TV;MNR", "LM"},
    {"traincar", "TR;TV;MNT", "MA MC MD ME MF MI MT MP MS MX MW"},
    {"traincar", "TR;TV;FRT;HOPP", "MB XG XGB XGC XGE XGR XGS XHC XHB XHE XHR XHS XHT XGT"},
    {"", "FA", "OA"},
    {"", "PP", "OH"},
    {"drivercharacter", "DR", "OHD"},
    {"traincar", "TR;TV;PAX;SEAT", "PA PC PD PO"},
    {"traincar", "TR;TV;PAX;MAIL", "PB PM"},
    {"traincar", "TR;TV;PAX;OTHR", "PS PP PL PH PR PU PV PX"},
    {"traincar", "TR;TV;RCR;ELEC", "RA RC"},
    {"traincar", "TR;TV;RCR;DIES", "RD RH RP"},
    {"traincar", "TR;TV;RCR;STEM", "RS"},
    {"traincar", "TR;TV;RCR;OTHR", "RP"},
    {"track", "SY;FNC;SPLN", "SF"},
    {"track", "SY;SPLN", "SP"},
    {"track", "RD;SPLN", "SR"},
    {"track", "SY;PWL;SPLN", "SS"},
    {"track", "FL;SPLN", "SV"},
    {"bridge", "TK;BRG", "TB"},
    {"bridge", "TK;TUN", "TT"},
    {"track", "TK;RLS", "TR"},
    {"spline", "RD;SPLN", "SP"},
    {"bridge", "TK;RLS", "TR"},
    {"fixedtrack", "RLS;FIXD;SWT", "TF"},
    {"scenery", "VE;AIR", "VA"},
    {"scenery", "VE;LND", "VL"},
    {"scenery", "VE;SEA", "VS"},
    {"scenery", "TO;SIG", "WA"},
    {"scenery", "TO;SIN", "WS"},
    {"scenery", "TO", "WX"},
    {"traincar", "TR;TV;FRT;TANK", "XT XTA XTS XTM"},
    {"traincar", "TR;TV;FRT;FLAT", "XF XFA XFC XFD XFH XFM"},
    {"traincar", "TR;TV;FRT;RACK", "XA XAA XAB"},
    {"traincar", "TR;TV;FRT;REEF", "XB XBD XBG XBI XR XRI XRM XV XVG XVP"},
    {"traincar", "TR;TV;FRT;ANTX", "XL XLA XLC XLH"},
    {"traincar", "TR;TV;FRT;OTHR", "XI XIB XIT XS XSN XSU"},
    {"drivercommand", "SQ;GEN", "YD"},
    {"htmlasset", "HT", "YH"},
    {"map", "RT", "YM"},
    {"profile", "SS", "YP"},
    {"region", "REGN", "YX"},
    {"behavior", "RU;GEN", "YR"},
    {"activity", "SC", "YS"},
    {"traincar", "TR;CMP;ESPC", "ZE"},
    {"hornsound", "TR;CMP;HORN", "ZH"},
    {"interior", "TR;CMP;INTR", "ZI"},
    {"pantograph", "TR;CMP;PANT", "ZP"},
    {"enginesound", "TR;CMP;ESND", "ZS"},
    {"bogey", "TR;CMP;BOGY", "ZB"},
    {"tintbarn-template", "TBT", "ZX"},
    {"tintbarn-skin", "TBS", "ZY"},
};

struct KindRow {
  std::string_view kind;
  std::string_view detail;  ///< expression over the detail words; empty wants none
  std::string_view classes;
};

constexpr KindRow kKinds[] = {
    {"fixedtrack", "", "FIXD;SWT"},
    {"bridge", "road;tunnels", "SPLN;TUN"},
    {"bridge", "road", "SPLN;BRG"},
    {"bridge", "bridges", "TK;BRG"},
    {"bridge", "tunnels", "TK;TUN"},
    {"bridge", "track", "TK"},
    {"bridge", "rails", "TK"},
    {"bridge", "", "SPLN;BRG"},
    {"spline", "", "SPLN;BRG"},
    {"track", "road", "SPLN"},
    {"track", "rails", "TK"},
    {"track", "track", "TK"},
    {"track", "", "SPLN"},
    {"groundtexture", "", "TX;ENV;GRND"},
    {"map", "", "RT"},
    {"industry", "", "BD;IND;ACTV;FIXD"},
    {"profile", "", "SS"},
    {"scenery", "trackside", "TO"},
    {"scenery", "", "SY;SCEN"},
    {"mospeedboard", "", "TO;?WS"},
    {"mosignal", "", "TO;?WA"},
    {"mojunction", "", "TO;?WX"},
    {"mocrossing", "", "FIXD;CROS"},
    {"buildable", "", "BD;BDB;FIXD"},
    {"turntable", "", "FIXD;TURN"},
    {"traincar", "tender", "TR;TV;TEND"},
    {"traincar", "locomotive", "TR;TV;LOCO"},
    {"traincar", "rollingstock", "TR;TV;ROLL"},
    {"traincar", "", "TR;TV"},
    {"water2", "", "?EW"},
    {"environment", "", "?ENV"},
    {"engine", "", "TR;CMP;ESPC"},
    {"steam-engine", "", "TR;CMP;ESPC"},
    {"bogey", "", "TR;CMP;BOGY"},
    {"interior", "", "TR;CMP;INTR"},
    {"pantograph", "", "TR;CMP;PANT"},
    {"hornsound", "", "TR;CMP;HORN;SD"},
    {"enginesound", "", "TR;CMP;ESND;SD"},
    {"region", "", "REGN"},
    {"activity", "", "SC"},
    {"behavior", "", "RU;GEN"},
    {"drivercharacter", "", "DR"},
    {"drivercommand", "", "SQ;GEN"},
    {"library", "", "SLIB"},
    {"product", "", "PROD"},
    {"product-category", "", "PRDC"},
    {"html-asset", "", "HT"},
    {"mesh", "", "CMP;MESH"},
    {"texture", "", "CMP;TX"},
    {"tracksound", "", "CMP;TSND;SD"},
};

struct NameRow {
  std::string_view classes;
  std::string_view name;
  int weight;
};

constexpr NameRow kClassNames[] = {
    {"TBT", "Tintbarn Template", 0},
    {"IND;ACTV", "Industry", 0},
    {"SWT;FIXD", "Fixed Track", 0},
    {"BD", "Building", 0},
    {"HT", "HTML", 0},
    {"PP", "People", 0},
    {"CMP;MESH", "Mesh", 0},
    {"CY", "Commodity", 0},
    {"RD", "Road", 0},
    {"RT", "Route", 0},
    {"RU", "Rule", 0},
    {"SC", "Scenario", 0},
    {"SQ", "Script", 0},
    {"SS", "Session", 0},
    {"TP", "Topology", 0},
    {"TX;ENV", "TextureEnv", 1},
    {"TX", "TextureNonEnv", 0},
    {"FA", "Fauna", 0},
    {"FL", "Flora", 0},
    {"TK", "Track", 0},
    {"TK;BRG", "Bridge", 1},
    {"TK;SPL", "Spline", 1},
    {"TK;TUN", "Tunnel", 1},
    {"TO", "Track Object", 0},
    {"VE", "Vehicle", 0},
    {"SD", "Sound", 0},
    {"DR", "Driver", 0},
    {"REGN", "Region", 0},
    {"SPLN", "Spline", 0},
    {"SY", "Scenery", 0},
    {"TR;CMP", "Train Component", 0},
    {"TR", "Train", 0},
    {"MS", "Miscellaneous", 0},
    {"FIXD", "Fixed Track", 0},
};

constexpr NameRow kClassKeys[] = {
    {"TBT", "TintbarnTemplate", 0},
    {"BD", "Building", 0},
    {"SQ", "Script", 0},
    {"HT", "HTML", 0},
    {"PP", "People", 0},
    {"CMP;MESH", "Mesh", 0},
    {"CY", "Commodity", 0},
    {"RD", "Road", 0},
    {"RT", "Route", 0},
    {"RU", "Rule", 0},
    {"SC", "Scenario", 0},
    {"SS", "Session", 0},
    {"TP", "Topology", 0},
    {"TX;ENV", "TextureEnv", 1},
    {"TX", "TextureNonEnv", 0},
    {"TK", "Track", 0},
    {"TO", "TrackObjects", 0},
    {"VE", "Vehicle", 0},
    {"SD", "Sound", 0},
    {"FA", "Fauna", 0},
    {"FL", "Flora", 0},
    {"DR", "Driver", 0},
    {"TR", "Train", 0},
    {"SY", "Scenery", 0},
    {"MS", "Misc", 0},
    {"", "Misc", -1},
};

bool HasOldCode(std::string_view codes, std::string_view code) {
  while (!codes.empty()) {
    if (Zef::EqualFolded(Zef::PopWord(codes, ' '), code)) return true;
  }
  return false;
}

/// What KindOfCodes says of each old class. Scans ask for every config, so it is worked out once.
const auto& OldClassKinds() {
  static const auto kinds = [] {
    std::array<std::string_view, std::size(kOldClasses)> all;
    std::ranges::transform(kOldClasses, all.begin(), KindOfCodes, &OldClassRow::classes);
    return all;
  }();
  return kinds;
}

/// The heaviest row whose classes are all in the category; the first of equals.
std::string_view Heaviest(std::span<const NameRow> rows, std::string_view category) {
  const NameRow* best = nullptr;
  for (const NameRow& row : rows) {
    if (best != nullptr && row.weight <= best->weight) continue;
    if (MatchCodes(category, row.classes)) best = &row;
  }
  return best != nullptr ? best->name : "Unknown";
}

}  // namespace

OldClass FindOldClass(std::string_view kind, std::string_view oldCode) {
  if (oldCode.empty()) return {};
  for (std::size_t i = 0; i < std::size(kOldClasses); ++i) {
    const OldClassRow& row = kOldClasses[i];
    const bool fits = row.kind.empty() || kind.empty() || Zef::EqualFolded(row.kind, kind);
    if (fits && HasOldCode(row.oldCodes, oldCode)) return {row.classes, OldClassKinds()[i]};
  }
  return {};
}

std::string_view KindCodes(std::string_view kind, std::string_view details) {
  for (const KindRow& row : kKinds) {
    const bool fits = kind.empty() ? !row.detail.empty() : row.kind == kind;
    if (fits && MatchCodes(details, row.detail)) return row.classes;
  }
  return {};
}

std::string_view KindOfCodes(std::string_view classes) {
  for (const KindRow& row : kKinds) {
    if (MatchCodes(classes, row.classes)) return row.kind;
  }
  return {};
}

std::string_view ClassName(std::string_view category) { return Heaviest(kClassNames, category); }

std::string_view ClassKey(std::string_view category) { return Heaviest(kClassKeys, category); }
