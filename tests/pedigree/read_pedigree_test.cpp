// Tests of count_pedigree and read_pedigree.
#include "pedigree/read_pedigree.hpp"

#include <gtest/gtest.h>

#include <tuple>

#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;
using ventrel::test_support::write_temp;

TEST(read_pedigree, counts_and_reads_the_parents_by_animal_number) {
  struct row {
    std::string name, text;
    bool groups;
    pedigree_count count;            // what count_pedigree finds
    std::vector<std::int32_t> ped;  // sire and dam of 0..n as read (fx::flat)
  };
  const std::string head = "1 0 0\n\n2 1 0\n";  // a blank line is skipped
  const std::vector<std::int32_t> head_ped = {0, 0, 0, 0, 1, 0};
  const pedigree_count head_count = {2, 2, 2, 3, 3, 4, ""};
  std::vector<row> rows = {
      {"further values, commas, a group code", "3 1 2 extra 7.5\n1 0 0\n2,0,9\n", true,
       {3, 9, 3, 1, 3, 0, ""}, {0, 0, 0, 0, 0, 9, 1, 2}},
      {"absent animals have unknown parents", "5 1 2\n1 0 0\n2 0 0\n", false,
       {5, 5, 3, 1, 1, 0, ""}, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2}},
      {"animal zero or negative skipped", "0 1 1\n-2 1 1\n2 1 0\n1 0 0\n", false,
       {2, 2, 4, 3, 3, 0, ""}, {0, 0, 0, 0, 1, 0}},
  };
  // The first line that is not three integers ends the reading; later lines are not read.
  for (const char* bad : {"4 1", "4 1 x", "4 1 2.0", "4 1 99999999999", " / 1 2"}) {
    pedigree_count c = head_count;
    c.stop_text = bad;
    rows.push_back({bad, head + bad + "\n3 1 2\n", false, c, head_ped});
  }
  for (const row& r : rows) {
    SCOPED_TRACE(r.name);
    const std::string path = write_temp("read_pedigree_rows", r.text);
    const pedigree_count c = count_pedigree(path);
    auto fields = [](const pedigree_count& k) {
      return std::tuple(k.n, k.maxid, k.lines, k.n_line, k.maxid_line, k.stop_line, k.stop_text);
    };
    EXPECT_EQ(fields(c), fields(r.count));
    pedigree_table ped;
    read_pedigree(path, c.n, r.groups, ped);
    EXPECT_EQ(fx::flat(ped), r.ped);
  }
}

TEST(read_pedigree, rewinds_an_open_file_and_counts_animals_given_again_with_other_parents) {
  // Animals 2 and 3 repeated with the same parents are no repeat; animal 3 given twice more with
  // others is, twice, and its first line is still line 4.
  ventrel::line_reader file(
      write_temp("read_pedigree_repeats", "4 3 2\n1 0 0\n2 1 0\n3 1 2\n3 1 2\n2 1 0\n3 2 1\n3 0 0\n"));
  std::string_view line;
  file.next(line);
  const pedigree_count c = count_pedigree(file);
  EXPECT_EQ(c.n, 4);  // from the line read before
  pedigree_table ped;
  pedigree_repeats r;
  read_pedigree(file, c.n, false, ped, &r);
  EXPECT_EQ(r.count, 2);
  EXPECT_EQ(r.first, 3);
  EXPECT_EQ(r.first_line, 4);
  EXPECT_EQ(r.repeat_line, 7);
  EXPECT_EQ(fx::flat(ped), (std::vector<std::int32_t>{0, 0, 0, 0, 1, 0, 0, 0, 3, 2}));  // the last line holds
  ASSERT_TRUE(file.next(line));
  EXPECT_EQ(line, "4 3 2");
}
