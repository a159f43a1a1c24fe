#include "database/DependencyRoutes.h"

#include <gtest/gtest.h>

#include <random>

#include "database/AssetUpdate.h"
#include "tests/database/IndexFixture.h"

namespace {

using namespace Test;

PLID Id(int content) { return {1, content, 0}; }

MUKAsset Present(int content) {
  MUKAsset record = Asset(Id(content));
  record.installPath = "somewhere";
  return record;
}

/// "2 5<4 7?": the steps of each route, what a step was named if it was another, and its end.
std::string Shown(const DependencyRoutes& found) {
  std::string text;
  for (const DependencyRoute& route : found.routes) {
    if (!text.empty()) text += ", ";
    for (const DependencyRoute::Step& step : route.steps) {
      text += (&step == &route.steps.front() ? "" : " ") + std::to_string(step.id.content);
      if (step.named != step.id) text += "<" + std::to_string(step.named.content);
    }
    text += "?-!"[static_cast<int>(route.end)];
  }
  return text;
}

struct Edge {
  int from;
  int to;
};

TEST(DependencyRoutes, TellTheShortestWayToEachThingThatIsMissingOrFaulty) {
  const struct {
    const char* why;
    std::vector<Edge> edges;  // 1 to 5 are there, 5 is faulty, 6 is absent, 7 unknown, 8 becomes 2
    const char* routes;
  } cases[] = {
      {"nothing is missing", {{1, 2}, {2, 3}}, ""},
      {"nearer ends first", {{1, 2}, {2, 7}, {1, 6}}, "6-, 2 7?"},
      {"one way to each, the shortest", {{1, 2}, {2, 3}, {3, 7}, {2, 7}, {1, 3}}, "2 7?"},
      {"circles end", {{1, 2}, {2, 1}, {2, 2}, {2, 3}, {3, 2}, {3, 6}}, "2 3 6-"},
      {"through a replacement", {{1, 8}, {2, 7}}, "2<8 7?"},
      {"nothing behind what is missing", {{1, 6}, {6, 7}}, "6-"},
      {"on behind what is faulty", {{1, 5}, {5, 7}}, "5!, 5 7?"},
  };
  for (const auto& c : cases) {
    MUKAssetIndex index;
    for (int content = 1; content <= 5; ++content) index.Add(Present(content));
    index.Find(Id(5))->Set(AssetFlag::Faulty, true);
    index.Add(Asset(Id(6)));
    ASSERT_TRUE(index.AddObsoleteRow(Id(8), Id(2)));
    for (int from = 1; from <= 8; ++from) {
      std::vector<PLID> below;
      for (const Edge& edge : c.edges) {
        if (edge.from == from) below.push_back(Id(edge.to));
      }
      index.Companions().dependencies.Replace(Id(from), below);
    }
    EXPECT_EQ(Shown(FindDependencyRoutes(index, Id(1))), c.routes) << c.why;
  }
}

// What a listing calls missing must have a way that says why, and nothing else may have one.
TEST(DependencyRoutes, AgreeWithTheFlagsOnAnyTable) {
  std::mt19937 random(5);
  for (int round = 0; round < 200; ++round) {
    MUKAssetIndex index;
    for (int content = 1; content <= 12; ++content) {
      MUKAsset& record = index.Add(Present(content));
      if (random() % 8 == 0) record.installPath = "";
      record.Set(AssetFlag::Faulty, random() % 8 == 0);
      std::vector<PLID> below;
      for (std::uint32_t n = random() % 4; n != 0; --n) {
        below.push_back(Id(static_cast<int>(random() % 14) + 1));
      }
      std::erase(below, Id(content));
      index.Companions().dependencies.Replace(Id(content), below);
    }
    for (int content = 1; content <= 12; ++content) {
      bool isMissing = false;
      bool isFaulty = false;
      for (const DependencyRoute& route : FindDependencyRoutes(index, Id(content)).routes) {
        (route.end == RouteEnd::Faulty ? isFaulty : isMissing) = true;
      }
      MUKAsset& record = *index.Find(Id(content));
      bool changed = false;
      EXPECT_EQ(isMissing, HasMissingDependency(index, record, &changed)) << round;
      EXPECT_LE(isFaulty, HasFaultyDependency(index, record, &changed)) << round;
    }
  }
}

TEST(DependencyRoutes, StayBoundedOnAChainThatLacksSomethingEverywhere) {
  constexpr int kLength = 20'000;
  MUKAssetIndex index;
  for (int content = 1; content <= kLength; ++content) {
    index.Add(Present(content));
    index.Companions().dependencies.Replace(Id(content), {Id(content + 1), Id(-content)});
  }
  const DependencyRoutes found = FindDependencyRoutes(index, Id(1));
  std::size_t steps = 0;
  for (const DependencyRoute& route : found.routes) steps += route.steps.size();
  EXPECT_LE(steps, DependencyRoutes::kMostRouteSteps);
  EXPECT_GT(found.routes.size(), 400u);
  EXPECT_EQ(found.routes.size() + found.further, kLength + 1u);
}

}  // namespace
