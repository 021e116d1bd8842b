// Tests of read_pedigree_phase: its messages, the inbreeding paths and the focal variance.
#include "pedigree/pedigree_phase.hpp"

#include <gtest/gtest.h>

#include <functional>

#include "common/fatal.hpp"
#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;

namespace {

const char* const textbook_file = "1 0 0\n2 0 0\n3 1 2\n4 1 0\n5 4 3\n6 5 2\n";

struct run_result {
  pedigree_phase_result r;
  std::string out;
};

run_result run(const pedigree_phase_input& in, std::vector<focal_view>& sets) {
  testing::internal::CaptureStdout();
  run_result rr;
  try {
    rr.r = read_pedigree_phase(in, sets);
  } catch (...) {
    testing::internal::GetCapturedStdout();
    throw;
  }
  rr.out = testing::internal::GetCapturedStdout();
  return rr;
}

std::string fatal_text(const std::function<void()>& f) {
  try {
    f();
  } catch (const ventrel::fatal_error& e) {
    return e.what();
  }
  return "(no stop)";
}

pedigree_phase_input textbook_input(const fx::temp_dir& t) {
  pedigree_phase_input in;
  in.pedigree_file = t.file("ped", textbook_file);
  in.ntrait = 2;
  in.genetic_variance = {10.0, 4.0};
  in.ranolt_inb = (t.path / "ranolt.inb").string();
  return in;
}

}  // namespace

TEST(pedigree_phase, computes_inbreeding_and_the_focal_variance_per_trait) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  in.pedigree_file = t.file("ped", std::string(textbook_file) + "     ");  // blanks trimmed
  std::vector<focal_view> sets = {{{5, 6, 1, 2}, {}, {1, 2}}, {{6}, {}, {2}}};
  const run_result rr = run(in, sets);
  EXPECT_EQ(rr.out, "Reading and renumbering pedigree\nDone\n");
  EXPECT_EQ(sets[0].inbreeding, (std::vector<double>{0.125, 0.125, 0.0, 0.0}));
  EXPECT_EQ(sets[1].inbreeding, (std::vector<double>{0.125}));
  ASSERT_EQ(rr.r.gvar_focal.size(), 2u);
  EXPECT_DOUBLE_EQ(rr.r.gvar_focal[0], (1 - 0.0625) * 10.0);
  EXPECT_DOUBLE_EQ(rr.r.gvar_focal[1], (1 - 0.125) * 4.0);  // the later set wins
  EXPECT_TRUE(rr.r.inbreeding_complete);
  EXPECT_EQ(rr.r.n, 6);
  EXPECT_EQ(rr.r.nupg, 0);
  for (std::int32_t i = 1; i <= 6; ++i)
    EXPECT_EQ(rr.r.inb_sorted[static_cast<std::size_t>(rr.r.perm[static_cast<std::size_t>(i)])],
              rr.r.inb[static_cast<std::size_t>(i)]);
}

TEST(pedigree_phase, user_values_keep_inbreeding_uncomputed_but_still_renumber) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  in.focal_var = "usrxyz";
  in.user_gvar = {3.0, 5.0};
  std::vector<focal_view> sets = {{{5}, {}, {1}}};
  const run_result rr = run(in, sets);
  EXPECT_EQ(
      rr.out,
      "Reading and renumbering pedigree\nDone\nGenetic variance of focal animals provided by the user\n");
  EXPECT_EQ(rr.r.gvar_focal, (std::vector<double>{3.0, 5.0}));
  EXPECT_FALSE(rr.r.inbreeding_complete);
  EXPECT_EQ(rr.r.inb[5], 0.0);
  EXPECT_EQ(rr.r.perm.size(), 7u);
  EXPECT_TRUE(sets[0].inbreeding.empty());
}

TEST(pedigree_phase, relationships_needed_computes_inbreeding_silently) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  in.focal_var = "usr";
  in.user_gvar = {3.0, 5.0};
  in.relationships_needed = true;
  std::vector<focal_view> sets = {{{5}, {}, {1}}};
  const run_result rr = run(in, sets);
  EXPECT_EQ(
      rr.out,
      "Reading and renumbering pedigree\nDone\nGenetic variance of focal animals provided by the user\n");
  EXPECT_TRUE(rr.r.inbreeding_complete);
  EXPECT_EQ(rr.r.inb[5], 0.125);
  EXPECT_EQ(rr.r.inb_sorted[static_cast<std::size_t>(rr.r.perm[6])], 0.125);
  EXPECT_EQ(rr.r.gvar_focal, (std::vector<double>{3.0, 5.0}));
}

TEST(pedigree_phase, another_focal_var_word_returns_without_a_message) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  in.focal_var = "abc";
  std::vector<focal_view> sets = {{{5}, {}, {1}}};
  const run_result rr = run(in, sets);
  EXPECT_EQ(rr.out, "Reading and renumbering pedigree\nDone\n");
  EXPECT_EQ(rr.r.gvar_focal, (std::vector<double>{0.0, 0.0}));
}

