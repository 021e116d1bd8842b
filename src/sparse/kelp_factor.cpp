// CHOLMOD supernodal Cholesky behind the KELP engine. The upper triangle by rows (IJA) is the
// lower triangle by columns, so CHOLMOD's ordering sees the caller's arrays as a lower-stored
// (stype -1) symmetric matrix (indices copied to 64-bit, from 0; values shared); the analysis
// and the factorisation get P A P' built once in that form.
#include "sparse/kelp_factor.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <type_traits>

#include "common/fatal.hpp"

namespace ventrel::sparse {
namespace {

// Supernode J of a supernodal factor: columns k1..k2-1, rows s[pi[J]..pi[J+1]-1] (the first
// k2-k1 are the columns themselves), values nsrow x nscol by columns from x[px[J]].
struct supernode {
  std::int64_t k1, k2, nscol, nsrow;
  const SuiteSparse_long* rows;
  const double* x;
};

supernode supernode_of(const cholmod_factor* l, std::int64_t j) {
  auto super = static_cast<const SuiteSparse_long*>(l->super);
  auto pi = static_cast<const SuiteSparse_long*>(l->pi);
  auto px = static_cast<const SuiteSparse_long*>(l->px);
  supernode sn;
  sn.k1 = super[j];
  sn.k2 = super[j + 1];
  sn.nscol = sn.k2 - sn.k1;
  sn.nsrow = pi[j + 1] - pi[j];
  sn.rows = static_cast<const SuiteSparse_long*>(l->s) + pi[j];
  sn.x = l->x ? static_cast<const double*>(l->x) + px[j] : nullptr;  // null before numeric
  return sn;
}

// P A P' as CHOLMOD's lower triangle by columns (stype -1), rows unsorted. Given A and a
// permutation, CHOLMOD permutes and transposes A twice in the analysis and twice again in the
// factorisation; given P A P' in its natural order it transposes once per analysis step and
// never in the factorisation, which takes it as it stands.
struct permuted_lower {
  permuted_triangle<std::int64_t> c;
  cholmod_sparse s{};

