// Text of the simulator's output files. Numbers are written in the shortest form that reads
// back to the same double, so that a file holds exactly what was computed.
#include "simulate/output_files.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace ventrel::simulate {

namespace {

// Appends numbers and words to a string without a stream per value.
class text {
 public:
  text& word(std::string_view s) { gap(); s_.append(s); return *this; }
  text& i(long long v) {
    gap();
    char b[24];
    auto r = std::to_chars(b, b + sizeof b, v);
    s_.append(b, r.ptr);
    return *this;
  }
  text& x(double v) {
    gap();
    char b[32];
    auto r = std::to_chars(b, b + sizeof b, v);
    s_.append(b, r.ptr);
    return *this;
  }
  text& end() { s_.push_back('\n'); fresh_ = true; return *this; }
  text& line(std::string_view s) { s_.append(s); return end(); }
  void reserve(std::size_t n) { s_.reserve(n); }
  std::string take() { return std::move(s_); }

 private:
  void gap() {
    if (!fresh_) s_.push_back(' ');
    fresh_ = false;
  }
  std::string s_;
  bool fresh_ = true;
};

// Rows of a small matrix, one line each.
void matrix_lines(text& out, const linalg::dense_matrix& m) {
  for (int r = 0; r < m.rows; ++r) {
    for (int c = 0; c < m.cols; ++c) out.x(m(r, c));
    out.end();
  }
}

}  // namespace

std::string solutions_file_name(bool whole) { return whole ? "solutions_whole" : "solutions_partial"; }
std::string ebv_pev_name(int trait, bool whole) {
  return "ebv_pev_" + std::to_string(trait) + (whole ? "_1_whole" : "_1_partial");
}
std::string pec_name(int trait, bool whole) {
  return "pec_" + std::to_string(trait) + (whole ? "_1_whole" : "_1_partial");
}

std::string parameter_file_text(const simulation_options& opt, const population& pop,
                                const linalg::dense_matrix& g0, const linalg::dense_matrix& r0) {
  const int nt = pop.ntrait;
  text t;
  t.line("DATAFILE").line(data_file_name);
  t.line("NUMBER_OF_TRAITS").i(nt).end();
  t.line("NUMBER_OF_EFFECTS").i(2).end();
  t.line("OBSERVATION(S)");
  for (int k = 0; k < nt; ++k) t.i(3 + k);
  t.end();
  t.line("WEIGHT(S)").line("");
  t.line("EFFECTS:");
  for (int k = 0; k < nt; ++k) t.i(2);
  t.i(pop.nherd).word("cross").end();
  for (int k = 0; k < nt; ++k) t.i(1);
  t.i(pop.n).word("cross").end();
  t.line("RANDOM_RESIDUAL");
  matrix_lines(t, r0);
  t.line("RANDOM_GROUP").line("2");
  t.line("RANDOM_TYPE").line("add_animal");
  t.line("FILE").line(pedigree_file_name);
  t.line("(CO)VARIANCES");
  matrix_lines(t, g0);
  t.word("OPTION validation 2").word(validation_file_name).end();
  t.line("OPTION predictive_ability");
  if (opt.se != "none") t.word("OPTION se").word(opt.se).end();
  if (opt.markers > 0) t.word("OPTION SNP_file").word(genotype_file_name).end();
  return t.take();
}

std::string data_text(const population& pop, std::span<const char> has_record) {
  const std::size_t nt = static_cast<std::size_t>(pop.ntrait);
  text t;
  t.reserve(static_cast<std::size_t>(pop.n) * (16 + 20 * nt));
  for (int a = 1; a <= pop.n; ++a) {
    const std::size_t ua = static_cast<std::size_t>(a);
    if (!has_record[ua]) continue;
    t.i(a).i(pop.herd[ua]);
    for (std::size_t k = 0; k < nt; ++k) t.x(pop.y[ua * nt + k]);
    t.end();
  }
  return t.take();
}

std::string pedigree_text(const population& pop) {
  text t;
  t.reserve(static_cast<std::size_t>(pop.n) * 24);
  for (int a = 1; a <= pop.n; ++a) {
    const std::size_t ua = static_cast<std::size_t>(a);
    t.i(a).i(pop.sire[ua]).i(pop.dam[ua]).end();
  }
  return t.take();
}

