// Tests of read_pedigree_phase: inbreeding when needed, external inbreeding, groups and
// metafounders, the files passed on, the stops, and A_focal from the phase's arrays with a
// metafounder.
#include "pedigree/pedigree_phase.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <utility>

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

// The phase on the textbook pedigree (file "ped" of the working folder), inbreeding needed,
// after edit has changed the input.
run_result phase(const edit_fn& edit) {
  pedigree_phase_input in;
  in.pedigree_file = put("ped", textbook_file);
  in.inbreeding_needed = true;
  if (edit) edit(in);
  run_result rr;
  rr.out = captured_stdout([&] { rr.r = read_pedigree_phase(in); });
  return rr;
}

void metafounders(pedigree_phase_input& in) {
  in.pedigree_file = put("ped", textbook_mf_file);
  in.groups_allowed = true;
  in.gamma = ventrel::linalg::dense_matrix(1, 1);
  in.gamma(0, 0) = 0.2;
}

}  // namespace

TEST(pedigree_phase, inbreeding_by_need_and_source) {
  struct row {
    std::string name;
    edit_fn edit;
    std::string out;          // printed after "Reading and renumbering pedigree\nDone\n"
    std::vector<double> inb;  // by number, groups included; zeros when not obtained
    bool known;               // inbreeding_known
    bool missing;             // external_inbreeding_missing
  };
  const std::vector<double> none(7, 0.0);
  const std::vector<row> rows = {
      {"computed; blanks after the file name",
       [](auto& in) { in.pedigree_file = put("ped", std::string(textbook_file) + "   \n") + "   "; }, "",
       fx::textbook_f, true, false},
      {"not needed", [](auto& in) { in.inbreeding_needed = false; }, "", none, false, false},
      {"external file present: ranolt.inb up to a bad line, the last value kept",
       [](auto& in) {
         in.read_external_inbreeding = true;
         in.external_inbreeding_file = put("my.inb", "only tested for existence\n");
         put("ranolt.inb", "A5 0.3 5\nA6 0.2 6\nA5 0.1 5\nnot a line\nA6 0.9 6\n");
       },
       "Genetic variance of focal animals calculated as genetic variance * (1-mean(f))\n",
       {0, 0, 0, 0, 0, 0.1, 0.2}, true, false},
      {"external file missing: computed all the same for A_focal",
       [](auto& in) {
         in.read_external_inbreeding = in.relationships_needed = true;
         in.external_inbreeding_file = "absent.inb  ";
       },
       "absent.inb does not exist\nGenetic variance of focal animals assumed equal to the genetic variance\n",
       fx::textbook_f, true, true},
      {"groups counted from the largest code; the external file ignored",
       [](auto& in) {
         in.pedigree_file = put("ped", "1 7 8\n2 8 7\n3 1 2\n4 1 8\n5 4 3\n6 5 2\n");
         in.groups_allowed = in.read_external_inbreeding = true;
         in.external_inbreeding_file = put("my.inb", "x\n");
       },
       "", {0, 0, 0, 0, 0, 0.125, 0.125, 0, 0}, true, false},
      {"metafounders", metafounders, "", fx::textbook_mf_f, true, false},
      {"method 7 with its selfing file",
       [](auto& in) { in.inbreeding_method = 7; in.self_generations_file = put("self", "6 1\n"); }, "",
       {0, 0, 0, 0, 0, 0.125, 0.5625}, true, false},
      {"method 9 with its file of coefficients",
       [](auto& in) {
         metafounders(in);
         in.inbreeding_method = 9;
         in.inb_mf_file = put("mf.txt", "1 0.1\n2 0.1\n3 0.3\n4 0.1\n5 0.2\n6 0.25\n");
       },
       "", {0, 0.1, 0.1, 0.3, 0.1, 0.2, 0.25, 0.1}, true, false},
  };
  for (const row& c : rows) {
    SCOPED_TRACE(c.name);
    scoped_work_dir w;
    const run_result rr = phase(c.edit);
    const pedigree_phase_result& r = rr.r;
    EXPECT_EQ(rr.out, "Reading and renumbering pedigree\nDone\n" + c.out);
    ASSERT_EQ(r.inb.size(), c.inb.size());
    for (std::size_t k = 0; k < c.inb.size(); ++k) EXPECT_NEAR(r.inb[k], c.inb[k], 1e-15) << k;
    EXPECT_EQ(r.inbreeding_known, c.known);
    EXPECT_EQ(r.external_inbreeding_missing, c.missing);
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
  const std::vector<std::pair<edit_fn, std::string>> rows = {
      {[](auto& in) { in.pedigree_file = put("ped", "1 0 0\n2 1 2000000000\n"); in.groups_allowed = true; },
       "The largest parent code in the pedigree file is 2000000000, far more than its 2 lines"},
      {[](auto& in) { metafounders(in); in.pedigree_file = put("ped", "1 7 8\n2 8 7\n"); },
       "The pedigree file ped uses group codes up to 8 (6 metafounders after its 2 animals)"},
  };
  for (const auto& [edit, message] : rows) {
    scoped_work_dir w;
    EXPECT_EQ(stop_lines([&] { phase(edit); }).front(), message);
  }
  // A gap in the numbers, but a modest one, is read; method 1 is not warned of on so many
  // animals, since they have no ancestry to trace.
  scoped_work_dir w;
  testing::internal::CaptureStderr();
  const run_result rr = phase([](auto& in) { in.pedigree_file = put("ped", "1 0 0\n500000 1 0\n"); });
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(rr.r.ped[500000].sire, 1);
}

TEST(pedigree_phase, focal_relationships_from_the_phase_are_the_focal_block) {
  // The textbook with a metafounder: its relationships come from Gamma.
  scoped_work_dir w;
  const run_result rr = phase(metafounders);
  const std::vector<std::int32_t> animals = {1, 5, 6, 3};
  ventrel::linalg::dense_matrix a;
  captured_stdout([&] { a = focal_relationships(rr.r, animals, 2); });
  const auto ref = ventrel::reference::tabular_a(fx::to_reference(fx::textbook_mf(), 1, {0.2}));
  for (std::size_t k = 0; k < animals.size(); ++k)
    for (std::size_t j = 0; j < animals.size(); ++j)
      EXPECT_NEAR(a(static_cast<int>(k), static_cast<int>(j)), ref(animals[k] - 1, animals[j] - 1), 1e-10);
}
