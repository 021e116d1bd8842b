// Layout of the report without standard errors (the form with standard errors and predictive
// ability, and non-finite statistics, are checked end to end).
#include "validation/report.hpp"

#include <gtest/gtest.h>

namespace ventrel::validation {
namespace {

TEST(report, bias_in_genetic_sd_and_a_value_too_wide_for_its_field) {
  trait_report t;
  t.value = {0.5, 0.9, 1e12, 0.25, 0.6};
  t.genetic_variance = 4.0;
  const std::vector<std::string> want{
      "",
      " Cross-validation statistics for trait:   1",
      " Absolute bias:                                0.500",
      " Bias in genetic sd:                           0.250",
      " Dispersion:                                   0.900",
      " Ratio of accuracies:                   ************",
      " Reliability :                                 0.250",
      "",
      ""};
  EXPECT_EQ(report_lines(std::span(&t, 1), false, false), want);
}

}  // namespace
}  // namespace ventrel::validation