  permuted_lower(const upper_csr& a, const SuiteSparse_long* perm, bool with_values) {
    std::vector<std::int64_t> pinv(static_cast<std::size_t>(a.n));
    for (int k = 0; k < a.n; ++k) pinv[static_cast<std::size_t>(perm[k])] = k;
    c = permute_triangle<std::int64_t>(a, pinv, triangle::lower, with_values);
    s.nrow = s.ncol = static_cast<std::size_t>(a.n);
    s.nzmax = static_cast<std::size_t>(a.nnz);
    s.p = c.cp.data();
    s.i = c.ci.data();
    s.x = with_values ? c.cx.data() : nullptr;
    s.stype = -1;
    s.itype = CHOLMOD_LONG;
    s.xtype = with_values ? CHOLMOD_REAL : CHOLMOD_PATTERN;
    s.dtype = CHOLMOD_DOUBLE;
    s.sorted = 0;
    s.packed = 1;
  }
  permuted_lower(const permuted_lower&) = delete;  // s points into c
  permuted_lower& operator=(const permuted_lower&) = delete;
};
static_assert(std::is_same_v<SuiteSparse_long, std::int64_t>);

}  // namespace

kelp_factor::~kelp_factor() { release(); }

void kelp_factor::release() {
  s_.free_factor(l_);
  perm_.clear();
}

void kelp_factor::order(const upper_csr& a, kelp_ordering ordering) {
  cholmod_view v(a);
  perm_.assign(static_cast<std::size_t>(a.n), 0);
  if (ordering == kelp_ordering::metis) {
    cholmod_l_metis(&v.s, nullptr, 0, 1, perm_.data(), s_.common());
    s_.check("cholmod_l_metis");
  } else {
    cholmod_l_amd(&v.s, nullptr, 0, perm_.data(), s_.common());
    s_.check("cholmod_l_amd");
  }
}

void kelp_factor::set_permutation(std::vector<std::int64_t> perm) {
  s_.free_factor(l_);
  perm_.assign(perm.begin(), perm.end());
}

void kelp_factor::analyze(const upper_csr& a, bool postorder) {
  cholmod_common* cc = s_.common();
  s_.free_factor(l_);
  {
    permuted_lower b(a, perm_.data(), false);
    cc->nmethods = 1;
    cc->method[0].ordering = CHOLMOD_NATURAL;
    cc->postorder = postorder ? 1 : 0;
    cc->supernodal = CHOLMOD_SUPERNODAL;
    l_ = s_.check(cholmod_l_analyze(&b.s, cc), "cholmod_l_analyze");
  }
  // The factor's permutation is of P A P' (the postorder, or none): compose it with P.
  auto lp = static_cast<SuiteSparse_long*>(l_->Perm);
  for (std::size_t k = 0; k < l_->n; ++k) lp[k] = perm_[static_cast<std::size_t>(lp[k])];
  l_->ordering = CHOLMOD_GIVEN;
  // check_supernodal_structure: the row list of every supernode ascending, without duplicates
  for (std::int64_t j = 0; j < static_cast<std::int64_t>(l_->nsuper); ++j) {
    supernode sn = supernode_of(l_, j);
    for (std::int64_t r = 1; r < sn.nsrow; ++r)
      if (sn.rows[r] <= sn.rows[r - 1]) s_.stop({"ERROR: snode is not sorted and/or has duplicate data."});
  }
}

void kelp_factor::factorize(const upper_csr& a) {
  permuted_lower b(a, static_cast<const SuiteSparse_long*>(l_->Perm), true);
  const int ordering = l_->ordering;
  l_->ordering = CHOLMOD_NATURAL;  // b is already permuted
  cholmod_l_factorize(&b.s, l_, s_.common());
  l_->ordering = ordering;
  s_.check("cholmod_l_factorize");
}

std::vector<std::int64_t> kelp_factor::permutation() const {
  if (l_) {
    auto p = static_cast<const SuiteSparse_long*>(l_->Perm);
    return {p, p + l_->n};
  }
  return {perm_.begin(), perm_.end()};
}

double kelp_factor::logdet() const {
  double s = 0.0;
  for (std::int64_t j = 0; j < static_cast<std::int64_t>(l_->nsuper); ++j) {
    supernode sn = supernode_of(l_, j);
    for (std::int64_t c = 0; c < sn.nscol; ++c) s += 2.0 * std::log(sn.x[c * sn.nsrow + c]);
  }
  return s;
}

void kelp_factor::solve(std::span<double> x) {
  cholmod_common* cc = s_.common();
  const std::size_t n = l_->n;
  cholmod_dense b{};
  b.nrow = n;
  b.ncol = 1;
  b.nzmax = n;
  b.d = n;
  b.x = x.data();
  b.xtype = CHOLMOD_REAL;
  b.dtype = CHOLMOD_DOUBLE;
  cholmod_dense* r = s_.check(cholmod_l_solve(CHOLMOD_A, l_, &b, cc), "cholmod_l_solve");
  std::copy_n(static_cast<const double*>(r->x), n, x.data());
  s_.free_dense(r);
}

void kelp_factor::product(factor_product what, std::span<double> x) {
  cholmod_common* cc = s_.common();
  const std::int64_t n = static_cast<std::int64_t>(l_->n);
  auto perm = static_cast<const SuiteSparse_long*>(l_->Perm);
  auto solve_with = [&](int sys, std::span<double> v) {
    cholmod_dense b{};
    b.nrow = b.nzmax = b.d = static_cast<std::size_t>(n);
    b.ncol = 1;
    b.x = v.data();
    b.xtype = CHOLMOD_REAL;
    b.dtype = CHOLMOD_DOUBLE;
    cholmod_dense* r = s_.check(cholmod_l_solve(sys, l_, &b, cc), "cholmod_l_solve");
    std::copy_n(static_cast<const double*>(r->x), n, v.data());
    s_.free_dense(r);
  };
  switch (what) {
    case factor_product::inverse:  // F^{-1} P x
      solve_with(CHOLMOD_P, x);
      solve_with(CHOLMOD_L, x);
      break;
    case factor_product::inverse_transposed:  // P' F'^{-1} x
      solve_with(CHOLMOD_Lt, x);
      solve_with(CHOLMOD_Pt, x);
      break;
    case factor_product::multiply: {  // P' F x, supernode by supernode
      std::vector<double> y(static_cast<std::size_t>(n), 0.0), t;
      for (std::int64_t j = 0; j < static_cast<std::int64_t>(l_->nsuper); ++j) {
        supernode sn = supernode_of(l_, j);
        t.assign(static_cast<std::size_t>(sn.nsrow), 0.0);
        // t = F(rows, J) x(J): the whole panel (its upper diagonal part is skipped below)
        for (std::int64_t c = 0; c < sn.nscol; ++c) {
          const double xc = x[sn.k1 + c];
          for (std::int64_t r = c; r < sn.nsrow; ++r) t[r] += sn.x[c * sn.nsrow + r] * xc;
        }
        for (std::int64_t r = 0; r < sn.nsrow; ++r) y[sn.rows[r]] += t[r];
      }
      for (std::int64_t k = 0; k < n; ++k) x[perm[k]] = y[k];
      break;
    }
  }
}

void kelp_factor::export_factor(ija8_matrix& u) const {
  const std::int64_t n = static_cast<std::int64_t>(l_->n);
  u.n = static_cast<int>(n);
  u.ia.assign(static_cast<std::size_t>(n) + 1, 1);
  u.ja.clear();
  u.a.clear();
  u.ja.reserve(static_cast<std::size_t>(factor_nnz()));
  u.a.reserve(static_cast<std::size_t>(factor_nnz()));
  for (std::int64_t j = 0; j < static_cast<std::int64_t>(l_->nsuper); ++j) {
    supernode sn = supernode_of(l_, j);
    for (std::int64_t c = 0; c < sn.nscol; ++c) {
      for (std::int64_t r = c; r < sn.nsrow; ++r) {
        u.ja.push_back(static_cast<int>(sn.rows[r]) + 1);
        u.a.push_back(sn.x[c * sn.nsrow + r]);
      }
      u.ia[sn.k1 + c + 1] = static_cast<std::int64_t>(u.ja.size()) + 1;
    }
  }
}

std::int64_t kelp_factor::factor_nnz() const {
  if (!l_ || !l_->is_super) return 0;
  std::int64_t nz = 0;
  for (std::int64_t j = 0; j < static_cast<std::int64_t>(l_->nsuper); ++j) {
    supernode sn = supernode_of(l_, j);
    nz += sn.nscol * (sn.nscol + 1) / 2 + (sn.nsrow - sn.nscol) * sn.nscol;
  }
  return nz;
}

std::int64_t kelp_factor::storage() const { return l_ ? static_cast<std::int64_t>(l_->xsize) : 0; }

std::int64_t kelp_factor::update_storage() const { return l_ ? static_cast<std::int64_t>(l_->maxcsize) : 0; }

std::int64_t kelp_factor::largest_supernode() const {
  std::int64_t w = 0;
  for (std::int64_t j = 0; j < supernodes(); ++j) w = std::max(w, supernode_of(l_, j).nscol);
  return w;
}

std::int64_t kelp_factor::supernodes() const { return l_ ? static_cast<std::int64_t>(l_->nsuper) : 0; }

}  // namespace ventrel::sparse
