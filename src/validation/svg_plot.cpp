// SVG plots: plain text, one element per line, coordinates in pixels with 2 decimals.
#include "validation/svg_plot.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <tuple>

#include "common/format.hpp"

namespace ventrel::validation {
namespace {

// Okabe and Ito's palette, distinguishable with the common colour-vision deficiencies.
constexpr const char* palette[] = {"#0072B2", "#E69F00", "#009E73", "#CC79A7",
                                   "#56B4E9", "#D55E00", "#F0E442", "#000000"};
constexpr const char* no_group_colour = "#808080";
constexpr const char* font = "font-family=\"sans-serif\"";

std::string_view trim_left(std::string_view s) {
  const std::size_t b = s.find_first_not_of(' ');
  return b == std::string_view::npos ? std::string_view() : s.substr(b);
}

const char* colour(int group) {
  return group < 0 ? no_group_colour : palette[static_cast<std::size_t>(group) % std::size(palette)];
}

// A coordinate or a number inside an attribute.
std::string c(double v) { return std::string(trim_left(fmt_f(v, 20, 2))); }

std::string xml_text(std::string_view s) {
  std::string out;
  for (char ch : s) {
    switch (ch) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += ch;
    }
  }
  return out;
}

// A figure as the report prints it (F12.3 without its blanks).
std::string figure(double v) { return std::string(trim_left(fmt_f(v, 12, 3))); }

std::string text(double x, double y, std::string_view s, std::string_view extra = "") {
  return "<text x=\"" + c(x) + "\" y=\"" + c(y) + "\" " + font + " font-size=\"12\"" +
         (extra.empty() ? "" : " " + std::string(extra)) + ">" + xml_text(s) + "</text>\n";
}

std::string line(double x1, double y1, double x2, double y2, std::string_view style) {
  return "<line x1=\"" + c(x1) + "\" y1=\"" + c(y1) + "\" x2=\"" + c(x2) + "\" y2=\"" + c(y2) + "\" " +
         std::string(style) + "/>\n";
}

std::string header(double width, double height, std::string_view title) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + c(width) +
         "\" height=\"" + c(height) + "\" viewBox=\"0 0 " + c(width) + " " + c(height) + "\">\n<title>" +
         xml_text(title) + "</title>\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
}

// Tick positions: a step of 1, 2 or 5 times a power of ten giving about five ticks in [lo, hi].
std::vector<double> ticks(double lo, double hi) {
  const double raw = (hi - lo) / 5.0;
  const double p = std::pow(10.0, std::floor(std::log10(raw)));
  double step = p;
  for (double m : {2.0, 5.0, 10.0})
    if (raw > step) step = m * p;
  std::vector<double> out;
  for (double v = std::ceil(lo / step) * step; v <= hi + 1e-9 * step; v += step) out.push_back(std::abs(v) < 1e-12 * step ? 0.0 : v);
  return out;
}

// A tick's label with as many decimals as its step needs (step 0.2: one, step 50: none).
std::string tick_label(double v, const std::vector<double>& all) {
  const double step = all.size() > 1 ? all[1] - all[0] : 1.0;
  const int d = std::clamp(static_cast<int>(-std::floor(std::log10(step) + 1e-9)), 0, 12);
  if (d == 0 && std::abs(v) < 1e15) return num(static_cast<std::int64_t>(std::llround(v)));
  return std::string(trim_left(fmt_f(v, 30, d)));
}

// A range [lo, hi] with some margin, never empty.
std::pair<double, double> padded(double lo, double hi) {
  if (!(hi > lo)) {
    const double m = std::isfinite(lo) ? std::max(1.0, std::abs(lo) * 0.1) : 1.0;
    if (!std::isfinite(lo)) lo = hi = 0.0;
    return {lo - m, hi + m};
  }
  const double m = 0.04 * (hi - lo);
  return {lo - m, hi + m};
}

}  // namespace

std::string scatter_file_name(int trait) { return "ventrel_plot_trait_" + std::to_string(trait) + ".svg"; }
std::string groups_file_name(int trait) { return "ventrel_groups_trait_" + std::to_string(trait) + ".svg"; }

