// The parameter file reader: a complete file, the file name, and every stop of the keyword
// sections.
#include "parfile/read_parameter_file.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include <sys/stat.h>

#include "common/fatal.hpp"

namespace ventrel::parfile {
namespace {

const std::string dir = ::testing::TempDir();

std::string write_temp(const std::string& name, const std::string& text) {
  std::string path = dir + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

// A two-trait model with a fixed effect, an animal effect and a nested covariable.
std::string base_text() {
  write_temp("rp_data.txt", "1 2 3\n");
  write_temp("rp_ped.txt", "1 0 0\n");
  return "# a comment first\n"
         "DATAFILE\n" + dir + "rp_data.txt\n"
         "NUMBER_OF_TRAITS\n2\n"
         "NUMBER_OF_EFFECTS\n3\n"
         "OBSERVATION(S)\n5 6\n"
         "WEIGHT(S)\n\n"
         "EFFECTS:\n"
         "1 1 10 cross\n"
         "2 0 100 cross\n"
         "3 3 1 cov 1 1\n"
         "RANDOM_RESIDUAL\n1.0 0.5\n0.5 2.0\n"
         "RANDOM_GROUP\n2\n"
         "RANDOM_TYPE\nadd_animal\n"
         "FILE\n" + dir + "rp_ped.txt\n"
         "(CO)VARIANCES\n0.5, 0.1\n0.1 0.8 extra words are ignored\n"
         "OPTION se exact\n"
         "OPTION RANDOM_GROUP is not a group\n";
}

// base_text with the first occurrence of from replaced by to.
std::string with(std::string text, const std::string& from, const std::string& to) {
  std::size_t p = text.find(from);
  EXPECT_NE(p, std::string::npos) << from;
  return text.replace(p, from.size(), to);
}

parameter_file read_text(const std::string& text) {
  return read_parameter_file(write_temp("rp_par.txt", text), 0);
}

// The message lines of the stop that reading text raises, without the final place line.
std::vector<std::string> stop_of(const std::string& text) {
  try {
    read_text(text);
  } catch (const fatal_error& e) {
    return e.lines();
  }
  ADD_FAILURE() << "the run did not stop";
  return {};
}

std::string first_line_of_stop(const std::string& text) {
  auto lines = stop_of(text);
  return lines.empty() ? "" : lines[0];
}

TEST(read_parameter_file, reads_every_section_of_a_complete_file) {
  parameter_file p = read_text(base_text());
  const model_parameters& m = p.model;
  EXPECT_EQ(m.parfile, dir + "rp_par.txt");
  EXPECT_EQ(m.datafile, dir + "rp_data.txt");
  EXPECT_EQ(m.ntrait, 2);
  EXPECT_EQ(m.neff, 3);
  EXPECT_EQ(m.pos_y, (std::vector<int>{5, 6}));
  EXPECT_EQ(m.pos_weight, (std::vector<int>{0, 0}));
  EXPECT_EQ(m.pos_eff[1], (std::vector<int>{2, 0}));
  EXPECT_EQ(m.nlev, (std::vector<int>{10, 100, 1}));
  EXPECT_EQ(m.effecttype[0], effect_type::cross_classified);
  EXPECT_EQ(m.effecttype[2], effect_type::covariable);
  EXPECT_EQ(m.nestedcov[0], (std::vector<int>{0, 0}));
  EXPECT_EQ(m.nestedcov[2], (std::vector<int>{1, 1}));
  EXPECT_EQ(m.r.a, (std::vector<double>{1.0, 0.5, 0.5, 2.0}));
  EXPECT_EQ(m.nrgroup_expected, 1);
  ASSERT_EQ(m.nrgroup(), 1);
  const random_group& g = m.groups[0];
  EXPECT_EQ(g.effects, std::vector<int>{2});
  EXPECT_EQ(g.ncorr, 1);
  EXPECT_EQ(g.type, random_type::add_animal);
  EXPECT_EQ(g.file, dir + "rp_ped.txt");
  EXPECT_EQ(g.g.rows, 2);
  EXPECT_EQ(g.g(0, 1), 0.1);
  EXPECT_EQ(g.g(1, 1), 0.8);
  EXPECT_EQ(randomtype(m, 2), random_type::add_animal);
  EXPECT_EQ(randomtype(m, 1), random_type::none);
  EXPECT_EQ(randomfile(m, 1), "");
  EXPECT_EQ(p.options.get_option("se").xc[0], "exact");
}

TEST(read_parameter_file, reads_a_group_of_correlated_effects_row_by_row) {
  std::string text = with(base_text(), "RANDOM_GROUP\n2\n", "RANDOM_GROUP\n2 3\n");
  text = with(text, "0.5, 0.1\n0.1 0.8 extra words are ignored\n",
              "1 2 3 4\n2 5 6 7\n3 6 8 9\n4 7 9 10\n");
  const model_parameters m = read_text(text).model;
  ASSERT_EQ(m.groups[0].g.rows, 4);
  EXPECT_EQ(m.groups[0].g(0, 3), 4);
  EXPECT_EQ(m.groups[0].g(2, 3), 9);
  EXPECT_EQ(randomtype(m, 3), random_type::add_animal);
}

TEST(read_parameter_file, weights_are_absent_common_or_per_trait) {
  EXPECT_EQ(read_text(with(base_text(), "WEIGHT(S)\n\n", "WEIGHT(S)\n4\n")).model.pos_weight,
            (std::vector<int>{4, 4}));
  EXPECT_EQ(read_text(with(base_text(), "WEIGHT(S)\n\n", "WEIGHT(S)\n4 7\n")).model.pos_weight,
            (std::vector<int>{4, 7}));
  EXPECT_EQ(stop_of(with(base_text(), "WEIGHT(S)\n\n", "WEIGHT(S)\n4 7 8\n")),
            (std::vector<std::string>{
                "Values for WEIGHT can be 'empty line' (no weight), a single number (same weight "
                "for all lines)",
                "or 'ntrait' numbers (different weights for each trait)",
                "file " + dir + "rp_par.txt, line 11"}));
}

TEST(read_parameter_file, comment_line_before_a_value_is_skipped_but_a_blank_line_is_not) {
  EXPECT_EQ(read_text(with(base_text(), "NUMBER_OF_TRAITS\n", "NUMBER_OF_TRAITS\n  # two\n"))
                .model.ntrait, 2);
  EXPECT_EQ(first_line_of_stop(with(base_text(), "NUMBER_OF_TRAITS\n", "NUMBER_OF_TRAITS\n\n")),
            "The value after NUMBER_OF_TRAITS must be a positive whole number, found: \"\"");
}

TEST(read_parameter_file, stops_on_missing_or_misplaced_keywords) {
  const std::string t = base_text();
  EXPECT_EQ(first_line_of_stop("\n"), "DATAFILE not found");
  EXPECT_EQ(first_line_of_stop(with(t, "NUMBER_OF_TRAITS", "NUMBER_OF_TRAIT")), "NUMBER_OF_TRAITS not found");
  EXPECT_EQ(first_line_of_stop(with(t, "NUMBER_OF_EFFECTS", "number_of_effects")), "NUMBER_OF_EFFECTS not found");
  EXPECT_EQ(first_line_of_stop(with(t, "OBSERVATION(S)", "OBSERVATIONS")), " OBSERVATION(S) not found");
  EXPECT_EQ(first_line_of_stop(with(t, "WEIGHT(S)", "WEIGHTS")), " WEIGHT(S) not found");
  EXPECT_EQ(first_line_of_stop(with(t, "EFFECTS:", "EFFECTS")), " EFFECTS: not found");
  EXPECT_EQ(first_line_of_stop(with(t, "RANDOM_RESIDUAL", "RANDOM_RESIDUALS")), " RANDOM_RESIDUAL not found");
  EXPECT_EQ(first_line_of_stop(with(t, "RANDOM_TYPE", "RANDOM-TYPE")), " RANDOM_TYPE not found");
  EXPECT_EQ(first_line_of_stop(with(t, "\nFILE\n", "\nFILES\n")), " FILE for random effect 2 not found");
  EXPECT_EQ(first_line_of_stop(with(t, "(CO)VARIANCES", "VARIANCES")), " (CO)VARIANCES not found");
}

TEST(read_parameter_file, stop_names_the_file_and_the_line) {
  auto lines = stop_of(with(base_text(), "EFFECTS:", "EFFECTS"));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[1], "file " + dir + "rp_par.txt, line 12");
}

TEST(read_parameter_file, empty_file_or_only_comments_is_empty) {
  EXPECT_EQ(stop_of(""), std::vector<std::string>{"INPUT FILE EMPTY"});
  EXPECT_EQ(stop_of("# nothing\n   # more\n"), std::vector<std::string>{"INPUT FILE EMPTY"});
}

TEST(read_parameter_file, stops_on_missing_files) {
  EXPECT_EQ(first_line_of_stop(with(base_text(), "rp_data.txt", "rp_nodata.txt")),
            "There is no such data file: " + dir + "rp_nodata.txt");
  EXPECT_EQ(stop_of(with(base_text(), "rp_ped.txt", "rp_noped.txt")),
            (std::vector<std::string>{" Error in the FILE statement:",
                                      " There is no such pedigree/user-supplied file: " + dir + "rp_noped.txt",
                                      "file " + dir + "rp_par.txt, line 24"}));
  EXPECT_EQ(read_text(with(base_text(), dir + "rp_ped.txt\n", "\n")).model.groups[0].file, "");
  try {
    read_parameter_file(dir + "rp_absent.txt", 0);
    FAIL();
  } catch (const fatal_error& e) {
    EXPECT_EQ(e.lines()[0], "There is no such parameter file.");
  }
}

TEST(read_parameter_file, stops_on_a_tab_in_the_first_record_only) {
  EXPECT_EQ(first_line_of_stop("DATAFILE\t\n"),
            " TAB was found, Use spaces to separeate columns in file: \"" + dir + "rp_par.txt\"");
  EXPECT_NO_THROW(read_text(with(base_text(), "OPTION se exact", "OPTION\tse exact")));
}

TEST(read_parameter_file, stops_on_a_tab_in_a_later_keyword_line_naming_it) {
  EXPECT_EQ(stop_of(with(base_text(), "2 0 100 cross\n", "2 0\t100 cross\n")),
            (std::vector<std::string>{
                " TAB was found, Use spaces to separeate columns in file: \"" + dir + "rp_par.txt\"",
                "file " + dir + "rp_par.txt, line 14: only blanks separate the words of this line",
                " Convert to TAB to spaces, e.g. \"expand file > newfile\""}));
  // In a trailing comment, or in the values of a matrix, a TAB does no harm.
  EXPECT_NO_THROW(read_text(with(base_text(), "2 0 100 cross\n", "2 0 100 cross # a\tb\n")));
  EXPECT_NO_THROW(read_text(with(base_text(), "1.0 0.5\n", "1.0\t0.5\n")));
}

TEST(read_parameter_file, effect_columns_and_levels_must_be_whole_numbers_from_zero) {
  const std::string file = "file " + dir + "rp_par.txt, line 14";
  EXPECT_EQ(stop_of(with(base_text(), "2 0 100 cross\n", "2 0 99999999999 cross\n")),
            (std::vector<std::string>{"Effect 2: the data columns and the number of levels must be whole "
                                      "numbers from 0 to 2147483647, found: \"99999999999\"",
                                      file}));
  EXPECT_EQ(first_line_of_stop(with(base_text(), "2 0 100 cross\n", "2 0 -5 cross\n")),
            "Effect 2: the data columns and the number of levels must be whole numbers from 0 to "
            "2147483647, found: \"-5\"");
  EXPECT_EQ(first_line_of_stop(with(base_text(), "2 0 100 cross\n", "2 x 100 cross\n")),
            "Effect 2: the data columns and the number of levels must be whole numbers from 0 to "
            "2147483647, found: \"x\"");
  EXPECT_EQ(first_line_of_stop(with(base_text(), "3 3 1 cov 1 1\n", "3 3 1 cov 1 one\n")),
            "Effect 3: the data columns and the number of levels must be whole numbers from 0 to "
            "2147483647, found: \"one\"");
  EXPECT_EQ(read_text(with(base_text(), "2 0 100 cross\n", "2 0 2147483647 cross\n")).model.nlev[1],
            2147483647);
}

TEST(read_parameter_file, a_file_that_ends_among_the_effects_says_so) {
  const std::string t = base_text();
  EXPECT_EQ(stop_of(t.substr(0, t.find("2 0 100 cross"))),
            (std::vector<std::string>{
                "The file ends after 1 of the 3 effect lines that NUMBER_OF_EFFECTS announces",
                "file " + dir + "rp_par.txt, at its end"}));
  // A count far beyond the lines given allocates nothing ahead.
  EXPECT_EQ(first_line_of_stop(with(t, "NUMBER_OF_EFFECTS\n3\n", "NUMBER_OF_EFFECTS\n2000000000\n")),
            "too few or too many numbers for effect 4. Was 1");
}

TEST(read_parameter_file, a_directory_is_no_data_or_pedigree_file) {
  const std::string d = dir + "rp_a_directory";
  ::mkdir(d.c_str(), 0755);
  EXPECT_EQ(stop_of(with(base_text(), dir + "rp_data.txt", d)),
            (std::vector<std::string>{"There is no such data file: " + d,
                                      "file " + dir + "rp_par.txt, line 3: it is a directory"}));
  EXPECT_EQ(stop_of(with(base_text(), dir + "rp_ped.txt", d)),
            (std::vector<std::string>{" Error in the FILE statement:",
                                      " There is no such pedigree/user-supplied file: " + d,
                                      "file " + dir + "rp_par.txt, line 24: it is a directory"}));
}

TEST(read_parameter_file, a_line_of_megabytes_costs_only_what_is_kept) {
  // Ten megabytes of values after the residual variances: the first four are read, the rest of
  // the line is ignored.
  std::string line = "1.0 0.5 0.5 2.0";
  line.reserve(10u << 20);
  while (line.size() < (10u << 20)) line += " 7.25";
  const model_parameters m = read_text(with(base_text(), "1.0 0.5\n0.5 2.0\n", line + "\n")).model;
  EXPECT_EQ(m.r.a, (std::vector<double>{1.0, 0.5, 0.5, 2.0}));
}

// One trait, nine effects in one group: 81 (co)variances, more than one batch of values a line.
std::string nine_effects(const std::string& variances) {
  std::string t = "DATAFILE\n" + dir + "rp_data.txt\nNUMBER_OF_TRAITS\n1\nNUMBER_OF_EFFECTS\n9\n"
                  "OBSERVATION(S)\n1\nWEIGHT(S)\n\nEFFECTS:\n";
  for (int i = 1; i <= 9; ++i) t += std::to_string(i + 1) + " 10 cross\n";
  return t + "RANDOM_RESIDUAL\n1.0\nRANDOM_GROUP\n1 2 3 4 5 6 7 8 9\nRANDOM_TYPE\ndiagonal\nFILE\n\n"
             "(CO)VARIANCES\n" + variances + "\n";
}

TEST(read_parameter_file, values_of_a_long_line_are_read_in_batches) {
  base_text();  // writes the data file
  std::string values;
  for (int i = 0; i < 81; ++i) values += std::to_string(i) + (i % 2 ? "," : "\t");
  const model_parameters m = read_text(nine_effects(values + " 99 100")).model;
  ASSERT_EQ(m.groups[0].g.rows, 9);
  for (int i = 0; i < 9; ++i)
    for (int j = 0; j < 9; ++j) EXPECT_EQ(m.groups[0].g(i, j), 9 * i + j);
  std::string bad;
  for (int i = 0; i < 81; ++i) bad += i == 69 ? "x " : "1 ";
  EXPECT_EQ(stop_of(nine_effects(bad)),
            (std::vector<std::string>{"error reading variances for effect 1",
                                      "file " + dir + "rp_par.txt, line 30: \"x\" is not a finite number"}));
}

TEST(read_parameter_file, observations_and_effects_need_their_counts) {
  EXPECT_EQ(first_line_of_stop(with(base_text(), "5 6\n", "5\n")),
            "2 numbers expected after OBSERVATION(S)");
  EXPECT_EQ(first_line_of_stop(with(base_text(), "2 0 100 cross\n", "2 0 100\n")),
            "too few or too many numbers for effect 2. Was 3");
  EXPECT_EQ(first_line_of_stop(with(base_text(), "3 3 1 cov 1 1\n", "3 3 1 cov 1\n")),
            "too few or too many numbers for effect 3. Was 5");
  EXPECT_EQ(first_line_of_stop(with(base_text(), "2 0 100 cross\n", "2 0 100 random\n")),
            "Unknown type of effect: random");
  EXPECT_EQ(read_text(with(base_text(), "2 0 100 cross\n", "2 0 100 crossclassified\n"))
                .model.effecttype[1], effect_type::cross_classified);
}

TEST(read_parameter_file, stops_on_unreadable_variances) {
  EXPECT_EQ(first_line_of_stop(with(base_text(), "1.0 0.5\n", "1.0 x\n")),
            "error reading RANDOM_RESIDUAL variances");
  EXPECT_EQ(first_line_of_stop(with(base_text(), "0.5, 0.1\n", "0.5, NaN\n")),
            "error reading variances for effect 2");
  auto lines = stop_of(with(base_text(), "0.1 0.8 extra words are ignored\n", "0.1\n"));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "error reading variances for effect 2");  // an OPTION word is no number
}

TEST(read_parameter_file, checks_the_effects_of_a_random_group) {
  const std::string t = base_text();
  EXPECT_EQ(first_line_of_stop(with(t, "RANDOM_GROUP\n2\n", "RANDOM_GROUP\n\n")),
            "line after RANDOM_GROUP has too few or too many numbers");
  EXPECT_EQ(first_line_of_stop(with(t, "RANDOM_GROUP\n2\n", "RANDOM_GROUP\n1 2 3 4\n")),
            "line after RANDOM_GROUP has too few or too many numbers");
  EXPECT_EQ(first_line_of_stop(with(t, "RANDOM_GROUP\n2\n", "RANDOM_GROUP\n0\n")),
            "number 0 after RANDOM_GROUP out of range");
  EXPECT_EQ(first_line_of_stop(with(t, "RANDOM_GROUP\n2\n", "RANDOM_GROUP\n4\n")),
            "number 4 after RANDOM_GROUP out of range");
  EXPECT_EQ(first_line_of_stop(with(t, "RANDOM_GROUP\n2\n", "RANDOM_GROUP\n1 3\n")),
            " correlated effects: 1 3 should be consecutive");
}

TEST(read_parameter_file, unknown_random_type_lists_the_known_ones) {
  EXPECT_EQ(stop_of(with(base_text(), "add_animal", "add_an_exact")),
            (std::vector<std::string>{"unknown RANDOM-TYPE: add_an_exact",
                                      " Should be diagonal, AR(1), add_animal, add_sire",
                                      " add_an_upg, add_an_upginb, add_an_usym, ",
                                      " add_an_metafounders, add_an_bees, add_an_bees_inb,",
                                      " add_an_auto, add_an_exact,",
                                      " user_file, user_file_inv, or par_domin",
                                      "file " + dir + "rp_par.txt, line 22"}));
}

TEST(read_parameter_file, bees_with_inbreeding_reads_as_bees) {
  EXPECT_EQ(read_text(with(base_text(), "add_animal", "add_an_bees_inb")).model.groups[0].type,
            random_type::add_an_bees);
}

TEST(read_parameter_file, warns_about_add_an_mf) {
  ::testing::internal::CaptureStdout();
  model_parameters m = read_text(with(base_text(), "add_animal", "add_an_mf")).model;
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "add_an_mf is not well implemented\nuse add_an_meta instead\n");
  EXPECT_EQ(m.groups[0].type, random_type::add_an_mf);
}

