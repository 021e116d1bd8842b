// The genotype file and its cross-reference file: what is read, and every stop with the file,
// the line (and column) it names.
#include "genomic/genotypes.hpp"

#include <gtest/gtest.h>

#include "genomic/genotype_xref.hpp"
#include "support/test_support.hpp"

namespace ventrel::genomic {
namespace {

using namespace test_support;

TEST(genotypes, reads_identifiers_and_codes_skipping_blank_lines_and_line_ends) {
  temp_dir d;
  const std::string path = d.file("g.txt", "a1 0125\r\n\n  b2\t\t2210  \nc 5555");
  const genotype_table g = read_genotypes(path);
  ASSERT_EQ(g.animals, 3);
  ASSERT_EQ(g.markers, 4);
  EXPECT_EQ(g.ids, (std::vector<std::string>{"a1", "b2", "c"}));
  EXPECT_EQ(g.lines, (std::vector<std::int64_t>{1, 3, 4}));
  EXPECT_EQ(std::vector<std::uint8_t>(g.codes.begin(), g.codes.end()),
            (std::vector<std::uint8_t>{0, 1, 2, 5, 2, 2, 1, 0, 5, 5, 5, 5}));
}

TEST(genotypes, bad_files_stop_naming_file_line_and_column) {
  temp_dir d;
  auto read = [&](const std::string& text) {
    return [&d, text] { read_genotypes(d.file("bad.txt", text)); };
  };
  const std::string f = d.name("bad.txt");
  expect_stops({
      {"missing", [&] { read_genotypes(d.name("none.txt")); },
       {"The genotype file " + d.name("none.txt") + " does not exist", "It is named by OPTION SNP_file"}},
      {"empty", read("\n\n"), {"The genotype file " + f + " holds no animal", "It is named by OPTION SNP_file"}},
      {"no genotypes", read("a 012\nb\n"),
       {"No genotypes after the identifier b: file " + f + ", line 2",
        "A line holds an identifier, blanks, then one character (0, 1, 2 or 5) per marker"}},
      {"fewer markers", read("a 012\nb 01\n"),
       {"Line 2 of genotype file " + f + " has 2 markers, line 1 has 3",
        "Every animal needs a genotype for every marker (5 for a missing one)"}},
      {"bad character", read("a 012\nbb  0x2\n"),
       {"Character 'x' is not a genotype (0, 1, 2 or 5): file " + f + ", line 2, column 6", "  animal bb, marker 2"}},
      {"blank inside", read("a 0 12\n"),
       {"Character ' ' is not a genotype (0, 1, 2 or 5): file " + f + ", line 1, column 4", "  animal a, marker 2"}},
      {"twice", read("a 012\nb 111\na 222\n"), {"Animal a is given twice in genotype file " + f + ": lines 1 and 3"}},
  });
}

TEST(genotype_xref, gives_each_animal_its_level_and_stops_on_bad_lines) {
  temp_dir d;
  const genotype_table g = read_genotypes(d.file("g.txt", "x 01\ny 11\nz 22\n"));
  // A line for an animal that is not genotyped is skipped.
  EXPECT_EQ(read_genotype_xref(d.file("g.xref", "7 z\n2 x\n9 other\n\n4 y\n"), 10, g),
            (std::vector<std::int32_t>{2, 4, 7}));
  auto read = [&](const std::string& text) {
    return [&d, &g, text] { read_genotype_xref(d.file("bad.xref", text), 10, g); };
  };
  const std::string f = d.name("bad.xref");
  expect_stops({
      {"missing", [&] { read_genotype_xref(d.name("none"), 10, g); },
       {"The cross-reference file " + d.name("none") + " of the genotyped animals does not exist",
        "Name it with OPTION SNP_xref (by default the genotype file's name followed by .xref)"}},
      {"no level", read("1 x\n2 y\n"),
       {"Animal z has no level in cross-reference file " + f + ": genotype file " + d.name("g.txt") + ", line 3",
        "Every genotyped animal needs a line: its level in the animal effect, then its identifier"}},
      {"level beyond", read("1 x\n11 y\n3 z\n"),
       {"Level 11 is outside the levels 1..10 of the animal effect: file " + f + ", line 2"}},
      {"level zero", read("0 x\n"), {"Level 0 is outside the levels 1..10 of the animal effect: file " + f + ", line 1"}},
      {"level twice", read("1 x\n2 y\n1 z\n"),
       {"Level 1 is given twice in cross-reference file " + f + ": lines 1 and 3"}},
      {"animal twice", read("1 x\n2 y\n3 x\n"),
       {"Animal x is given twice in cross-reference file " + f + ": lines 1 and 3"}},
      {"not a level", read("x 1\n"), {"Cannot read a level and an identifier: file " + f + ", line 1", "  x 1"}},
  });
}

}  // namespace
}  // namespace ventrel::genomic
