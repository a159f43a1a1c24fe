#include "bench/ConfigText.h"

#include <string_view>
#include <utility>

#include "bench/ContentGenerator.h"

namespace {

/// Lines of one file, with the depth of the block they are in.
class Lines {
 public:
  void Value(std::string_view key, std::string_view value) {
    constexpr std::size_t kColumn = 7;
    const std::size_t taken = key.size() / 8 + depth_;
    text_.append(depth_, '\t').append(key);
    text_.append(taken < kColumn ? kColumn - taken : 1, '\t').append(value).append("\r\n");
  }
  void Quoted(std::string_view key, std::string_view value) {
    Value(key, '"' + std::string(value) + '"');
  }
  void Open(std::string_view key) {
    text_.append("\r\n").append(depth_, '\t').append(key).append("\r\n");
    text_.append(depth_++, '\t').append("{\r\n");
  }
  void Close() { text_.append(--depth_, '\t').append("}\r\n"); }
  std::string Take() { return std::move(text_); }

 private:
  std::string text_;
  std::size_t depth_ = 0;
};

void AddMeshes(Lines& lines, std::uint32_t number) {
  lines.Open("mesh-table");
  for (std::uint32_t i = 0; i <= number % 3; ++i) {
    lines.Open("part" + std::to_string(i));
    lines.Quoted("mesh", "body/part_" + std::to_string(i) + ".im");
    lines.Value("auto-create", "1");
    lines.Value("lod-level", std::to_string(i));
    lines.Value("position", "0.0,0.5,1.25");
    lines.Close();
  }
  lines.Close();
}

}  // namespace

std::string ConfigText(const ContentGenerator& content, std::uint32_t number) {
  const MUKAsset asset = content.Asset(number, 0);
  Lines lines;
  lines.Value("plid", asset.id.TagText());
  lines.Quoted("username", asset.name.View());
  lines.Quoted("kind", "traincar");
  lines.Quoted("category-class", asset.category.View());
  lines.Quoted("category-region", asset.region.View());
  lines.Quoted("category-era", asset.era.View());
  lines.Value("build", "2.9");
  lines.Quoted("description", content.Prose(number, 200));
  lines.Value("mass", std::to_string(10000 + number % 50000));
  lines.Value("max-speed", "26.8224");
  lines.Quoted("author", "A. N. Author");
  lines.Quoted("contact-email", "author@example.org");
  AddMeshes(lines, number);
  lines.Open("plid-table");
  int row = 0;
  for (const PLID& id : content.Dependencies(number)) {
    lines.Value(std::to_string(row++), id.TagText());
  }
  lines.Close();
  lines.Open("thumbnails");
  lines.Open("0");
  lines.Quoted("image", "thumbnail.jpg");
  lines.Value("width", "240");
  lines.Value("height", "180");
  lines.Close();
  lines.Close();
  return lines.Take();
}