// A model with neff effects, all in one group of ncorr effects from effect 1, two traits and
// an identity (co)variance matrix.
std::string big_group_text(int ncorr) {
  base_text();  // writes the data file
  std::string t = "DATAFILE\n" + dir + "rp_data.txt\nNUMBER_OF_TRAITS\n2\nNUMBER_OF_EFFECTS\n" +
                  std::to_string(ncorr) + "\nOBSERVATION(S)\n1 2\nWEIGHT(S)\n\nEFFECTS:\n";
  for (int i = 0; i < ncorr; ++i) t += "3 3 10 cross\n";
  t += "RANDOM_RESIDUAL\n1 0 0 1\nRANDOM_GROUP\n";
  for (int i = 1; i <= ncorr; ++i) t += std::to_string(i) + " ";
  t += "\nRANDOM_TYPE\ndiagonal\nFILE\n\n(CO)VARIANCES\n";
  const int order = 2 * ncorr;
  for (int i = 0; i < order; ++i) {
    for (int j = 0; j < order; ++j) t += i == j ? "1 " : "0 ";
    t += "\n";
  }
  return t;
}

TEST(read_parameter_file, group_matrix_order_is_at_most_seventy) {
  EXPECT_EQ(read_text(big_group_text(35)).model.groups[0].g.rows, 70);
  EXPECT_EQ(first_line_of_stop(big_group_text(36)), "maxcorr should be increased to at least 72");
}

