// The genomic options: when they are read, the H method and the way it selects.
#include "genomic/options.hpp"

#include <gtest/gtest.h>

#include <fstream>

#include "common/fatal.hpp"

namespace ventrel::genomic {
namespace {

genomic_options read_from(const std::string& options, std::string& printed) {
  std::string path = ::testing::TempDir() + "genomic_options.txt";
  std::ofstream(path) << "DATAFILE\nx\n" << options;
  parfile::option_store store(path);
  ::testing::internal::CaptureStdout();
  genomic_options g = read_genomic_options(store);
  printed = ::testing::internal::GetCapturedStdout();
  return g;
}

TEST(genomic_options, absent_means_the_pedigree_way) {
  std::string printed;
  genomic_options g = read_from("OPTION se exact\n", printed);
  EXPECT_FALSE(g.read);
  EXPECT_EQ(g.h_method, 0);
  EXPECT_FALSE(uses_inverse_relationships(g));
  EXPECT_EQ(printed, "");
}

TEST(genomic_options, read_hinverse_reads_them_with_method_3) {
  std::string printed;
  genomic_options g = read_from("OPTION readHInverse Hinv.txt\n", printed);
  EXPECT_TRUE(g.read);
  EXPECT_EQ(g.h_method, 3);
  EXPECT_TRUE(uses_inverse_relationships(g));
  EXPECT_EQ(printed, "the genomic options are read\n* H Genomic Relationship method (WhichH= 3)\n");
}

TEST(genomic_options, methods_other_than_3_4_5_7_take_the_pedigree_way) {
  std::string printed;
  for (int m : {1, 2, 6, 8}) {
    genomic_options g = read_from("OPTION SNP_file geno.txt\nOPTION whichH " + std::to_string(m) + "\n", printed);
    EXPECT_EQ(g.h_method, m);
    EXPECT_FALSE(uses_inverse_relationships(g)) << m;
  }
  for (int m : {3, 4, 5, 7}) EXPECT_TRUE(uses_inverse_relationships(read_from("OPTION SNP_file g\nOPTION whichH " + std::to_string(m) + "\n", printed)));
}

TEST(genomic_options, a_which_h_that_is_no_whole_number_stops_naming_the_line) {
  std::string printed;
  try {
    read_from("OPTION SNP_file g\nOPTION whichH 2.5\n", printed);
    FAIL();
  } catch (const fatal_error& e) {
    ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(e.lines(), (std::vector<std::string>{"OPTION whichH needs a whole number: 2.5",
                                                   "file " + ::testing::TempDir() + "genomic_options.txt, line 4"}));
  }
}

}  // namespace
}  // namespace ventrel::genomic
