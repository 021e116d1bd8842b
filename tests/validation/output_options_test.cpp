// The output OPTIONs: echo lines, the warning of print_groups without groups, and the stops.
#include "validation/output_options.hpp"

#include "support/test_support.hpp"

namespace ventrel::validation {
namespace {

using test_support::captured_stdout;

output_options read(const std::string& text, std::string* out = nullptr) {
  std::ofstream("par.txt") << text;
  const parfile::option_store store("par.txt");
  output_options o;
  const std::string printed = captured_stdout([&] { o = read_output_options(store); });
  if (out) *out = printed;
  return o;
}

TEST(output_options, defaults_and_echo_lines) {
  test_support::scoped_work_dir work;
  const output_options none = read("OPTION se boot\n");
  EXPECT_TRUE(none.validation_groups.empty());
  EXPECT_FALSE(none.print_groups || none.plots);
  EXPECT_TRUE(none.cutoffs.empty());
  std::ofstream("c1_partial") << "x\n";
  std::ofstream("c2_partial") << "x\n";
  std::string out;
  const output_options o =
      read("OPTION cutoffs c1 c2\nOPTION plots\nOPTION print_groups\nOPTION validation_groups sex.txt\n", &out);
  EXPECT_EQ(o.validation_groups, "sex.txt");
  EXPECT_TRUE(o.print_groups && o.plots);
  EXPECT_EQ(o.cutoffs, (std::vector<std::string>{"c1", "c2"}));
  EXPECT_EQ(out, "* Validation groups read from sex.txt\n"
                 "* Statistics of the validation groups printed after the report\n"
                 "* Plots written as SVG files\n"
                 "* Cut-offs compared with the whole evaluation: c1 c2\n");
  read("OPTION print_groups\n", &out);
  EXPECT_EQ(out, "Warning: OPTION print_groups without OPTION validation_groups: there are no groups to print\n");
}

TEST(output_options, stops_name_the_option_line) {
  test_support::scoped_work_dir work;
  std::ofstream("c1_partial") << "x\n";
  test_support::expect_stops({
      {"groups without a file", [] { read("OPTION se boot\nOPTION validation_groups\n"); },
       {"OPTION validation_groups needs a file name: lines of a focal level and its group", "file par.txt, line 2"}},
      {"cutoffs without a prefix", [] { read("OPTION cutoffs\n"); },
       {"OPTION cutoffs needs the prefixes of the partial solution files, e.g. OPTION cutoffs cut2019 cut2020",
        "file par.txt, line 1"}},
      {"missing cut-off file", [] { read("OPTION cutoffs c1 c9\n"); },
       {"OPTION cutoffs: the partial solution file c9_partial of cut-off c9 does not exist", "file par.txt, line 1"}},
  });
}

}  // namespace
}  // namespace ventrel::validation
