// The validation OPTIONs: echo lines, defaults, stops and the checks of the files.
#include "validation/options.hpp"

#include "support/test_support.hpp"

namespace ventrel::validation {
namespace {

using test_support::captured_stdout;

// Each test runs in a fresh folder holding both default solution files; the model has two
// traits and three effects.
class options_test : public ::testing::Test {
 protected:
  options_test() {
    touch("solutions_whole");
    touch("solutions_partial");
    model.ntrait = 2;
    model.neff = 3;
  }
  static void touch(const std::string& name) { std::ofstream(name) << "x\n"; }

  // The options of a parameter file of these lines; what was printed goes to *out.
  validation_options read(const std::string& text, std::string* out = nullptr) {
    std::ofstream("par.txt") << text;
    const parfile::option_store store("par.txt");
    validation_options o;
    const std::string printed = captured_stdout([&] { o = read_validation_options(store, model); });
    if (out) *out = printed;
    return o;
  }
  std::function<void()> reading(std::string text) {
    return [this, t = std::move(text)] { read(t); };
  }

  test_support::scoped_work_dir work;
  parfile::model_parameters model;
};

const std::string validation_line = "OPTION validation 2 focal.txt\n";
const std::string on_line_2 = "file par.txt, line 2";

TEST_F(options_test, defaults_with_only_the_validation_option) {
  const validation_options o = read(validation_line);
  EXPECT_EQ(o.focal_var, "inb");
  EXPECT_EQ(o.se, se_method::none);
  EXPECT_EQ(o.hinverse_file, "Hinv.txt");
  EXPECT_EQ(o.inbreeding_method, 1);
  EXPECT_EQ(o.inbreeding_file, "ranolt.inb");
  EXPECT_EQ(o.nrepboot, 10000);
  EXPECT_EQ(o.nthreads, 0);
}

TEST_F(options_test, echoes_every_key_in_the_fixed_order) {
  for (const char* f : {"sol_and_acc_whole", "sol_and_acc_partial", "yhat_residual"}) touch(f);
  std::string out;
  const validation_options o = read(
      "OPTION nthreads 2\nOPTION nrepboot 500\nOPTION readExternalInbreeding my.inb\n"
      "OPTION num_threads_kelp 3\nOPTION msg_MORLO 2\nOPTION use_kelp\nOPTION inbreeding_method 6\n"
      "OPTION readHInverse H.txt\nOPTION se boot\nOPTION focal_var usr 1.5 2\nOPTION prefix sol_and_acc\n"
      "OPTION predictive_ability\nOPTION validation 2 a.txt b.txt\n", &out);
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
  // The settings that the echo lines do not show.
  EXPECT_EQ(o.focal_var_usr, (std::vector<double>{1.5, 2}));
  EXPECT_EQ(o.num_threads_kelp, 3);
}

TEST_F(options_test, values_at_their_limits_and_defaults_of_files_not_named) {
  const validation_options usr = read(validation_line + "OPTION focal_var usrxyz 1 2\n");
  EXPECT_EQ(usr.focal_var, "usr");
  EXPECT_EQ(usr.focal_var_usr, (std::vector<double>{1, 2}));
  EXPECT_EQ(read(validation_line + "OPTION focal_var inbreeding\n").focal_var, "inb");
  EXPECT_EQ(read(validation_line + "OPTION focal_var xyz\n").focal_var, "xyz");
  EXPECT_EQ(read(validation_line + "OPTION readHInverse\n").hinverse_file, "Hinv.txt");
  EXPECT_EQ(read(validation_line + "OPTION num_threads_kelp 0\n").num_threads_kelp, 1);
  EXPECT_EQ(read(validation_line + "OPTION nrepboot 10000000\n").nrepboot, 10000000);
}

// The stops that no end-to-end run reaches, by the first line of their message.
TEST_F(options_test, a_missing_or_bad_value_stops) {
  const std::string needed = "OPTION validation is needed: the effect of the focal individuals and the file(s) "
                             "of their levels,";
  const std::string effect = "The effect in OPTION validation must be a number from 1 to 3, found: ";
  const std::string usr = "OPTION focal_var usr: the genetic variance of trait ";
  const std::vector<std::pair<std::string, std::string>> rows{
      {"OPTION se exact\n", needed},
      {"OPTION validation\n", needed},
      {"OPTION validation 4 f.txt\n", effect + "4"},
      {"OPTION validation 0 f.txt\n", effect + "0"},
      {"OPTION validation animal f.txt\n", effect + "animal"},
      {"OPTION validation 1 f1 f2 f3\n", "* Number of files in OPTION validation should be 1 or ntrait: 3"},
      {"OPTION validation 1\n", "* Number of files in OPTION validation should be 1 or ntrait: 0"},
      {validation_line + "OPTION prefix\n", "OPTION prefix needs a name"},
      {validation_line + "OPTION focal_var\n", "OPTION focal_var needs a value: usr followed by the variances, or inb"},
      {validation_line + "OPTION focal_var usr 1\n",
       "OPTION focal_var usr needs 2 genetic variance(s), one per trait; found 1"},
      {validation_line + "OPTION focal_var usr 0 1\n", usr + "1 must be a positive number, found: 0"},
      {validation_line + "OPTION inbreeding_method\n", "OPTION inbreeding_method needs a value"},
      {validation_line + "OPTION nthreads two\n", "OPTION nthreads needs a whole number, found: two"},
      {validation_line + "OPTION nrepboot 0\n", "OPTION nrepboot must be at least 1, found: 0"},
      {validation_line + "OPTION nrepboot 99999999999\n", "OPTION nrepboot needs a whole number, found: 99999999999"},
      {validation_line + "OPTION num_threads_kelp 5000\n", "OPTION num_threads_kelp must be at most 1024, found: 5000"},
      {validation_line + "OPTION prefix run1\n", "run1_whole must be present"},
  };
  for (const auto& [text, first] : rows) EXPECT_EQ(test_support::stop_lines(reading(text))[0], first) << text;
  // The line named is that of the OPTION, or none when it is missing.
  EXPECT_EQ(test_support::stop_lines(reading(validation_line + "OPTION prefix\n"))[1], on_line_2);
  EXPECT_EQ(test_support::stop_lines(reading("OPTION se exact\n")).back(), "file par.txt");
}

TEST_F(options_test, exact_standard_errors_need_every_ebv_pev_file) {
  for (const char* f : {"ebv_pev_1_1_whole", "ebv_pev_1_1_partial", "ebv_pev_2_1_whole"}) touch(f);
  EXPECT_EQ(test_support::stop_lines(reading(validation_line + "OPTION se exact\n"))[0],
            "File ebv_pev_2_1_partial does not exist");
  touch("ebv_pev_2_1_partial");
  EXPECT_STREQ(se_method_name(read(validation_line + "OPTION se exact\n").se), "exact");
}

}  // namespace
}  // namespace ventrel::validation
