// Tests of count_pedigree and read_pedigree.
#include "pedigree/read_pedigree.hpp"

#include <gtest/gtest.h>

#include "common/fatal.hpp"
#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
using pedigree_fixtures::temp_dir;

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

TEST(read_pedigree, counts_largest_animal_and_largest_code) {
  temp_dir t;
  const std::string p = t.file("ped", "3 1 2\n1 0 0\n2 0 9\n");
  const pedigree_count c = count_pedigree(p);
  EXPECT_EQ(c.n, 3);
  EXPECT_EQ(c.maxid, 9);
  EXPECT_EQ(c.lines, 3);
  EXPECT_EQ(c.n_line, 1);
  EXPECT_EQ(c.maxid_line, 3);
}

TEST(read_pedigree, reads_parents_by_animal_number_and_ignores_further_values) {
  temp_dir t;
  const std::string p = t.file("ped", "3 1 2 extra 7.5\n1 0 0\n2,0,0\n");
  pedigree_table ped;
  read_pedigree(p, 3, false, ped);
  ASSERT_EQ(ped.size(), 4u);
  EXPECT_EQ(ped[3].sire, 1);
  EXPECT_EQ(ped[3].dam, 2);
  EXPECT_EQ(ped[0].sire, 0);
}

TEST(read_pedigree, absent_animals_keep_unknown_parents) {
  temp_dir t;
  const std::string p = t.file("ped", "5 1 2\n1 0 0\n2 0 0\n");
  const pedigree_count c = count_pedigree(p);
  EXPECT_EQ(c.n, 5);
  pedigree_table ped;
  read_pedigree(p, c.n, false, ped);
  EXPECT_EQ(ped[3].sire, 0);
  EXPECT_EQ(ped[4].dam, 0);
  EXPECT_EQ(ped[5].dam, 2);
}

TEST(read_pedigree, skips_lines_whose_animal_is_zero_or_negative) {
  temp_dir t;
  const std::string p = t.file("ped", "0 1 1\n-2 1 1\n2 1 0\n1 0 0\n");
  const pedigree_count c = count_pedigree(p);
  EXPECT_EQ(c.n, 2);
  pedigree_table ped;
  read_pedigree(p, c.n, false, ped);
  EXPECT_EQ(ped[2].sire, 1);
  EXPECT_EQ(ped[1].sire, 0);
}

TEST(read_pedigree, stops_at_the_first_line_not_three_integers_and_tells_which) {
  temp_dir t;
  for (const char* bad : {"4 1\n", "4 1 x\n", "4 1 2.0\n", "4 1 99999999999\n"}) {
    const std::string p = t.file("ped", std::string("1 0 0\n\n2 1 0\n") + bad + "3 1 2\n");
    const pedigree_count c = count_pedigree(p);
    EXPECT_EQ(c.n, 2) << bad;
    EXPECT_EQ(c.stop_line, 4) << bad;
    EXPECT_EQ(c.stop_text + "\n", bad);
    pedigree_table ped;
    read_pedigree(p, c.n, false, ped);
    EXPECT_EQ(ped.size(), 3u) << bad;
    EXPECT_EQ(ped[2].sire, 1) << bad;
  }
}

TEST(read_pedigree, counts_animals_given_again_with_other_parents) {
  temp_dir t;
  // Animal 2 repeated with the same parents is no repeat; animal 3 twice with others is, twice.
  ventrel::line_reader file(t.file("ped", "1 0 0\n2 1 0\n3 1 2\n2 1 0\n3 2 1\n3 0 0\n"));
  const pedigree_count c = count_pedigree(file);
  EXPECT_EQ(c.stop_line, 0);
  pedigree_table ped;
  pedigree_repeats r;
  read_pedigree(file, c.n, false, ped, &r);
  EXPECT_EQ(r.count, 2);
  EXPECT_EQ(r.first, 3);
  EXPECT_EQ(r.first_line, 3);
  EXPECT_EQ(r.repeat_line, 5);
  EXPECT_EQ(ped[3].sire, 0);  // the last line holds
  EXPECT_EQ(ped[2].sire, 1);
}

TEST(read_pedigree, rewinds_an_open_file_before_and_after) {
  temp_dir t;
  ventrel::line_reader file(t.file("ped", "2 1 0\n1 0 0\n"));
  std::string_view line;
  file.next(line);
  const pedigree_count c = count_pedigree(file);
  EXPECT_EQ(c.n, 2);
  pedigree_table ped;
  read_pedigree(file, c.n, false, ped);
  EXPECT_EQ(ped[2].sire, 1);
  ASSERT_TRUE(file.next(line));
  EXPECT_EQ(line, "2 1 0");
}

TEST(read_pedigree, group_codes_above_n_are_kept_when_groups_are_allowed) {
  temp_dir t;
  const std::string p = t.file("ped", "1 3 4\n2 1 3\n");
  const pedigree_count c = count_pedigree(p);
  EXPECT_EQ(c.n, 2);
  EXPECT_EQ(c.maxid, 4);
  pedigree_table ped;
  read_pedigree(p, c.n, true, ped);
  EXPECT_EQ(ped[1].sire, 3);
  EXPECT_EQ(ped[1].dam, 4);
}

TEST(read_pedigree, parent_code_above_n_without_groups_stops_naming_file_line_and_code) {
  temp_dir t;
  const std::string p = t.file("ped", "1 0 0\n2 1 7\n");
  pedigree_table ped;
  const std::string msg = fatal_text([&] { read_pedigree(p, 2, false, ped); });
  EXPECT_NE(msg.find("Parent code above the number of animals in the pedigree file: 7"), std::string::npos)
      << msg;
  EXPECT_NE(msg.find("file " + p + ", line 2"), std::string::npos) << msg;
}

TEST(read_pedigree, negative_parent_code_stops_naming_the_line) {
  temp_dir t;
  const std::string p = t.file("ped", "1 0 -3\n");
  pedigree_table ped;
  const std::string msg = fatal_text([&] { read_pedigree(p, 1, true, ped); });
  EXPECT_NE(msg.find("Negative parent code in the pedigree file: -3"), std::string::npos) << msg;
  EXPECT_NE(msg.find("line 1"), std::string::npos) << msg;
}
