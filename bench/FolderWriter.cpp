#include "bench/FolderWriter.h"

#include <fstream>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "bench/Vocabulary.h"
#include "kernel/standard/CodePage.h"
#include "kernel/standard/PopWord.h"

namespace {

constexpr std::uint64_t kFolderStream = 1ull << 61;

/// How a config says what a category is, and the tree that such assets lie in.
struct Spelling {
  const char* category;
  const char* tree;
  const char* kind;
  const char* oldCode;
  const char* details;
};
constexpr Spelling kSpellings[] = {
    {"TR;TV;LOC;DIES", "diesel", "traincar", "AH", "engine 1\n"},
    {"TR;TV;LOC;ELEC", "electric", "traincar", "AC", "engine 1\n"},
    {"TR;TV;LOC;STEM", "steam", "traincar", "AT", "engine 1\n"},
    {"TR;TV;FRT;HOPP", "freight", "traincar", "XGS", "engine 0\n"},
    {"TR;TV;PAX;SEAT", "coaches", "traincar", "PA", "engine 0\n"},
    {"TR;CMP;BOGY", "bogeys", "bogey", "ZB", ""},
    {"TK", "track", "track", "TR", "type \"rails\"\nistrack 1\n"},
    {"FIXD;SWT", "fixedtrack", "fixedtrack", "TF", "istrack 1\n"},
    {"SPLN;BRG", "bridges", "bridge", "TB", "istrack 1\n"},
    {"TO;CAT", "trackside", "scenery", "BR", "trackside 3.2\n"},
    {"BD;RES", "buildings", "scenery", "BH", ""},
    {"BD;STA;NACT", "stations", "scenery", "BI", ""},
    {"BD;IND;ACTV;FIXD", "industries", "industry", "BPF", "class \"BaseIndustry\"\n"},
    {"SY;SCEN", "scenery", "scenery", "BS", ""},
    {"FL;SCEN", "foliage", "scenery", "FT", ""},
    {"TX;ENV;GRND", "ground", "groundtexture", "GA", ""},
    {"RT", "maps", "map", "YM", "workingscale 0\n"},
    {"SS", "sessions", "profile", "YP", ""},
};

const Spelling& SpellingOf(std::string_view category) {
  for (const Spelling& spelling : kSpellings) {
    if (category == spelling.category) return spelling;
  }
  throw std::logic_error("a category without a spelling: " + std::string(category));
}

/// The name as a folder: ASCII, and fit for every system.
std::string FolderName(std::string_view name, std::uint32_t number) {
  std::string folder;
  for (const char c : name) {
    const char lower = Zef::FoldAscii(c);
    const bool plain = (lower >= 'a' && lower <= 'z') || (lower >= '0' && lower <= '9');
    if (plain || (!folder.empty() && folder.back() != '_')) folder += plain ? lower : '_';
  }
  return folder + "_" + std::to_string(number);
}

/// One tag a code: "KEY-0", "KEY-1".
void AppendCodes(std::string& text, const char* key, std::string_view codes) {
  for (int i = 0; !codes.empty(); ++i) {
    const std::string_view code = Zef::PopWord(codes, ';');
    text += std::string(key) + "-" + std::to_string(i) + " \"" + std::string(code) + "\"\n";
  }
}

void AppendMeshTable(std::string& text, Random& random) {
  text += "mesh-table\n{\n";
  const std::uint32_t meshes = random.Between(1, 7);
  for (std::uint32_t i = 0; i < meshes; ++i) {
    text += "\tpart" + std::to_string(i) + "\n\t{\n\t\tmesh\t\"body_" + std::to_string(i) +
            ".im\"\n\t\tauto-create\t1\n\t\tposition\t" + std::to_string(random.Below(900)) +
            ".25,0," + std::to_string(random.Below(90)) +
            "\n\t\teffects\n\t\t{\n\t\t\t0\n\t\t\t{\n" +
            "\t\t\t\tkind\t\"texture-replacement\"\n\t\t\t\ttexture\t\"paint.texture\"\n\t\t\t}\n" +
            "\t\t}\n\t}\n";
  }
  text += "}\n";
}

void AppendSmoke(std::string& text, Random& random) {
  const std::uint32_t blocks = random.Between(0, 4);
  for (std::uint32_t i = 0; i < blocks; ++i) {
    text += "smoke" + std::to_string(i) + " {\n  attachment a.smoke" + std::to_string(i) +
            "\n  mode speed\n  color 170,170,170,180\n  rate " + std::to_string(random.Below(30)) +
            "\n  velocity 2.5\n  lifetime 3\n  minsize 0.25\n  maxsize 1.5\n}\n";
  }
}

}  // namespace

