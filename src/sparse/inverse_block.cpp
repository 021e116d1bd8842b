// The block of the inverse among chosen rows from the trailing triangle of the factor.
#include "sparse/inverse_block.hpp"

#include <lapacke.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <string>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/memory.hpp"
#include "sparse/cholmod_session.hpp"
#include "sparse/kelp_factor.hpp"
#include "sparse/morlo90.hpp"

namespace ventrel::sparse {
namespace {

[[noreturn]] void stop(std::vector<std::string> lines, const std::string& context) {
  if (!context.empty()) lines.push_back(context);
  fatal(std::move(lines));
}

// Rows with more than this share of sqrt(n) off-diagonal entries are set aside by AMD. On the
// H-inverse of a 10^6-animal pedigree with 5,000 genotyped animals, AMD took 16 s with the
// sires of 300 to 600 entries kept (share 0.5) and 1.6 s with them set aside (share 0.3), for a
// factor of 5% more flops; CHOLMOD's default share, 10, took 27 s.
constexpr double dense_share = 0.3;
// At most this many rows are set aside: they join the dense tail of the factor.
constexpr std::int64_t max_dense_rows = 10000;

// Stops before the numeric factorisation when it cannot fit: a pattern that fills in (matings
// spread over many parents, as with random mating over thousands of sires) makes whole blocks
// of the factor dense, and CHOLMOD would stop only when it allocates them. `storage`: the reals
// of the factor and of its largest update matrix; beside them the factorisation holds a
// permuted copy of the matrix's `nnz` elements (a value and an index each).
void check_factor_memory(std::int64_t storage, std::int64_t nnz, const std::string& context) {
  const std::optional<std::string> lacking =
      lacking_memory(8.0 * static_cast<double>(storage) + 16.0 * static_cast<double>(nnz));
  if (!lacking) return;
  stop({"Not enough memory for the Cholesky factor of the matrix: it needs " + *lacking,
        "The factor of this pattern is dense in large blocks (matings spread over many parents, as with random",
        "mating, do this). Alternatives: OPTION se approx or OPTION se boot (no relationships among focal",
        "animals), or for a single-step evaluation OPTION SNP_file without OPTION H_focal inverse (the",
        "relationships from the genotypes and the pedigree, with no factor)"},
       context);
}

}  // namespace

std::vector<std::int64_t> order_chosen_last(const upper_csr& a, const std::vector<int>& chosen,
                                            std::int64_t* dense_rows) {
  const std::int64_t n = a.n;
  std::vector<std::int64_t> sub(static_cast<std::size_t>(n), 0);  // place among the others, -1: chosen
  for (int c : chosen) sub[static_cast<std::size_t>(c - 1)] = -1;
  std::vector<std::int64_t> others;
  others.reserve(static_cast<std::size_t>(n) - chosen.size());
  for (std::int64_t i = 0; i < n; ++i)
    if (sub[static_cast<std::size_t>(i)] == 0) {
      sub[static_cast<std::size_t>(i)] = static_cast<std::int64_t>(others.size());
      others.push_back(i);
    } else {
      sub[static_cast<std::size_t>(i)] = -1;
    }
  const std::int64_t ns = static_cast<std::int64_t>(others.size());
  std::vector<std::int64_t> perm;
  perm.reserve(static_cast<std::size_t>(n));
  if (dense_rows) *dense_rows = 0;
  if (ns > 0) {
    // The others' pattern: the upper triangle by rows, which CHOLMOD reads as the lower by columns.
    std::vector<SuiteSparse_long> p(static_cast<std::size_t>(ns) + 1, 0), ix;
    std::vector<std::int64_t> degree(static_cast<std::size_t>(ns), 0);
    for (std::int64_t q = 0; q < ns; ++q) {
      const int i = static_cast<int>(others[static_cast<std::size_t>(q)]);
      std::int64_t c = 0;
      for (std::int64_t e = a.row_begin(i); e < a.row_end(i); ++e) {
        const std::int64_t j = sub[static_cast<std::size_t>(a.ja[e] - 1)];
        if (j < 0) continue;
        ++c;
        if (j != q) {
          ++degree[static_cast<std::size_t>(q)];
          ++degree[static_cast<std::size_t>(j)];
        }
      }
      p[static_cast<std::size_t>(q) + 1] = p[static_cast<std::size_t>(q)] + c;
    }
    ix.resize(static_cast<std::size_t>(p.back()));
    for (std::int64_t q = 0, at = 0; q < ns; ++q) {
      const int i = static_cast<int>(others[static_cast<std::size_t>(q)]);
      for (std::int64_t e = a.row_begin(i); e < a.row_end(i); ++e) {
        const std::int64_t j = sub[static_cast<std::size_t>(a.ja[e] - 1)];
        if (j >= 0) ix[static_cast<std::size_t>(at++)] = j;
      }
    }
    // The dense threshold: dense_share sqrt(ns), raised so that at most max_dense_rows exceed it.
    const double root = std::sqrt(static_cast<double>(ns));
    double threshold = std::max(16.0, dense_share * root);
    std::vector<std::int64_t> sorted(degree);
    const std::int64_t limit = std::min<std::int64_t>(max_dense_rows, ns - 1);
    std::nth_element(sorted.begin(), sorted.begin() + limit, sorted.end(), std::greater<>());
    threshold = std::max(threshold, static_cast<double>(sorted[static_cast<std::size_t>(limit)]));
    if (dense_rows)
      *dense_rows = std::count_if(degree.begin(), degree.end(), [&](std::int64_t d) { return static_cast<double>(d) > threshold; });
    sorted = std::vector<std::int64_t>();
    degree = std::vector<std::int64_t>();

    cholmod_sparse s{};
    s.nrow = s.ncol = static_cast<std::size_t>(ns);
    s.nzmax = ix.size();
    s.p = p.data();
    s.i = ix.data();
    s.stype = -1;
    s.itype = CHOLMOD_LONG;
    s.xtype = CHOLMOD_PATTERN;
    s.dtype = CHOLMOD_DOUBLE;
    s.sorted = 1;
    s.packed = 1;
    cholmod_session session;
    cholmod_common* cc = session.common();
    cc->current = 0;
    cc->method[0].prune_dense = threshold / root;
    std::vector<SuiteSparse_long> order(static_cast<std::size_t>(ns));
    cholmod_l_amd(&s, nullptr, 0, order.data(), cc);
    session.check("cholmod_l_amd");
    for (SuiteSparse_long q : order) perm.push_back(others[static_cast<std::size_t>(q)]);
  }
  for (int c : chosen) perm.push_back(c - 1);
  return perm;
}

inverse_block_result inverse_block(ija_matrix& m, const std::vector<int>& chosen, const inverse_block_settings& settings) {
  inverse_block_result out;
  out.k = static_cast<std::int64_t>(chosen.size());
  if (out.k == 0) return out;
  const std::int64_t n = m.n, k = out.k, first = n - k;  // the trailing block: pivots first..n-1

  elapsed_progress shown("sparse factorisation");
  std::vector<int> perm;
  {
    std::vector<std::int64_t> pointers;
    std::int64_t dense = 0;
    const double t0 = omp_get_wtime();
    std::vector<std::int64_t> p = order_chosen_last(view_of(m, pointers), chosen, &dense);
    if (settings.msg_level > 0) {
      say("ordering time =" + fmt_f(omp_get_wtime() - t0, 12, 3));
      say("* rows set aside as dense by the ordering: " + num(dense) + "; focal rows last: " + num(k));
    }
    perm.resize(p.size());
    for (std::size_t q = 0; q < p.size(); ++q) perm[q] = static_cast<int>(p[q]) + 1;
  }
  morlo90_settings ms;
  ms.msg_level = settings.msg_level;
  ms.context = settings.context;
  morlo90 solver(ms);
  if (settings.threads > 0) solver.set_num_threads_kelp(settings.threads);
  // CHOLMOD's postorder of the elimination tree keeps a trailing block that the factor fills
  // (the usual case: the chosen rows are related); otherwise the pivots stay as ordered.
  std::vector<std::int64_t> pinv(static_cast<std::size_t>(n));
  for (int attempt = 0;; ++attempt) {
    morlo90_args args;
    args.perm = &perm;
    solver("import_perm", m, args);
    solver("symbolic_fact", m);
    check_factor_memory(solver.factor_storage() + solver.update_storage(), static_cast<std::int64_t>(m.ja.size()),
                        settings.context);
    solver("numeric_fact", m);
    const std::vector<std::int64_t> final_perm = solver.kelp()->permutation();
    for (std::int64_t q = 0; q < n; ++q) pinv[static_cast<std::size_t>(final_perm[static_cast<std::size_t>(q)])] = q;
    bool trailing = true;
    for (int c : chosen) trailing = trailing && pinv[static_cast<std::size_t>(c - 1)] >= first;
    if (trailing) break;
    if (attempt > 0) stop({"inverse_block: the chosen rows are not the last pivots"}, settings.context);
    solver.set_postorder(false);
  }

  // T: the trailing triangle of F, from the supernodes that hold its columns.
  const cholmod_factor* l = solver.kelp()->factor();
  auto super = static_cast<const SuiteSparse_long*>(l->super);
  auto pi = static_cast<const SuiteSparse_long*>(l->pi);
  auto px = static_cast<const SuiteSparse_long*>(l->px);
  auto rows = static_cast<const SuiteSparse_long*>(l->s);
  auto x = static_cast<const double*>(l->x);
  out.z.assign(static_cast<std::size_t>(k * k), 0.0);
  for (std::int64_t j = static_cast<std::int64_t>(l->nsuper) - 1; j >= 0 && super[j + 1] > first; --j) {
    const std::int64_t k1 = super[j], nsrow = pi[j + 1] - pi[j];
    const SuiteSparse_long* r = rows + pi[j];
    for (std::int64_t c = std::max(k1, first); c < super[j + 1]; ++c) {
      const double* col = x + px[j] + (c - k1) * nsrow;
      double* zc = out.z.data() + (c - first) * k - first;
      for (std::int64_t q = c - k1; q < nsrow; ++q) zc[r[q]] = col[q];
    }
  }
  solver("reset", m);
  shown.finish();
  const double t1 = omp_get_wtime();
  if (LAPACKE_dpotri(LAPACK_COL_MAJOR, 'L', static_cast<int>(k), out.z.data(), static_cast<int>(k)) != 0)
    stop({"MORLO90 (KELP): An error occurred.", "inverse_block: the trailing factor is singular"}, settings.context);
  if (settings.msg_level > 0) say("inversion time=" + fmt_f(omp_get_wtime() - t1, 12, 3));
  out.place.resize(chosen.size());
  for (std::size_t q = 0; q < chosen.size(); ++q) out.place[q] = pinv[static_cast<std::size_t>(chosen[q] - 1)] - first;
  return out;
}

}  // namespace ventrel::sparse
