// Benchmark of the analytical standard errors: one focal set of m animals (default 20,000) with
// A_focal given, timed for se exact without and with prediction error covariances and for
// se approx. Usage: bench_analytical_se [m]   (threads from OMP_NUM_THREADS)
#include "statistics/analytical_se.hpp"

#include <omp.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

using namespace ventrel::statistics;

int main(int argc, char** argv) {
  const int m = argc > 1 ? std::atoi(argv[1]) : 20000;
  const std::size_t mm = static_cast<std::size_t>(m);
  const int family = 100;  // paternal half-sib families of 100, full-sib pairs within them

  // A_focal of half-sib and full-sib families with some inbreeding, both triangles filled.
  std::vector<double> a(mm * mm);
  std::vector<double> f(mm);
  std::mt19937_64 rng(1);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  for (double& e : f) e = 0.05 * u(rng);
  const double t0 = omp_get_wtime();
#pragma omp parallel for schedule(static)
  for (int j = 0; j < m; ++j)
    for (int i = 0; i < m; ++i) {
      double v = 0.01;
      if (i / family == j / family) v += 0.25;
      if (i / 2 == j / 2) v += 0.25;
      a[i + static_cast<std::size_t>(j) * mm] = i == j ? 1.0 + f[i] : v;
    }
  std::printf("m = %d, threads = %d, A_focal filled in %.2f s\n", m, omp_get_max_threads(),
              omp_get_wtime() - t0);

  const double s2 = 1.0;
  std::normal_distribution<double> z(0.0, 1.0);
  std::vector<double> w(mm), p(mm), y(mm), pev_w(mm), pev_p(mm), diag_a(mm), r_w(mm), r_p(mm);
  for (std::size_t i = 0; i < mm; ++i) {
    p[i] = 0.5 * z(rng);
    w[i] = p[i] + 0.4 * z(rng);
    y[i] = p[i] + 1.5 * z(rng);
    pev_p[i] = 0.7 + 0.1 * u(rng);
    pev_w[i] = 0.5 + 0.1 * u(rng);
    diag_a[i] = 1.0 + f[i];
    r_w[i] = accuracy_from_pev(pev_w[i], diag_a[i], s2);
    r_p[i] = accuracy_from_pev(pev_p[i], diag_a[i], s2);
  }
  se_trait_input in;
  in.trait = 1;
  in.w = w;
  in.p = p;
  in.y = y;
  in.genetic_variance = s2;
  in.gvar_focal = 0.98;
  in.h2 = 0.3;

  // Covariances among the members of each half-sib family.
  std::vector<pec_pair> pw, pp;
  for (int i = 0; i < m; ++i)
    for (int j = (i / family) * family; j < i; ++j) {
      pw.push_back({i, j, 0.01, 0});
      pp.push_back({i, j, 0.03, 0});
    }
  const pec_matrix pec_w = make_pec_matrix(m, pw), pec_p = make_pec_matrix(m, pp);

  double t = omp_get_wtime();
  se_result r = se_exact(in, {a, pev_w, pev_p, nullptr, nullptr});
  std::printf("se exact without covariances, with predictive ability: %.2f s (SD ratio_acc %.4f)\n",
              omp_get_wtime() - t, std::sqrt(r.intervals.ratio_acc.variance));
  t = omp_get_wtime();
  r = se_exact(in, {a, pev_w, pev_p, &pec_w, &pec_p});
  std::printf(
      "se exact with %zu covariances per evaluation:            %.2f s (SD ratio_acc %.4f)\n",
      pw.size(), omp_get_wtime() - t, std::sqrt(r.intervals.ratio_acc.variance));
  t = omp_get_wtime();
  r = se_approx(in, {diag_a, r_w, r_p});
  std::printf("se approx:                                           %.4f s (SD ratio_acc %.4f)\n",
              omp_get_wtime() - t, std::sqrt(r.intervals.ratio_acc.variance));
  return 0;
}
