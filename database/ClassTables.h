// ClassTables: what connects class codes with the codes of old configs, with "kind" tags, and with
// names that people read.
//
// Fixed tables, searched from their first row; the first row that fits decides. Answers are parts
// of the tables and live for ever; an answer without characters means that no row fits, unless a
// function says otherwise. Class lists are code lists (CodeList.h). A code with a leading '?' is a
// placeholder that stays in the list.
//
// Cost: one walk over at most eighty short rows, no allocation. Any thread.

#pragma once

#include <string_view>

struct OldClass {
  std::string_view classes;
  std::string_view kind;  ///< KindOfCodes of the classes
};

/// What the "category-class" and the kind of an old config stand for, both ignoring case. An empty
/// kind fits every row.
OldClass FindOldClass(std::string_view kind, std::string_view oldCode);

/// Class list for a kind and a list of detail words such as "bridges;track". Exact and
/// case-sensitive. An empty kind asks the rows of all kinds that want a detail.
std::string_view KindCodes(std::string_view kind, std::string_view details);

/// The kind of the first row whose whole class list is in `classes`.
std::string_view KindOfCodes(std::string_view classes);

/// What people call the class of an asset with this category, such as "Bridge"; "Unknown" for a
/// category that has no name.
std::string_view ClassName(std::string_view category);

/// The same for programs, in no language; "Misc" for everything else.
std::string_view ClassKey(std::string_view category);
