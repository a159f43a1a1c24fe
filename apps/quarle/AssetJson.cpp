#include "apps/quarle/AssetJson.h"

#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/Output.h"
#include "apps/quarle/Utf8.h"
#include "database/MUKAsset.h"

namespace {

struct TextField {
  const char* name;
  AssetText MUKAsset::*text;
};

constexpr TextField kLeadingTexts[] = {
    {"category", &MUKAsset::category},       {"name", &MUKAsset::name},
    {"region", &MUKAsset::region},           {"era", &MUKAsset::era},
    {"keywords", &MUKAsset::keywords},       {"editPath", &MUKAsset::editPath},
    {"installPath", &MUKAsset::installPath}, {"archiveName", &MUKAsset::archiveName},
    {"legacyPath", &MUKAsset::legacyPath},
};

constexpr std::size_t kIdWidth = 26;
constexpr std::size_t kCategoryWidth = 16;
constexpr std::size_t kNameWidth = 32;

void WriteFlags(JsonWriter& json, const MUKAsset& asset) {
  json.BeginArray("flags");
  for (int i = 0; i < kAssetFlagCount; ++i) {
    const auto flag = static_cast<AssetFlag>(i);
    if (asset.Has(flag)) json.TextItem(AssetFlagName(flag));
  }
  json.EndArray();
}

}  // namespace

void WriteAssetItem(JsonWriter& json, const MUKAsset& asset) {
  json.BeginObject();
  WriteAssetFields(json, asset);
  json.EndObject();
}

void WriteAssetFields(JsonWriter& json, const MUKAsset& asset) {
  json.Text("id", asset.id.TagText());
  for (const TextField& field : kLeadingTexts) json.Text(field.name, (asset.*field.text).View());
  json.Text("mapId", asset.mapId.TagText());
  WriteFlags(json, asset);
  if (asset.sizeBytes == MUKAsset::kSizeUnknown) {
    json.Null("sizeBytes");
  } else {
    json.Unsigned("sizeBytes", asset.sizeBytes);
  }
  json.Float("build", asset.build);
  if (asset.rating == MUKAsset::kNoRating) {
    json.Null("rating");
  } else {
    json.Unsigned("rating", asset.rating);
  }
  json.Unsigned("uploadTime", asset.uploadTime);
  json.Unsigned("modifyTime", asset.modifyTime);
  json.Text("description", asset.description.View());
  json.Text("userName", asset.userName.View());
}

std::string AssetLine(const MUKAsset& asset) {
  const AssetText* place = &asset.legacyPath;
  for (const AssetText* path : {&asset.editPath, &asset.installPath}) {
    if (!path->IsEmpty()) place = path;
  }
  std::string line = Padded(asset.id.TagText(), kIdWidth) + " ";
  line += Padded(Printable(asset.category.View()), kCategoryWidth) + " ";
  const std::string name = Printable(asset.ShownName().View());
  if (place->IsEmpty()) return line + name + "\n";
  return line + Padded(name, kNameWidth) + " " +
         Emphasised(Emphasis::Faint, Printable(place->View())) + "\n";
}
