// Languages: the languages of the product and the one that was chosen.
//
// A language is two upper-case letters. Choosing one with a file of its own makes that the file of
// interface texts; all others leave the file as it is, so "EN" does not lead back to English from
// another language. Choose before the first text is looked up: nothing is loaded again.
//
// Any thread may call.

#pragma once

#include <string_view>

/// Makes the language current. A code that is not known, in exactly this letter case, changes
/// nothing.
void SetLanguage(std::string_view code);
/// Code of the language chosen last, "EN" at first. Also the ending of the "string-table-XX"
/// containers of assets.
std::string_view GetLanguageCode();
