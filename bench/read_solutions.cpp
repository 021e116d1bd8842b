// Benchmark of the solution-file reader: writes a solution file of N data lines (default 10^7)
// into a folder (default build/bench-data), then times one streaming read that picks the
// solutions of 10,000 focal levels, and prints the lines read per second.
//   read_solutions [N] [folder]
#include <omp.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "validation/focal_set.hpp"
#include "validation/solution_files.hpp"

int main(int argc, char** argv) {
  using namespace ventrel::validation;
  const long long n = argc > 1 ? std::atoll(argv[1]) : 10'000'000LL;
  const std::string dir = argc > 2 ? argv[2] : "build/bench-data";
  std::filesystem::create_directories(dir);
  const std::string path = dir + "/solutions_bench";

  // An animal model's file: a few levels of a fixed effect, then one line per animal.
  const int nfixed = 50;
  const int nlev = static_cast<int>(n - nfixed);
  {
    std::FILE* f = std::fopen(path.c_str(), "w");
    if (!f) return 1;
    std::fprintf(f, "trait/effect level  solution\n");
    for (int l = 1; l <= nfixed; ++l) std::fprintf(f, "   1   1 %9d %14.8f\n", l, 100.0 + l * 0.37);
    unsigned x = 12345;
    for (int l = 1; l <= nlev; ++l) {
      x = x * 1103515245u + 12345u;
      std::fprintf(f, "   1   2 %9d %14.8f\n", l, (static_cast<double>(x >> 8) / 16777216.0 - 0.5) * 20.0);
    }
    std::fclose(f);
  }

  std::vector<focal_set> sets(1);
  for (int l = nlev; l > 0 && sets[0].levels.size() < 10000; l -= 97) sets[0].levels.push_back(l);
  sets[0].n = static_cast<int>(sets[0].levels.size());
  const focal_index index = index_focal_levels(sets, nlev);

  const auto t0 = std::chrono::steady_clock::now();
  const focal_solutions s = read_solution_file(path, solution_layout::solution, 2, 1, index, omp_get_max_threads());
  const double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  const double bytes = static_cast<double>(std::filesystem::file_size(path));
  std::printf("read_solutions (%d threads): %lld lines, %.0f MB in %.3f s: %.2f million lines/s (%.0f MB/s); "
              "check %.6f\n",
              omp_get_max_threads(), n, bytes / 1e6, secs, static_cast<double>(n) / secs / 1e6, bytes / 1e6 / secs, s.sol(0, 0));
  std::filesystem::remove(path);
  return 0;
}