std::string validation_text(std::span<const int> focal) {
  text t;
  for (int a : focal) t.i(a).end();
  return t.take();
}

std::string solutions_text(const population& pop, const evaluation& ev, bool acc,
                           const linalg::dense_matrix& g0) {
  const int nt = pop.ntrait;
  text t;
  t.reserve(static_cast<std::size_t>(ev.layout.neq()) * (acc ? 48 : 36));
  t.line(acc ? "trait/effect level  solution acc" : "trait/effect level  solution");
  for (int h = 1; h <= ev.layout.nherd; ++h) {
    for (int k = 1; k <= nt; ++k) {
      t.i(k).i(1).i(h).x(ev.herd_solution(h, k));
      if (acc) t.x(0.0);
      t.end();
    }
  }
  for (int a = 1; a <= ev.layout.nanimal; ++a) {
    for (int k = 1; k <= nt; ++k) {
      t.i(k).i(2).i(a).x(ev.ebv(a, k));
      if (acc) {
        const double pev = ev.pev[static_cast<std::size_t>(a - 1) * static_cast<std::size_t>(nt) +
                                  static_cast<std::size_t>(k - 1)];
        const double var = (1.0 + pop.inb[static_cast<std::size_t>(a)]) * g0(k - 1, k - 1);
        t.x(std::sqrt(std::clamp(1.0 - pev / var, 0.0, 1.0)));
      }
      t.end();
    }
  }
  return t.take();
}

std::string ebv_pev_text(const evaluation& ev, int k) {
  const std::size_t nt = static_cast<std::size_t>(ev.layout.ntrait);
  text t;
  t.reserve(static_cast<std::size_t>(ev.layout.nanimal) * 48);
  for (int a = 1; a <= ev.layout.nanimal; ++a) {
    t.i(a).x(ev.ebv(a, k)).x(ev.pev[static_cast<std::size_t>(a - 1) * nt + static_cast<std::size_t>(k - 1)]).end();
  }
  return t.take();
}

std::string pec_text(const evaluation& ev, std::span<const int> focal, int k) {
  const std::vector<double>& pec = ev.pec[static_cast<std::size_t>(k - 1)];
  const std::size_t m = focal.size();
  text t;
  t.reserve(pec.size() * 40);
  std::size_t p = 0;
  for (std::size_t a = 0; a < m; ++a)
    for (std::size_t b = a + 1; b < m; ++b) t.i(focal[a]).i(focal[b]).x(pec[p++]).end();
  return t.take();
}

std::string yhat_residual_text(const population& pop, std::span<const char> has_record,
                               const evaluation& whole) {
  const std::size_t nt = static_cast<std::size_t>(pop.ntrait);
  text t;
  t.reserve(static_cast<std::size_t>(pop.n) * (10 + 22 * nt));
  for (int a = 1; a <= pop.n; ++a) {
    const std::size_t ua = static_cast<std::size_t>(a);
    if (!has_record[ua]) continue;
    t.i(a);
    for (std::size_t k = 0; k < nt; ++k) {
      t.x(pop.y[ua * nt + k] - whole.herd_solution(pop.herd[ua], static_cast<int>(k) + 1));
    }
    t.end();
  }
  return t.take();
}

std::string true_values_text(const population& pop) {
  const std::size_t nt = static_cast<std::size_t>(pop.ntrait);
  text t;
  t.reserve(static_cast<std::size_t>(pop.n) * (48 + 22 * nt));
  std::string head = "# animal sire dam generation sex herd inbreeding";
  for (std::size_t k = 1; k <= nt; ++k) head += " tbv_" + std::to_string(k);
  t.line(head);
  for (int a = 1; a <= pop.n; ++a) {
    const std::size_t ua = static_cast<std::size_t>(a);
    t.i(a).i(pop.sire[ua]).i(pop.dam[ua]).i(pop.generation[ua]).i(pop.male[ua] ? 1 : 2)
        .i(pop.herd[ua]).x(pop.inb[ua]);
    for (std::size_t k = 0; k < nt; ++k) t.x(pop.tbv[ua * nt + k]);
    t.end();
  }
  return t.take();
}

}  // namespace ventrel::simulate