TEST(read_parameter_file, stops_when_fewer_groups_are_read_than_counted) {
  std::string two = with(base_text(), "OPTION se exact",
                         "RANDOM_GROUP\n3\nRANDOM_TYPE\ndiagonal\nFILE\n\n(CO)VARIANCES\n1 0 0 1\n"
                         "OPTION se exact");
  EXPECT_EQ(read_text(two).model.nrgroup(), 2);
  // A group line written after an unrelated line is counted but never reached.
  std::string lost = with(two, "RANDOM_GROUP\n3\n", "OTHER\nRANDOM_GROUP\n3\n");
  EXPECT_EQ(stop_of(lost),
            (std::vector<std::string>{
                "ERROR: The program could not read all RANDOM_GROUP in the parameter file - ",
                "       just read the first 1 random effect(s) only.",
                "       There may be a mismatch between the number of effects in a RANDOM_GROUP",
                "       and the order of (CO)VARIANCES. Please make sure that all the correlated",
                "       effects are specified in each RANDOM_GROUP."}));
}

TEST(read_parameter_file, an_effect_belongs_to_one_group_only) {
  std::string t = with(base_text(), "OPTION se exact",
                       "RANDOM_GROUP\n2\nRANDOM_TYPE\ndiagonal\nFILE\n\n(CO)VARIANCES\n1 0 0 1\n");
  EXPECT_EQ(first_line_of_stop(t), "effect 2 is already in an earlier RANDOM_GROUP");
}

