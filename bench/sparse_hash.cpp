// Benchmark of the hash matrix: the upper triangle of A-inverse of a simulated pedigree added
// in random order, converted to IJA, and the quadratic form x'Ax on it.
//   sparse_hash [animals=1000000] [slots]   (6 additions per animal with both parents known;
//   slots defaults to hash_capacity_for(4 * animals))
#include <omp.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include "sparse/convert_hash_ija.hpp"
#include "sparse/hash_matrix.hpp"
#include "sparse/quadr_ija.hpp"
#include "sparse_pedigree_sim.hpp"

using namespace ventrel;

int main(int argc, char** argv) {
  int n = argc > 1 ? std::atoi(argv[1]) : 1000000;
  bench::sim_pedigree ped = bench::simulate_pedigree(n, 10, 2024);
  std::vector<bench::contribution> add = bench::ainverse_contributions(ped);
  std::mt19937_64 rng(99);
  std::shuffle(add.begin(), add.end(), rng);
  std::printf("animals %d, additions %zu, threads %d\n", n, add.size(), omp_get_max_threads());

  // The caller sizes the table from its counts: about 4 distinct elements per animal, and a
  // power of two (hash_capacity_for), since the slot formula ((nel-1) AND hash) + 1 reaches
  // only 2^popcount(nel-1) slots of other sizes.
  std::int64_t nel0 = argc > 2 ? std::atoll(argv[2]) : sparse::hash_capacity_for(4LL * n);
  for (std::int64_t nel : {nel0}) {
    sparse::sparse_hashm h;
    double t0 = omp_get_wtime();
    sparse::init(h, nel, sparse::hash_storage::upper, n);
    double ti = omp_get_wtime();
    for (const auto& c : add) sparse::addm(c.v, c.i, c.j, h);
    double t1 = omp_get_wtime();
    sparse::ija_matrix m;
    sparse::convert_hash_ija(h, m);
    double t2 = omp_get_wtime();
    std::printf("initial slots %lld, final slots %lld, elements %lld (fill %.2f)\n",
                static_cast<long long>(nel), static_cast<long long>(h.nel),
                static_cast<long long>(h.filled), static_cast<double>(h.filled) / static_cast<double>(h.nel));
    std::printf("  init %.3f s  additions %.3f s  convert %.3f s  total %.3f s  (target < 2 s)\n",
                ti - t0, t1 - ti, t2 - t1, t2 - t0);

    std::vector<double> x(static_cast<std::size_t>(n));
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = 1.0 + static_cast<double>(i % 7) * 0.1;
    double q = 0.0, best = 1e30;
    for (int r = 0; r < 5; ++r) {
      double s0 = omp_get_wtime();
      q = sparse::quadr_ija(m, x);
      best = std::min(best, omp_get_wtime() - s0);
    }
    std::printf("  quadr_ija %.1f ms (best of 5, target < 50 ms), x'Ax = %.6g\n", best * 1e3, q);
  }
  return 0;
}
