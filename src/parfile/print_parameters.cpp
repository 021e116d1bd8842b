// The printout of the model record.
#include "parfile/print_parameters.hpp"

#include <algorithm>
#include <cmath>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "linalg/cholesky.hpp"

namespace ventrel::parfile {

namespace {

constexpr int type_width = 18;   // "cross-classified" and two blanks
constexpr int pos_width = 6;     // one data column per trait
constexpr int levels_width = 10;

std::string joined(const std::vector<int>& v) {
  std::string s;
  for (int x : v) s += (s.empty() ? "" : " ") + num(x);
  return s;
}

// " #  type", "position (2)", "levels   [positions for nested]" over one row per effect:
// the effect number, its type, a right-aligned column per trait, the number of levels and,
// for a nested covariable, the columns of its factor in brackets.
void print_effects_table(const model_parameters& m) {
  const int nw = std::max<int>(2, static_cast<int>(num(m.neff).size()));
  const int pw = std::max(12, pos_width * m.ntrait);
  say(pad_right(std::string(nw - 1, ' ') + "#  type", nw + 2 + type_width) +
      fmt_a("position (2)", pw) + "  " + fmt_a("levels", levels_width) +
      "   [positions for nested]");
  for (int i = 0; i < m.neff; ++i) {
    std::string pos;
    for (int c : m.pos_eff[i]) pos += fmt_i(c, pos_width);
    const bool cov = m.effecttype[i] == effect_type::covariable;
    std::string row = fmt_i(i + 1, nw) + "  " +
                      pad_right(cov ? "covariable" : "cross-classified", type_width) +
                      fmt_a(pos, pw) + "  " + fmt_i(m.nlev[i], levels_width);
    const auto& nested = m.nestedcov[i];
    if (std::any_of(nested.begin(), nested.end(), [](int c) { return c != 0; }))
      row += "   [" + joined(nested) + "]";
    say(row);
  }
}

// The first element (i, j), i > j, that differs from (j, i) beyond the tolerance of is_symmetric;
// false when there is none.
bool first_asymmetry(const linalg::dense_matrix& a, int& i_out, int& j_out) {
  for (int j = 0; j < a.cols; ++j)
    for (int i = j + 1; i < a.rows; ++i) {
      const double x = a(i, j), y = a(j, i);
      if (std::abs(x - y) > 1e-6 * std::max(std::abs(x), std::abs(y))) {
        i_out = i;
        j_out = j;
        return true;
      }
    }
  return false;
}

// Prints a matrix row by row in (20g12.5), or the skip note when it is too large; then stops
// when it is not symmetric (naming the first pair that differs and where the matrix is given)
// and warns when it is not positive definite.
void print_and_check(const linalg::dense_matrix& a, char letter, const char* skipped, const std::string& where) {
  if (a.rows > max_printed_order) {
    say(skipped);
  } else {
    std::vector<double> row(a.cols);
    for (int i = 0; i < a.rows; ++i) {
      for (int j = 0; j < a.cols; ++j) row[j] = a(i, j);
      say(fmt_g_lines(row.data(), row.size(), 20, 12, 5));
    }
  }
  int i = 0, j = 0;
  if (a.rows != a.cols) fatal(std::string(1, letter) + " Matrix not symmetric");
  if (first_asymmetry(a, i, j))
    fatal({std::string(1, letter) + " Matrix not symmetric",
           "element (" + num(i + 1) + "," + num(j + 1) + ") is " + num(a(i, j)) + " but (" + num(j + 1) + "," +
               num(i + 1) + ") is " + num(a(j, i)) + ": " + where});
  if (!linalg::is_positive_definite(a)) say(std::string(1, letter) + "  Matrix not positive definite");
}

}  // namespace

bool is_symmetric(const linalg::dense_matrix& a) {
  int i = 0, j = 0;
  return a.rows == a.cols && !first_asymmetry(a, i, j);
}

void print_parameters(const model_parameters& m) {
  say("");
  say(" Data file: " + m.datafile);
  say(" Number of traits:  " + num(m.ntrait));
  say(" Number of effects: " + num(m.neff));
  say(" Position of observations:   " + joined(m.pos_y));
  say(" Position of weight (1):     " + joined(m.pos_weight));
  say("");
  print_effects_table(m);
  say("");
  say(" Residual (co)variances");
  print_and_check(m.r, 'R', "Residual matrix skipped from log", "RANDOM_RESIDUAL in file " + m.parfile);
  for (int k = 0; k < m.nrgroup(); ++k) {
    const random_group& g = m.groups[k];
    const std::string_view type = random_type_description(g.type);
    if (type.empty()) fatal("unknown RANDOM-TYPE");
    say("");
    say(" Random group " + num(k + 1) + ", effect(s): " + joined(g.effects));
    say(" Type of random effect: " + std::string(type));
    say(" File: " + (g.file.empty() ? std::string("(none)") : g.file));
    say(" (Co)variances");
    print_and_check(g.g, 'G', "G Matrix skipped from log",
                    "(CO)VARIANCES of the RANDOM_GROUP of effect " + num(g.effects.front()) + " in file " + m.parfile);
  }
  say("");
  say(" (1) Weight position 0 means no weights utilized");
  say(" (2) Effect positions of 0 for some effects and traits means that such");
  say("     effects are missing for specified traits");
}

}  // namespace ventrel::parfile
