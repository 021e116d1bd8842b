// The report: one block per trait, labels 39 characters wide, values F12.3. With standard
// errors each row carries the value, its SD (square root of the variance), and the two 95%
// limits, each followed by one blank, under a header that starts at column 40.
#include "validation/report.hpp"

#include <cmath>

#include "common/format.hpp"

namespace ventrel::validation {
namespace {

constexpr int label_width = 39;

std::string value_row(const report_row& r) { return " " + pad_right(r.label, label_width) + fmt_f(r.value, 12, 3); }

std::string se_row(const report_row& r) {
  std::string s = " " + pad_right(r.label, label_width);
  for (double v : {r.value, std::sqrt(r.se.variance), r.se.lower, r.se.upper}) s += fmt_f(v, 12, 3) + " ";
  return s;
}

// The bias in genetic standard deviations: the bias row divided by the square root of the
// parameter file's genetic variance; its variance by that variance.
report_row bias_in_sd(const trait_report& t) {
  double sigma = std::sqrt(t.genetic_variance);
  statistics::interval se = t.se.bias;
  se.variance = t.se.bias.variance / t.genetic_variance;
  se.lower = t.se.bias.lower / sigma;
  se.upper = t.se.bias.upper / sigma;
  return {"Bias in genetic sd:", t.value.bias / sigma, se};
}

}  // namespace

std::vector<report_row> report_rows(const trait_report& t, bool predictive_ability) {
  std::vector<report_row> rows{{"Absolute bias:", t.value.bias, t.se.bias},
                               bias_in_sd(t),
                               {"Dispersion:", t.value.dispersion, t.se.dispersion},
                               {"Ratio of accuracies:", t.value.ratio_acc, t.se.ratio_acc},
                               {"Reliability :", t.value.reliability, t.se.reliability}};
  if (predictive_ability) rows.push_back({"Predictive ability:", t.value.pred_ability, t.se.pred_ability});
  return rows;
}

std::vector<std::string> report_block(const std::string& title, const trait_report& t, bool with_se,
                                      bool predictive_ability) {
  std::vector<std::string> out{title};
  if (with_se) out.push_back(std::string(label_width, ' ') + "       Value           SD     l_95%_CI     h_95%_CI");
  for (const report_row& r : report_rows(t, predictive_ability)) out.push_back(with_se ? se_row(r) : value_row(r));
  out.push_back("");
  return out;
}

std::vector<std::string> report_lines(std::span<const trait_report> traits, bool with_se,
                                      bool predictive_ability) {
  std::vector<std::string> out{""};
  for (std::size_t i = 0; i < traits.size(); ++i) {
    const std::string title =
        " Cross-validation statistics for trait: " + fmt_i(static_cast<std::int64_t>(i + 1), 3);
    for (std::string& line : report_block(title, traits[i], with_se, predictive_ability)) out.push_back(std::move(line));
  }
  if (!with_se) out.push_back("");
  return out;
}

}  // namespace ventrel::validation
