// Genomic reference: every formula from its definition, in long double where sums are long.
#include "reference/genomic_reference.hpp"

#include "reference/dense_inverse.hpp"

namespace ventrel::reference {

std::vector<double> ref_frequencies(const std::vector<std::vector<int>>& genotypes) {
  const std::size_t nm = genotypes.empty() ? 0 : genotypes[0].size();
  std::vector<double> p(nm);
  for (std::size_t m = 0; m < nm; ++m) {
    long double sum = 0;
    int called = 0;
    for (const auto& row : genotypes)
      if (row[m] != 5) {
        sum += row[m];
        ++called;
      }
    p[m] = static_cast<double>(sum / (2.0L * called));
  }
  return p;
}

linalg::dense_matrix ref_vanraden_g(const std::vector<std::vector<int>>& genotypes) {
  const std::vector<double> p = ref_frequencies(genotypes);
  const int na = static_cast<int>(genotypes.size());
  long double scale = 0;
  for (double q : p) scale += 2.0L * q * (1.0L - q);
  auto z = [&](int a, std::size_t m) -> long double {
    const int v = genotypes[static_cast<std::size_t>(a)][m];
    return v == 5 ? 0.0L : v - 2.0L * p[m];
  };
  linalg::dense_matrix g(na, na);
  for (int i = 0; i < na; ++i)
    for (int j = 0; j < na; ++j) {
      long double s = 0;
      for (std::size_t m = 0; m < p.size(); ++m) s += z(i, m) * z(j, m);
      g(i, j) = static_cast<double>(s / scale);
    }
  return g;
}

linalg::dense_matrix ref_tuned(const linalg::dense_matrix& g, const linalg::dense_matrix& a22) {
  const int n = g.rows;
  long double dg = 0, og = 0, da = 0, oa = 0;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      if (i == j) {
        dg += g(i, j);
        da += a22(i, j);
      } else {
        og += g(i, j);
        oa += a22(i, j);
      }
    }
  dg /= n;
  da /= n;
  og /= static_cast<long double>(n) * (n - 1);
  oa /= static_cast<long double>(n) * (n - 1);
  const long double b = (da - oa) / (dg - og), a = da - b * dg;
  linalg::dense_matrix t(n, n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) t(i, j) = static_cast<double>(a + b * g(i, j));
  return t;
}

linalg::dense_matrix ref_hinverse(const linalg::dense_matrix& a, const std::vector<std::int32_t>& genotyped,
                                  const linalg::dense_matrix& g, double tau, double omega) {
  linalg::dense_matrix hinv = dense_spd_inverse(a);
  const int n2 = static_cast<int>(genotyped.size());
  linalg::dense_matrix a22(n2, n2);
  for (int i = 0; i < n2; ++i)
    for (int j = 0; j < n2; ++j) a22(i, j) = a(genotyped[static_cast<std::size_t>(i)] - 1, genotyped[static_cast<std::size_t>(j)] - 1);
  const linalg::dense_matrix gi = dense_spd_inverse(g), ai = dense_spd_inverse(a22);
  for (int i = 0; i < n2; ++i)
    for (int j = 0; j < n2; ++j)
      hinv(genotyped[static_cast<std::size_t>(i)] - 1, genotyped[static_cast<std::size_t>(j)] - 1) +=
          tau * gi(i, j) - omega * ai(i, j);
  return hinv;
}

linalg::dense_matrix ref_h(const linalg::dense_matrix& a, const std::vector<std::int32_t>& genotyped,
                           const linalg::dense_matrix& g, double tau, double omega) {
  return dense_spd_inverse(ref_hinverse(a, genotyped, g, tau, omega));
}

}  // namespace ventrel::reference
