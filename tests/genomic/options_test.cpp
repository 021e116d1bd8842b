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
    bool read;  // "the genomic options are read" is printed
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
    const std::string out = captured_stdout([&] { g = read_genomic_options(store); });
    EXPECT_EQ(out.find("the genomic options are read") != std::string::npos, r.read);
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

TEST(genomic_options, the_settings_of_h_from_genotypes_are_read_echoed_and_checked) {
  const std::string path = write_temp("genomic_options.txt",
                                      "DATAFILE\nx\nOPTION SNP_file g.txt\nOPTION SNP_xref g.ids\n"
                                      "OPTION marker_callrate 0.8\nOPTION animal_callrate 0.85\nOPTION min_maf 0.01\n"
                                      "OPTION tune_G 0\nOPTION blend_G 0.9 0.1\nOPTION H_weights 1 0.7\n"
                                      "OPTION save_H_inverse h.txt\nOPTION H_focal inverse\n");
  const parfile::option_store store(path);
  genomic_options g;
  const std::string out = captured_stdout([&] { g = read_genomic_options(store); });
  const single_step_settings& s = g.single_step;
  EXPECT_EQ(s.snp_file, "g.txt");
  EXPECT_EQ(s.xref_file, "g.ids");
  EXPECT_EQ(s.qc.marker_callrate, 0.8);
  EXPECT_EQ(s.qc.animal_callrate, 0.85);
  EXPECT_EQ(s.qc.min_maf, 0.01);
  EXPECT_FALSE(s.tune);
  EXPECT_EQ(s.alpha, 0.9);
  EXPECT_EQ(s.beta, 0.1);
  EXPECT_EQ(s.weights.tau, 1.0);
  EXPECT_EQ(s.weights.omega, 0.7);
  EXPECT_EQ(s.save_file, "h.txt");
  EXPECT_EQ(s.way, h_focal_way::inverse);
  EXPECT_EQ(out,
            "the genomic options are read\n* H Genomic Relationship method (WhichH= 3)\n* SNP file: g.txt\n"
            "* Cross-reference file of the genotyped animals: g.ids\n"
            "* Minimum call rate of a marker (default 0.90): 0.8\n"
            "* Minimum call rate of an animal (default 0.90): 0.85\n"
            "* Minimum minor allele frequency (default 0.05): 0.01\n* Tuning of G to A22 (default 1): 0\n"
            "* Blending of G (default 0.95 G + 0.05 A22): 0.9 G + 0.1 A22\n"
            "* Weights of G-inverse and A22-inverse in H-inverse (default 1 1): 1 0.7\n"
            "* Write H-inverse to file: h.txt\n* H among focal animals (default closed): inverse\n");

  auto stop = [](const std::string& line) {
    return [line] {
      const parfile::option_store st(write_temp("genomic_bad.txt", "DATAFILE\nx\nOPTION SNP_file g\n" + line + "\n"));
      captured_stdout([&] { read_genomic_options(st); });
    };
  };
  const std::string at = "file " + ::testing::TempDir() + "genomic_bad.txt, line 4";
  expect_stops({
      {"maf", stop("OPTION min_maf 0.6"), {"OPTION min_maf needs a number from 0 to 0.5: 0.6", at}},
      {"call rate", stop("OPTION marker_callrate high"), {"OPTION marker_callrate needs a number from 0 to 1: high", at}},
      {"blend one", stop("OPTION blend_G 0.9"), {"OPTION blend_G needs 2 numbers from 0 to 1: 0.9", at}},
      {"blend zero", stop("OPTION blend_G 0 1"), {"OPTION blend_G needs a weight of G above 0: 0 1", at}},
      {"tune", stop("OPTION tune_G 0.5"), {"OPTION tune_G needs 0 (off) or 1 (on): 0.5", at}},
      {"weights", stop("OPTION H_weights -1 1"), {"OPTION H_weights needs 2 numbers from 0 to 100: -1 1", at}},
      {"way", stop("OPTION H_focal sparse"), {"OPTION H_focal needs closed or inverse: sparse", at}},
      {"save", stop("OPTION save_H_inverse"), {"OPTION save_H_inverse needs a file name", at}},
  });
}

}  // namespace
}  // namespace ventrel::genomic