std::string scatter_svg(const scatter_data& d) {
  constexpr double width = 780, height = 540, left = 80, top = 40, size = 440;
  const std::size_t n = std::min(d.partial.size(), d.whole.size());
  double lo = std::numeric_limits<double>::infinity(), hi = -lo;
  std::size_t shown = 0;
  for (std::size_t i = 0; i < n; ++i)
    if (std::isfinite(d.partial[i]) && std::isfinite(d.whole[i])) {
      lo = std::min({lo, d.partial[i], d.whole[i]});
      hi = std::max({hi, d.partial[i], d.whole[i]});
      ++shown;
    }
  std::tie(lo, hi) = padded(lo, hi);
  auto px = [&](double v) { return left + (v - lo) / (hi - lo) * size; };
  auto py = [&](double v) { return top + size - (v - lo) / (hi - lo) * size; };
  auto group_of = [&](std::size_t i) { return d.group.empty() ? -1 : d.group[i]; };

  std::string s = header(width, height, "Whole against partial breeding values, trait " + std::to_string(d.trait));
  s += text(left, 24, "Trait " + std::to_string(d.trait) + ": whole against partial breeding values of " +
                          std::to_string(shown) + " focal animals",
            "font-weight=\"bold\"");
  s += "<defs><clipPath id=\"area\"><rect x=\"" + c(left) + "\" y=\"" + c(top) + "\" width=\"" + c(size) +
       "\" height=\"" + c(size) + "\"/></clipPath></defs>\n";
  // Axes, grid and tick labels.
  s += "<rect x=\"" + c(left) + "\" y=\"" + c(top) + "\" width=\"" + c(size) + "\" height=\"" + c(size) +
       "\" fill=\"none\" stroke=\"black\"/>\n";
  const std::vector<double> tick = ticks(lo, hi);
  for (double v : tick) {
    s += line(px(v), top, px(v), top + size, "stroke=\"#e0e0e0\"");
    s += line(left, py(v), left + size, py(v), "stroke=\"#e0e0e0\"");
    s += text(px(v), top + size + 16, tick_label(v, tick), "text-anchor=\"middle\"");
    s += text(left - 6, py(v) + 4, tick_label(v, tick), "text-anchor=\"end\"");
  }
  s += text(left + size / 2, top + size + 36, "Partial breeding value", "text-anchor=\"middle\"");
  s += text(left - 56, top + size / 2, "Whole breeding value",
            "text-anchor=\"middle\" transform=\"rotate(-90 " + c(left - 56) + " " + c(top + size / 2) + ")\"");

  s += "<g clip-path=\"url(#area)\">\n";
  if (shown <= max_points) {
    for (std::size_t i = 0; i < n; ++i) {
      if (!std::isfinite(d.partial[i]) || !std::isfinite(d.whole[i])) continue;
      s += "<circle class=\"point\" cx=\"" + c(px(d.partial[i])) + "\" cy=\"" + c(py(d.whole[i])) +
           "\" r=\"2.5\" fill=\"" + colour(group_of(i)) + "\" fill-opacity=\"0.7\"/>\n";
    }
  } else {
    // Density cells: counts per cell and group (slot 0: no group); each cell takes the colour of
    // its most frequent group and an opacity growing with the logarithm of its count.
    constexpr int cells = 60;
    const std::size_t slots = d.group_names.size() + 1;
    std::vector<std::int64_t> count(static_cast<std::size_t>(cells * cells) * slots, 0);
    for (std::size_t i = 0; i < n; ++i) {
      if (!std::isfinite(d.partial[i]) || !std::isfinite(d.whole[i])) continue;
      const int cx = std::clamp(static_cast<int>((d.partial[i] - lo) / (hi - lo) * cells), 0, cells - 1);
      const int cy = std::clamp(static_cast<int>((d.whole[i] - lo) / (hi - lo) * cells), 0, cells - 1);
      ++count[static_cast<std::size_t>(cy * cells + cx) * slots + static_cast<std::size_t>(group_of(i) + 1)];
    }
    std::int64_t most = 1;
    for (std::size_t k = 0; k < count.size(); k += slots) {
      std::int64_t total = 0;
      for (std::size_t g = 0; g < slots; ++g) total += count[k + g];
      most = std::max(most, total);
    }
    const double cell = size / cells;
    for (int cy = 0; cy < cells; ++cy)
      for (int cx = 0; cx < cells; ++cx) {
        const std::size_t k = static_cast<std::size_t>(cy * cells + cx) * slots;
        std::int64_t total = 0;
        std::size_t best = 0;
        for (std::size_t g = 0; g < slots; ++g) {
          total += count[k + g];
          if (count[k + g] > count[k + best]) best = g;
        }
        if (total == 0) continue;
        const double opacity = 0.2 + 0.8 * std::log1p(static_cast<double>(total)) / std::log1p(static_cast<double>(most));
        s += "<rect class=\"cell\" data-count=\"" + std::to_string(total) + "\" x=\"" + c(left + cx * cell) +
             "\" y=\"" + c(top + size - (cy + 1) * cell) + "\" width=\"" + c(cell) + "\" height=\"" + c(cell) +
             "\" fill=\"" + colour(static_cast<int>(best) - 1) + "\" fill-opacity=\"" + fmt_full(std::round(opacity * 100) / 100) +
             "\"/>\n";
      }
  }
  s += line(px(lo), py(lo), px(hi), py(hi), "class=\"identity\" stroke=\"#606060\" stroke-dasharray=\"6 4\"");
  if (std::isfinite(d.slope) && std::isfinite(d.intercept))
    s += line(px(lo), py(d.intercept + d.slope * lo), px(hi), py(d.intercept + d.slope * hi),
              "class=\"regression\" stroke=\"#C00000\" stroke-width=\"2\"");
  s += "</g>\n";

  // Legend.
  const double lx = left + size + 24;
  double ly = top + 10;
  s += line(lx, ly, lx + 24, ly, "stroke=\"#606060\" stroke-dasharray=\"6 4\"");
  s += text(lx + 30, ly + 4, "Identity (whole = partial)");
  ly += 22;
  s += line(lx, ly, lx + 24, ly, "stroke=\"#C00000\" stroke-width=\"2\"");
  s += text(lx + 30, ly + 4, "Regression of whole on partial", "class=\"legend-regression\"");
  ly += 18;
  s += text(lx + 30, ly + 4, "slope (dispersion) " + figure(d.slope), "class=\"legend-slope\"");
  ly += 18;
  s += text(lx + 30, ly + 4, "bias " + figure(d.bias), "class=\"legend-bias\"");
  ly += 26;
  if (shown > max_points) {
    s += text(lx, ly + 4, "Density cells: shade by count,");
    ly += 16;
    s += text(lx, ly + 4, "colour by most frequent group");
    ly += 24;
  }
  if (!d.group_names.empty()) {
    std::vector<std::int64_t> members(d.group_names.size() + 1, 0);
    for (std::size_t i = 0; i < n; ++i) ++members[static_cast<std::size_t>(group_of(i) + 1)];
    for (std::size_t g = 0; g <= d.group_names.size(); ++g) {
      if (g == 0 && members[0] == 0) continue;
      const std::string name = g == 0 ? "no group" : d.group_names[g - 1];
      s += "<circle cx=\"" + c(lx + 12) + "\" cy=\"" + c(ly) + "\" r=\"5\" fill=\"" + colour(static_cast<int>(g) - 1) + "\"/>\n";
      s += text(lx + 30, ly + 4, name + " (" + std::to_string(members[g]) + ")", "class=\"legend-group\"");
      ly += 20;
    }
  }
  s += "</svg>\n";
  return s;
}

