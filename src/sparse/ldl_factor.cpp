// Simplicial LDL' by the up-looking method (T. Davis, "Algorithm 849: A concise sparse Cholesky
// factorization package", ACM TOMS 31, 2005), with the ordering of the amd library.
#include "sparse/ldl_factor.hpp"

#include <amd.h>

#include <cmath>

#include "common/fatal.hpp"
#include "common/format.hpp"

namespace ventrel::sparse {

std::vector<std::int64_t> amd_permutation(const upper_csr& a) {
  const std::int64_t n = a.n;
  std::vector<SuiteSparse_long> ap(static_cast<std::size_t>(n) + 1), ai(static_cast<std::size_t>(a.nnz));
  for (std::int64_t i = 0; i <= n; ++i) ap[i] = a.ia[i] - 1;
  for (std::int64_t p = 0; p < a.nnz; ++p) ai[p] = a.ja[p] - 1;
  std::vector<SuiteSparse_long> p(static_cast<std::size_t>(n));
  double control[AMD_CONTROL], info[AMD_INFO];
  amd_l_defaults(control);
  // The rows of the upper triangle are the columns of the lower one: AMD orders A + A' either way.
  SuiteSparse_long status = amd_l_order(n, ap.data(), ai.data(), p.data(), control, info);
  if (status == AMD_OUT_OF_MEMORY) fatal("OVERFLOW: too many elements / too huge matrix.");
  if (status != AMD_OK && status != AMD_OK_BUT_JUMBLED)
    fatal("INPUT ERROR: illegal format of input matrix (ia, ja, a).");
  return {p.begin(), p.end()};
}

bool set_permutation(simplicial_factor& f, std::vector<std::int64_t> perm) {
  const std::int64_t n = static_cast<std::int64_t>(perm.size());
  std::vector<std::int64_t> pinv(static_cast<std::size_t>(n), -1);
  for (std::int64_t k = 0; k < n; ++k) {
    std::int64_t i = perm[k];
    if (i < 0 || i >= n || pinv[i] >= 0) return false;
    pinv[i] = k;
  }
  f.n = static_cast<int>(n);
  f.perm = std::move(perm);
  f.pinv = std::move(pinv);
  return true;
}

void ldl_symbolic(const upper_csr& a, simplicial_factor& f) {
  const int n = a.n;
  permuted_upper c = permute_upper(a, f.pinv, false);
  f.parent.assign(static_cast<std::size_t>(n), -1);
  std::vector<std::int64_t> flag(static_cast<std::size_t>(n)), lnz(static_cast<std::size_t>(n), 0);
  for (std::int64_t k = 0; k < n; ++k) {
    flag[k] = k;
    for (std::int64_t p = c.cp[k]; p < c.cp[static_cast<std::size_t>(k) + 1]; ++p) {
      std::int64_t i = c.ci[p];
      // walk from i up the tree to the first node already flagged for row k
      for (; i < k && flag[i] != k; i = f.parent[i]) {
        if (f.parent[i] == -1) f.parent[i] = k;
        ++lnz[i];
        flag[i] = k;
      }
    }
  }
  f.lp.assign(static_cast<std::size_t>(n) + 1, 0);
  for (int k = 0; k < n; ++k) f.lp[static_cast<std::size_t>(k) + 1] = f.lp[k] + lnz[k];
  f.li.clear();
  f.lx.clear();
  f.d.clear();
  f.numeric = false;
}

void ldl_numeric(const upper_csr& a, simplicial_factor& f) {
  const int n = a.n;
  permuted_upper c = permute_upper(a, f.pinv, true);
  const std::int64_t nz = f.lp[n];
  f.li.assign(static_cast<std::size_t>(nz), 0);
  f.lx.assign(static_cast<std::size_t>(nz), 0.0);
  f.d.assign(static_cast<std::size_t>(n), 0.0);
  std::vector<double> y(static_cast<std::size_t>(n), 0.0);
  std::vector<std::int64_t> flag(static_cast<std::size_t>(n)), lnz(static_cast<std::size_t>(n), 0),
      pattern(static_cast<std::size_t>(n));
  for (std::int64_t k = 0; k < n; ++k) {
    // row k of L: solve L(0:k-1, 0:k-1) y = C(0:k-1, k) over the reach of column k in the tree
    y[k] = 0.0;
    std::int64_t top = n;
    flag[k] = k;
    for (std::int64_t p = c.cp[k]; p < c.cp[static_cast<std::size_t>(k) + 1]; ++p) {
      std::int64_t i = c.ci[p];
      y[i] += c.cx[p];
      std::int64_t len = 0;
      for (; flag[i] != k; i = f.parent[i]) {
        pattern[len++] = i;
        flag[i] = k;
      }
      while (len > 0) pattern[--top] = pattern[--len];
    }
    double dk = y[k];
    y[k] = 0.0;
    for (; top < n; ++top) {
      std::int64_t i = pattern[top];
      double yi = y[i];
      y[i] = 0.0;
      std::int64_t p0 = f.lp[i], p2 = p0 + lnz[i];
      for (std::int64_t p = p0; p < p2; ++p) y[f.li[static_cast<std::size_t>(p)]] -= f.lx[p] * yi;
      double lki = yi / f.d[i];
      dk -= lki * yi;
      f.li[p2] = static_cast<int>(k);
      f.lx[p2] = lki;
      ++lnz[i];
    }
    if (!(dk > 0.0)) {
      std::int64_t row = f.perm[k] + 1;
      fatal({"MORLO: Zero or negative pivot for row ROW",
             "during numerical factorization in row: " + num(row)});
    }
    f.d[k] = dk;
  }
  f.numeric = true;
}

namespace {

void lsolve(const simplicial_factor& f, double* x) {
  for (std::int64_t j = 0; j < f.n; ++j) {
    double xj = x[j];
    for (std::int64_t p = f.lp[j]; p < f.lp[static_cast<std::size_t>(j) + 1]; ++p)
      x[f.li[p]] -= f.lx[p] * xj;
  }
}

void ltsolve(const simplicial_factor& f, double* x) {
  for (std::int64_t j = f.n - 1; j >= 0; --j) {
    double s = x[j];
    for (std::int64_t p = f.lp[j]; p < f.lp[static_cast<std::size_t>(j) + 1]; ++p)
      s -= f.lx[p] * x[f.li[p]];
    x[j] = s;
  }
}

// x := L x (unit lower): columns from the last, so that x_j is still the input when used.
void lmultiply(const simplicial_factor& f, double* x) {
  for (std::int64_t j = f.n - 1; j >= 0; --j) {
    double xj = x[j];
    for (std::int64_t p = f.lp[j]; p < f.lp[static_cast<std::size_t>(j) + 1]; ++p)
      x[f.li[p]] += f.lx[p] * xj;
  }
}

void permute(const simplicial_factor& f, const double* x, double* y) {  // y = P x
  for (std::int64_t k = 0; k < f.n; ++k) y[k] = x[f.perm[k]];
}
void permute_back(const simplicial_factor& f, const double* y, double* x) {  // x = P' y
  for (std::int64_t k = 0; k < f.n; ++k) x[f.perm[k]] = y[k];
}

}  // namespace

void ldl_solve(const simplicial_factor& f, std::span<double> x) {
  std::vector<double> y(static_cast<std::size_t>(f.n));
  permute(f, x.data(), y.data());
  lsolve(f, y.data());
  for (std::int64_t k = 0; k < f.n; ++k) y[k] /= f.d[k];
  ltsolve(f, y.data());
  permute_back(f, y.data(), x.data());
}

double ldl_logdet(const simplicial_factor& f) {
  double s = 0.0;
  for (double dk : f.d) s += std::log(dk);
  return s;
}

void ldl_product(const simplicial_factor& f, factor_product what, std::span<double> x) {
  std::vector<double> y(static_cast<std::size_t>(f.n));
  switch (what) {
    case factor_product::multiply:  // P' L D^{1/2} x
      for (std::int64_t k = 0; k < f.n; ++k) y[k] = x[k] * std::sqrt(f.d[k]);
      lmultiply(f, y.data());
      permute_back(f, y.data(), x.data());
      break;
    case factor_product::inverse:  // D^{-1/2} L^{-1} P x
      permute(f, x.data(), y.data());
      lsolve(f, y.data());
      for (std::int64_t k = 0; k < f.n; ++k) x[k] = y[k] / std::sqrt(f.d[k]);
      break;
    case factor_product::inverse_transposed:  // P' L'^{-1} D^{-1/2} x
      for (std::int64_t k = 0; k < f.n; ++k) y[k] = x[k] / std::sqrt(f.d[k]);
      ltsolve(f, y.data());
      permute_back(f, y.data(), x.data());
      break;
  }
}

std::int64_t ldl_factor_nnz(const simplicial_factor& f) {
  return f.lp.empty() ? 0 : f.lp.back() + f.n;
}

}  // namespace ventrel::sparse
