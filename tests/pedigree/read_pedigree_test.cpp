// Tests of count_pedigree and read_pedigree.
#include "pedigree/read_pedigree.hpp"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

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
  for (const row& r : rows)
    for (int threads : {1, 2, 3}) {  // the lines cut into pieces parsed side by side
      SCOPED_TRACE(r.name + ", threads " + std::to_string(threads));
      ventrel::line_reader file(write_temp("read_pedigree_rows", r.text));
      const pedigree_count c = count_pedigree(file, threads);
      auto fields = [](const pedigree_count& k) {
        return std::tuple(k.n, k.maxid, k.lines, k.n_line, k.maxid_line, k.stop_line, k.stop_text);
      };
      EXPECT_EQ(fields(c), fields(r.count));
      pedigree_table ped;
      read_pedigree(file, c.n, r.groups, ped, nullptr, threads);
      EXPECT_EQ(fx::flat(ped), r.ped);
    }
}

TEST(read_pedigree, rewinds_an_open_file_and_counts_animals_given_again_with_other_parents) {
  // Animals 2 and 3 repeated with the same parents are no repeat; animal 3 given twice more with
  // others is, twice, and its first line is still line 4.
  for (int threads : {1, 3}) {
    SCOPED_TRACE(threads);
    ventrel::line_reader file(
        write_temp("read_pedigree_repeats", "4 3 2\n1 0 0\n2 1 0\n3 1 2\n3 1 2\n2 1 0\n3 2 1\n3 0 0\n"));
    std::string_view line;
    file.next(line);
    const pedigree_count c = count_pedigree(file, threads);
    EXPECT_EQ(c.n, 4);  // from the line read before
    pedigree_table ped;
    pedigree_repeats r;
    read_pedigree(file, c.n, false, ped, &r, threads);
    EXPECT_EQ(r.count, 2);
    EXPECT_EQ(r.first, 3);
    EXPECT_EQ(r.first_line, 4);
    EXPECT_EQ(r.repeat_line, 7);
    EXPECT_EQ(fx::flat(ped), (std::vector<std::int32_t>{0, 0, 0, 0, 1, 0, 0, 0, 3, 2}));  // the last line holds
    ASSERT_TRUE(file.next(line));
    EXPECT_EQ(line, "4 3 2");
  }
}

// Faults after the line that ends the records are never heard of, and the first fault before it
// is named, whatever the number of threads: a long file, so that the pieces fall on either side.
TEST(read_pedigree, any_number_of_threads_names_the_first_fault_and_ignores_lines_after_the_end) {
  std::string ok;
  for (int a = 1; a <= 300; ++a) ok += std::to_string(a) + " " + std::to_string(a > 2 ? a - 2 : 0) + " 0\n";
  const std::string after_end = ok.substr(0, ok.find("21 19 0")) + "end of the records\n" + ok + "5 -1 0\n";
  const std::string two_faults = ok + "7 -3 0\n" + ok + "8 999 0\n";
  for (int threads : {1, 2, 3, 5}) {
    SCOPED_TRACE(threads);
    ventrel::line_reader a(write_temp("read_pedigree_end", after_end));
    const pedigree_count c = count_pedigree(a, threads);
    EXPECT_EQ(c.stop_line, 21);
    EXPECT_EQ(c.lines, 20);
    pedigree_table ped;
    read_pedigree(a, c.n, false, ped, nullptr, threads);
    EXPECT_EQ(fx::flat(ped).size(), 42u);
    EXPECT_EQ(ped[20].sire, 18);
    const std::string path = write_temp("read_pedigree_faults", two_faults);
    ventrel::line_reader b(path);
    const pedigree_count d = count_pedigree(b, threads);
    EXPECT_EQ(d.n_line, 300);  // the first line of the largest animal, not its repeat
    EXPECT_EQ(ventrel::test_support::stop_lines([&] { read_pedigree(b, d.n, false, ped, nullptr, threads); }),
              (std::vector<std::string>{"Negative parent code in the pedigree file: -3", "file " + path + ", line 301"}));
  }
}
