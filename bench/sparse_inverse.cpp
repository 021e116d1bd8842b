// Benchmark of morlo90 (KELP): the inverse relationship matrix of a simulated pedigree plus a
// dense block for the genotyped animals; ordering, symbolic and numeric factorisation and the
// sparse inverse timed apart, with AMD and with METIS, and the memory the inverse takes.
//   bench_sparse_inverse [animals=1000000] [genotyped=10000] [threads=2] [orderings=amd,metis]
// or on an H-inverse file as ventrel reads it (OPTION readHInverse; e.g. bench_generate's Hinv.txt):
//   bench_sparse_inverse file=PATH levels=N [threads=2] [orderings=amd,metis]
#include <omp.h>
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "genomic/hinverse.hpp"
#include "sparse/convert_hash_ija.hpp"
#include "sparse/hash_matrix.hpp"
#include "sparse/morlo90.hpp"
#include "sparse_pedigree_sim.hpp"

using namespace ventrel;

namespace {

// Resident memory now and its high-water mark since the last reset, in MiB (Linux).
double vm_field(const char* key) {
  std::ifstream f("/proc/self/status");
  std::string line;
  while (std::getline(f, line))
    if (line.rfind(key, 0) == 0) return std::atof(line.c_str() + std::strlen(key)) / 1024.0;
  return 0.0;
}
void reset_peak() { std::ofstream("/proc/self/clear_refs") << "5"; }

// Processor time of the whole process (all threads), in seconds: less disturbed than the wall
// clock when other programs share the machine.
double cpu_seconds() {
  timespec ts{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + 1e-9 * static_cast<double>(ts.tv_nsec);
}

// A-inverse (upper triangle, through the hash matrix) plus 0.5 I + 0.01 J on the genotyped.
sparse::ija_matrix build(int n, int genotyped) {
  bench::sim_pedigree ped = bench::simulate_pedigree(n, 10, 2024);
  sparse::sparse_hashm h;
  sparse::init(h, sparse::hash_capacity_for(4LL * n), sparse::hash_storage::upper, n);
  for (const auto& c : bench::ainverse_contributions(ped)) sparse::addm(c.v, c.i, c.j, h);
  sparse::ija_matrix a;
  sparse::convert_hash_ija(h, a);
  h = {};
  // genotyped: random animals of the last three generations, ascending
  std::mt19937_64 rng(7);
  std::vector<int> g;
  std::vector<char> is_g(static_cast<std::size_t>(n) + 1, 0);
  std::uniform_int_distribution<int> pick(n - n * 3 / 10, n);
  while (static_cast<int>(g.size()) < genotyped) {
    int x = pick(rng);
    if (!is_g[x]) {
      is_g[x] = 1;
      g.push_back(x);
    }
  }
  std::sort(g.begin(), g.end());
  sparse::ija_matrix m;
  m.n = n;
  m.ia.assign(static_cast<std::size_t>(n) + 1, 1);
  std::int64_t nz = static_cast<std::int64_t>(a.ja.size()) + static_cast<std::int64_t>(genotyped) * (genotyped + 1) / 2;
  m.ja.reserve(static_cast<std::size_t>(nz));
  m.a.reserve(static_cast<std::size_t>(nz));
  std::size_t gi = 0;  // first genotyped animal >= row
  for (int i = 1; i <= n; ++i) {
    while (gi < g.size() && g[gi] < i) ++gi;
    int p = a.ia[i - 1] - 1, pe = a.ia[i] - 1;
    std::size_t q = is_g[i] ? gi : g.size();
    while (p < pe || q < g.size()) {
      int cp = p < pe ? a.ja[p] : n + 1, cq = q < g.size() ? g[q] : n + 1;
      int c = std::min(cp, cq);
      double v = 0.0;
      if (cp == c) v += a.a[p++];
      if (cq == c) {
        v += (c == i ? 0.51 : 0.01);
        ++q;
      }
      m.ja.push_back(c);
      m.a.push_back(v);
    }
    m.ia[i] = static_cast<int>(m.ja.size()) + 1;
  }
  return m;
}

// The matrix of an H-inverse file, read into the hash matrix and converted as ventrel does it.
sparse::ija_matrix read_file(const std::string& path, int levels) {
  sparse::sparse_hashm h;
  sparse::init(h, sparse::hash_capacity_for(static_cast<std::int64_t>(std::filesystem::file_size(path) / 20)),
               sparse::hash_storage::upper, levels);
  genomic::read_hinverse(path, levels, h);
  sparse::ija_matrix m;
  sparse::convert_hash_ija(h, m);
  return m;
}

}  // namespace

int main(int argc, char** argv) {
  const bool from_file = argc > 2 && std::strncmp(argv[1], "file=", 5) == 0 && std::strncmp(argv[2], "levels=", 7) == 0;
  const int n = from_file ? std::atoi(argv[2] + 7) : argc > 1 ? std::atoi(argv[1]) : 1000000;
  const int genotyped = from_file ? 0 : argc > 2 ? std::atoi(argv[2]) : 10000;
  const int threads = argc > 3 ? std::atoi(argv[3]) : 2;
  const std::string orderings = argc > 4 ? argv[4] : "amd,metis";

  double t0 = omp_get_wtime();
  const sparse::ija_matrix original = from_file ? read_file(argv[1] + 5, n) : build(n, genotyped);
  std::printf("%s %d, genotyped %d, nnz(upper) %zu, %s in %.1f s, threads %d\n", from_file ? argv[1] + 5 : "animals",
              n, genotyped, original.ja.size(), from_file ? "read" : "built", omp_get_wtime() - t0, threads);

  for (const char* name : {"amd", "metis"}) {
    if (orderings.find(name) == std::string::npos) continue;
    sparse::ija_matrix m = original;
    sparse::morlo90 solver;
    solver.set_num_threads_kelp(threads);
    solver.set_ordering(std::strcmp(name, "metis") == 0 ? sparse::kelp_ordering::metis : sparse::kelp_ordering::amd);
    double t[5], cpu[3];
    t[0] = omp_get_wtime();
    solver("ordering", m);
    t[1] = omp_get_wtime();
    solver("symbolic_fact", m);
    t[2] = omp_get_wtime();
    cpu[0] = cpu_seconds();
    solver("numeric_fact", m);
    t[3] = omp_get_wtime();
    cpu[1] = cpu_seconds();
    const double factor_mib = static_cast<double>(solver.factor_storage()) * 8.0 / 1048576.0;
    std::printf("%s: ordering %.2f s, symbolic %.2f s, numeric %.2f s; factor %lld reals (%.0f MiB)\n", name,
                t[1] - t[0], t[2] - t[1], t[3] - t[2], static_cast<long long>(solver.factor_storage()), factor_mib);
    std::fflush(stdout);
    const double rss_before = vm_field("VmRSS:");
    reset_peak();
    const double cpu_inverse_start = cpu_seconds();
    solver("inverse", m);
    t[4] = omp_get_wtime();
    cpu[2] = cpu_seconds();
    const double extra = vm_field("VmHWM:") - rss_before;
    std::printf("%s: inverse %.2f s; (numeric + inverse) / numeric = %.2f (target <= 2.5)\n", name, t[4] - t[3],
                (t[4] - t[2]) / (t[3] - t[2]));
    std::printf("%s: processor time numeric %.2f s, inverse %.2f s; ratio %.2f\n", name, cpu[1] - cpu[0],
                cpu[2] - cpu_inverse_start, (cpu[1] - cpu[0] + cpu[2] - cpu_inverse_start) / (cpu[1] - cpu[0]));
    std::printf("%s: memory before the inverse %.0f MiB, peak added by the inverse %.0f MiB = %.2f x factor "
                "(target <= 2)\n", name, rss_before, extra, extra / factor_mib);
    std::fflush(stdout);
  }
  return 0;
}
