// Assembly of the animal-model equations in a hash matrix and their conversion to IJA form.
#include "simulate/mme.hpp"

#include <lapacke.h>

#include <cstdint>

#include "common/fatal.hpp"
#include "sparse/convert_hash_ija.hpp"
#include "sparse/hash_matrix.hpp"

namespace ventrel::simulate {

linalg::dense_matrix small_spd_inverse(const linalg::dense_matrix& m, const char* what) {
  linalg::dense_matrix inv = m;
  const int n = m.rows;
  if (n == 0) return inv;
  int info = LAPACKE_dpotrf(LAPACK_COL_MAJOR, 'L', n, inv.a.data(), n);
  if (info == 0) info = LAPACKE_dpotri(LAPACK_COL_MAJOR, 'L', n, inv.a.data(), n);
  if (info != 0) fatal(std::string("ventrel-simulate: the ") + what + " matrix is not positive definite");
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < j; ++i) inv(i, j) = inv(j, i);
  return inv;
}

mme_system build_mme(const population& pop, int nanimal, std::span<const char> has_record,
                     const linalg::dense_matrix& g0, const linalg::dense_matrix& r0,
                     std::span<const int> pec_animals, const genomic::genomic_block* genomic) {
  const int nt = pop.ntrait;
  const std::size_t unt = static_cast<std::size_t>(nt);
  const linalg::dense_matrix ginv = small_spd_inverse(g0, "genetic (co)variance");
  const linalg::dense_matrix rinv = small_spd_inverse(r0, "residual (co)variance");

  mme_system sys;
  sys.layout = mme_layout{nt, pop.nherd, nanimal};
  const mme_layout& lay = sys.layout;
  const int neq = lay.neq();
  sys.rhs.assign(static_cast<std::size_t>(neq), 0.0);
  sys.unused.assign(static_cast<std::size_t>(neq), 0);

  const std::int64_t m = static_cast<std::int64_t>(pec_animals.size());
  const std::int64_t ng = genomic ? static_cast<std::int64_t>(genomic->levels.size()) : 0;
  const std::int64_t expected = static_cast<std::int64_t>(nanimal) * (5 * nt * nt) +
                                static_cast<std::int64_t>(pop.nherd) * nt * nt + m * (m - 1) / 2 * nt +
                                ng * (ng + 1) / 2 * nt * nt;
  sparse::sparse_hashm h;
  sparse::init(h, sparse::hash_capacity_for(expected), sparse::hash_storage::upper, neq);

  // Records: X'R^-1 X, X'R^-1 Z, Z'R^-1 Z and the right-hand sides.
  std::vector<std::int64_t> herd_records(static_cast<std::size_t>(pop.nherd) + 1, 0);
  for (int i = 1; i <= nanimal; ++i) {
    const std::size_t ui = static_cast<std::size_t>(i);
    if (!has_record[ui]) continue;
    const int hh = pop.herd[ui];
    ++herd_records[static_cast<std::size_t>(hh)];
    for (int t1 = 1; t1 <= nt; ++t1) {
      const int eh1 = lay.herd_eq(hh, t1), ea1 = lay.animal_eq(i, t1);
      double r = 0.0;
      for (int t2 = 1; t2 <= nt; ++t2) {
        const double v = rinv(t1 - 1, t2 - 1);
        const int eh2 = lay.herd_eq(hh, t2), ea2 = lay.animal_eq(i, t2);
        if (eh1 <= eh2) sparse::addm(v, eh1, eh2, h);
        sparse::addm(v, eh1, ea2, h);
        if (ea1 <= ea2) sparse::addm(v, ea1, ea2, h);
        r += v * pop.y[ui * unt + static_cast<std::size_t>(t2 - 1)];
      }
      sys.rhs[static_cast<std::size_t>(eh1 - 1)] += r;
      sys.rhs[static_cast<std::size_t>(ea1 - 1)] += r;
    }
  }

  // A^-1 (x) G0^-1: animal i contributes (1/b_i) c c' with c = e_i - e_s/2 - e_d/2.
  for (int i = 1; i <= nanimal; ++i) {
    const std::size_t ui = static_cast<std::size_t>(i);
    const double alpha = 1.0 / pop.dvar[ui];
    int who[3] = {i, 0, 0};
    double c[3] = {1.0, 0.0, 0.0};
    int k = 1;
    for (int p : {pop.sire[ui], pop.dam[ui]}) {
      if (p == 0) continue;
      if (k == 2 && who[1] == p) { c[1] -= 0.5; continue; }  // the same parent twice (selfing)
      who[k] = p;
      c[k] = -0.5;
      ++k;
    }
    for (int a = 0; a < k; ++a) {
      for (int b = 0; b < k; ++b) {
        if (who[a] > who[b]) continue;
        const double v = alpha * c[a] * c[b];
        for (int t1 = 1; t1 <= nt; ++t1) {
          for (int t2 = 1; t2 <= nt; ++t2) {
            const int r = lay.animal_eq(who[a], t1), col = lay.animal_eq(who[b], t2);
            if (r <= col) sparse::addm(v * ginv(t1 - 1, t2 - 1), r, col, h);
          }
        }
      }
    }
  }

  // The genomic block of H^-1: X (x) G0^-1 among the genotyped animals.
  for (std::int64_t a = 0; a < ng; ++a) {
    const int la = genomic->levels[static_cast<std::size_t>(a)];
    if (la < 1 || la > nanimal) fatal("ventrel-simulate: a genotyped animal lies outside the animals of the equations");
    for (std::int64_t b = 0; b < ng; ++b) {
      const int lb = genomic->levels[static_cast<std::size_t>(b)];
      const double x = genomic->x(static_cast<int>(a), static_cast<int>(b));
      for (int t1 = 1; t1 <= nt; ++t1) {
        for (int t2 = 1; t2 <= nt; ++t2) {
          const int r = lay.animal_eq(la, t1), col = lay.animal_eq(lb, t2);
          if (r <= col) sparse::addm(x * ginv(t1 - 1, t2 - 1), r, col, h);
        }
      }
    }
  }

  // Focal pairs in the pattern, as explicit zeros.
  for (std::size_t a = 0; a < pec_animals.size(); ++a) {
    for (std::size_t b = a + 1; b < pec_animals.size(); ++b) {
      for (int t = 1; t <= nt; ++t) {
        int e1 = lay.animal_eq(pec_animals[a], t), e2 = lay.animal_eq(pec_animals[b], t);
        if (e1 > e2) std::swap(e1, e2);
        sparse::addm(0.0, e1, e2, h);
      }
    }
  }

  // Herds without records: an identity equation, solution 0.
  for (int hh = 1; hh <= pop.nherd; ++hh) {
    if (herd_records[static_cast<std::size_t>(hh)] > 0) continue;
    for (int t = 1; t <= nt; ++t) {
      const int e = lay.herd_eq(hh, t);
      sparse::addm(1.0, e, e, h);
      sys.unused[static_cast<std::size_t>(e - 1)] = 1;
    }
  }

  sparse::convert_hash_ija(h, sys.lhs);
  return sys;
}

}  // namespace ventrel::simulate
