// KELP engine: CHOLMOD's supernodal Cholesky P A P' = F F' through the 64-bit integer API,
// ordered by AMD or METIS; log-determinant, solves and products from the factor.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "sparse/cholmod_session.hpp"
#include "sparse/ija_matrix.hpp"
#include "sparse/ldl_factor.hpp"
#include "sparse/upper_csr.hpp"

namespace ventrel::sparse {

enum class kelp_ordering { amd, metis };

// The upper triangle by rows (IJA) seen by CHOLMOD as the lower triangle by columns (stype -1):
// the indices are copied (to 64-bit, from 0), the values are shared.
struct cholmod_view {
  std::vector<SuiteSparse_long> p, i;
  cholmod_sparse s{};

  explicit cholmod_view(const upper_csr& a)
      : p(static_cast<std::size_t>(a.n) + 1), i(static_cast<std::size_t>(a.nnz)) {
    for (int k = 0; k <= a.n; ++k) p[k] = a.ia[k] - 1;
    for (std::int64_t q = 0; q < a.nnz; ++q) i[q] = a.ja[q] - 1;
    s.nrow = s.ncol = static_cast<std::size_t>(a.n);
    s.nzmax = static_cast<std::size_t>(a.nnz);
    s.p = p.data();
    s.i = i.data();
    s.x = a.a;
    s.stype = -1;
    s.itype = CHOLMOD_LONG;
    s.xtype = CHOLMOD_REAL;
    s.dtype = CHOLMOD_DOUBLE;
    s.sorted = 1;
    s.packed = 1;
  }
  cholmod_view(const cholmod_view&) = delete;  // s points into p and i
  cholmod_view& operator=(const cholmod_view&) = delete;
};

class kelp_factor {
 public:
  // context: a last line for every stop (which matrix it is); empty: none.
  explicit kelp_factor(std::string context = {}) { s_.set_context(std::move(context)); }
  ~kelp_factor();
  kelp_factor(const kelp_factor&) = delete;
  kelp_factor& operator=(const kelp_factor&) = delete;

  // Fill-reducing permutation of the pattern of a (perm[k] = original index of pivot k).
  void order(const upper_csr& a, kelp_ordering ordering);
  void set_permutation(std::vector<std::int64_t> perm);
  // Symbolic factorisation with the permutation in force, followed (postorder true) by CHOLMOD's
  // postorder of the elimination tree (so that the final permutation may differ from the one
  // given), and the check that every supernode's row list is sorted without duplicates.
  void analyze(const upper_csr& a, bool postorder = true);
  // Numeric supernodal factorisation, with as many BLAS threads as the run set.
  void factorize(const upper_csr& a);
  void release();  // discards permutation and factor

  const cholmod_factor* factor() const { return l_; }
  // The permutation in force: the final one once analysed.
  std::vector<std::int64_t> permutation() const;

  double logdet() const;                     // 2 sum log F_kk
  void solve(std::span<double> x);           // x := A^{-1} x
  void product(factor_product what, std::span<double> x);  // as ldl_product, with F of CHOLMOD
  void export_factor(ija8_matrix& u) const;  // U = F' (upper, rows of U = columns of F)
  std::int64_t factor_nnz() const;           // stored elements of F (lower triangle)
  std::int64_t storage() const;              // reals held for the factor (supernodal panels)
  std::int64_t update_storage() const;       // reals of the largest update matrix of the factorisation
  std::int64_t supernodes() const;
  std::int64_t largest_supernode() const;    // most columns in one supernode (the panel size)

 private:
  cholmod_session s_;
  std::vector<SuiteSparse_long> perm_;  // the permutation given to the analysis
  cholmod_factor* l_ = nullptr;
};

}  // namespace ventrel::sparse