TEST(parameter_file_name, comes_from_the_first_argument) {
  command_line cmd{{"par.txt  ", "--version"}};
  EXPECT_EQ(parameter_file_name(cmd, stdin), "par.txt");
}

TEST(parameter_file_name, is_prompted_for_without_an_argument_or_after_a_switch) {
  for (const command_line& cmd : {command_line{}, command_line{{"--x", "par.txt"}}}) {
    std::FILE* in = std::tmpfile();
    std::fputs("  my par.txt \nnext\n", in);
    std::rewind(in);
    ::testing::internal::CaptureStdout();
    std::string name = parameter_file_name(cmd, in);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), " name of parameter file?\n");
    EXPECT_EQ(name, "my par.txt");
    std::fclose(in);
  }
}

TEST(parameter_file_name, empty_input_gives_an_empty_name) {
  std::FILE* in = std::tmpfile();
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(parameter_file_name(command_line{}, in), "");
  ::testing::internal::GetCapturedStdout();
  std::fclose(in);
}

TEST(read_parameter_file, prints_the_banner_and_the_name) {
  const std::string path = write_temp("rp_par.txt", base_text());
  ::testing::internal::CaptureStdout();
  read_parameter_file(command_line{{path}}, 1, "VENTREL ver. 1.0.0      ");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "VENTREL ver. 1.0.0\n parameter file: " + path + "\n");
}

}  // namespace
}  // namespace ventrel::parfile
