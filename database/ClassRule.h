// ClassRule: the class codes of an asset from the tags of its config.
//
// Three generations of configs meet here: "category-class" with an old two-letter code, "kind"
// with details in other tags, and both. An old code that contradicts the kind is dropped.
//
// Cost: two table walks and a few lookups. Any thread.

#pragma once

#include <string>

class TagContainer;

/// Semicolon-separated; empty when neither kind nor old code say anything.
std::string ConfigCategory(const TagContainer& config);
