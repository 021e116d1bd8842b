// The group file of OPTION validation_groups: membership by set and row, and its stops.
#include "validation/groups.hpp"

#include "support/test_support.hpp"

namespace ventrel::validation {
namespace {

using test_support::temp_dir;

std::vector<focal_set> two_sets() {
  std::vector<focal_set> sets(2);
  sets[0].levels = {5, 7, 9};
  sets[0].n = 3;
  sets[1].levels = {9, 11};
  sets[1].n = 2;
  return sets;
}

TEST(groups, membership_by_set_and_row_in_order_of_first_appearance) {
  temp_dir d;
  const std::string f = d.file("g.txt", "9 cows\n\n5,bulls extra\n11\tcows\n");
  const validation_groups g = read_validation_groups(f, two_sets());
  EXPECT_EQ(g.names, (std::vector<std::string>{"cows", "bulls"}));
  EXPECT_EQ(g.of_row, (std::vector<std::vector<int>>{{1, -1, 0}, {0, 0}}));
}

TEST(groups, stops_name_the_file_and_the_line) {
  temp_dir d;
  const auto read = [&](const std::string& text) {
    return [&d, text] { read_validation_groups(d.file("g.txt", text), two_sets()); };
  };
  const std::string at2 = "file " + d.name("g.txt") + ", line 2";
  test_support::expect_stops({
      {"non-focal level", read("5 a\n6 b\n"),
       {"Validation groups file: level 6 is not a focal animal of any validation-set file", at2}},
      {"no group", read("5 a\n7\n"), {"Validation groups file: a line must hold a level and a group name, found: 7", at2}},
      {"not a number", read("5 a\nx7 b\n"),
       {"Validation groups file: the first value of a line must be a level (a whole number), found: x7", at2}},
      {"twice", read("9 a\n9 b\n"), {"Validation groups file: level 9 is given twice (first on line 1)", at2}},
      {"name all", read("5 a\n7 all\n"),
       {"Validation groups file: the group name all is kept for every focal animal; choose another name", at2}},
      {"empty", read("\n\n"), {"Validation groups file " + d.name("g.txt") + " holds no animal"}},
      {"missing", [&] { read_validation_groups(d.name("none.txt"), two_sets()); },
       {"Validation groups file " + d.name("none.txt") + " does not exist"}},
  });
}

TEST(groups, report_lines_in_the_report_layout) {
  results_block b;
  b.group = "cows";
  b.trait = 2;
  b.n = 4;
  b.computed = true;
  b.stats.value = {0.5, 0.9, 0.8, 0.25, 0.0};
  b.stats.genetic_variance = 4.0;
  results_block few;
  few.group = "bulls";
  few.n = 1;
  const std::vector<std::string> want{
      " Cross-validation statistics for trait:   2  group: cows  animals: 4",
      " Absolute bias:                                0.500",
      " Bias in genetic sd:                           0.250",
      " Dispersion:                                   0.900",
      " Ratio of accuracies:                          0.800",
      " Reliability :                                 0.250",
      "",
      " Cross-validation statistics for trait:   1  group: bulls  animals: 1",
      " Fewer than 2 animals: no statistics",
      ""};
  EXPECT_EQ(group_report_lines({b, few}, false, false), want);
}

}  // namespace
}  // namespace ventrel::validation
