// quarle asset why: by which ways an asset lacks what it depends on.

#include <algorithm>
#include <unordered_map>

#include "apps/quarle/AssetId.h"
#include "apps/quarle/AssetSession.h"
#include "apps/quarle/AssetState.h"
#include "apps/quarle/Commands.h"
#include "apps/quarle/JsonWriter.h"
#include "apps/quarle/Utf8.h"
#include "database/DependencyRoutes.h"
#include "database/MUKAssetIndex.h"

namespace {

constexpr std::size_t kListed = 20;  // routes in text; JSON has more

struct Reason {
  const char* key;  ///< in JSON
  const char* text;
};

Reason ReasonOf(RouteEnd end) {
  switch (end) {
    case RouteEnd::Absent:
      return {"absent", "it is known, but not on disk"};
    case RouteEnd::Faulty:
      return {"faulty", "it is faulty"};
    default:
      return {"unknown", "it has no record"};
  }
}

struct Answer {
  PLID id;
  AssetStatus status;
  DependencyRoutes found;
  std::unordered_map<PLID, std::string> names;  ///< shown, of all that have a record

  std::string Name(const PLID& asset) const {
    const auto name = names.find(asset);
    return name == names.end() ? std::string() : name->second;
  }
};

Answer Collect(MUKAssetIndex& index, MUKAsset& record) {
  Answer answer;
  answer.id = record.id;
  answer.status = StatusOf(index, &record);
  answer.found = FindDependencyRoutes(index, record.id);
  const auto note = [&](const PLID& id) {
    const MUKAsset* const met = index.Find(id);
    if (met != nullptr) answer.names.emplace(id, met->ShownName().String());
  };
  note(record.id);
  for (const DependencyRoute& route : answer.found.routes) {
    for (const DependencyRoute::Step& step : route.steps) note(step.id);
  }
  return answer;
}

void WriteRoute(JsonWriter& json, const Answer& answer, const DependencyRoute& route) {
  json.NewLine();
  json.BeginObject();
  json.Text("end", ReasonOf(route.end).key);
  json.BeginArray("steps");
  for (const DependencyRoute::Step& step : route.steps) {
    json.BeginObject();
    json.Text("named", step.named.TagText());
    json.Text("id", step.id.TagText());
    json.Text("name", answer.Name(step.id));
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
}

void PrintJson(const Answer& answer) {
  JsonWriter json;
  BeginLook(json);
  json.Text("id", answer.id.TagText());
  json.Text("name", answer.Name(answer.id));
  WriteStatus(json, answer.status);
  json.BeginArray("routes");
  for (const DependencyRoute& route : answer.found.routes) WriteRoute(json, answer, route);
  json.EndArray();
  json.Unsigned("further", answer.found.further);
  json.EndObject();
}

std::string Titled(const Answer& answer, const PLID& id) {
  const std::string name = answer.Name(id);
  return id.TagText() + (name.empty() ? "" : "  " + Printable(name));
}

void PrintRoute(const Answer& answer, const DependencyRoute& route) {
  std::string indent = "  ";
  for (const DependencyRoute::Step& step : route.steps) {
    std::string line = indent + "needs " + Titled(answer, step.id);
    if (step.named != step.id) line += ", which replaces " + step.named.TagText();
    if (&step == &route.steps.back()) {
      line += ": " + Emphasised(Emphasis::Warning, ReasonOf(route.end).text);
    }
    Print(line + "\n");
    // Deep ways stay readable, and their output linear.
    if (indent.size() < 40) indent += "  ";
  }
}

void PrintText(const Answer& answer) {
  Print(Emphasised(Emphasis::Heading, Titled(answer, answer.id)) + "  " +
        StatusText(answer.status) + "\n");
  const std::vector<DependencyRoute>& routes = answer.found.routes;
  const std::size_t listed = std::min(routes.size(), kListed);
  for (std::size_t i = 0; i < listed; ++i) PrintRoute(answer, routes[i]);
  const std::size_t further = routes.size() - listed + answer.found.further;
  if (further != 0) Print("  and " + std::to_string(further) + " more (--json)\n");
  if (routes.empty()) Print("  lacks nothing that it depends on\n");
}

}  // namespace

int RunAssetWhy(const AssetOptions& options, const CommonOptions& common) {
  PLID id;
  if (!ParseAssetId(options.id, &id)) return kUsage;
  AssetSession session(options.root, common);
  if (!session.Open()) return kFailed;
  MUKAsset* const record = session.Find(id);
  if (record == nullptr) return kFailed;
  const Answer answer = Collect(session.Index(), *record);
  session.CloseUnchanged();
  if (common.json) {
    PrintJson(answer);
  } else {
    PrintText(answer);
  }
  return kDone;
}
