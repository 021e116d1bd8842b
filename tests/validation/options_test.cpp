// The validation OPTIONs: echo lines, defaults, stops and the checks of the files.
#include "validation/options.hpp"

#include "parfile/kelp_threads.hpp"
#include "support/test_support.hpp"

namespace ventrel::validation {
namespace {

using test_support::captured_stdout;
using test_support::expect_stops;
using test_support::lines;

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
const std::string on_line_1 = "file par.txt, line 1", on_line_2 = "file par.txt, line 2";

TEST_F(options_test, defaults_with_only_the_validation_option) {
  std::string out;
  const validation_options o = read(validation_line, &out);
  EXPECT_EQ(out, "* Validation for individuals in effect: 2\n"
                 "* File(s) containing validation set ids: focal.txt\n");
  EXPECT_EQ(o.focal_effect, 2);
  EXPECT_EQ(o.validation_files, lines{"focal.txt"});
  EXPECT_FALSE(o.predictive_ability);
  EXPECT_EQ(o.sol_whole, "solutions_whole");
  EXPECT_EQ(o.sol_partial, "solutions_partial");
  EXPECT_EQ(o.solutions, "solutions");
  EXPECT_EQ(o.focal_var, "inb");
  EXPECT_EQ(o.se, se_method::none);
  EXPECT_STREQ(se_method_name(o.se), "");
  EXPECT_FALSE(o.read_hinverse);
  EXPECT_EQ(o.hinverse_file, "Hinv.txt");
  EXPECT_EQ(o.inbreeding_method, 1);
  EXPECT_EQ(o.sparse, sparse_package::morlo);
  EXPECT_EQ(o.msg_morlo, 0);
  EXPECT_FALSE(o.read_external_inbreeding);
  EXPECT_EQ(o.inbreeding_file, "ranolt.inb");
  EXPECT_EQ(o.nrepboot, 10000);
  EXPECT_EQ(o.nthreads, 0);
}

TEST_F(options_test, echoes_every_key_in_the_fixed_order) {
  for (const char* f : {"sol_and_acc_whole", "sol_and_acc_partial", "yhat_residual"}) touch(f);
  std::string out;
  const validation_options o = test_support::with_threads(1, [&] {
    const validation_options read_options = read(
        "OPTION nthreads 2\nOPTION nrepboot 500\nOPTION readExternalInbreeding my.inb\n"
        "OPTION num_threads_kelp 3\nOPTION msg_MORLO 2\nOPTION use_kelp\nOPTION inbreeding_method 6\n"
        "OPTION readHInverse H.txt\nOPTION se boot\nOPTION focal_var usr 1.5 2\nOPTION prefix sol_and_acc\n"
        "OPTION predictive_ability\nOPTION validation 2 a.txt b.txt\n", &out);
    EXPECT_EQ(omp_get_max_threads(), 2);
    return read_options;
  });
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
  EXPECT_TRUE(o.predictive_ability);
  EXPECT_EQ(o.focal_var, "usr");
  EXPECT_EQ(o.focal_var_usr, (std::vector<double>{1.5, 2}));
  EXPECT_STREQ(se_method_name(o.se), "boot");
  EXPECT_TRUE(o.read_hinverse);
  EXPECT_EQ(o.sparse, sparse_package::kelp);
  EXPECT_EQ(o.num_threads_kelp, 3);
  EXPECT_EQ(parfile::num_threads_kelp(), 3);
  EXPECT_TRUE(o.read_external_inbreeding);
}

TEST_F(options_test, values_at_their_limits_and_defaults_of_files_not_named) {
  EXPECT_EQ(read("OPTION validation 1 f1 f2\n").validation_files.size(), 2u);  // one per trait
  std::string out;
  EXPECT_STREQ(se_method_name(read(validation_line + "OPTION SE approx\n", &out).se), "approx");
  EXPECT_NE(out.find("* Method to calculate confidence intervals for statistics: approx\n"
                     "    Warning: this option is usually coupled with OPTION prefix sol_and_acc\n"),
            std::string::npos);
  const validation_options usr = read(validation_line + "OPTION focal_var usrxyz 1 2\n");
  EXPECT_EQ(usr.focal_var, "usr");
  EXPECT_EQ(usr.focal_var_usr, (std::vector<double>{1, 2}));
  EXPECT_EQ(read(validation_line + "OPTION focal_var inbreeding\n").focal_var, "inb");
  EXPECT_EQ(read(validation_line + "OPTION focal_var xyz\n").focal_var, "xyz");
  const validation_options ext = read(validation_line + "OPTION ReadExternalInbreeding\n", &out);
  EXPECT_TRUE(ext.read_external_inbreeding);
  EXPECT_EQ(ext.inbreeding_file, "ranolt.inb");
  EXPECT_NE(out.find(" * Inbreeding coefficients file: ranolt.inb\n"), std::string::npos);
  EXPECT_EQ(read(validation_line + "OPTION readHInverse\n").hinverse_file, "Hinv.txt");
  EXPECT_EQ(read(validation_line + "OPTION num_threads_kelp 0\n").num_threads_kelp, 1);
  EXPECT_EQ(read(validation_line + "OPTION nrepboot 10000000\n").nrepboot, 10000000);
}

TEST_F(options_test, a_missing_or_bad_value_stops_naming_the_line) {
  const lines needed{"OPTION validation is needed: the effect of the focal individuals and the file(s) of "
                     "their levels,",
                     "e.g. OPTION validation 2 validation_set.txt"};
  auto effect = [](const std::string& found) {
    return lines{"The effect in OPTION validation must be a number from 1 to 3, found: " + found, on_line_1};
  };
  auto line_2 = [](const std::string& message) { return lines{message, on_line_2}; };
  auto with_validation = [&](const std::string& text) { return reading(validation_line + text); };
  expect_stops({
      {"no validation", reading("OPTION se exact\n"), {needed[0], needed[1], "file par.txt"}},
      {"validation without a value", reading("OPTION validation\n"), {needed[0], needed[1], on_line_1}},
      {"effect 4", reading("OPTION validation 4 f.txt\n"), effect("4")},
      {"effect 0", reading("OPTION validation 0 f.txt\n"), effect("0")},
      {"effect animal", reading("OPTION validation animal f.txt\n"), effect("animal")},
      {"three files", reading("OPTION validation 1 f1 f2 f3\n"),
       {"* Number of files in OPTION validation should be 1 or ntrait: 3", on_line_1}},
      {"no file", reading("OPTION validation 1\n"),
       {"* Number of files in OPTION validation should be 1 or ntrait: 0", on_line_1}},
      {"prefix", with_validation("OPTION prefix\n"), line_2("OPTION prefix needs a name")},
      {"focal_var", with_validation("OPTION focal_var\n"),
       line_2("OPTION focal_var needs a value: usr followed by the variances, or inb")},
      {"focal_var usr 1", with_validation("OPTION focal_var usr 1\n"),
       line_2("OPTION focal_var usr needs 2 genetic variance(s), one per trait; found 1")},
      {"focal_var usr 1 abc", with_validation("OPTION focal_var usr 1 abc\n"),
       line_2("OPTION focal_var usr: the genetic variance of trait 2 must be a positive number, found: abc")},
      {"focal_var usr 0 1", with_validation("OPTION focal_var usr 0 1\n"),
       line_2("OPTION focal_var usr: the genetic variance of trait 1 must be a positive number, found: 0")},
      {"se", with_validation("OPTION se\n"),
       {"OPTION se needs a second argument:", "  OPTION se exact for exact standard errors",
        "  OPTION se approx for approximated standard errors", "  OPTION se boot for bootstrapping", on_line_2}},
      {"se Exact", with_validation("OPTION se Exact\n"), {"Wrong argument OPTION se", on_line_2 + ": Exact"}},
      {"inbreeding_method", with_validation("OPTION inbreeding_method\n"),
       line_2("OPTION inbreeding_method needs a value")},
      {"nthreads two", with_validation("OPTION nthreads two\n"),
       line_2("OPTION nthreads needs a whole number, found: two")},
      {"nrepboot 0", with_validation("OPTION nrepboot 0\n"), line_2("OPTION nrepboot must be at least 1, found: 0")},
      {"nrepboot 2000000000", with_validation("OPTION nrepboot 2000000000\n"),
       line_2("OPTION nrepboot must be at most 10000000, found: 2000000000")},
      {"nrepboot 99999999999", with_validation("OPTION nrepboot 99999999999\n"),
       line_2("OPTION nrepboot needs a whole number, found: 99999999999")},
      {"nthreads 2000000000", with_validation("OPTION nthreads 2000000000\n"),
       line_2("OPTION nthreads must be at most 1024, found: 2000000000")},
      {"num_threads_kelp 5000", with_validation("OPTION num_threads_kelp 5000\n"),
       line_2("OPTION num_threads_kelp must be at most 1024, found: 5000")},
  });
}

TEST_F(options_test, the_files_the_run_needs_must_be_present) {
  for (const char* f : {"ebv_pev_1_1_whole", "ebv_pev_1_1_partial", "ebv_pev_2_1_whole"}) touch(f);
  expect_stops({
      {"yhat_residual", reading(validation_line + "OPTION predictive_ability\n"),
       {"yhat_residual file must be present"}},
      {"ebv_pev", reading(validation_line + "OPTION se exact\n"),
       {"File ebv_pev_2_1_partial does not exist", "It is necessary to obtain analytical confidence intervals"}},
      {"prefix", reading(validation_line + "OPTION prefix run1\n"), {"run1_whole must be present"}},
      {"partial", [&] {
         std::filesystem::remove("solutions_partial");
         read(validation_line);
       }, {"solutions_partial must be present"}},
      {"whole", [&] {
         std::filesystem::remove("solutions_whole");
         read(validation_line);
       }, {"solutions_whole must be present"}},
  });
  touch("solutions_whole");
  touch("solutions_partial");
  touch("ebv_pev_2_1_partial");
  EXPECT_STREQ(se_method_name(read(validation_line + "OPTION se exact\n").se), "exact");
}

}  // namespace
}  // namespace ventrel::validation
