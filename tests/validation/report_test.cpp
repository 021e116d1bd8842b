// Layout of the report in both forms.
#include "validation/report.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace ventrel::validation {
namespace {

trait_report example() {
  trait_report t;
  t.value = {0.5, 0.9, 0.8, 0.25, 0.6};
  t.se.bias = {0.01, 0.3, 0.7};
  t.se.dispersion = {0.04, 0.5, 1.3};
  t.se.ratio_acc = {0.0001, 0.78, 0.82};
  t.se.reliability = {0.0009, 0.2, 0.3};
  t.se.pred_ability = {0.0025, 0.5, 0.7};
  t.genetic_variance = 4.0;
  return t;
}

TEST(report, without_standard_errors_and_non_finite_values_printed_not_stopped) {
  trait_report t = example();
  std::vector<trait_report> traits{t, t};
  traits[1].value.dispersion = std::nan("");
  traits[1].value.ratio_acc = 1e12;  // too wide for F12.3
  traits[1].genetic_variance = 0.0;
  auto lines = report_lines(traits, false, false);
  std::vector<std::string> want{
      "",
      " Cross-validation statistics for trait:   1",
      " Absolute bias:                                0.500",
      " Bias in genetic sd:                           0.250",
      " Dispersion:                                   0.900",
      " Ratio of accuracies:                          0.800",
      " Reliability :                                 0.250",
      "",
      " Cross-validation statistics for trait:   2",
      " Absolute bias:                                0.500",
      " Bias in genetic sd:                        Infinity",
      " Dispersion:                                     NaN",
      " Ratio of accuracies:                   ************",
      " Reliability :                                 0.250",
      "",
      ""};
  EXPECT_EQ(lines, want);
}

TEST(report, with_standard_errors_and_predictive_ability) {
  trait_report t = example();
  auto lines = report_lines(std::span(&t, 1), true, true);
  std::vector<std::string> want{
      "",
      " Cross-validation statistics for trait:   1",
      "                                              Value           SD     l_95%_CI     h_95%_CI",
      " Absolute bias:                                0.500        0.100        0.300        0.700 ",
      " Bias in genetic sd:                           0.250        0.050        0.150        0.350 ",
      " Dispersion:                                   0.900        0.200        0.500        1.300 ",
      " Ratio of accuracies:                          0.800        0.010        0.780        0.820 ",
      " Reliability :                                 0.250        0.030        0.200        0.300 ",
      " Predictive ability:                           0.600        0.050        0.500        0.700 ",
      ""};
  EXPECT_EQ(lines, want);
}

}  // namespace
}  // namespace ventrel::validation
