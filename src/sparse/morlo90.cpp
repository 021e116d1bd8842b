// morlo90: task words, the step counter and its checks, and the tasks that factorise, solve,
// multiply and invert. Files and statistics are in morlo90_files.cpp.
#include "sparse/morlo90.hpp"

#include <omp.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <string>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "sparse/morlo90_entry.hpp"
#include "sparse/simplicial_inverse.hpp"
#include "sparse/supernodal_inverse.hpp"

namespace ventrel::sparse {
namespace {

enum class task {
  factorization, solve, inv_fact, inv_fact_t, inv_fact_n, x_inv_fact_n, m_fact, inverse, reset,
  ldet, statistics, export_perm, import_perm, export_fact, savem, loadm, savef, loadf, dump,
  ordering, symbolic, numeric, unknown
};

// The three-letter codes in the order the entry tests them, then the codes of the long task
// words whose first letters are none of those. Where one code stands for two words the last
// letter of the word decides: m_inv_fact_n / m_inv_fact_t, export_perm / export_fact,
// savem / savef, loadm / loadf.
task recognise(std::string_view word) {
  std::string w(word.substr(0, 3));
  for (char& ch : w) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
  const char last = word.empty() ? ' ' : static_cast<char>(std::tolower(static_cast<unsigned char>(word.back())));
  struct code { const char* c; task t; };
  static const code codes[] = {
      {"fac", task::factorization}, {"sol", task::solve},        {"m_i", task::inv_fact},
      {"mti", task::inv_fact_t},    {"mni", task::inv_fact_n},   {"xni", task::x_inv_fact_n},
      {"m_f", task::m_fact},        {"inv", task::inverse},      {"res", task::reset},
      {"det", task::ldet},          {"lde", task::ldet},         {"sta", task::statistics},
      {"per", task::export_perm},   {"inp", task::import_perm},  {"exp", task::export_fact},
      {"sme", task::savem},         {"lme", task::loadm},        {"sfi", task::savef},
      {"lfi", task::loadf},         {"dum", task::dump},         {"ord", task::ordering},
      {"sym", task::symbolic},      {"num", task::numeric},      {"imp", task::import_perm},
      {"x_i", task::x_inv_fact_n},  {"sav", task::savem},        {"loa", task::loadm}};
  for (const code& c : codes) {
    if (w != c.c) continue;
    if (c.t == task::inv_fact) return last == 't' ? task::inv_fact_t : task::inv_fact_n;
    if (c.t == task::export_fact && last == 'm') return task::export_perm;
    if (c.t == task::savem && last == 'f') return task::savef;
    if (c.t == task::loadm && last == 'f') return task::loadf;
    return c.t;
  }
  return task::unknown;
}

void say_time(int msg_level, const char* label, double seconds) {
  if (msg_level > 0) say(label + fmt_f(seconds, 12, 3));
}

}  // namespace

morlo90::morlo90(morlo90_settings settings) : settings_(settings) {}
morlo90::~morlo90() = default;

void morlo90::stop(std::vector<std::string> lines) const {
  if (!settings_.context.empty()) lines.push_back(settings_.context);
  fatal(std::move(lines));
}
void morlo90::stop(std::string line) const { stop(std::vector<std::string>{std::move(line)}); }
void morlo90::stop(std::initializer_list<std::string> lines) const { stop(std::vector<std::string>(lines)); }

void morlo90::set_num_threads_kelp(int k) { num_threads_kelp_ = std::max(k, 1); }

int morlo90::kelp_threads() {
  if (num_threads_kelp_ > 0) return num_threads_kelp_;
  const int d = omp_get_max_threads();
  if (!told_default_threads_) {
    say(" MORLO90: number of threads for KELP = " + num(d) + "; default = " + num(d) + " by default.");
    told_default_threads_ = true;
  }
  return d;
}

bool morlo90::simplicial() const {
  return settings_.engine == morlo_engine::morlo || loaded_from_file_;
}

void morlo90::operator()(std::string_view task_word, ija_matrix& m, const morlo90_args& args) {
  entry e(m, false);
  run(task_word, e, args);
}

void morlo90::morlo90_ia8(std::string_view task_word, ija8_matrix& m, const morlo90_args& args) {
  if (settings_.engine == morlo_engine::morlo)
    stop("MORLO90_IA8: IJA8 is supported only in KELP. Switch from MORLO to KELP.");
  entry e(m, true);
  run(task_word, e, args);
}

void morlo90::run(std::string_view word, entry& e, const morlo90_args& args) {
  const task t = recognise(word);
  const std::string head = e.name + ":";
  auto need_vectors = [&] {
    if (args.sol.empty() || args.rs.empty()) stop(head + " optional parameter SOL or RS missing");
  };
  switch (t) {
    case task::unknown:
      stop(e.name + " operation " + std::string(word) + " unknown");
    case task::reset:
      reset();
      return;
    case task::statistics:
      statistics();
      return;
    case task::dump:
      check_matrix(e);
      dump(e);
      return;
    case task::factorization:
      if (step_ >= morlo_step::symbolic) reset();  // a new factorisation replaces the old one
      check_matrix(e);
      factorization(e);
      return;
    case task::ordering:
      check_matrix(e);
      ordering(e);
      return;
    case task::symbolic:
      check_matrix(e);
      require(morlo_step::ordered);
      symbolic(e);
      return;
    case task::numeric:
      check_matrix(e);
      numeric(e);
      return;
    case task::solve:
      need_vectors();
      check_matrix(e);
      require(morlo_step::numeric);
      solve(e, args);
      return;
    case task::m_fact:
    case task::inv_fact:  // resolved by recognise() into one of the two below
    case task::inv_fact_n:
    case task::inv_fact_t:
      need_vectors();
      check_matrix(e);
      require(morlo_step::numeric);
      product(e, word, t == task::m_fact ? 0 : t == task::inv_fact_n ? 1 : 2, args);
      return;
    case task::x_inv_fact_n:
      if (args.msol8.empty() || args.mrs8.empty()) stop(head + " optional parameter MSOL8 or MRS8 missing");
      if (args.nrhs <= 0) stop(head + " nrhs missing");
      check_matrix(e);
      require(morlo_step::numeric);
      product(e, word, 3, args);
      return;
    case task::inverse:
      check_matrix(e);
      require(morlo_step::numeric);
      inverse(e);
      return;
    case task::ldet:
      if (!args.det) stop(head + " optional parameter DET missing");
      check_matrix(e);
      require(morlo_step::numeric);
      *args.det = logdet();
      return;
    case task::export_perm:
      if (!args.perm) stop(head + " optional parameter PERM missing");
      check_matrix(e);
      require(morlo_step::ordered);
      export_perm(e, args);
      return;
    case task::import_perm:
      if (!args.perm) stop(head + " optional parameter PERM missing");
      check_matrix(e);
      import_perm(e, args);
      return;
    case task::export_fact:
      if (!args.factija)
        stop(e.ia8 ? head + " optional parameter factija missing" : head + " optional parameter factija");
      check_matrix(e);
      require(morlo_step::numeric);
      export_fact(e, args);
      return;
    case task::savem:
      if (step_ < morlo_step::ordered) stop("MORLO90: no intermediate results");
      check_matrix(e);
      save_ordering(e);
      return;
    case task::loadm:
      check_matrix(e);
      load_ordering(e);
      return;
    case task::savef:
      if (step_ < morlo_step::numeric) stop("MORLO90: no intermediate results");
      check_matrix(e);
      save_factor(e);
      return;
    case task::loadf:
      check_matrix(e);
      load_factor(e);
      return;
  }
}

// The matrix given must be a proper upper-triangular IJA matrix, and once a matrix has been
// ordered, the same one (its order and number of elements).
void morlo90::check_matrix(const entry& e) const {
  if (e.view.n < 1) stop("ERR_PARAM: n<1");
  if (!e.consistent || (step_ >= morlo_step::ordered && (e.view.n != neq_ || e.view.nnz != nnz_)))
    stop("ERR_PARAM: n/=neq.or.nnz/=ia(n+1)-1");
  if (!well_formed(e.view)) stop("INPUT ERROR: illegal format of input matrix (ia, ja, a).");
}

void morlo90::require(morlo_step needed) const {
  if (step_ < morlo_step::ordered) stop("ERR_STEP: status<STAT_ORD");
  if (needed == morlo_step::symbolic && step_ < morlo_step::symbolic) stop("ERR_STEP: status<STAT_SYM");
  if (needed == morlo_step::numeric && step_ < morlo_step::numeric) stop("ERR_STEP: status<STAT_NUM");
}

void morlo90::ordering(entry& e) {
  if (step_ >= morlo_step::ordered) stop("ERR_STEP: status>STAT_ORD");
  const double t0 = omp_get_wtime();
  if (simplicial()) {
    set_permutation(ldl_, amd_permutation(e.view));
  } else {
    if (!kelp_) kelp_ = std::make_unique<kelp_factor>(settings_.context);
    kelp_->order(e.view, settings_.ordering);
  }
  neq_ = e.view.n;
  nnz_ = e.view.nnz;
  step_ = morlo_step::ordered;
  say_time(settings_.msg_level, "ordering time =", omp_get_wtime() - t0);
}

void morlo90::symbolic(entry& e) {
  const double t0 = omp_get_wtime();
  if (simplicial()) {
    ldl_symbolic(e.view, ldl_);
    const std::int64_t need = ldl_.lp.back() + ldl_.n;
    if (settings_.morlo_max_memory > 0 && need > settings_.morlo_max_memory)
      stop({"MORLO90: memory needed: " + num(need),
             "         maxmimum memory allowed: " + num(settings_.morlo_max_memory)});
    if (need > morlo_storage_) {
      if (settings_.msg_level > 0 && morlo_storage_ > 0)
        say("memory increased from: " + num(morlo_storage_) + " to: " + num(need));
      morlo_storage_ = need;
    }
  } else {
    kelp_->analyze(e.view, settings_.postorder);
    if (settings_.msg_level > 0) say("* find_maximal_supernode ns= " + num(kelp_->supernodes()));
    const std::int64_t lnz = kelp_->factor_nnz();
    if (!e.ia8 && lnz >= (std::int64_t{1} << 31))
      stop({"MORLO90 (KELP): Too many non-zero elements in the Cholesky factor.",
             "The index for work vector exceeds the limit of 2**31.",
             "Non-zeros in the factor:      " + num(lnz)});
  }
  step_ = morlo_step::symbolic;
  say_time(settings_.msg_level, "symbolic factorization time=", omp_get_wtime() - t0);
}

void morlo90::numeric(entry& e) {
  require(morlo_step::ordered);
  if (loaded_from_file_) {
    // a factor read from a file: factorise the matrix in hand again with its permutation
    std::vector<std::int64_t> perm = ldl_.perm;
    loaded_from_file_ = false;
    if (simplicial()) set_permutation(ldl_, perm);
    else {
      if (!kelp_) kelp_ = std::make_unique<kelp_factor>(settings_.context);
      kelp_->set_permutation(perm);
    }
    symbolic(e);
  }
  require(morlo_step::symbolic);
  const double t0 = omp_get_wtime();
  if (simplicial()) {
    ldl_numeric(e.view, ldl_);
  } else {
    kelp_threads();  // says the default count once, when none was set
    if (settings_.msg_level > 0)
      say("NOTE: panel size is automatically detecied: SM=" + num(kelp_->largest_supernode()));
    kelp_->factorize(e.view);
  }
  ++calls_numeric_;
  step_ = morlo_step::numeric;
  say_time(settings_.msg_level, "numerical factorization time=", omp_get_wtime() - t0);
}

void morlo90::factorization(entry& e) {
  if (step_ < morlo_step::ordered) ordering(e);
  symbolic(e);
  numeric(e);
}

void morlo90::reset() {
  if (kelp_) kelp_->release();
  ldl_ = simplicial_factor{};
  loaded_from_file_ = false;
  step_ = morlo_step::not_ready;
  neq_ = 0;
  nnz_ = 0;
}

namespace {

// y = A x for the symmetric matrix of an upper triangle; also the largest absolute row sum.
double multiply_upper(const upper_csr& a, const std::vector<double>& x, std::vector<double>& y) {
  y.assign(static_cast<std::size_t>(a.n), 0.0);
  std::vector<double> rowsum(static_cast<std::size_t>(a.n), 0.0);
  for (int i = 0; i < a.n; ++i)
    for (std::int64_t p = a.row_begin(i); p < a.row_end(i); ++p) {
      const int j = a.ja[p] - 1;
      y[i] += a.a[p] * x[j];
      rowsum[i] += std::fabs(a.a[p]);
      if (j != i) {
        y[j] += a.a[p] * x[i];
        rowsum[j] += std::fabs(a.a[p]);
      }
    }
  return *std::max_element(rowsum.begin(), rowsum.end());
}

double max_abs(const std::vector<double>& v) {
  double m = 0.0;
  for (double x : v) m = std::max(m, std::fabs(x));
  return m;
}

}  // namespace

// checkb: the residual of A x = b against 1e-6 (|b| + |A| |x|) in the maximum norms, a bound
// that a backward-stable solve meets by many orders of magnitude.
void morlo90::solve(entry& e, const morlo90_args& args) {
  const std::size_t n = static_cast<std::size_t>(e.view.n);
  if (args.rs.size() != n || args.sol.size() != n) stop(e.name + ": SOL or RS does not have n elements");
  std::vector<double> b(args.rs.begin(), args.rs.end()), x = b;
  if (simplicial()) ldl_solve(ldl_, x);
  else kelp_->solve(x);
  ++calls_solve_;
  std::vector<double> ax;
  const double norm_a = multiply_upper(e.view, x, ax);
  double deviation = 0.0;
  for (std::size_t i = 0; i < n; ++i) deviation = std::max(deviation, std::fabs(ax[i] - b[i]));
  const double allowed = 1e-6 * (max_abs(b) + norm_a * max_abs(x));
  if (!(deviation <= allowed))
    stop({"ERROR in CHECKB: not accurate solution", "observed deviation = " + num(deviation),
           "maximum allowed    = " + num(allowed)});
  std::copy(x.begin(), x.end(), args.sol.begin());
}

// kind 0: m_fact, 1: inverse of the factor, 2: its inverse transposed, 3: the inverse on nrhs
// columns.
void morlo90::product(entry& e, std::string_view, int kind, const morlo90_args& args) {
  const std::size_t n = static_cast<std::size_t>(e.view.n);
  auto apply = [&](factor_product what, std::span<double> v) {
    if (simplicial()) ldl_product(ldl_, what, v);
    else kelp_->product(what, v);
  };
  if (kind == 3) {
    const std::size_t cols = static_cast<std::size_t>(args.nrhs);
    if (args.mrs8.size() < n * cols || args.msol8.size() < n * cols)
      stop(e.name + ": MSOL8 or MRS8 smaller than n x nrhs");
    std::vector<double> v(n);
    for (std::size_t c = 0; c < cols; ++c) {
      std::copy_n(args.mrs8.begin() + static_cast<std::ptrdiff_t>(c * n), n, v.begin());
      apply(factor_product::inverse, v);
      std::copy(v.begin(), v.end(), args.msol8.begin() + static_cast<std::ptrdiff_t>(c * n));
    }
    return;
  }
  if (args.rs.size() != n || args.sol.size() != n) stop(e.name + ": SOL or RS does not have n elements");
  std::vector<double> v(args.rs.begin(), args.rs.end());
  apply(kind == 0 ? factor_product::multiply
                  : kind == 1 ? factor_product::inverse : factor_product::inverse_transposed,
        v);
  std::copy(v.begin(), v.end(), args.sol.begin());
}

void morlo90::inverse(entry& e) {
  const double t0 = omp_get_wtime();
  if (simplicial()) {
    simplicial_inverse z = takahashi_simplicial(ldl_);
    scatter_inverse(ldl_, z, e.view);
  } else {
    const int threads = kelp_threads();
    supernodal_inverse z = takahashi_supernodal(kelp_->factor(), threads, settings_.context);
    scatter_inverse(kelp_->factor(), z, e.view);
  }
  say_time(settings_.msg_level, "inversion time=", omp_get_wtime() - t0);
}

std::int64_t morlo90::factor_storage() const {
  if (step_ < morlo_step::symbolic) return 0;
  if (simplicial()) return ldl_factor_nnz(ldl_);
  return kelp_ ? kelp_->storage() : 0;
}

std::int64_t morlo90::update_storage() const {
  if (step_ < morlo_step::symbolic || simplicial() || !kelp_) return 0;
  return kelp_->update_storage();
}

double morlo90::logdet() const { return simplicial() ? ldl_logdet(ldl_) : kelp_->logdet(); }

void morlo90::export_perm(const entry&, const morlo90_args& args) const {
  std::vector<std::int64_t> p = simplicial() ? ldl_.perm : kelp_->permutation();
  args.perm->resize(p.size());
  for (std::size_t k = 0; k < p.size(); ++k) (*args.perm)[k] = static_cast<int>(p[k]) + 1;
}

void morlo90::import_perm(entry& e, const morlo90_args& args) {
  if (step_ >= morlo_step::ordered) stop("ERR_STEP: status>STAT_ORD");
  const std::vector<int>& given = *args.perm;
  std::vector<std::int64_t> p(given.size());
  for (std::size_t k = 0; k < given.size(); ++k) p[k] = static_cast<std::int64_t>(given[k]) - 1;
  simplicial_factor check;
  if (static_cast<int>(p.size()) != e.view.n || !set_permutation(check, p))
    stop(e.name + ": PERM is not a permutation of 1.." + num(e.view.n));
  if (simplicial()) {
    ldl_ = std::move(check);
  } else {
    if (!kelp_) kelp_ = std::make_unique<kelp_factor>(settings_.context);
    kelp_->set_permutation(std::move(p));
  }
  neq_ = e.view.n;
  nnz_ = e.view.nnz;
  step_ = morlo_step::ordered;
}

void morlo90::export_fact(const entry&, const morlo90_args& args) const {
  ija8_matrix& u = *args.factija;
  if (!simplicial()) {
    kelp_->export_factor(u);
    return;
  }
  // U = D^{1/2} L': row k holds sqrt(d_k) and sqrt(d_k) l_ik for the rows i of column k
  const simplicial_factor& f = ldl_;
  u.n = f.n;
  u.ia.assign(static_cast<std::size_t>(f.n) + 1, 1);
  u.ja.clear();
  u.a.clear();
  for (int k = 0; k < f.n; ++k) {
    const double s = std::sqrt(f.d[k]);
    u.ja.push_back(k + 1);
    u.a.push_back(s);
    for (std::int64_t p = f.lp[k]; p < f.lp[k + 1]; ++p) {
      u.ja.push_back(f.li[p] + 1);
      u.a.push_back(s * f.lx[p]);
    }
    u.ia[k + 1] = static_cast<std::int64_t>(u.ja.size()) + 1;
  }
}

}  // namespace ventrel::sparse
