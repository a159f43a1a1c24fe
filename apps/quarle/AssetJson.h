// AssetJson: an asset record as JSON and as a line of a listing.

#pragma once

#include <string>

class JsonWriter;
class MUKAsset;

/// The record's fields, as one array item. A size that is not known and a rating that was not
/// given are null.
void WriteAssetItem(JsonWriter& json, const MUKAsset& asset);
/// The same into the object that is open.
void WriteAssetFields(JsonWriter& json, const MUKAsset& asset);

/// Identifier, class, shown name and place on one line.
std::string AssetLine(const MUKAsset& asset);
