// The results files' texts: full precision, non-finite figures, escaping, groups without
// statistics, and the derived figures. (Parsing by real JSON and CSV readers and the comparison
// with the console are done end to end by tests/e2e/check_results.py.)
#include "validation/results_file.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace ventrel::validation {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();

results_block block(std::string group) {
  results_block b;
  b.group = std::move(group);
  b.n = 3;
  b.h2 = 1.0 / 3.0;
  b.gvar_focal = 1.25;
  b.computed = true;
  b.stats.value = {0.1, 0.9, 0.8, 0.5, nan};
  b.stats.genetic_variance = 4.0;
  b.stats.se.bias = {0.04, -0.3, 0.5};
  b.stats.se.ratio_acc = {0.01, 0.6, 0.95};
  b.intercept = 0.25;
  b.rmsd = 0.5;
  return b;
}

TEST(results_file, statistics_in_order_with_derived_figures) {
  const std::vector<statistic_entry> e = statistic_entries(block("all"), true, false);
  std::vector<std::string> names;
  for (const statistic_entry& x : e) names.push_back(x.name);
  EXPECT_EQ(names, (std::vector<std::string>{"bias", "bias_in_sd", "dispersion", "ratio_acc", "reliability", "intercept",
                                             "increase_in_accuracy", "rmsd"}));
  EXPECT_DOUBLE_EQ(e[0].sd, 0.2);              // square root of the variance
  EXPECT_DOUBLE_EQ(e[1].value, 0.05);          // 0.1 / sqrt(4)
  EXPECT_DOUBLE_EQ(e[1].lower, -0.15);
  EXPECT_DOUBLE_EQ(e[6].value, 1.25);          // 1 / 0.8
  EXPECT_DOUBLE_EQ(e[6].sd, 0.1 / 0.64);       // delta method
  EXPECT_DOUBLE_EQ(e[6].lower, 1 / 0.95);
  EXPECT_DOUBLE_EQ(e[6].upper, 1 / 0.6);
  EXPECT_TRUE(std::isnan(e[5].sd));            // intercept: no standard error
  EXPECT_EQ(statistic_entries(block("all"), true, true).size(), 9u);  // with predictive ability
}

TEST(results_file, increase_in_accuracy_has_no_limits_when_the_ratio_interval_reaches_zero) {
  results_block b = block("all");
  b.stats.se.ratio_acc = {0.01, -0.1, 0.95};
  const statistic_entry e = statistic_entries(b, true, false)[6];
  EXPECT_TRUE(std::isnan(e.lower));
  EXPECT_TRUE(std::isnan(e.upper));
}

TEST(results_file, whole_partial_figures) {
  results_block b = block("all");
  b.stats.value.dispersion = 2.0;
  const std::vector<double> w{1, 2, 6}, p{0, 2, 4};
  add_whole_partial_figures(b, w, p);
  EXPECT_DOUBLE_EQ(b.intercept, 3.0 - 2.0 * 2.0);
  EXPECT_DOUBLE_EQ(b.rmsd, std::sqrt((1.0 + 0.0 + 4.0) / 3.0));
}

TEST(results_file, json_has_full_precision_null_for_non_finite_and_escaped_text) {
  results_run run;
  run.version = "1.0.0";
  run.date_time = "2026-11-24T08:25:11Z";
  run.parameter_file = "par \"x\".txt";
  run.se_method = "boot";
  run.replicates = 500;
  run.input_files = {{"pedigree", "ped\\a.txt"}};
  results_block b = block("all");
  b.stats.value.dispersion = inf;
  run.blocks.push_back(b);
  results_block few;
  few.group = "males";
  few.n = 1;
  few.notes = {"fewer than 2 animals"};
  run.blocks.push_back(few);
  const std::string j = results_json(run);
  EXPECT_NE(j.find("\"parameter_file\": \"par \\\"x\\\".txt\""), std::string::npos) << j;
  EXPECT_NE(j.find("\"file\": \"ped\\\\a.txt\""), std::string::npos) << j;
  EXPECT_NE(j.find("\"heritability\": 0.33333333333333331"), std::string::npos) << j;
  EXPECT_NE(j.find("\"dispersion\": {\"value\": null, \"sd\": null"), std::string::npos) << j;
  EXPECT_NE(j.find("\"replicates\": 500"), std::string::npos) << j;
  EXPECT_NE(j.find("\"group\": \"males\", \"trait\": 1, \"n\": 1"), std::string::npos) << j;
  EXPECT_NE(j.find("{\"cutoff\": null, \"partial_solutions\": \"\","), std::string::npos) << j;
  EXPECT_NE(j.find("\"computed\": false,\n     \"notes\": [\"fewer than 2 animals\"],\n     \"statistics\": {}}"),
            std::string::npos)
      << j;
  EXPECT_EQ(j.find("NaN"), std::string::npos);
  EXPECT_EQ(j.find("Inf"), std::string::npos);
}

TEST(results_file, csv_rows_spell_non_finite_figures_and_leave_missing_ones_empty) {
  results_run run;
  run.se_method = "none";
  results_block b = block("all");
  b.stats.value.dispersion = -inf;
  run.blocks.push_back(b);
  results_block few;
  few.group = "a,b";
  few.n = 0;
  few.h2 = 0.5;
  few.gvar_focal = 1.0;
  few.notes = {"fewer than 2 animals"};
  run.blocks.push_back(few);
  const std::string c = results_csv(run);
  EXPECT_EQ(c.substr(0, c.find('\n')),
            "cutoff,set,group,trait,n,heritability,genetic_variance,genetic_variance_focal,statistic,value,sd,lower,upper,note");
  EXPECT_NE(c.find("\n,1,all,1,3,0.33333333333333331,4,1.25,bias,0.10000000000000001,,,,\n"), std::string::npos) << c;
  EXPECT_NE(c.find("\n,1,all,1,3,0.33333333333333331,4,1.25,dispersion,-Inf,,,,\n"), std::string::npos) << c;
  EXPECT_NE(c.find("\n,1,\"a,b\",1,0,0.5,1,1,,,,,,fewer than 2 animals\n"), std::string::npos) << c;
  EXPECT_EQ(std::count(c.begin(), c.end(), '\n'), 1 + 8 + 1);
}

}  // namespace
}  // namespace ventrel::validation
