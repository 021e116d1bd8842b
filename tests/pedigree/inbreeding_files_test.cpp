// Tests of the files of methods 7 and 9: selfing generations and inb_mf.txt (method 9 reading
// its file: pedigree_phase_test.cpp).
#include <gtest/gtest.h>

#include "pedigree/inbreeding.hpp"
#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;
using namespace ventrel::test_support;

TEST(inbreeding_files, self_generations_default_to_zero_and_the_last_line_holds) {
  const std::vector<std::int32_t> g = read_self_generations(write_temp("inbreeding_files_gen", "2 3\n\n4 1\n2 5\n"), 5);
  EXPECT_EQ(g, (std::vector<std::int32_t>{0, 0, 5, 0, 1, 0}));
}

TEST(inbreeding_files, bad_files_stop_naming_the_file_and_line) {
  auto self = [](const std::string& text) {
    return [text] { read_self_generations(write_temp("inbreeding_files_self", text), 5); };
  };
  auto inb = [](const std::string& text) {
    return [text] { read_inbreeding_file(write_temp("inbreeding_files_inb", text), 2, 1); };
  };
  const std::string inb_path = ::testing::TempDir() + "inbreeding_files_inb";
  const std::string self_path = ::testing::TempDir() + "inbreeding_files_self";
  expect_stops({
      {"self: animal", self("1 2\n7 1\n"),
       {"Animal 7 is not in the pedigree (animals 1 to 5)", "file " + self_path + ", line 2"}},
      {"self: range", self("1 1001\n"), {"Number of self-breeding generations out of range (0 to 1000): 1001", "*"}},
      {"self: 1000 generations", self("1 1000\n"), {}},
      {"inb: missing", [] { read_inbreeding_file("/nonexistent/inb_mf.txt", 2, 1); },
       {"File /nonexistent/inb_mf.txt does not exist"}},
      {"inb: animal without a line (3 is the metafounder)", inb("2 0.125\n3 0.5\n"),
       {"Animal 1 has no inbreeding coefficient in file " + inb_path}},
      {"inb: beyond the metafounder", inb("1 0.1\n4 0.1\n"), {"Animal 4 is not in the pedigree (animals 1 to 2)", "*"}},
      {"inb: value", inb("1 0.1\n2 abc\n"),
       {"Cannot read animal and inbreeding coefficient", "file " + inb_path + ", line 2"}},
  });
}
