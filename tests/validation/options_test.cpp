// The validation OPTIONs: echo lines, defaults, stops and the checks of the files.
#include "validation/options.hpp"

#include <gtest/gtest.h>
#include <omp.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "common/fatal.hpp"
#include "parfile/kelp_threads.hpp"

namespace ventrel::validation {
namespace {

// Each test runs in a fresh folder holding both default solution files.
class options_test : public ::testing::Test {
 protected:
  void SetUp() override {
    old_ = std::filesystem::current_path();
    dir_ = std::filesystem::path(::testing::TempDir()) /
           ("vo_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
    std::filesystem::current_path(dir_);
    touch("solutions_whole");
    touch("solutions_partial");
    model_.ntrait = 2;
    model_.neff = 3;
  }
  void TearDown() override { std::filesystem::current_path(old_); }

  static void touch(const std::string& name) { std::ofstream(name) << "x\n"; }

  // Reads the options of a parameter file holding lines; returns them and what was printed.
  std::pair<validation_options, std::string> read(const std::string& lines) {
    std::ofstream("par.txt") << lines;
    parfile::option_store store("par.txt");
    ::testing::internal::CaptureStdout();
    try {
      validation_options o = read_validation_options(store, model_);
      return {o, ::testing::internal::GetCapturedStdout()};
    } catch (...) {
      ::testing::internal::GetCapturedStdout();
      throw;
    }
  }

  std::vector<std::string> stop_of(const std::string& lines) {
    try {
      read(lines);
    } catch (const fatal_error& e) {
      return e.lines();
    }
    ADD_FAILURE() << "the run did not stop";
    return {};
  }

  std::filesystem::path old_, dir_;
  parfile::model_parameters model_;
};

const std::string validation_line = "OPTION validation 2 focal.txt\n";
// Where the stops of an option on the first or the second line of par.txt point.
const std::string on_line_1 = "file par.txt, line 1";
const std::string on_line_2 = "file par.txt, line 2";

TEST_F(options_test, defaults_with_only_the_validation_option) {
  auto [o, out] = read(validation_line);
  EXPECT_EQ(out, "* Validation for individuals in effect: 2\n"
                 "* File(s) containing validation set ids: focal.txt\n");
  EXPECT_EQ(o.focal_effect, 2);
  EXPECT_EQ(o.validation_files, std::vector<std::string>{"focal.txt"});
  EXPECT_FALSE(o.predictive_ability);
  EXPECT_EQ(o.sol_whole, "solutions_whole");
  EXPECT_EQ(o.sol_partial, "solutions_partial");
  EXPECT_EQ(o.solutions, "solutions");
  EXPECT_EQ(o.focal_var, "inb");
  EXPECT_EQ(o.se, se_method::none);
  EXPECT_FALSE(o.read_hinverse);
  EXPECT_EQ(o.hinverse_file, "Hinv.txt");
  EXPECT_EQ(o.inbreeding_method, 1);
  EXPECT_EQ(o.sparse, sparse_package::morlo);
  EXPECT_EQ(o.msg_morlo, 0);
  EXPECT_FALSE(o.read_external_inbreeding);
  EXPECT_EQ(o.nrepboot, 10000);
}

TEST_F(options_test, echoes_every_key_in_the_fixed_order) {
  touch("sol_and_acc_whole");
  touch("sol_and_acc_partial");
  touch("yhat_residual");
  const int threads_before = omp_get_max_threads();
  auto [o, out] = read("OPTION nthreads 2\n"
                       "OPTION nrepboot 500\n"
                       "OPTION readExternalInbreeding my.inb\n"
                       "OPTION num_threads_kelp 3\n"
                       "OPTION msg_MORLO 2\n"
                       "OPTION use_kelp\n"
                       "OPTION inbreeding_method 6\n"
                       "OPTION readHInverse H.txt\n"
                       "OPTION se boot\n"
                       "OPTION focal_var usr 1.5 2\n"
                       "OPTION prefix sol_and_acc\n"
                       "OPTION predictive_ability\n"
                       "OPTION validation 2 a.txt b.txt\n");
  EXPECT_EQ(out, "* Validation for individuals in effect: 2\n"
                 "* File(s) containing validation set ids: a.txt b.txt\n"
                 "* Calculate predictive ability from yhat_residual\n"
                 "* Solutions read from sol_and_acc_whole and sol_and_acc_partial\n"
                 "* Genetic variance of focal animals provided by the user\n"
                 "* Method to calculate confidence intervals for statistics: boot\n"
                 "* Read H inverse from file: H.txt\n"
                 " * Inbreeding method (default 1) 6\n"
                 "* sparse package: KELP\n"
                 "* message level in MORLO/KELP (default:0) 2\n"
                 " * number of threads for KELP: 3\n"
                 "* Read external ibreeding file (default=.false.)\n"
                 " * Inbreeding coefficients file: my.inb\n"
                 "* Number of bootstrap replicates (default:10000) 500\n"
                 " * Set number of threads calculations: 2\n");
  EXPECT_TRUE(o.predictive_ability);
  EXPECT_EQ(o.focal_var_usr, (std::vector<double>{1.5, 2}));
  EXPECT_EQ(o.se, se_method::boot);
  EXPECT_TRUE(o.read_hinverse);
  EXPECT_EQ(o.hinverse_file, "H.txt");
  EXPECT_EQ(o.inbreeding_method, 6);
  EXPECT_EQ(o.sparse, sparse_package::kelp);
  EXPECT_EQ(o.num_threads_kelp, 3);
  EXPECT_EQ(parfile::num_threads_kelp(), 3);
  EXPECT_TRUE(o.read_external_inbreeding);
  EXPECT_EQ(o.inbreeding_file, "my.inb");
  EXPECT_EQ(o.nrepboot, 500);
  EXPECT_EQ(o.nthreads, 2);
  EXPECT_EQ(omp_get_max_threads(), 2);
  omp_set_num_threads(threads_before);
}

TEST_F(options_test, one_validation_file_serves_any_number_of_traits) {
  model_.ntrait = 3;
  EXPECT_EQ(read("OPTION validation 1 f.txt\n").first.validation_files.size(), 1u);
  EXPECT_EQ(read("OPTION validation 1 f1 f2 f3\n").first.validation_files.size(), 3u);
  EXPECT_EQ(stop_of("OPTION validation 1 f1 f2\n"),
            (std::vector<std::string>{"* Number of files in OPTION validation should be 1 or ntrait: 2", on_line_1}));
  EXPECT_EQ(stop_of("OPTION validation 1\n"),
            (std::vector<std::string>{"* Number of files in OPTION validation should be 1 or ntrait: 0", on_line_1}));
}

TEST_F(options_test, validation_effect_must_be_an_effect_of_the_model) {
  EXPECT_EQ(stop_of("OPTION validation 4 f.txt\n"),
            (std::vector<std::string>{"The effect in OPTION validation must be a number from 1 to 3, found: 4", on_line_1}));
  EXPECT_EQ(stop_of("OPTION validation animal f.txt\n")[0],
            "The effect in OPTION validation must be a number from 1 to 3, found: animal");
  EXPECT_EQ(stop_of("OPTION se exact\n")[0].substr(0, 28), "OPTION validation is needed:");
}

TEST_F(options_test, se_needs_one_of_three_exact_words) {
  EXPECT_EQ(stop_of(validation_line + "OPTION se\n"),
            (std::vector<std::string>{"OPTION se needs a second argument:",
                                      "  OPTION se exact for exact standard errors",
                                      "  OPTION se approx for approximated standard errors",
                                      "  OPTION se boot for bootstrapping", on_line_2}));
  EXPECT_EQ(stop_of(validation_line + "OPTION se Exact\n"),
            (std::vector<std::string>{"Wrong argument OPTION se", "file par.txt, line 2: Exact"}));
  EXPECT_EQ(read(validation_line + "OPTION SE approx\n").first.se, se_method::approx);
}

TEST_F(options_test, se_approx_warns_about_the_solution_files) {
  auto [o, out] = read(validation_line + "OPTION se approx\n");
  EXPECT_NE(out.find("* Method to calculate confidence intervals for statistics: approx\n"
                     "    Warning: this option is usually coupled with OPTION prefix sol_and_acc\n"),
            std::string::npos);
}

TEST_F(options_test, focal_var_keeps_three_characters) {
  auto [o, out] = read(validation_line + "OPTION focal_var usrxyz 1 2\n");
  EXPECT_EQ(o.focal_var, "usr");
  EXPECT_EQ(o.focal_var_usr, (std::vector<double>{1, 2}));
  EXPECT_EQ(read(validation_line + "OPTION focal_var inbreeding\n").first.focal_var, "inb");
  EXPECT_EQ(read(validation_line + "OPTION focal_var xyz\n").first.focal_var, "xyz");
  EXPECT_EQ(stop_of(validation_line + "OPTION focal_var usr 1\n"),
            (std::vector<std::string>{"OPTION focal_var usr needs 2 genetic variance(s), one per trait; found 1", on_line_2}));
  EXPECT_EQ(stop_of(validation_line + "OPTION focal_var usr 1 abc\n"),
            (std::vector<std::string>{
                "OPTION focal_var usr: the genetic variance of trait 2 must be a positive number, found: abc", on_line_2}));
}

TEST_F(options_test, solution_files_must_be_present) {
  std::filesystem::remove("solutions_partial");
  EXPECT_EQ(stop_of(validation_line), std::vector<std::string>{"solutions_partial must be present"});
  std::filesystem::remove("solutions_whole");
  EXPECT_EQ(stop_of(validation_line), std::vector<std::string>{"solutions_whole must be present"});
  EXPECT_EQ(stop_of(validation_line + "OPTION prefix run1\n"),
            std::vector<std::string>{"run1_whole must be present"});
}

TEST_F(options_test, predictive_ability_needs_yhat_residual) {
  EXPECT_EQ(stop_of(validation_line + "OPTION predictive_ability\n"),
            std::vector<std::string>{"yhat_residual file must be present"});
}

TEST_F(options_test, se_exact_needs_ebv_pev_files_of_every_trait) {
  for (const char* f : {"ebv_pev_1_1_whole", "ebv_pev_1_1_partial", "ebv_pev_2_1_whole"}) touch(f);
  EXPECT_EQ(stop_of(validation_line + "OPTION se exact\n"),
            (std::vector<std::string>{"File ebv_pev_2_1_partial does not exist",
                                      "It is necessary to obtain analytical confidence intervals"}));
  touch("ebv_pev_2_1_partial");
  EXPECT_EQ(read(validation_line + "OPTION se exact\n").first.se, se_method::exact);
}

TEST_F(options_test, external_inbreeding_file_defaults_to_ranolt_inb) {
  auto [o, out] = read(validation_line + "OPTION ReadExternalInbreeding\n");
  EXPECT_TRUE(o.read_external_inbreeding);
  EXPECT_EQ(o.inbreeding_file, "ranolt.inb");
  EXPECT_NE(out.find(" * Inbreeding coefficients file: ranolt.inb\n"), std::string::npos);
  EXPECT_EQ(read(validation_line + "OPTION readHInverse\n").first.hinverse_file, "Hinv.txt");
}

TEST_F(options_test, whole_number_options_reject_bad_values) {
  EXPECT_EQ(stop_of(validation_line + "OPTION nrepboot 0\n"),
            (std::vector<std::string>{"OPTION nrepboot must be at least 1, found: 0", on_line_2}));
  EXPECT_EQ(stop_of(validation_line + "OPTION nthreads two\n"),
            (std::vector<std::string>{"OPTION nthreads needs a whole number, found: two", on_line_2}));
  EXPECT_EQ(stop_of(validation_line + "OPTION inbreeding_method\n"),
            (std::vector<std::string>{"OPTION inbreeding_method needs a value", on_line_2}));
  EXPECT_EQ(read(validation_line + "OPTION num_threads_kelp 0\n").first.num_threads_kelp, 1);
}

TEST_F(options_test, counts_that_size_memory_or_threads_are_bounded) {
  EXPECT_EQ(stop_of(validation_line + "OPTION nrepboot 2000000000\n"),
            (std::vector<std::string>{"OPTION nrepboot must be at most 10000000, found: 2000000000", on_line_2}));
  EXPECT_EQ(read(validation_line + "OPTION nrepboot 10000000\n").first.nrepboot, 10000000);
  EXPECT_EQ(stop_of(validation_line + "OPTION nthreads 2000000000\n"),
            (std::vector<std::string>{"OPTION nthreads must be at most 1024, found: 2000000000", on_line_2}));
  EXPECT_EQ(stop_of(validation_line + "OPTION num_threads_kelp 5000\n"),
            (std::vector<std::string>{"OPTION num_threads_kelp must be at most 1024, found: 5000", on_line_2}));
  EXPECT_EQ(stop_of(validation_line + "OPTION nrepboot 99999999999\n"),
            (std::vector<std::string>{"OPTION nrepboot needs a whole number, found: 99999999999", on_line_2}));
}

}  // namespace
}  // namespace ventrel::validation
