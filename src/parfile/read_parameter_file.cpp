// The parameter file reader: the keyword sections DATAFILE to the last RANDOM_GROUP, checked in
// their fixed order, into the model record.
#include "parfile/read_parameter_file.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"
#include "parfile/keyword_line.hpp"

namespace ventrel::parfile {

namespace {

constexpr int max_group_order = 70;  // largest order of a group's (co)variance matrix

// Where a keyword line was read, for the last line of a message.
std::string where(const line_reader& f, const keyword_line& k) {
  if (k.n < 0) return "file " + f.path() + ", at its end";
  return at_line(f.path(), k.line_no);
}

// Reads the next keyword line and stops with message unless its first word is keyword.
void expect_keyword(line_reader& f, std::string_view keyword, const std::string& message) {
  keyword_line k = read_keyword_line(f);
  if (k.n < 1 || k.words[0] != keyword) fatal({message, where(f, k)});
}

// The first word of the next keyword line; empty for a blank line or the end of the file.
std::string first_word(const keyword_line& k) { return k.n > 0 ? k.words[0] : std::string(); }

// A list-directed read of count reals from the next lines into out (row by row for a square
// matrix): values separated by blanks, TABs or commas, over as many lines as they take; the
// rest of the last line is ignored, and a slash ends the read early leaving zeros. Returns
// false, with bad set to the place, at a value that is not a finite number or at the end of
// the file.
bool read_reals(line_reader& f, std::vector<double>& out, std::string& bad) {
  std::size_t got = 0;
  std::array<std::string_view, 64> fields;
  std::string_view line;
  while (got < out.size()) {
    if (!f.next(line)) {
      bad = "file " + f.path() + ", at its end";
      return false;
    }
    // The values of the line, 64 at a time, so that a line of megabytes needs no more memory
    // than the values kept.
    std::string_view rest = line;
    while (got < out.size()) {
      const std::size_t n = split_fields(rest, fields);
      const std::size_t stored = std::min(n, fields.size());
      for (std::size_t i = 0; i < stored && got < out.size(); ++i) {
        double v = 0;
        if (!parse_real(fields[i], v) || !std::isfinite(v)) {
          bad = at_line(f.path(), f.line_number()) + ": \"" + excerpt(fields[i], 40) +
                "\" is not a finite number";
          return false;
        }
        out[got++] = v;
      }
      if (n <= fields.size()) break;
      // Go on after the last value stored (a view into rest).
      const std::string_view last = fields[fields.size() - 1];
      rest = rest.substr(static_cast<std::size_t>(last.data() + last.size() - rest.data()));
    }
    // A slash ends the read: split_fields stopped there, so the line had no more fields to give.
    if (got < out.size() && line.find('/') != std::string_view::npos) break;
  }
  return true;
}

linalg::dense_matrix square_matrix(const std::vector<double>& v, int order) {
  linalg::dense_matrix m(order, order);
  for (int i = 0; i < order; ++i)
    for (int j = 0; j < order; ++j) m(i, j) = v[static_cast<std::size_t>(i) * order + j];
  return m;
}

// A count after NUMBER_OF_TRAITS or NUMBER_OF_EFFECTS: a positive whole number.
int positive_count(line_reader& f, std::string_view what) {
  keyword_line k = read_keyword_line(f);
  if (k.n < 1 || k.numbers[0] < 1)
    fatal({"The value after " + std::string(what) + " must be a positive whole number, found: \"" +
               excerpt(first_word(k)) + "\"",
           where(f, k)});
  return k.numbers[0];
}

// A data column or a number of levels of an effect line: a whole number from 0 up.
void check_effect_number(const line_reader& f, const keyword_line& k, int effect, int word) {
  const std::string& w = k.words[static_cast<std::size_t>(word)];
  std::int32_t v = 0;
  if (!parse_int(w, v) || v < 0)
    fatal({"Effect " + num(effect) + ": the data columns and the number of levels must be whole numbers from 0 to " +
               num(std::int64_t{2147483647}) + ", found: \"" + excerpt(w) + "\"",
           where(f, k)});
}

void read_effects(line_reader& f, model_parameters& m) {
  const int nt = m.ntrait;
  for (int i = 1; i <= m.neff; ++i) {
    keyword_line k = read_keyword_line(f);
    if (k.n < 0)
      fatal({"The file ends after " + num(i - 1) + " of the " + num(m.neff) +
                 " effect lines that NUMBER_OF_EFFECTS announces",
             where(f, k)});
    if (k.n != nt + 2 && k.n != 2 * nt + 2)
      fatal({"too few or too many numbers for effect " + num(i) + ". Was " + num(k.n), where(f, k)});
    for (int w = 0; w <= nt; ++w) check_effect_number(f, k, i, w);
    if (k.n == 2 * nt + 2)
      for (int w = nt + 2; w < k.n; ++w) check_effect_number(f, k, i, w);
    m.pos_eff.emplace_back(k.numbers.begin(), k.numbers.begin() + nt);
    m.nlev.push_back(k.numbers[nt]);
    const std::string& type = k.words[nt + 1];
    if (type.starts_with("cro")) m.effecttype.push_back(effect_type::cross_classified);
    else if (type.starts_with("cov")) m.effecttype.push_back(effect_type::covariable);
    else fatal({"Unknown type of effect: " + excerpt(type), where(f, k)});
    if (k.n == 2 * nt + 2) m.nestedcov.emplace_back(k.numbers.begin() + nt + 2, k.numbers.end());
    else m.nestedcov.emplace_back(nt, 0);
  }
}

// The line of effect numbers after RANDOM_GROUP: 1..neff numbers, each in 1..neff, consecutive,
// and (so that every effect has one type and one matrix) in no earlier group.
std::vector<int> read_group_effects(line_reader& f, const model_parameters& m) {
  keyword_line k = read_keyword_line(f);
  if (k.n < 1 || k.n > m.neff)
    fatal({"line after RANDOM_GROUP has too few or too many numbers", where(f, k)});
  for (int j = 0; j < k.n; ++j)
    if (k.numbers[j] < 1 || k.numbers[j] > m.neff)
      fatal({"number " + excerpt(k.words[j]) + " after RANDOM_GROUP out of range", where(f, k)});
  for (int j = 1; j < k.n; ++j)
    if (k.numbers[j] != k.numbers[j - 1] + 1) {
      std::string line = " correlated effects:";
      for (int e : k.numbers) line += " " + num(e);
      fatal({line + " should be consecutive", where(f, k)});
    }
  for (int e : k.numbers)
    if (group_of(m, e))
      fatal({"effect " + num(e) + " is already in an earlier RANDOM_GROUP", where(f, k)});
  return k.numbers;
}

random_type read_random_type(line_reader& f) {
  expect_keyword(f, "RANDOM_TYPE", " RANDOM_TYPE not found");
  keyword_line k = read_keyword_line(f);
  const std::string word = first_word(k);
  std::optional<random_type> t = match_random_type(word);
  if (!t)
    fatal({"unknown RANDOM-TYPE: " + excerpt(word), " Should be diagonal, AR(1), add_animal, add_sire",
           " add_an_upg, add_an_upginb, add_an_usym, ",
           " add_an_metafounders, add_an_bees, add_an_bees_inb,", " add_an_auto, add_an_exact,",
           " user_file, user_file_inv, or par_domin", where(f, k)});
  if (*t == random_type::add_an_mf) {
    say("add_an_mf is not well implemented");
    say("use add_an_meta instead");
  }
  return *t;
}

void read_random_groups(line_reader& f, model_parameters& m) {
  for (keyword_line k = read_keyword_line(f); k.n > 0 && k.words[0] == "RANDOM_GROUP";
       k = read_keyword_line(f)) {
    random_group g;
    g.effects = read_group_effects(f, m);
    g.ncorr = static_cast<int>(g.effects.size());
    const int lead = g.effects[0];
    g.type = read_random_type(f);

    expect_keyword(f, "FILE", " FILE for random effect " + num(lead) + " not found");
    keyword_line fk = read_keyword_line(f);
    g.file = first_word(fk);
    if (!g.file.empty() && !file_exists(g.file))
      fatal({" Error in the FILE statement:",
             " There is no such pedigree/user-supplied file: " + excerpt(g.file), where(f, fk)});
    if (!g.file.empty() && is_directory(g.file))
      fatal({" Error in the FILE statement:",
             " There is no such pedigree/user-supplied file: " + excerpt(g.file), where(f, fk) + ": it is a directory"});

    expect_keyword(f, "(CO)VARIANCES", " (CO)VARIANCES not found");
    const int order = m.ntrait * g.ncorr;
    if (order > max_group_order)
      fatal({"maxcorr should be increased to at least " + num(order),
             at_line(f.path(), f.line_number())});
    std::vector<double> v(static_cast<std::size_t>(order) * order, 0.0);
    std::string bad;
    if (!read_reals(f, v, bad)) fatal({"error reading variances for effect " + num(lead), bad});
    g.g = square_matrix(v, order);
    m.groups.push_back(std::move(g));
  }
  if (m.nrgroup() < m.nrgroup_expected)
    fatal({"ERROR: The program could not read all RANDOM_GROUP in the parameter file - ",
           "       just read the first " + num(m.nrgroup()) + " random effect(s) only.",
           "       There may be a mismatch between the number of effects in a RANDOM_GROUP",
           "       and the order of (CO)VARIANCES. Please make sure that all the correlated",
           "       effects are specified in each RANDOM_GROUP."});
}

// The keyword sections, in their fixed order, from the start of the file.
model_parameters read_model(line_reader& f) {
  model_parameters m;
  m.parfile = f.path();
  check_file_format(f);
  m.nrgroup_expected = count_random_groups(f);

  keyword_line k = read_keyword_line(f);
  if (k.n < 0) fatal("INPUT FILE EMPTY");
  if (k.n < 1 || k.words[0] != "DATAFILE") fatal({"DATAFILE not found", where(f, k)});
  k = read_keyword_line(f);
  m.datafile = first_word(k);
  if (!file_exists(m.datafile)) fatal({"There is no such data file: " + excerpt(m.datafile), where(f, k)});
  if (is_directory(m.datafile))
    fatal({"There is no such data file: " + excerpt(m.datafile), where(f, k) + ": it is a directory"});

  expect_keyword(f, "NUMBER_OF_TRAITS", "NUMBER_OF_TRAITS not found");
  m.ntrait = positive_count(f, "NUMBER_OF_TRAITS");
  expect_keyword(f, "NUMBER_OF_EFFECTS", "NUMBER_OF_EFFECTS not found");
  m.neff = positive_count(f, "NUMBER_OF_EFFECTS");

  expect_keyword(f, "OBSERVATION(S)", " OBSERVATION(S) not found");
  k = read_keyword_line(f);
  if (k.n != m.ntrait)
    fatal({num(m.ntrait) + " numbers expected after OBSERVATION(S)", where(f, k)});
  m.pos_y = k.numbers;

  expect_keyword(f, "WEIGHT(S)", " WEIGHT(S) not found");
  k = read_keyword_line(f);
  if (k.n == 0) m.pos_weight.assign(m.ntrait, 0);
  else if (k.n == 1) m.pos_weight.assign(m.ntrait, k.numbers[0]);
  else if (k.n == m.ntrait) m.pos_weight = k.numbers;
  else
    fatal({"Values for WEIGHT can be 'empty line' (no weight), a single number (same weight for all lines)",
           "or 'ntrait' numbers (different weights for each trait)", where(f, k)});

  expect_keyword(f, "EFFECTS:", " EFFECTS: not found");
  read_effects(f, m);

  expect_keyword(f, "RANDOM_RESIDUAL", " RANDOM_RESIDUAL not found");
  std::vector<double> v(static_cast<std::size_t>(m.ntrait) * m.ntrait, 0.0);
  std::string bad;
  if (!read_reals(f, v, bad)) fatal({"error reading RANDOM_RESIDUAL variances", bad});
  m.r = square_matrix(v, m.ntrait);

  read_random_groups(f, m);
  return m;
}

parameter_file read_named(const std::string& name, int verbosity) {
  if (verbosity > 0) say(" parameter file: " + name);
  if (name.empty() || !file_exists(name))
    fatal({"There is no such parameter file.", " file: \"" + excerpt(name) + "\""});
  auto file = std::make_unique<line_reader>(name);
  model_parameters m = read_model(*file);
  return parameter_file{std::move(m), option_store(std::move(file))};
}

void print_banner(int verbosity, std::string_view banner) {
  std::string_view b = trim_right(banner);
  if (verbosity > 0 && !b.empty()) say(b);
}

std::string_view trim_blanks(std::string_view s) {
  s = trim_right(s);
  std::size_t i = s.find_first_not_of(' ');
  return i == std::string_view::npos ? std::string_view() : s.substr(i);
}

}  // namespace

std::string parameter_file_name(const command_line& cmd, std::FILE* in) {
  if (!cmd.args.empty() && !cmd.args[0].starts_with("--"))
    return std::string(trim_right(cmd.args[0]));
  say_no_newline(" name of parameter file?");
  std::string line;
  std::array<char, 512> buf{};
  while (std::fgets(buf.data(), buf.size(), in)) {
    line += buf.data();
    if (!line.empty() && line.back() == '\n') break;
  }
  if (!::isatty(::fileno(in))) say("");
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  return std::string(trim_blanks(line.substr(0, 250)));
}

parameter_file read_parameter_file(const command_line& cmd, int verbosity, std::string_view banner) {
  print_banner(verbosity, banner);
  return read_named(parameter_file_name(cmd), verbosity);
}

parameter_file read_parameter_file(const std::string& name, int verbosity, std::string_view banner) {
  print_banner(verbosity, banner);
  return read_named(name, verbosity);
}

}  // namespace ventrel::parfile
