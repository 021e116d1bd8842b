// Writing of the results files: a small JSON writer (strings escaped, numbers at 17 significant
// digits, null for non-finite values) and the CSV table, one row per block and statistic.
#include "validation/results_file.hpp"

#include <cmath>
#include <ctime>

#include "common/format.hpp"
#include "common/output_file.hpp"

namespace ventrel::validation {
namespace {

using statistics::not_computed;

std::string json_string(std::string_view s) {
  std::string out = "\"";
  for (char c : s) {
    const auto u = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (u < 0x20) {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\u%04x", u);
      out += buf;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

// A JSON number, or null for NaN and infinities (JSON has no such numbers).
std::string json_number(double v) { return std::isfinite(v) ? fmt_full(v) : "null"; }

// A CSV field: quoted when it holds a comma, a quote or a line end.
std::string csv_field(std::string_view s) {
  if (s.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(s);
  std::string out = "\"";
  for (char c : s) {
    if (c == '"') out += '"';
    out += c;
  }
  return out + "\"";
}

// A CSV number: empty for a statistic that is not computed at all, else fmt_full.
std::string csv_number(double v, bool present) { return present ? fmt_full(v) : ""; }

}  // namespace

void add_whole_partial_figures(results_block& block, std::span<const double> w, std::span<const double> p) {
  const std::size_t n = p.size();
  if (n == 0 || w.size() != n) return;
  double sw = 0, sp = 0;
  for (std::size_t i = 0; i < n; ++i) {
    sw += w[i];
    sp += p[i];
  }
  const double mw = sw / static_cast<double>(n), mp = sp / static_cast<double>(n);
  block.intercept = mw - block.stats.value.dispersion * mp;
  double ss = 0;
  for (std::size_t i = 0; i < n; ++i) ss += (w[i] - p[i]) * (w[i] - p[i]);
  block.rmsd = std::sqrt(ss / static_cast<double>(n));
}

std::vector<statistic_entry> statistic_entries(const results_block& block, bool with_se, bool predictive_ability) {
  static constexpr const char* names[] = {"bias", "bias_in_sd", "dispersion", "ratio_acc", "reliability",
                                          "pred_ability"};
  std::vector<statistic_entry> out;
  const std::vector<report_row> rows = report_rows(block.stats, predictive_ability);
  for (std::size_t k = 0; k < rows.size(); ++k) {
    const report_row& r = rows[k];
    if (with_se)
      out.push_back({names[k], r.value, std::sqrt(r.se.variance), r.se.lower, r.se.upper});
    else
      out.push_back({names[k], r.value, not_computed, not_computed, not_computed});
  }
  out.push_back({"intercept", block.intercept, not_computed, not_computed, not_computed});
  // 1 / ratio_acc: how much more accurate the whole evaluation is than the partial one.
  const double r = block.stats.value.ratio_acc;
  statistic_entry inc{"increase_in_accuracy", 1.0 / r, not_computed, not_computed, not_computed};
  if (with_se) {
    const statistics::interval& ri = block.stats.se.ratio_acc;
    inc.sd = std::sqrt(ri.variance) / (r * r);
    if (ri.lower > 0 && ri.upper > 0) {
      inc.lower = 1.0 / ri.upper;
      inc.upper = 1.0 / ri.lower;
    }
  }
  out.push_back(inc);
  out.push_back({"rmsd", block.rmsd, not_computed, not_computed, not_computed});
  return out;
}

std::string utc_date_time() {
  std::time_t now = std::time(nullptr);
  std::tm tm{};
  gmtime_r(&now, &tm);
  char buf[32];
  std::strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%SZ", &tm);
  return buf;
}

std::string results_json(const results_run& run) {
  std::string j = "{\n";
  j += "  \"format\": \"ventrel-results\",\n";
  j += "  \"format_version\": " + num(results_format_version) + ",\n";
  j += "  \"program\": {\"name\": \"ventrel\", \"version\": " + json_string(run.version) + "},\n";
  j += "  \"date_time\": " + json_string(run.date_time) + ",\n";
  j += "  \"parameter_file\": " + json_string(run.parameter_file) + ",\n";
  j += "  \"validation_effect\": " + num(run.validation_effect) + ",\n";
  j += "  \"standard_errors\": {\"method\": " + json_string(run.se_method);
  if (run.se_method == "boot") j += ", \"replicates\": " + num(run.replicates);
  for (const auto& [name, value] : run.se_settings) j += ", " + json_string(name) + ": " + json_string(value);
  j += "},\n";
  j += "  \"predictive_ability\": " + std::string(run.predictive_ability ? "true" : "false") + ",\n";
  j += "  \"validation_groups_file\": " + (run.groups_file.empty() ? std::string("null") : json_string(run.groups_file)) +
       ",\n";
  j += "  \"input_files\": [";
  for (std::size_t k = 0; k < run.input_files.size(); ++k)
    j += std::string(k ? "," : "") + "\n    {\"role\": " + json_string(run.input_files[k].first) +
         ", \"file\": " + json_string(run.input_files[k].second) + "}";
  j += "\n  ],\n";
  j += "  \"results\": [";
  const bool with_se = run.se_method != "none";
  for (std::size_t k = 0; k < run.blocks.size(); ++k) {
    const results_block& b = run.blocks[k];
    j += std::string(k ? "," : "") + "\n    {\"cutoff\": " + (b.cutoff.empty() ? std::string("null") : json_string(b.cutoff)) +
         ", \"partial_solutions\": " + json_string(b.partial_file) + ",\n     \"set\": " + num(b.set) +
         ", \"group\": " + json_string(b.group) +
         ", \"trait\": " + num(b.trait) + ", \"n\": " + num(b.n) + ",\n";
    j += "     \"heritability\": " + json_number(b.h2) +
         ", \"genetic_variance\": " + json_number(b.stats.genetic_variance) +
         ", \"genetic_variance_focal\": " + json_number(b.gvar_focal) + ",\n";
    j += "     \"computed\": " + std::string(b.computed ? "true" : "false") + ",\n";
    j += "     \"notes\": [";
    for (std::size_t i = 0; i < b.notes.size(); ++i) j += (i ? ", " : "") + json_string(b.notes[i]);
    j += "],\n";
    j += "     \"statistics\": {";
    if (b.computed) {
      const std::vector<statistic_entry> entries = statistic_entries(b, with_se && b.has_se, run.predictive_ability);
      for (std::size_t i = 0; i < entries.size(); ++i) {
        const statistic_entry& e = entries[i];
        j += std::string(i ? "," : "") + "\n       " + json_string(e.name) + ": {\"value\": " + json_number(e.value) +
             ", \"sd\": " + json_number(e.sd) + ", \"lower\": " + json_number(e.lower) +
             ", \"upper\": " + json_number(e.upper) + "}";
      }
      j += "\n     ";
    }
    j += "}}";
  }
  j += "\n  ]\n}\n";
  return j;
}

std::string results_csv(const results_run& run) {
  std::string c = "cutoff,set,group,trait,n,heritability,genetic_variance,genetic_variance_focal,statistic,value,sd,lower,upper,note\n";
  const bool with_se = run.se_method != "none";
  for (const results_block& b : run.blocks) {
    const std::string head = csv_field(b.cutoff) + "," + num(b.set) + "," + csv_field(b.group) + "," + num(b.trait) + "," + num(b.n) + "," +
                             fmt_full(b.h2) + "," + fmt_full(b.stats.genetic_variance) + "," + fmt_full(b.gvar_focal) +
                             ",";
    std::string note;
    for (const std::string& x : b.notes) note += (note.empty() ? "" : "; ") + x;
    if (!b.computed) {
      // fewer than 2 animals: one row without a statistic, the note saying why
      c += head + ",,,,," + csv_field(note) + "\n";
      continue;
    }
    for (const statistic_entry& e : statistic_entries(b, with_se && b.has_se, run.predictive_ability)) {
      const bool has_se = with_se && b.has_se && std::string_view(e.name) != "intercept" && std::string_view(e.name) != "rmsd";
      c += head + e.name + "," + fmt_full(e.value) + "," + csv_number(e.sd, has_se) + "," +
           csv_number(e.lower, has_se) + "," + csv_number(e.upper, has_se) + "," + csv_field(note) + "\n";
    }
  }
  return c;
}

void write_results_files(const results_run& run) {
  write_file_atomically(results_json_name, results_json(run));
  write_file_atomically(results_csv_name, results_csv(run));
}

}  // namespace ventrel::validation
