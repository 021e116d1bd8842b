// Tests of read_pedigree_phase: the focal variance and inbreeding by focal_var, external
// inbreeding, groups and metafounders, the files passed on, the stops, and A_focal from the
// phase's arrays with a metafounder.
#include "pedigree/pedigree_phase.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <tuple>

#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;
using namespace ventrel::test_support;

namespace {

const char* const textbook_file = "1 0 0\n2 0 0\n3 1 2\n4 1 0\n5 4 3\n6 5 2\n";
const char* const textbook_mf_file = "1 7 7\n2 7 7\n3 1 2\n4 1 7\n5 4 3\n6 5 2\n";  // metafounder 7

// Writes a file in the working folder and returns its name.
std::string put(const std::string& name, const std::string& text) {
  std::ofstream(name, std::ios::binary) << text;
  return name;
}

using edit_fn = std::function<void(pedigree_phase_input&)>;

struct run_result {
  pedigree_phase_result r;
  std::string out;  // what the phase printed
};

// The phase on the textbook pedigree (file "ped" of the working folder), two traits of genetic
// variances 10 and 4, after edit has changed the input.
run_result phase(std::vector<focal_view>& sets, const edit_fn& edit) {
  pedigree_phase_input in;
  in.pedigree_file = put("ped", textbook_file);
  in.ntrait = 2;
  in.genetic_variance = {10.0, 4.0};
  if (edit) edit(in);
  run_result rr;
  rr.out = captured_stdout([&] { rr.r = read_pedigree_phase(in, sets); });
  return rr;
}

void metafounders(pedigree_phase_input& in) {
  in.pedigree_file = put("ped", textbook_mf_file);
  in.groups_allowed = true;
  in.gamma = ventrel::linalg::dense_matrix(1, 1);
  in.gamma(0, 0) = 0.2;
}

}  // namespace

TEST(pedigree_phase, focal_variance_and_inbreeding_by_focal_var_and_inbreeding_source) {
  struct row {
    std::string name;
    edit_fn edit;
    std::vector<focal_view> sets;
    std::string out;                          // printed after "Reading and renumbering pedigree\nDone\n"
    std::vector<std::vector<double>> set_f;   // each set's inbreeding
    std::vector<double> gvar;                 // per trait
    std::vector<double> inb;                  // by number, groups included; zeros when not complete
    bool complete;
  };
  const std::vector<double> none(7, 0.0);
  const std::vector<row> rows = {
      {"inb: computed, the later set wins; blanks after the file name",
       [](auto& in) { in.pedigree_file = put("ped", std::string(textbook_file) + "   \n") + "   "; },
       {{{5, 6, 1, 2}, {}, {1, 2}}, {{6}, {}, {2}}}, "", {{0.125, 0.125, 0.0, 0.0}, {0.125}},
       {(1 - 0.0625) * 10.0, (1 - 0.125) * 4.0}, fx::textbook_f, true},
      {"usr with relationships needed: computed silently",
       [](auto& in) { in.focal_var = "usrxyz"; in.user_gvar = {3.0, 5.0}; in.relationships_needed = true; },
       {{{5}, {}, {1}}}, "Genetic variance of focal animals provided by the user\n", {{}}, {3.0, 5.0},
       fx::textbook_f, true},
      {"another word", [](auto& in) { in.focal_var = "abc"; }, {{{5}, {}, {1}}}, "", {{}}, {0.0, 0.0}, none, false},
      {"external file present: ranolt.inb up to a bad line, the last value kept",
       [](auto& in) {
         in.read_external_inbreeding = true;
         in.external_inbreeding_file = put("my.inb", "only tested for existence\n");
         put("ranolt.inb", "A5 0.3 5\nA6 0.2 6\nA5 0.1 5\nnot a line\nA6 0.9 6\n");
       },
       {{{5, 6}, {}, {1}}}, "Genetic variance of focal animals calculated as genetic variance * (1-mean(f))\n",
       {{0.1, 0.2}}, {(1 - 0.15) * 10.0, 0.0}, {0, 0, 0, 0, 0, 0.1, 0.2}, true},
      {"groups counted from the largest code; the external file ignored",
       [](auto& in) {
         in.pedigree_file = put("ped", "1 7 8\n2 8 7\n3 1 2\n4 1 8\n5 4 3\n6 5 2\n");
         in.groups_allowed = in.read_external_inbreeding = true;
         in.external_inbreeding_file = put("my.inb", "x\n");
       },
       {{{5, 6}, {}, {1}}}, "", {{0.125, 0.125}}, {(1 - 0.125) * 10.0, 0.0}, {0, 0, 0, 0, 0, 0.125, 0.125, 0, 0},
       true},
      {"metafounders", metafounders, {{{1, 5, 6}, {}, {1}}}, "", {{0.1, 0.2125, 0.2125}},
       {(1 - 0.525 / 3) * 10.0, 0.0}, fx::textbook_mf_f, true},
      {"method 7 with its selfing file",
       [](auto& in) { in.inbreeding_method = 7; in.self_generations_file = put("self", "6 1\n"); },
       {{{6}, {}, {1}}}, "", {{0.5625}}, {(1 - 0.5625) * 10.0, 0.0}, {0, 0, 0, 0, 0, 0.125, 0.5625}, true},
      {"method 9 with its file of coefficients",
       [](auto& in) {
         metafounders(in);
         in.inbreeding_method = 9;
         in.inb_mf_file = put("mf.txt", "1 0.1\n2 0.1\n3 0.3\n4 0.1\n5 0.2\n6 0.25\n");
       },
       {{{6}, {}, {1}}}, "", {{0.25}}, {(1 - 0.25) * 10.0, 0.0}, {0, 0.1, 0.1, 0.3, 0.1, 0.2, 0.25, 0.1}, true},
  };
  auto expect_values = [](const std::vector<double>& got, const std::vector<double>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t k = 0; k < want.size(); ++k) EXPECT_NEAR(got[k], want[k], 1e-15) << k;
  };
  for (const row& c : rows) {
    SCOPED_TRACE(c.name);
    scoped_work_dir w;
    std::vector<focal_view> sets = c.sets;
    const run_result rr = phase(sets, c.edit);
    const pedigree_phase_result& r = rr.r;
    EXPECT_EQ(rr.out, "Reading and renumbering pedigree\nDone\n" + c.out);
    for (std::size_t s = 0; s < sets.size(); ++s) expect_values(sets[s].inbreeding, c.set_f[s]);
    ASSERT_EQ(r.gvar_focal.size(), 2u);
    for (std::size_t t = 0; t < 2; ++t) EXPECT_DOUBLE_EQ(r.gvar_focal[t], c.gvar[t]) << t;
    expect_values(r.inb, c.inb);
    EXPECT_EQ(r.inbreeding_complete, c.complete);
    // Renumbered in any case; the sorted arrays follow the order.
    EXPECT_EQ(r.nupg, static_cast<std::int32_t>(c.inb.size()) - 7);
    ASSERT_EQ(r.inb_sorted.size(), c.inb.size());
    EXPECT_TRUE(parents_first(r.ped_sorted, 6));
    for (std::int32_t i = 1; i < static_cast<std::int32_t>(c.inb.size()); ++i)
      EXPECT_EQ(r.inb_sorted[static_cast<std::size_t>(i <= 6 ? r.perm[static_cast<std::size_t>(i)] : i)],
                r.inb[static_cast<std::size_t>(i)]);
  }
}

