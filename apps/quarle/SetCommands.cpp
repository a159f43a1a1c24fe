// quarle set show, quarle set check: what a patch set holds, and whether it is whole.

#include <algorithm>
#include <array>

#include "apps/quarle/AssetJson.h"
#include "apps/quarle/Commands.h"
#include "apps/quarle/IndexFiles.h"
#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/SetFile.h"
#include "database/MUKAsset.h"
#include "kernel/platform/FileSystem.h"

namespace {

void ShowText(const SetPart& part, const PatchFileReport& report, Zef::File& file) {
  const std::string count = " (" + std::to_string(report.entries) + ")";
  Print(Emphasised(Emphasis::Heading, part.title + count) + "\n");
  if (part.identifiers) {
    ForEachDeletion(file, [](const PLID& id, bool effective) {
      Print("  " + id.TagText() + (effective ? "\n" : "  (no effect: last of the list)\n"));
    });
    return;
  }
  ForEachRecord(file, [](const MUKAsset& record, bool whole) {
    Print((whole ? "  " : "  (cut short) ") + AssetLine(record));
  });
}

void ShowJson(JsonWriter& json, const SetPart& part, Zef::File& file) {
  json.BeginArray(part.name);
  if (part.identifiers) {
    ForEachDeletion(file, [&](const PLID& id, bool effective) {
      json.NewLine();
      json.BeginObject();
      json.Text("id", id.TagText());
      json.Bool("effective", effective);
      json.EndObject();
    });
  } else {
    ForEachRecord(file, [&](const MUKAsset& record, bool whole) {
      json.NewLine();
      json.BeginObject();
      WriteAssetFields(json, record);
      if (!whole) json.Bool("whole", false);
      json.EndObject();
    });
  }
  json.EndArray();
}

struct Finding {
  PatchFileReport report;
  bool missing = false;

  bool IsGood() const { return !missing && report.whole; }
};

std::string FindingText(const SetPart& part, const Finding& finding) {
  if (finding.missing) return "missing";
  std::string text = Counted(finding.report.entries, part.identifiers ? "identifier" : "record");
  text += ", " + ByteSize(finding.report.size);
  if (finding.report.whole) return text + ", whole";
  return text + ", cut short in the entry at byte " + std::to_string(finding.report.cutAt);
}

void PrintCheckJson(const std::string& stem, const std::array<Finding, kSetParts.size()>& findings,
                    bool good) {
  JsonWriter json;
  json.BeginObject();
  json.Bool("whole", good);
  json.BeginArray("files");
  for (std::size_t i = 0; i < kSetParts.size(); ++i) {
    const Finding& finding = findings[i];
    json.BeginObject();
    json.Text("file", stem + kSetParts[i].extension);
    json.Bool("missing", finding.missing);
    json.Unsigned("entries", finding.report.entries);
    json.Unsigned("bytes", finding.report.size);
    json.Bool("whole", finding.IsGood());
    if (!finding.report.whole) json.Unsigned("cutAt", finding.report.cutAt);
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
}

}  // namespace

int RunSetShow(const SetOptions& options, const CommonOptions& common) {
  const std::string stem = SetStem(options.set, options.indexName);
  std::array<PatchFileReport, kSetParts.size()> reports;
  if (!CountSet(stem, reports)) return kFailed;  // before anything is printed
  if (!common.json) {
    for (std::size_t i = 0; i < kSetParts.size(); ++i) {
      const auto show = [&](Zef::File& file) { ShowText(kSetParts[i], reports[i], file); };
      if (!ReadSetFile(stem + kSetParts[i].extension, show)) return kFailed;
    }
    return kDone;
  }
  JsonWriter json;
  json.BeginObject();
  json.Bool("whole", std::all_of(reports.begin(), reports.end(),
                                 [](const PatchFileReport& report) { return report.whole; }));
  for (const SetPart& part : kSetParts) {
    const auto show = [&](Zef::File& file) { ShowJson(json, part, file); };
    if (!ReadSetFile(stem + part.extension, show)) return kFailed;
  }
  json.EndObject();
  return kDone;
}

int RunSetCheck(const SetOptions& options, const CommonOptions& common) {
  const std::string stem = SetStem(options.set, options.indexName);
  std::array<Finding, kSetParts.size()> findings;
  const SetPart* bad = nullptr;
  std::string badText;
  for (std::size_t i = 0; i < kSetParts.size(); ++i) {
    const std::string path = stem + kSetParts[i].extension;
    findings[i].missing = !Zef::Platform::Exists(path);
    const auto walk = [&](Zef::File& file) {
      findings[i].report = CountEntries(kSetParts[i], file);
    };
    if (!findings[i].missing && !ReadSetFile(path, walk)) return kFailed;
    if (findings[i].IsGood() || bad != nullptr) continue;
    bad = &kSetParts[i];
    badText = FindingText(*bad, findings[i]);
  }
  if (common.json) {
    PrintCheckJson(stem, findings, bad == nullptr);
  } else if (!common.quiet) {
    for (std::size_t i = 0; i < kSetParts.size(); ++i) {
      Print(Padded(kSetParts[i].title, 10) + " " + FindingText(kSetParts[i], findings[i]) + "\n");
    }
  }
  if (bad == nullptr) return kDone;
  const bool nothing = std::all_of(findings.begin(), findings.end(),
                                   [](const Finding& finding) { return finding.missing; });
  return Fail("the patch set is not whole: " + Quoted(stem + bad->extension) + " is " + badText +
              (nothing ? ", as is all of it; name the folder that holds data/, and by --index the "
                         "index, if it is not assets.mkx"
                       : "; make the set anew or copy it again"));
}
