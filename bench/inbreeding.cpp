// Benchmark of one inbreeding method on a pedigree file, as the pedigree phase runs it: count and
// read the file, renumber parents first, compute the coefficients. Each step is timed apart and
// one line "RESULT ..." gives the seconds for bench/run.sh.
//   bench_inbreeding ped=FILE method=M [metafounders=K] [threads=T]
// metafounders=K (K >= 2) replaces the unknown parents by K metafounders (sires by the animal's
// number modulo K/2, dams likewise among the other half) with a fixed Gamma, for methods 1, 6, 8.
#include <omp.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "common/fatal.hpp"
#include "pedigree/inbreeding.hpp"
#include "pedigree/read_pedigree.hpp"
#include "pedigree/renumber.hpp"

namespace {

double seconds_since(std::chrono::steady_clock::time_point t0) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

}  // namespace

int main(int argc, char** argv) {
  namespace ped = ventrel::pedigree;
  std::map<std::string, std::string> arg;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    const auto eq = a.find('=');
    if (eq == std::string::npos) {
      std::fprintf(stderr, "usage: bench_inbreeding ped=FILE method=M [metafounders=K] [threads=T]\n");
      return 2;
    }
    arg[a.substr(0, eq)] = a.substr(eq + 1);
  }
  const std::string path = arg["ped"];
  const int method = arg.count("method") ? std::atoi(arg["method"].c_str()) : 1;
  const std::int32_t nmf = arg.count("metafounders") ? std::atoi(arg["metafounders"].c_str()) : 0;
  const int threads = arg.count("threads") ? std::atoi(arg["threads"].c_str()) : 0;
  try {
    auto t0 = std::chrono::steady_clock::now();
    const ped::pedigree_count c = ped::count_pedigree(path);
    ped::pedigree_table table;
    ped::read_pedigree(path, c.n, false, table);
    const double t_read = seconds_since(t0);

    std::vector<double> gamma;
    if (nmf >= 2) {
      for (std::int32_t i = 1; i <= c.n; ++i) {
        ped::parents& p = table[static_cast<std::size_t>(i)];
        if (p.sire == 0) p.sire = c.n + 1 + i % (nmf / 2);
        if (p.dam == 0) p.dam = c.n + 1 + nmf / 2 + i % (nmf - nmf / 2);
      }
      gamma.resize(static_cast<std::size_t>(nmf) * static_cast<std::size_t>(nmf));
      for (std::int32_t k = 0; k < nmf; ++k)
        for (std::int32_t l = 0; l < nmf; ++l)
          gamma[static_cast<std::size_t>(k + l * nmf)] = k == l ? 0.6 : 0.3 - 0.02 * std::abs(k - l);
    }
    const ped::group_info groups{nmf >= 2 ? nmf : 0, gamma};

    t0 = std::chrono::steady_clock::now();
    std::vector<std::int32_t> perm;
    ped::renumber_pedigree(table, groups.nupg, perm);
    const double t_renumber = seconds_since(t0);

    // The advice that a run of this method prints on standard error, from the pedigree's shape.
    t0 = std::chrono::steady_clock::now();
    const ped::pedigree_table sorted = ped::sorted_pedigree(table, perm, groups.nupg);
    const int nthreads = threads > 0 ? threads : omp_get_max_threads();
    const ped::inbreeding_forecast fc = ped::forecast_inbreeding(sorted, c.n, nthreads);
    const int advice = ped::advised_inbreeding_method(ped::effective_inbreeding_method(method, nmf >= 2), fc);
    const double t_forecast = seconds_since(t0);
    std::printf("forecast (%.3f s): method 1 %.2f s (%.3g visits), method 3 %.2f s (%.3g rows), method 6 %.2f s "
                "(%.3g rows, %.3g visits); advice %d\n",
                t_forecast, fc.meuwissen_luo_seconds, fc.traced_visits, fc.sire_columns_seconds, fc.sire_rows,
                fc.hybrid_seconds, fc.hybrid_rows, fc.hybrid_visits, advice);

    ped::inbreeding_options opt;
    opt.method = method;
    opt.nthreads = threads;
    std::vector<double> inb;
    t0 = std::chrono::steady_clock::now();
    ped::compute_inbreeding(table, inb, opt, groups, perm);
    const double t_inb = seconds_since(t0);

    double mean = 0.0, largest = 0.0;
    for (std::int32_t i = 1; i <= c.n; ++i) {
      mean += inb[static_cast<std::size_t>(i)];
      largest = std::max(largest, inb[static_cast<std::size_t>(i)]);
    }
    mean /= c.n;
    std::printf("%s: %d animals, method %d (%s), metafounders %d\n", path.c_str(), c.n, method,
                ped::inbreeding_method_label(method, groups).c_str(), groups.nupg);
    std::printf("read %.3f s, renumber %.3f s, inbreeding %.3f s; mean F %.6f, largest F %.6f\n", t_read,
                t_renumber, t_inb, mean, largest);
    std::printf("RESULT read=%.4f renumber=%.4f inbreeding=%.4f animals=%d meanF=%.8f maxF=%.8f advice=%d\n",
                t_read, t_renumber, t_inb, c.n, mean, largest, advice);
  } catch (const ventrel::fatal_error& e) {
    for (const auto& l : e.lines()) std::printf("%s\n", l.c_str());
    return 1;
  }
  return 0;
}