TEST(pedigree_phase, bad_inputs_stop) {
  // The stops that the end-to-end runs do not reach; first lines only.
  const std::vector<std::tuple<edit_fn, std::vector<focal_view>, std::string>> rows = {
      {[](auto& in) { in.pedigree_file = put("ped", "1 0 0\n2 1 2000000000\n"); in.groups_allowed = true; }, {},
       "The largest parent code in the pedigree file is 2000000000, far more than its 2 lines"},
      {[](auto& in) { metafounders(in); in.pedigree_file = put("ped", "1 7 8\n2 8 7\n"); }, {},
       "The pedigree file ped uses group codes up to 8 (6 metafounders after its 2 animals)"},
      {{}, {{{5}, {}, {3}}}, "Trait 3 of a focal set is outside 1 to 2"},
  };
  for (const auto& [edit, focal, message] : rows) {
    scoped_work_dir w;
    std::vector<focal_view> sets = focal;
    EXPECT_EQ(stop_lines([&] { phase(sets, edit); }).front(), message);
  }
  // A gap in the numbers, but a modest one, is read (and method 1 warned of on so many animals).
  scoped_work_dir w;
  std::vector<focal_view> sets;
  testing::internal::CaptureStderr();
  const run_result rr = phase(sets, [](auto& in) { in.pedigree_file = put("ped", "1 0 0\n500000 1 0\n"); });
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ventrel: warning: inbreeding by \"Meuwissen and Luo (1992)\" on 500000 animals can take many minutes; "
            "OPTION inbreeding_method 6 gives the same coefficients in seconds\n");
  EXPECT_EQ(rr.r.ped[500000].sire, 1);
}

TEST(pedigree_phase, focal_relationships_from_the_phase_are_the_focal_block) {
  // The textbook with a metafounder: its relationships come from Gamma.
  scoped_work_dir w;
  std::vector<focal_view> sets;
  const run_result rr = phase(sets, metafounders);
  const std::vector<std::int32_t> animals = {1, 5, 6, 3};
  ventrel::linalg::dense_matrix a;
  captured_stdout([&] { a = focal_relationships(rr.r, animals, 2); });
  const auto ref = ventrel::reference::tabular_a(fx::to_reference(fx::textbook_mf(), 1, {0.2}));
  for (std::size_t k = 0; k < animals.size(); ++k)
    for (std::size_t j = 0; j < animals.size(); ++j)
      EXPECT_NEAR(a(static_cast<int>(k), static_cast<int>(j)), ref(animals[k] - 1, animals[j] - 1), 1e-10);
}
