// The parameter file reader: a complete file, the file name, and every stop of the keyword
// sections.
#include "parfile/read_parameter_file.hpp"

#include "support/test_support.hpp"

namespace ventrel::parfile {
namespace {

using test_support::captured_stdout;
using test_support::expect_stops;
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
  EXPECT_EQ(m.nrgroup_expected, 1);
  ASSERT_EQ(m.nrgroup(), 1);
  const random_group& g = m.groups[0];
  EXPECT_EQ(g.effects, std::vector<int>{2});
  EXPECT_EQ(g.ncorr, 1);
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
  EXPECT_EQ(read_text(with(t, "NUMBER_OF_TRAITS\n", "NUMBER_OF_TRAITS\n  # two\n")).model.ntrait, 2);
  EXPECT_EQ(read_text(with(t, "2 0 100 cross\n", "2 0 2147483647 crossclassified\n")).model.nlev[1], 2147483647);
  EXPECT_EQ(read_text(with(t, dir + "rp_ped.txt\n", "\n")).model.groups[0].file, "");
  EXPECT_EQ(read_text(with(t, "add_animal", "add_an_bees_inb")).model.groups[0].type, random_type::add_an_bees);
  EXPECT_EQ(read_text(one_group_text(2, 35, identity(70))).model.groups[0].g.rows, 70);
  EXPECT_EQ(read_text(two_groups()).model.nrgroup(), 2);
  // A TAB in an OPTION line, a trailing comment or the values of a matrix does no harm.
  EXPECT_NO_THROW(read_text(with(t, "OPTION se exact", "OPTION\tse exact")));
  EXPECT_NO_THROW(read_text(with(t, "2 0 100 cross\n", "2 0 100 cross # a\tb\n")));
  EXPECT_NO_THROW(read_text(with(t, "1.0 0.5\n", "1.0\t0.5\n")));
}

TEST(read_parameter_file, stops_in_the_header_sections_naming_the_line) {
  const std::string t = base_text();
  auto edit = [&](const std::string& from, const std::string& to) { return reading(with(t, from, to)); };
  const std::string subdir = dir + "rp_a_directory";
  std::filesystem::create_directories(subdir);
  expect_stops({
      {"empty file", reading(""), {"INPUT FILE EMPTY"}},
      {"only comments", reading("# nothing\n   # more\n"), {"INPUT FILE EMPTY"}},
      {"blank first line", reading("\n"), {"DATAFILE not found", at(1)}},
      {"tab in the first record", reading("DATAFILE\t\n"),
       {" TAB was found, Use spaces to separeate columns in file: \"" + par + "\"",
        " Convert to TAB to spaces, e.g. \"expand file > newfile\""}},
      {"no data file", edit("rp_data.txt", "rp_nodata.txt"),
       {"There is no such data file: " + dir + "rp_nodata.txt", at(3)}},
      {"data file a directory", edit(dir + "rp_data.txt", subdir),
       {"There is no such data file: " + subdir, at(3) + ": it is a directory"}},
      {"NUMBER_OF_TRAIT", edit("NUMBER_OF_TRAITS", "NUMBER_OF_TRAIT"), {"NUMBER_OF_TRAITS not found", at(4)}},
      {"blank count", edit("NUMBER_OF_TRAITS\n", "NUMBER_OF_TRAITS\n\n"),
       {"The value after NUMBER_OF_TRAITS must be a positive whole number, found: \"\"", at(5)}},
      {"no effects", edit("NUMBER_OF_EFFECTS\n3", "NUMBER_OF_EFFECTS\n0"),
       {"The value after NUMBER_OF_EFFECTS must be a positive whole number, found: \"0\"", at(7)}},
      {"number_of_effects", edit("NUMBER_OF_EFFECTS", "number_of_effects"), {"NUMBER_OF_EFFECTS not found", at(6)}},
      {"OBSERVATIONS", edit("OBSERVATION(S)", "OBSERVATIONS"), {" OBSERVATION(S) not found", at(8)}},
      {"one observation", edit("5 6\n", "5\n"), {"2 numbers expected after OBSERVATION(S)", at(9)}},
      {"WEIGHTS", edit("WEIGHT(S)", "WEIGHTS"), {" WEIGHT(S) not found", at(10)}},
      {"three weights", edit("WEIGHT(S)\n\n", "WEIGHT(S)\n4 7 8\n"),
       {"Values for WEIGHT can be 'empty line' (no weight), a single number (same weight for all lines)",
        "or 'ntrait' numbers (different weights for each trait)", at(11)}},
      {"no parameter file", [] { read_parameter_file(dir + "rp_absent.txt", 0); },
       {"There is no such parameter file.", " file: \"" + dir + "rp_absent.txt\""}},
      {"no name", [] { read_parameter_file(std::string(), 0); },
       {"There is no such parameter file.", " file: \"\""}},
  });
}

TEST(read_parameter_file, stops_in_the_effects_and_the_residual_naming_the_line) {
  const std::string t = base_text();
  auto edit = [&](const std::string& from, const std::string& to) { return reading(with(t, from, to)); };
  auto effect_word = [](int effect, const std::string& word) {
    return "Effect " + std::to_string(effect) + ": the data columns and the number of levels must be whole "
           "numbers from 0 to 2147483647, found: \"" + word + "\"";
  };
  expect_stops({
      {"EFFECTS", edit("EFFECTS:", "EFFECTS"), {" EFFECTS: not found", at(12)}},
      {"three words", edit("2 0 100 cross\n", "2 0 100\n"),
       {"too few or too many numbers for effect 2. Was 3", at(14)}},
      {"nested without its columns", edit("3 3 1 cov 1 1\n", "3 3 1 cov 1\n"),
       {"too few or too many numbers for effect 3. Was 5", at(15)}},
      {"a count far beyond the lines", edit("NUMBER_OF_EFFECTS\n3\n", "NUMBER_OF_EFFECTS\n2000000000\n"),
       {"too few or too many numbers for effect 4. Was 1", at(16)}},
      {"the file ends among the effects", reading(t.substr(0, t.find("2 0 100 cross"))),
       {"The file ends after 1 of the 3 effect lines that NUMBER_OF_EFFECTS announces", at_end}},
      {"unknown type", edit("2 0 100 cross\n", "2 0 100 random\n"), {"Unknown type of effect: random", at(14)}},
      {"level too large", edit("2 0 100 cross\n", "2 0 99999999999 cross\n"),
       {effect_word(2, "99999999999"), at(14)}},
      {"negative level", edit("2 0 100 cross\n", "2 0 -5 cross\n"), {effect_word(2, "-5"), at(14)}},
      {"column not a number", edit("2 0 100 cross\n", "2 x 100 cross\n"), {effect_word(2, "x"), at(14)}},
      {"nested column not a number", edit("3 3 1 cov 1 1\n", "3 3 1 cov 1 one\n"), {effect_word(3, "one"), at(15)}},
      {"tab in an effect line", edit("2 0 100 cross\n", "2 0\t100 cross\n"),
       {" TAB was found, Use spaces to separeate columns in file: \"" + par + "\"",
        at(14) + ": only blanks separate the words of this line",
        " Convert to TAB to spaces, e.g. \"expand file > newfile\""}},
      {"RANDOM_RESIDUALS", edit("RANDOM_RESIDUAL", "RANDOM_RESIDUALS"), {" RANDOM_RESIDUAL not found", at(16)}},
      {"residual not a number", edit("1.0 0.5\n", "1.0 x\n"),
       {"error reading RANDOM_RESIDUAL variances", at(17) + ": \"x\" is not a finite number"}},
  });
}

TEST(read_parameter_file, stops_in_the_random_groups_naming_the_line) {
  const std::string t = base_text();
  auto edit = [&](const std::string& from, const std::string& to) { return reading(with(t, from, to)); };
  const std::string subdir = dir + "rp_a_directory";
  std::filesystem::create_directories(subdir);
  auto group = [&](const std::string& effects) { return edit("RANDOM_GROUP\n2\n", "RANDOM_GROUP\n" + effects); };
  std::string bad_value;  // the 70th of 81 values of one long line is no number
  for (int i = 0; i < 81; ++i) bad_value += i == 69 ? "x " : "1 ";
  expect_stops({
      {"blank group line", group("\n"), {"line after RANDOM_GROUP has too few or too many numbers", at(20)}},
      {"four effects", group("1 2 3 4\n"), {"line after RANDOM_GROUP has too few or too many numbers", at(20)}},
      {"effect 0", group("0\n"), {"number 0 after RANDOM_GROUP out of range", at(20)}},
      {"effect 4", group("4\n"), {"number 4 after RANDOM_GROUP out of range", at(20)}},
      {"not consecutive", group("1 3\n"), {" correlated effects: 1 3 should be consecutive", at(20)}},
      {"effect in two groups", reading(two_groups("2")), {"effect 2 is already in an earlier RANDOM_GROUP", at(29)}},
      {"RANDOM-TYPE", edit("RANDOM_TYPE", "RANDOM-TYPE"), {" RANDOM_TYPE not found", at(21)}},
      {"add_an_exact", edit("add_animal", "add_an_exact"),
       {"unknown RANDOM-TYPE: add_an_exact", " Should be diagonal, AR(1), add_animal, add_sire",
        " add_an_upg, add_an_upginb, add_an_usym, ", " add_an_metafounders, add_an_bees, add_an_bees_inb,",
        " add_an_auto, add_an_exact,", " user_file, user_file_inv, or par_domin", at(22)}},
      {"FILES", edit("\nFILE\n", "\nFILES\n"), {" FILE for random effect 2 not found", at(23)}},
      {"no pedigree", edit("rp_ped.txt", "rp_noped.txt"),
       {" Error in the FILE statement:", " There is no such pedigree/user-supplied file: " + dir + "rp_noped.txt",
        at(24)}},
      {"pedigree a directory", edit(dir + "rp_ped.txt", subdir),
       {" Error in the FILE statement:", " There is no such pedigree/user-supplied file: " + subdir,
        at(24) + ": it is a directory"}},
      {"VARIANCES", edit("(CO)VARIANCES", "VARIANCES"), {" (CO)VARIANCES not found", at(25)}},
      {"NaN", edit("0.5, 0.1\n", "0.5, NaN\n"),
       {"error reading variances for effect 2", at(26) + ": \"NaN\" is not a finite number"}},
      {"an OPTION word among the values", edit("0.1 0.8 extra words are ignored\n", "0.1\n"),
       {"error reading variances for effect 2", at(28) + ": \"OPTION\" is not a finite number"}},
      {"the file ends among the values", reading(t.substr(0, t.find("0.1 0.8"))),
       {"error reading variances for effect 2", at_end}},
      {"a bad value after the first batch", reading(one_group_text(1, 9, bad_value)),
       {"error reading variances for effect 1", at(30) + ": \"x\" is not a finite number"}},
      {"order 72", reading(one_group_text(2, 36, identity(72))),
       {"maxcorr should be increased to at least 72", at(56)}},
      {"a group line after an unrelated line is counted but never reached",
       reading(with(two_groups(), "RANDOM_GROUP\n3\n", "OTHER\nRANDOM_GROUP\n3\n")),
       {"ERROR: The program could not read all RANDOM_GROUP in the parameter file - ",
        "       just read the first 1 random effect(s) only.",
        "       There may be a mismatch between the number of effects in a RANDOM_GROUP",
        "       and the order of (CO)VARIANCES. Please make sure that all the correlated",
        "       effects are specified in each RANDOM_GROUP."}},
  });
}

TEST(read_parameter_file, values_of_a_long_line_are_read_in_batches_and_the_rest_ignored) {
  std::string values;  // 81 values, more than one batch, blanks, TABs and commas between them
  for (int i = 0; i < 81; ++i) values += std::to_string(i) + (i % 2 ? "," : "\t");
  const model_parameters m = read_text(one_group_text(1, 9, values + " 99 100")).model;
  ASSERT_EQ(m.groups[0].g.rows, 9);
  for (int i = 0; i < 9; ++i)
    for (int j = 0; j < 9; ++j) EXPECT_EQ(m.groups[0].g(i, j), 9 * i + j);
  // Ten megabytes of values after the residual variances cost only the four kept.
  std::string line = "1.0 0.5 0.5 2.0";
  line.reserve(10u << 20);
  while (line.size() < (10u << 20)) line += " 7.25";
  EXPECT_EQ(read_text(with(base_text(), "1.0 0.5\n0.5 2.0\n", line + "\n")).model.r.a,
            (std::vector<double>{1.0, 0.5, 0.5, 2.0}));
}

TEST(read_parameter_file, warns_about_add_an_mf_and_prints_the_banner_and_the_name) {
  model_parameters m;
  EXPECT_EQ(captured_stdout([&] { m = read_text(with(base_text(), "add_animal", "add_an_mf")).model; }),
            "add_an_mf is not well implemented\nuse add_an_meta instead\n");
  EXPECT_EQ(m.groups[0].type, random_type::add_an_mf);
  write_temp("rp_par.txt", base_text());
  EXPECT_EQ(captured_stdout([] { read_parameter_file(command_line{{par}}, 1, "VENTREL ver. 1.0.0      "); }),
            "VENTREL ver. 1.0.0\n parameter file: " + par + "\n");
}

TEST(parameter_file_name, comes_from_the_first_argument_or_else_from_a_prompt) {
  EXPECT_EQ(parameter_file_name(command_line{{"par.txt  ", "--version"}}, stdin), "par.txt");
  struct row {
    command_line cmd;
    const char* input;
    std::string name;
  };
  for (const row& r : {row{{}, "  my par.txt \nnext\n", "my par.txt"},
                       row{{{"--x", "par.txt"}}, "  my par.txt \nnext\n", "my par.txt"}, row{{}, "", ""}}) {
    std::FILE* in = std::tmpfile();
    std::fputs(r.input, in);
    std::rewind(in);
    std::string name;
    EXPECT_EQ(captured_stdout([&] { name = parameter_file_name(r.cmd, in); }), " name of parameter file?\n");
    EXPECT_EQ(name, r.name);
    std::fclose(in);
  }
}

}  // namespace
}  // namespace ventrel::parfile
