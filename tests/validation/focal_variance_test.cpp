// The genetic variance of the focal animals: from their inbreeding (the later set wins), from the
// user, zero otherwise; the focal animals' slots and the stop on an animal beyond the pedigree.
#include "validation/focal_variance.hpp"

#include "support/test_support.hpp"

namespace ventrel::validation {
namespace {

using test_support::captured_stdout;
using test_support::stop_lines;

// Six animals, F of animals 5 and 6 = 0.125, as the phase leaves them.
pedigree::pedigree_phase_result pedigree() {
  pedigree::pedigree_phase_result p;
  p.file = "ped.txt";
  p.n = 6;
  p.inb = {0, 0, 0, 0, 0, 0.125, 0.125};
  p.inbreeding_known = true;
  return p;
}

focal_set set_of(std::vector<int> levels, std::vector<int> traits) {
  focal_set s;
  s.n = static_cast<int>(levels.size());
  s.levels = std::move(levels);
  s.traits = std::move(traits);
  return s;
}

TEST(focal_variance, from_inbreeding_the_later_set_wins_and_slots_are_filled) {
  validation_options o;  // focal_var inb
  std::vector<focal_set> sets = {set_of({5, 6, 1, 2}, {1, 2}), set_of({6}, {2})};
  const std::vector<double> g = focal_genetic_variance(o, pedigree(), {10.0, 4.0}, sets);
  EXPECT_DOUBLE_EQ(g[0], (1 - 0.0625) * 10.0);
  EXPECT_DOUBLE_EQ(g[1], (1 - 0.125) * 4.0);
  EXPECT_EQ(sets[0].inb, (std::vector<double>{0.125, 0.125, 0, 0}));
  // A missing external file: the focal animals' F are taken as 0, the variance is the genetic one.
  pedigree::pedigree_phase_result p = pedigree();
  p.external_inbreeding_missing = true;
  EXPECT_EQ(focal_genetic_variance(o, p, {10.0, 4.0}, sets), (std::vector<double>{10.0, 4.0}));
  EXPECT_EQ(sets[0].inb, (std::vector<double>{0, 0, 0, 0}));
}

TEST(focal_variance, user_values_keep_the_focal_inbreeding_for_se_approx) {
  validation_options o;
  o.focal_var = "usr";
  o.focal_var_usr = {3.0, 5.0};
  std::vector<focal_set> sets = {set_of({6}, {1, 2})};
  std::vector<double> g;
  EXPECT_EQ(captured_stdout([&] { g = focal_genetic_variance(o, pedigree(), {10.0, 4.0}, sets); }),
            "Genetic variance of focal animals provided by the user\n");
  EXPECT_EQ(g, (std::vector<double>{3.0, 5.0}));
  EXPECT_EQ(sets[0].inb, (std::vector<double>{0.125}));
  o.focal_var = "abc";
  EXPECT_EQ(focal_genetic_variance(o, pedigree(), {10.0, 4.0}, sets), (std::vector<double>{0.0, 0.0}));
}

TEST(focal_variance, stops_on_a_focal_animal_beyond_the_pedigree) {
  validation_options o;
  std::vector<focal_set> sets = {set_of({7}, {1})};
  pedigree::pedigree_phase_result p = pedigree();
  p.stop_line = 4;
  EXPECT_EQ(stop_lines([&] { focal_genetic_variance(o, p, {10.0}, sets); }),
            (std::vector<std::string>{"Focal animal 7 is not in the pedigree file ped.txt (animals 1 to 6)",
                                      "The file is read up to line 3: line 4 is not three whole numbers (animal, sire, dam)"}));
}

}  // namespace
}  // namespace ventrel::validation