FolderWriter::FolderWriter(const ContentGenerator::Options& options, std::filesystem::path root)
    : seed_(options.seed), content_(options), root_(std::move(root)) {}

void FolderWriter::Write(std::uint32_t number) {
  Random random(seed_, kFolderStream | number);
  const MUKAsset asset = content_.Asset(number, 0);
  const bool oldStyle = random.Percent(40);
  const std::string tree = content_.IsBuiltIn(number) ? std::string("world/custom/") +
                                                            SpellingOf(asset.category.View()).tree
                                                      : std::string("local");
  const std::filesystem::path folder = root_ / tree / FolderName(asset.name.View(), number);
  std::filesystem::create_directories(folder);
  const std::string config = Config(number, asset, oldStyle, random);
  WriteFile(folder / "config.txt", oldStyle ? Zef::FromUtf8(config) : "\xEF\xBB\xBF" + config);
  const std::uint32_t files = random.Between(1, 4);
  for (std::uint32_t i = 0; i < files; ++i) {
    WriteFile(folder / ("body_" + std::to_string(i) + ".im"),
              std::string(random.Between(200, 6000), static_cast<char>('a' + i)));
  }
  if (!random.Percent(30)) return;
  std::filesystem::create_directory(folder / "paint");
  for (const char* name : {"paint.texture.txt", "night.texture.txt"}) {
    WriteFile(folder / "paint" / name, "primary=paint.tga\r\ntile=st\r\n");
  }
}

std::string FolderWriter::Config(std::uint32_t number, const MUKAsset& asset, bool oldStyle,
                                 Random& random) const {
  const Spelling& spelling = SpellingOf(asset.category.View());
  std::string text = "plid " + asset.id.TagText() + "\n";
  text += std::string("kind \"") + spelling.kind + "\"\n" + spelling.details;
  text += std::string("category-class ") + spelling.oldCode + "\n";
  if (oldStyle) {
    text += "name " + asset.name.String() + "\nregion " + asset.region.String() + "\n";
    AppendSmoke(text, random);
  } else {
    text += "username \"" + asset.name.String() + "\"\nquarle-build " +
            std::to_string(random.Between(2, 4)) + "." + std::to_string(random.Below(10)) + "\n";
    AppendCodes(text, "category-region", asset.region.View());
    AppendCodes(text, "category-era", asset.era.View());
    text += "category-keyword \"" + asset.keywords.String() + "\"\n";
    AppendMeshTable(text, random);
    text += "privileges\n{\n\tpermit-edit\t" + std::to_string(random.Below(2)) + "\n}\n";
  }
  if (!asset.mapId.IsNull()) text += "map-plid " + asset.mapId.TagText() + "\n";
  text += "plid-table\n{\n";
  std::uint32_t row = 0;
  for (const PLID& id : content_.Dependencies(number)) {
    text += "\t" + std::to_string(row++) + "\t" + id.TagText() + "\n";
  }
  text +=
      "}\nthumbnails\n{\n\t0\n\t{\n\t\timage\t\"thumbnail.jpg\"\n\t\twidth\t240\n\t\theight\t180\n";
  text += "\t}\n}\ndescription \"" + content_.Prose(number, random.Between(250, 1900)) + "\"\n";
  return text;
}

void FolderWriter::WriteFile(const std::filesystem::path& path, const std::string& bytes) const {
  std::ofstream file(path, std::ios::binary);
  file << bytes;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
}
