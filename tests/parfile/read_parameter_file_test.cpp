// The parameter file reader: a complete file, its variants, the file name, and the stops of the
// keyword sections.
#include "parfile/read_parameter_file.hpp"

#include <algorithm>

#include "support/test_support.hpp"

namespace ventrel::parfile {
namespace {

using test_support::captured_stdout;
using test_support::lines;
using test_support::write_temp;

const std::string dir = ::testing::TempDir();
const std::string par = dir + "rp_par.txt";

// "file <parameter file>, line n": the last line of most stops.
std::string at(int n) { return "file " + par + ", line " + std::to_string(n); }
const std::string at_end = "file " + par + ", at its end";

// A two-trait model with a fixed effect, an animal effect and a nested covariable; the line
// numbers the stops name are on the right.
std::string base_text() {
  write_temp("rp_data.txt", "1 2 3\n");
  write_temp("rp_ped.txt", "1 0 0\n");
  return "# a comment first\n"                                   // 1
         "DATAFILE\n" + dir + "rp_data.txt\n"                     // 2-3
         "NUMBER_OF_TRAITS\n2\n"                                  // 4-5
         "NUMBER_OF_EFFECTS\n3\n"                                 // 6-7
         "OBSERVATION(S)\n5 6\n"                                  // 8-9
         "WEIGHT(S)\n\n"                                          // 10-11
         "EFFECTS:\n"                                             // 12
         "1 1 10 cross\n"                                         // 13
         "2 0 100 cross\n"                                        // 14
         "3 3 1 cov 1 1\n"                                        // 15
         "RANDOM_RESIDUAL\n1.0 0.5\n0.5 2.0\n"                    // 16-18
         "RANDOM_GROUP\n2\n"                                      // 19-20
         "RANDOM_TYPE\nadd_animal\n"                              // 21-22
         "FILE\n" + dir + "rp_ped.txt\n"                          // 23-24
         "(CO)VARIANCES\n0.5, 0.1\n0.1 0.8 extra words are ignored\n"  // 25-27
         "OPTION se exact\n"                                      // 28
         "OPTION RANDOM_GROUP is not a group\n";                  // 29
}

// text with the first occurrence of from replaced by to.
std::string with(std::string text, const std::string& from, const std::string& to) {
  const std::size_t p = text.find(from);
  EXPECT_NE(p, std::string::npos) << from;
  return p == std::string::npos ? text : text.replace(p, from.size(), to);
}

parameter_file read_text(const std::string& text) { return read_parameter_file(write_temp("rp_par.txt", text), 0); }
std::function<void()> reading(std::string text) { return [t = std::move(text)] { read_text(t); }; }

// One trait or two, neff effects all in one diagonal group, its (co)variances given as text
// (the (CO)VARIANCES keyword is on line 29 for one trait and nine effects, line 56 for two
// traits and 36 effects).
std::string one_group_text(int ntrait, int neff, const std::string& variances) {
  base_text();  // writes the data file
  const std::string columns = ntrait == 1 ? "1" : "1 2";
  std::string t = "DATAFILE\n" + dir + "rp_data.txt\nNUMBER_OF_TRAITS\n" + std::to_string(ntrait) +
                  "\nNUMBER_OF_EFFECTS\n" + std::to_string(neff) + "\nOBSERVATION(S)\n" + columns +
                  "\nWEIGHT(S)\n\nEFFECTS:\n";
  for (int i = 1; i <= neff; ++i) t += columns + " 10 cross\n";
  t += std::string("RANDOM_RESIDUAL\n") + (ntrait == 1 ? "1" : "1 0 0 1") + "\nRANDOM_GROUP\n";
  for (int i = 1; i <= neff; ++i) t += std::to_string(i) + " ";
  return t + "\nRANDOM_TYPE\ndiagonal\nFILE\n\n(CO)VARIANCES\n" + variances + "\n";
}

std::string identity(int order) {
  std::string t;
  for (int i = 0; i < order; ++i)
    for (int j = 0; j < order; ++j) t += (i == j ? "1" : "0") + std::string(j + 1 < order ? " " : "\n");
  return t;
}

// base_text with a second group, of effect 3 or of the effect given.
std::string two_groups(const std::string& effect = "3") {
  return with(base_text(), "OPTION se exact",
              "RANDOM_GROUP\n" + effect + "\nRANDOM_TYPE\ndiagonal\nFILE\n\n(CO)VARIANCES\n1 0 0 1\nOPTION se exact");
}

TEST(read_parameter_file, reads_every_section_of_a_complete_file) {
  const parameter_file p = read_text(base_text());
  const model_parameters& m = p.model;
  EXPECT_EQ(m.parfile, par);
  EXPECT_EQ(m.datafile, dir + "rp_data.txt");
  EXPECT_EQ(m.ntrait, 2);
  EXPECT_EQ(m.neff, 3);
  EXPECT_EQ(m.pos_y, (std::vector<int>{5, 6}));
  EXPECT_EQ(m.pos_weight, (std::vector<int>{0, 0}));
  EXPECT_EQ(m.pos_eff, (std::vector<std::vector<int>>{{1, 1}, {2, 0}, {3, 3}}));
  EXPECT_EQ(m.nlev, (std::vector<int>{10, 100, 1}));
  EXPECT_EQ(m.effecttype, (std::vector<effect_type>{effect_type::cross_classified,
                                                    effect_type::cross_classified, effect_type::covariable}));
  EXPECT_EQ(m.nestedcov, (std::vector<std::vector<int>>{{0, 0}, {0, 0}, {1, 1}}));
  EXPECT_EQ(m.r.a, (std::vector<double>{1.0, 0.5, 0.5, 2.0}));
  ASSERT_EQ(m.nrgroup(), 1);
  const random_group& g = m.groups[0];
  EXPECT_EQ(g.effects, std::vector<int>{2});
  EXPECT_EQ(g.type, random_type::add_animal);
  EXPECT_EQ(g.file, dir + "rp_ped.txt");
  EXPECT_EQ(g.g.rows, 2);
  EXPECT_EQ(g.g.a, (std::vector<double>{0.5, 0.1, 0.1, 0.8}));
  EXPECT_EQ(randomtype(m, 2), random_type::add_animal);
  EXPECT_EQ(randomtype(m, 1), random_type::none);
  EXPECT_EQ(randomfile(m, 2), dir + "rp_ped.txt");
  EXPECT_EQ(randomfile(m, 1), "");
  EXPECT_EQ(p.options.get_option("se").xc[0], "exact");
}

TEST(read_parameter_file, reads_the_variants_of_each_section) {
  const std::string t = base_text();
  std::string corr = with(t, "RANDOM_GROUP\n2\n", "RANDOM_GROUP\n2 3\n");
  corr = with(corr, "0.5, 0.1\n0.1 0.8 extra words are ignored\n", "1 2 3 4\n2 5 6 7\n3 6 8 9\n4 7 9 10\n");
  const model_parameters c = read_text(corr).model;
  ASSERT_EQ(c.groups[0].g.rows, 4);
  EXPECT_EQ(c.groups[0].g(0, 3), 4);
  EXPECT_EQ(c.groups[0].g(2, 3), 9);
  EXPECT_EQ(randomtype(c, 3), random_type::add_animal);
  EXPECT_EQ(read_text(with(t, "WEIGHT(S)\n\n", "WEIGHT(S)\n4\n")).model.pos_weight, (std::vector<int>{4, 4}));
  EXPECT_EQ(read_text(with(t, "WEIGHT(S)\n\n", "WEIGHT(S)\n4 7\n")).model.pos_weight, (std::vector<int>{4, 7}));
  EXPECT_EQ(read_text(with(t, "2 0 100 cross\n", "2 0 100 crossclassified\n")).model.effecttype[1],
            effect_type::cross_classified);
  EXPECT_EQ(read_text(with(t, dir + "rp_ped.txt\n", "\n")).model.groups[0].file, "");
  EXPECT_EQ(read_text(one_group_text(2, 35, identity(70))).model.groups[0].g.rows, 70);
  EXPECT_EQ(read_text(two_groups()).model.nrgroup(), 2);
  // TABs may separate the values of a matrix.
  EXPECT_NO_THROW(read_text(with(t, "1.0 0.5\n", "1.0\t0.5\n")));
}

// Each action stops; the first lines of its message are those given.
void expect_stop_starts(const std::vector<std::pair<std::function<void()>, lines>>& rows) {
  for (const auto& [action, want] : rows) {
    lines got = test_support::stop_lines(action);
    got.resize(std::min(got.size(), want.size()));
    EXPECT_EQ(got, want);
  }
}

// The stops that no end-to-end run reaches: missing keywords (every section checks its keyword
// alike), counts that do not fit, values running into the next keyword and the limits of a group.
TEST(read_parameter_file, stops_naming_the_keyword_and_the_line) {
  const std::string t = base_text();
  auto edit = [&](const std::string& from, const std::string& to) { return reading(with(t, from, to)); };
  auto group = [&](const std::string& effects) { return edit("RANDOM_GROUP\n2\n", "RANDOM_GROUP\n" + effects); };
  std::string bad_value;  // the 70th of 81 values of one long line is no number
  for (int i = 0; i < 81; ++i) bad_value += i == 69 ? "x " : "1 ";
  expect_stop_starts({
      {reading("\n"), {"DATAFILE not found", at(1)}},
      {edit("NUMBER_OF_EFFECTS", "number_of_effects"), {"NUMBER_OF_EFFECTS not found", at(6)}},
      {edit("5 6\n", "5\n"), {"2 numbers expected after OBSERVATION(S)", at(9)}},
      {edit("WEIGHT(S)\n\n", "WEIGHT(S)\n4 7 8\n"), {"Values for WEIGHT can be 'empty line' (no weight), a "
                                                     "single number (same weight for all lines)"}},
      {edit("3 3 1 cov 1 1\n", "3 3 1 cov 1\n"), {"too few or too many numbers for effect 3. Was 5", at(15)}},
      {reading(t.substr(0, t.find("2 0 100 cross"))),
       {"The file ends after 1 of the 3 effect lines that NUMBER_OF_EFFECTS announces", at_end}},
      {edit("2 0 100 cross\n", "2 0 100 random\n"), {"Unknown type of effect: random", at(14)}},
      {group("\n"), {"line after RANDOM_GROUP has too few or too many numbers", at(20)}},
      {group("0\n"), {"number 0 after RANDOM_GROUP out of range", at(20)}},
      {group("1 3\n"), {" correlated effects: 1 3 should be consecutive", at(20)}},
      {edit("\nFILE\n", "\nFILES\n"), {" FILE for random effect 2 not found", at(23)}},
      {edit("0.1 0.8 extra words are ignored\n", "0.1\n"),
       {"error reading variances for effect 2", at(28) + ": \"OPTION\" is not a finite number"}},
      {reading(t.substr(0, t.find("0.1 0.8"))), {"error reading variances for effect 2", at_end}},
      {reading(one_group_text(1, 9, bad_value)),
       {"error reading variances for effect 1", at(30) + ": \"x\" is not a finite number"}},
      {reading(one_group_text(2, 36, identity(72))), {"maxcorr should be increased to at least 72", at(56)}},
      {reading(with(two_groups(), "RANDOM_GROUP\n3\n", "OTHER\nRANDOM_GROUP\n3\n")),
       {"ERROR: The program could not read all RANDOM_GROUP in the parameter file - ",
        "       just read the first 1 random effect(s) only."}},
  });
}

TEST(read_parameter_file, values_of_a_long_line_are_read_in_batches_and_the_rest_ignored) {
  std::string values;  // 81 values, more than one batch, blanks, TABs and commas between them
  for (int i = 0; i < 81; ++i) values += std::to_string(i) + (i % 2 ? "," : "\t");
  const model_parameters m = read_text(one_group_text(1, 9, values + " 99 100")).model;
  ASSERT_EQ(m.groups[0].g.rows, 9);
  for (int i = 0; i < 9; ++i)
    for (int j = 0; j < 9; ++j) EXPECT_EQ(m.groups[0].g(i, j), 9 * i + j);
}

TEST(read_parameter_file, warns_about_add_an_mf) {
  model_parameters m;
  EXPECT_EQ(captured_stdout([&] { m = read_text(with(base_text(), "add_animal", "add_an_mf")).model; }),
            "add_an_mf is not well implemented\nuse add_an_meta instead\n");
  EXPECT_EQ(m.groups[0].type, random_type::add_an_mf);
}

TEST(parameter_file_name, comes_from_the_first_argument_unless_it_is_an_option_then_from_a_prompt) {
  EXPECT_EQ(parameter_file_name(command_line{{"par.txt  ", "--version"}}, stdin), "par.txt");
  std::FILE* in = std::tmpfile();
  std::fputs("  my par.txt \nnext\n", in);
  std::rewind(in);
  std::string name;
  EXPECT_EQ(captured_stdout([&] { name = parameter_file_name(command_line{{"--x", "par.txt"}}, in); }),
            " name of parameter file?\n");
  EXPECT_EQ(name, "my par.txt");
  std::fclose(in);
}

}  // namespace
}  // namespace ventrel::parfile
