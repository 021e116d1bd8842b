// The genomic options: when they are read, the H method, the way it selects, and the files named
// (what they print is in the end-to-end runs' output).
#include "genomic/options.hpp"

#include <gtest/gtest.h>

#include "support/test_support.hpp"

namespace ventrel::genomic {
namespace {

using namespace test_support;

TEST(genomic_options, read_when_present_with_the_h_method_and_the_files) {
  struct row {
    std::string options;
    bool read;
    int h_method;
    bool inverse;  // uses_inverse_relationships
    std::string snp_file, gamma_file;
  };
  std::vector<row> rows = {
      {"OPTION se exact\nOPTION metafounders_gamma gamma.txt\n", false, 0, false, "", "gamma.txt"},
      {"OPTION readHInverse Hinv.txt\n", true, 3, true, "", ""},
  };
  for (int m : {1, 2, 3, 4, 5, 6, 7, 8})
    rows.push_back({"OPTION SNP_file geno.txt\nOPTION whichH " + std::to_string(m) + "\n", true, m,
                    m == 3 || m == 4 || m == 5 || m == 7, "geno.txt", ""});
  for (const row& r : rows) {
    SCOPED_TRACE(r.options);
    const parfile::option_store store(write_temp("genomic_options.txt", "DATAFILE\nx\n" + r.options));
    genomic_options g;
    captured_stdout([&] { g = read_genomic_options(store); });
    EXPECT_EQ(g.read, r.read);
    EXPECT_EQ(g.h_method, r.h_method);
    EXPECT_EQ(uses_inverse_relationships(g), r.inverse);
    EXPECT_EQ(g.snp_file_given ? g.snp_file : "", r.snp_file);
    EXPECT_EQ(g.metafounders_gamma_file, r.gamma_file);
  }
}

TEST(genomic_options, a_which_h_that_is_no_whole_number_stops_naming_the_line) {
  const std::string path = write_temp("genomic_options.txt", "DATAFILE\nx\nOPTION SNP_file g\nOPTION whichH 2.5\n");
  const parfile::option_store store(path);
  EXPECT_EQ(stop_lines([&] { captured_stdout([&] { read_genomic_options(store); }); }).front(),
            "OPTION whichH needs a whole number: 2.5");
}

}  // namespace
}  // namespace ventrel::genomic
