#include "apps/quarle/Nearest.h"

#include <algorithm>
#include <string_view>

namespace {

/// Letters to change, add, drop or swap with the next one to make one word of the other.
std::size_t Distance(std::string_view a, std::string_view b) {
  std::vector<std::vector<std::size_t>> cost(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      std::size_t& least = cost[i][j] = i == 0 ? j : j == 0 ? i : i + j;
      if (i == 0 || j == 0) continue;
      least = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1,
                        cost[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) least = std::min(least, cost[i - 2][j - 2] + 1);
    }
  }
  return cost[a.size()][b.size()];
}

}  // namespace

std::string Nearest(const std::string& given, const std::vector<std::string>& names) {
  std::string nearest;
  std::size_t least = given.size() < 4 ? 2 : 3;
  if (given.size() > 40) return nearest;
  for (const std::string& name : names) {
    const std::size_t distance = Distance(given, name);
    if (distance >= least) continue;
    least = distance;
    nearest = name;
  }
  return nearest;
}