TEST(pedigree_phase, missing_external_file_assumes_the_genetic_variance) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  in.read_external_inbreeding = true;
  in.external_inbreeding_file = (t.path / "my.inb").string() + "   ";
  std::vector<focal_view> sets = {{{5, 6}, {}, {1, 2}}};
  const run_result rr = run(in, sets);
  EXPECT_EQ(rr.out,
            "Reading and renumbering pedigree\nDone\n" + (t.path / "my.inb").string() +
                " does not exist\nGenetic variance of focal animals assumed equal to the genetic variance\n");
  EXPECT_EQ(sets[0].inbreeding, (std::vector<double>{0.0, 0.0}));
  EXPECT_EQ(rr.r.gvar_focal, (std::vector<double>{10.0, 4.0}));
}

TEST(pedigree_phase, existing_external_file_reads_ranolt_inb_keeping_the_last_value) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  in.read_external_inbreeding = true;
  in.external_inbreeding_file = t.file("my.inb", "this file is only tested for existence\n");
  t.file("ranolt.inb", "A5 0.3 5\nA6 0.2 6\nA5 0.1 5\nnot a line\nA6 0.9 6\n");
  std::vector<focal_view> sets = {{{5, 6}, {}, {1}}};
  const run_result rr = run(in, sets);
  EXPECT_EQ(rr.out,
            "Reading and renumbering pedigree\nDone\n"
            "Genetic variance of focal animals calculated as genetic variance * (1-mean(f))\n");
  EXPECT_EQ(sets[0].inbreeding, (std::vector<double>{0.1, 0.2}));
  EXPECT_DOUBLE_EQ(rr.r.gvar_focal[0], (1 - 0.15) * 10.0);
}

TEST(pedigree_phase, existing_external_file_without_ranolt_inb_stops_naming_it) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  in.read_external_inbreeding = true;
  in.external_inbreeding_file = t.file("my.inb", "x 0.1 1\n");
  std::vector<focal_view> sets = {{{5}, {}, {1}}};
  const std::string msg = fatal_text([&] { run(in, sets); });
  EXPECT_EQ(msg.find(in.ranolt_inb + " does not exist"), 0u) << msg;
}

TEST(pedigree_phase, groups_are_counted_from_the_largest_code_and_the_external_file_is_ignored) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  in.pedigree_file = t.file("ped", "1 7 8\n2 8 7\n3 1 2\n4 1 8\n5 4 3\n6 5 2\n");
  in.groups_allowed = true;
  in.read_external_inbreeding = true;
  in.external_inbreeding_file = t.file("my.inb", "x\n");
  std::vector<focal_view> sets = {{{5, 6}, {}, {1}}};
  const run_result rr = run(in, sets);
  EXPECT_EQ(rr.out, "Reading and renumbering pedigree\nDone\n");
  EXPECT_EQ(rr.r.nupg, 2);
  EXPECT_EQ(sets[0].inbreeding, (std::vector<double>{0.125, 0.125}));  // groups: unknown parents
  EXPECT_EQ(rr.r.ped_sorted.size(), 9u);
  EXPECT_EQ(rr.r.inb_sorted[7], 0.0);
}

TEST(pedigree_phase, metafounders_use_gamma) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  in.pedigree_file = t.file("ped", "1 7 7\n2 7 7\n3 1 2\n4 1 7\n5 4 3\n6 5 2\n");
  in.groups_allowed = true;
  in.gamma = ventrel::linalg::dense_matrix(1, 1);
  in.gamma(0, 0) = 0.2;
  std::vector<focal_view> sets = {{{1, 5, 6}, {}, {1}}};
  const run_result rr = run(in, sets);
  EXPECT_EQ(rr.r.nupg, 1);
  EXPECT_NEAR(sets[0].inbreeding[0], 0.1, 1e-15);
  EXPECT_NEAR(sets[0].inbreeding[1], 0.2125, 1e-15);
  EXPECT_NEAR(sets[0].inbreeding[2], 0.2125, 1e-15);
  EXPECT_NEAR(rr.r.inb_sorted[7], 0.1, 1e-15);  // the metafounder's own coefficient
  // A_focal with the metafounder: A(1,1) = 1.1, A(5,5) = 1.2125.
  testing::internal::CaptureStdout();
  const ventrel::linalg::dense_matrix a = focal_relationships(rr.r, std::vector<std::int32_t>{1, 5}, 2);
  testing::internal::GetCapturedStdout();
  EXPECT_NEAR(a(0, 0), 1.1, 1e-15);
  EXPECT_NEAR(a(1, 1), 1.2125, 1e-15);
}

TEST(pedigree_phase, gamma_smaller_than_the_groups_stops) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  in.pedigree_file = t.file("ped", "1 7 8\n2 8 7\n");
  in.groups_allowed = true;
  in.gamma = ventrel::linalg::dense_matrix(1, 1);
  in.gamma(0, 0) = 0.2;
  std::vector<focal_view> sets;
  const std::string msg = fatal_text([&] { run(in, sets); });
  EXPECT_NE(msg.find("uses group codes up to 8"), std::string::npos) << msg;
}

