// The scatter plot above 5,000 animals: density cells that hold every animal once. (Smaller
// plots and the statistics by group are parsed as XML end to end by tests/e2e/check_results.py.)
#include "validation/svg_plot.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <regex>

namespace ventrel::validation {
namespace {

// Sum of the data-count attributes of the cells, and the number of points.
std::pair<long, long> cells_and_points(const std::string& svg) {
  long sum = 0;
  const std::regex cell("class=\"cell\" data-count=\"([0-9]+)\"");
  for (auto it = std::sregex_iterator(svg.begin(), svg.end(), cell); it != std::sregex_iterator(); ++it)
    sum += std::stol((*it)[1]);
  long points = 0;
  for (std::size_t k = svg.find("class=\"point\""); k != std::string::npos; k = svg.find("class=\"point\"", k + 1)) ++points;
  return {sum, points};
}

TEST(svg_plot, density_cells_above_max_points_hold_every_animal_coloured_by_group) {
  const std::size_t n = max_points + 1000;
  std::vector<double> p(n), w(n);
  std::vector<int> g(n);
  for (std::size_t i = 0; i < n; ++i) {
    p[i] = std::sin(0.37 * static_cast<double>(i)) * 3;
    w[i] = p[i] * 0.9 + std::cos(1.3 * static_cast<double>(i));
    g[i] = static_cast<int>(i % 3) - 1;  // no group, then two groups
  }
  p[7] = std::nan("");  // left out
  scatter_data d;
  d.partial = p;
  d.whole = w;
  d.group = g;
  d.group_names = {"a", "b&c"};
  d.slope = 0.9;
  const std::string svg = scatter_svg(d);
  EXPECT_EQ(cells_and_points(svg), (std::pair<long, long>{static_cast<long>(n) - 1, 0}));
  EXPECT_NE(svg.find("fill=\"#0072B2\""), std::string::npos);  // cells of the first group
  EXPECT_NE(svg.find(">b&amp;c ("), std::string::npos);        // escaped group name in the legend
  d.partial = std::span<const double>(p).first(max_points);
  d.whole = std::span<const double>(w).first(max_points);
  d.group = std::span<const int>(g).first(max_points);
  EXPECT_EQ(cells_and_points(scatter_svg(d)), (std::pair<long, long>{0, static_cast<long>(max_points) - 1}));
}

}  // namespace
}  // namespace ventrel::validation
