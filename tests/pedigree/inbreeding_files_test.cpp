// Tests of the files of methods 7 and 9: selfing generations and inb_mf.txt.
#include <gtest/gtest.h>

#include <functional>

#include "common/fatal.hpp"
#include "pedigree/inbreeding.hpp"
#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;

namespace {

std::string fatal_text(const std::function<void()>& f) {
  try {
    f();
  } catch (const ventrel::fatal_error& e) {
    return e.what();
  }
  return "(no stop)";
}

}  // namespace

TEST(inbreeding_files, self_generations_default_to_zero) {
  fx::temp_dir t;
  const std::vector<std::int32_t> g = read_self_generations(t.file("s", "2 3\n\n4 1\n2 5\n"), 5);
  EXPECT_EQ(g, (std::vector<std::int32_t>{0, 0, 5, 0, 1, 0}));
}

TEST(inbreeding_files, self_generations_errors_name_the_file_and_line) {
  fx::temp_dir t;
  std::string p = t.file("s", "1 2\n7 1\n");
  EXPECT_NE(fatal_text([&] {
              read_self_generations(p, 5);
            }).find("Animal 7 is not in the pedigree (animals 1 to 5)\nfile " + p + ", line 2"),
            std::string::npos);
  p = t.file("s2", "1 x\n");
  EXPECT_NE(fatal_text([&] { read_self_generations(p, 5); }).find("line 1"), std::string::npos);
  p = t.file("s3", "1 -1\n");
  EXPECT_NE(fatal_text([&] { read_self_generations(p, 5); }).find("out of range"), std::string::npos);
  EXPECT_EQ(fatal_text([&] { read_self_generations("/nonexistent/s", 5); }),
            "File of self-breeding generations /nonexistent/s does not exist");
}

TEST(inbreeding_files, method_9_reads_inb_mf_with_metafounders) {
  fx::temp_dir t;
  const pedigree_table ped = {{0, 0}, {3, 3}, {1, 3}};
  const std::vector<double> gamma = {0.3};
  inbreeding_options opt;
  opt.method = 9;
  opt.inb_mf_file = t.file("inb_mf.txt", "1 0.15\n2 0.125\n3 0.7\n");
  std::vector<double> inb;
  compute_inbreeding(ped, inb, opt, group_info{1, gamma});
  EXPECT_EQ(inb, (std::vector<double>{0.0, 0.15, 0.125, 0.15}));  // the metafounder's from Gamma
}

TEST(inbreeding_files, method_9_missing_file_or_animal_stops_naming_it) {
  fx::temp_dir t;
  const pedigree_table ped = {{0, 0}, {3, 3}, {1, 3}};
  const std::vector<double> gamma = {0.3};
  inbreeding_options opt;
  opt.method = 9;
  opt.inb_mf_file = (t.path / "inb_mf.txt").string();
  std::vector<double> inb;
  EXPECT_EQ(fatal_text([&] {
              compute_inbreeding(ped, inb, opt, group_info{1, gamma});
            }),
            "File " + opt.inb_mf_file + " does not exist");
  t.file("inb_mf.txt", "2 0.125\n");
  EXPECT_EQ(fatal_text([&] {
              compute_inbreeding(ped, inb, opt, group_info{1, gamma});
            }),
            "Animal 1 has no inbreeding coefficient in file " + opt.inb_mf_file);
  t.file("inb_mf.txt", "1 0.1\n2 abc\n");
  EXPECT_NE(fatal_text([&] {
              compute_inbreeding(ped, inb, opt, group_info{1, gamma});
            }).find("line 2"),
            std::string::npos);
}

TEST(inbreeding_files, method_9_without_metafounders_computes) {
  const pedigree_table ped = fx::textbook();
  inbreeding_options opt;
  opt.method = 9;
  opt.inb_mf_file = "/nonexistent/inb_mf.txt";
  std::vector<double> inb;
  compute_inbreeding(ped, inb, opt);
  EXPECT_EQ(inb[6], 0.125);
}
