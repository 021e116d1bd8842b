// A single-step run from genotypes: se exact with OPTION SNP_file gives the same report as se
// exact with OPTION readHInverse of the H-inverse it wrote, and the two ways to H among the
// focal animals give the same report.
#include "validation/run.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/test_support.hpp"

namespace ventrel::validation {
namespace {

using namespace test_support;
namespace fs = std::filesystem;

std::string read_all(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// Runs the program in the work folder on the parameter file with the given OPTION lines
// replacing the SNP_file and save_H_inverse lines of the fixture; returns ventrel.log.
std::string run_with(const std::string& options) {
  std::string par = read_all("parameters.txt");
  par = par.substr(0, par.find("OPTION SNP_file")) + options;
  std::ofstream("run.par", std::ios::binary) << par;
  fs::remove("ventrel.log");
  captured_stdout([&] {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(run(command_line{{"run.par"}}), 0);
    ::testing::internal::GetCapturedStderr();
  });
  return read_all("ventrel.log");
}

TEST(run_genomic, se_exact_from_genotypes_equals_se_exact_from_the_h_inverse_it_wrote) {
  scoped_work_dir work;
  const fs::path fixture = fs::path(VENTREL_SOURCE_DIR) / "tests/e2e/fixtures/two_traits_exact_snp";
  for (const auto& e : fs::directory_iterator(fixture))
    if (e.is_regular_file()) fs::copy_file(e.path(), e.path().filename());
  const std::string closed = run_with("OPTION SNP_file snp.txt\nOPTION save_H_inverse Hsaved.txt\n");
  ASSERT_TRUE(fs::exists("Hsaved.txt"));
  const std::string from_file = run_with("OPTION readHInverse Hsaved.txt\n");
  const std::string inverse = run_with("OPTION SNP_file snp.txt\nOPTION H_focal inverse\n");
  EXPECT_NE(closed.find("Reliability"), std::string::npos);
  EXPECT_EQ(from_file, closed);
  EXPECT_EQ(inverse, closed);
  // Other weights change the report, and both ways still agree.
  const std::string weighted = run_with("OPTION SNP_file snp.txt\nOPTION H_weights 1 0.7\n");
  EXPECT_NE(weighted, closed);
  EXPECT_EQ(run_with("OPTION SNP_file snp.txt\nOPTION H_weights 1 0.7\nOPTION H_focal inverse\n"), weighted);
}

}  // namespace
}  // namespace ventrel::validation