std::string groups_svg(int trait, const std::vector<const results_block*>& blocks, bool with_se,
                       bool predictive_ability) {
  struct panel {
    const char* name;   // statistic in the results files
    const char* title;  // as the report labels it
    double reference;   // value of an unbiased evaluation without loss, NaN = none
  };
  std::vector<panel> panels{{"bias", "Absolute bias", 0.0},
                            {"dispersion", "Dispersion", 1.0},
                            {"ratio_acc", "Ratio of accuracies", 1.0},
                            {"reliability", "Reliability", std::numeric_limits<double>::quiet_NaN()}};
  if (predictive_ability) panels.push_back({"pred_ability", "Predictive ability", std::numeric_limits<double>::quiet_NaN()});
  constexpr double width = 780, left = 200, plot_width = 520, row = 22, panel_gap = 56;
  const double panel_height = row * static_cast<double>(blocks.size()) + 10;
  const double height = 50 + static_cast<double>(panels.size()) * (panel_height + panel_gap);
  std::string s = header(width, height, "Statistics by group, trait " + std::to_string(trait));
  s += text(20, 24,
            "Trait " + std::to_string(trait) + ": statistics by group" + (with_se ? " with 95% intervals" : ""),
            "font-weight=\"bold\"");
  double y0 = 50;
  for (const panel& p : panels) {
    // The panel's range: every value and limit, and the reference value.
    double lo = std::numeric_limits<double>::infinity(), hi = -lo;
    auto take = [&](double v) {
      if (std::isfinite(v)) {
        lo = std::min(lo, v);
        hi = std::max(hi, v);
      }
    };
    std::vector<std::vector<statistic_entry>> entries;
    for (const results_block* b : blocks) {
      entries.push_back(b->computed ? statistic_entries(*b, with_se, predictive_ability) : std::vector<statistic_entry>{});
      for (const statistic_entry& e : entries.back())
        if (std::string_view(e.name) == p.name) {
          take(e.value);
          take(e.lower);
          take(e.upper);
        }
    }
    take(p.reference);
    std::tie(lo, hi) = padded(lo, hi);
    auto px = [&](double v) { return left + (v - lo) / (hi - lo) * plot_width; };
    s += "<g class=\"panel\" data-statistic=\"" + std::string(p.name) + "\">\n";
    s += text(20, y0 + 4, p.title, "font-weight=\"bold\"");
    const double top = y0 + 12;
    s += "<rect x=\"" + c(left) + "\" y=\"" + c(top) + "\" width=\"" + c(plot_width) + "\" height=\"" + c(panel_height) +
         "\" fill=\"none\" stroke=\"black\"/>\n";
    const std::vector<double> tick = ticks(lo, hi);
    for (double v : tick) {
      s += line(px(v), top, px(v), top + panel_height, "stroke=\"#e0e0e0\"");
      s += text(px(v), top + panel_height + 15, tick_label(v, tick), "text-anchor=\"middle\"");
    }
    if (std::isfinite(p.reference))
      s += line(px(p.reference), top, px(p.reference), top + panel_height, "stroke=\"#606060\" stroke-dasharray=\"4 3\"");
    for (std::size_t k = 0; k < blocks.size(); ++k) {
      const results_block& b = *blocks[k];
      const double y = top + 5 + row * (static_cast<double>(k) + 0.5);
      const int g = static_cast<int>(k) - 1;  // block 0 is "all"
      s += text(left - 8, y + 4, b.group + " (" + std::to_string(b.n) + ")", "text-anchor=\"end\"");
      if (!b.computed) {
        s += text(left + 8, y + 4, "fewer than 2 animals", "class=\"note\" fill=\"#606060\"");
        continue;
      }
      for (const statistic_entry& e : entries[k]) {
        if (std::string_view(e.name) != p.name) continue;
        const char* col = g < 0 ? "#000000" : colour(g);
        if (with_se && std::isfinite(e.lower) && std::isfinite(e.upper))
          s += line(px(e.lower), y, px(e.upper), y,
                    "class=\"interval\" data-group=\"" + xml_text(b.group) + "\" data-lower=\"" + fmt_full(e.lower) +
                        "\" data-upper=\"" + fmt_full(e.upper) + "\" stroke=\"" + col + "\" stroke-width=\"2\"");
        if (std::isfinite(e.value))
          s += "<circle class=\"estimate\" data-group=\"" + xml_text(b.group) + "\" data-value=\"" + fmt_full(e.value) +
               "\" cx=\"" + c(px(e.value)) + "\" cy=\"" + c(y) + "\" r=\"4\" fill=\"" + col + "\"/>\n";
        else
          s += text(left + 8, y + 4, "not finite", "class=\"note\" fill=\"#606060\"");
      }
    }
    s += "</g>\n";
    y0 += panel_height + panel_gap;
  }
  s += "</svg>\n";
  return s;
}

}  // namespace ventrel::validation