TEST(pedigree_phase, gamma_not_symmetric_or_not_positive_definite_stops) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  in.pedigree_file = t.file("ped", "1 7 8\n2 8 7\n");
  in.groups_allowed = true;
  in.gamma = ventrel::linalg::dense_matrix(2, 2);
  in.gamma.a = {0.5, 0.1, 0.2, 0.5};
  std::vector<focal_view> sets;
  EXPECT_EQ(fatal_text([&] { run(in, sets); }),
            "The metafounders' relationship matrix Gamma is not symmetric: element (2,1) differs from (1,2)");
  in.gamma.a = {0.5, 0.6, 0.6, 0.5};
  EXPECT_EQ(fatal_text([&] { run(in, sets); }),
            "The metafounders' relationship matrix Gamma is not positive definite");
}

TEST(pedigree_phase, parent_code_above_n_without_groups_stops) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  in.pedigree_file = t.file("ped", "1 0 0\n2 1 9\n");
  std::vector<focal_view> sets;
  const std::string msg = fatal_text([&] { run(in, sets); });
  EXPECT_NE(msg.find("Parent code above the number of animals in the pedigree file: 9"), std::string::npos)
      << msg;
  EXPECT_NE(msg.find("line 2"), std::string::npos) << msg;
}

TEST(pedigree_phase, numbers_far_beyond_the_lines_stop_before_any_allocation) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  in.pedigree_file = t.file("ped", "1 0 0\n2000000000 1 0\n");
  std::vector<focal_view> sets;
  std::string msg = fatal_text([&] { run(in, sets); });
  EXPECT_NE(
      msg.find("The largest animal number in the pedigree file is 2000000000, far more than its 2 lines"),
      std::string::npos)
      << msg;
  EXPECT_NE(msg.find("line 2"), std::string::npos) << msg;
  in.pedigree_file = t.file("ped", "1 0 0\n2 1 2000000000\n");
  in.groups_allowed = true;
  msg = fatal_text([&] { run(in, sets); });
  EXPECT_NE(msg.find("The largest parent code in the pedigree file is 2000000000"), std::string::npos) << msg;
  in.pedigree_file = t.file("ped", "1 0 0\n500000 1 0\n");  // a gap, but a modest one: read
  const run_result rr = run(in, sets);
  EXPECT_EQ(rr.r.n, 500000);
  EXPECT_EQ(rr.r.ped[500000].sire, 1);
}

TEST(pedigree_phase, a_pedigree_loop_stops) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  in.pedigree_file = t.file("ped", "1 2 0\n2 1 0\n");
  std::vector<focal_view> sets;
  const std::string msg = fatal_text([&] { run(in, sets); });
  EXPECT_NE(msg.find("Pedigree loop: animal "), std::string::npos) << msg;
}

TEST(pedigree_phase, focal_animal_outside_the_pedigree_stops) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  std::vector<focal_view> sets = {{{3, 9}, {}, {1}}};
  const std::string msg = fatal_text([&] { run(in, sets); });
  EXPECT_NE(msg.find("Focal animal 9 is not in the pedigree file"), std::string::npos) << msg;
}

TEST(pedigree_phase, the_chosen_method_and_verbosity_reach_the_inbreeding) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  in.inbreeding_method = 6;
  in.verbosity = 1;
  std::vector<focal_view> sets = {{{6}, {}, {1}}};
  const run_result rr = run(in, sets);
  EXPECT_NE(rr.out.find("    method = Hybrid parallel computing\n"), std::string::npos) << rr.out;
  EXPECT_NE(rr.out.find("    method = renumber within family with lap\n"), std::string::npos) << rr.out;
  EXPECT_EQ(sets[0].inbreeding, (std::vector<double>{0.125}));
}

TEST(pedigree_phase, focal_relationships_from_the_phase_is_the_focal_block) {
  fx::temp_dir t;
  pedigree_phase_input in = textbook_input(t);
  in.pedigree_file = fx::shared_path("data/studbooks/atlas.ped");
  std::vector<focal_view> sets;
  const run_result rr = run(in, sets);
  const std::vector<std::int32_t> animals = {948, 900, 512, 947, 3};
  testing::internal::CaptureStdout();
  const ventrel::linalg::dense_matrix a = focal_relationships(rr.r, animals, 2);
  testing::internal::GetCapturedStdout();
  const ventrel::linalg::dense_matrix ref =
      ventrel::reference::tabular_a(fx::to_reference(fx::studbook("atlas")));
  for (int k = 0; k < 5; ++k)
    for (int j = 0; j < 5; ++j)
      EXPECT_NEAR(a(k, j),
                  ref(animals[static_cast<std::size_t>(k)] - 1, animals[static_cast<std::size_t>(j)] - 1),
                  1e-10);
}
