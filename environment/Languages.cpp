#include "environment/Languages.h"

#include <algorithm>
#include <atomic>
#include <iterator>

#include "environment/InterfaceText.h"

namespace {

struct Language {
  std::string_view code;
  std::string_view file;  ///< empty for a language that shows the texts of the current file
};

constexpr Language kLanguages[] = {
    {"EN", ""},
    {"AU", ""},
    {"US", ""},
    {"UK", ""},
    {"DE", "interfaceGerman.grole"},
    {"FR", "interfaceFrench.grole"},
    {"IT", "interfaceItalian.grole"},
    {"RU", "interfaceRussian.grole"},
    {"CZ", "interfaceCzech.grole"},
    {"PL", "interfacePolish.grole"},
    {"ES", "interfaceSpanish.grole"},
    {"CN", "interfaceChinese.grole"},
    {"KR", "interfaceKorean.grole"},
    {"CH", ""},
    {"SE", ""},
    {"NL", ""},
};

constinit std::atomic<const Language*> current{&kLanguages[0]};

}  // namespace

void SetLanguage(std::string_view code) {
  const auto* const known = std::find_if(std::begin(kLanguages), std::end(kLanguages),
                                         [&](const Language& each) { return each.code == code; });
  if (known == std::end(kLanguages)) return;
  current.store(known);
  if (!known->file.empty()) SetInterfaceFile(Zef::PString(known->file));
}

std::string_view GetLanguageCode() { return current.load()->code; }
