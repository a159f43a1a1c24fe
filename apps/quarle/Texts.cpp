#include "apps/quarle/Texts.h"

#include <memory>

#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/Utf8.h"
#include "database/AssetMessages.h"
#include "environment/InterfaceText.h"
#include "environment/ResultsLog.h"
#include "kernel/platform/FileSystem.h"
#include "kernel/platform/System.h"
#include "kernel/standard/Exception.h"

namespace {

/// Where the file lies, seen from the folder of the program: where both are installed, where both
/// are built.
constexpr const char* kPlaces[] = {
    QUARLE_INSTALLED_DATA "/interfacetext.grole",
    "../../data/interfacetext.grole",
};

/// What the command line adds to a message that asks for something of its user.
struct Advice {
  std::string_view key;
  const char* text;
};
constexpr Advice kAdvice[] = {
    {"$muk_already_installed", " (--overwrite)"},
    {"$muk_commit_open_for_edit", " ('quarle asset edit')"},
    {"$muk_not_local_owner", " (without --new-version)"},
    {"$muk_unreadable_kpx", ", or name the folder of an asset or the config in it"},
};

std::string AdvisedText(const ResultEntry& entry) {
  std::string text = MessageText(entry);
  if (!text.ends_with('.')) return text;  // a key, for want of a text
  for (const Advice& advice : kAdvice) {
    if (entry.text == advice.key) text.insert(text.size() - 1, advice.text);
  }
  return text;
}

std::shared_ptr<const InterfaceTextDB> LoadTexts() {
  const std::string program = Zef::Platform::ModulePath();
  const std::string folder = program.substr(0, program.find_last_of('/') + 1);
  for (const char* place : kPlaces) {
    if (!Zef::Platform::Exists(folder + place)) continue;
    SetInterfaceRoot(Zef::PString());
    SetInterfaceFile(Zef::PString(folder + place));
    try {
      return InterfaceText();
    } catch (const Zef::Exception&) {  // NOLINT(bugprone-empty-catch): keys will do
    }
  }
  return nullptr;
}

const InterfaceTextDB* Texts() {
  static const std::shared_ptr<const InterfaceTextDB> texts = LoadTexts();
  return texts.get();
}

const AssetMessage* MessageOf(const ResultEntry& entry) {
  return dynamic_cast<const AssetMessage*>(entry.reference.Get());
}

const char* LevelName(std::int32_t level) {
  switch (level) {
    case ResultLevel::kDone:
      return "done";
    case ResultLevel::kWarning:
      return "warning";
    case ResultLevel::kError:
      return "error";
    default:
      return "fatal";
  }
}

}  // namespace

std::string MessageText(const ResultEntry& entry) {
  std::string text = ResultText(entry, Texts());
  const AssetMessage* const message = MessageOf(entry);
  if (message != nullptr && text == entry.text) {
    for (const std::string& value : message->parameters) text += " '" + value + "'";
  }
  return Printable(text);
}

bool PrintMessages(const ResultsLog& log, bool done, const CommonOptions& common) {
  const bool isWarningAll = log.Count(ResultLevel::kError) + log.Count(ResultLevel::kFatal) == 0;
  bool saysWhy = false;
  for (const ResultEntry& entry : log.Entries()) {
    if (entry.level <= ResultLevel::kDone) {
      if (!common.quiet && !common.json) Print(MessageText(entry) + "\n");
    } else if (done || (entry.level == ResultLevel::kWarning && !isWarningAll)) {
      Warn(AdvisedText(entry));
    } else {
      static_cast<void>(Fail(AdvisedText(entry)));
      saysWhy = true;
    }
  }
  return saysWhy;
}

void WriteMessages(JsonWriter& json, const ResultsLog& log) {
  json.BeginArray("messages");
  for (const ResultEntry& entry : log.Entries()) {
    json.NewLine();
    json.BeginObject();
    json.Text("level", LevelName(entry.level));
    json.Text("key", entry.text);
    json.Text("text", MessageText(entry));
    if (const AssetMessage* const message = MessageOf(entry)) {
      json.Text("id", message->asset.TagText());
      json.BeginArray("parameters");
      for (const std::string& value : message->parameters) json.TextItem(value);
      json.EndArray();
    }
    json.EndObject();
  }
  json.EndArray();
}
