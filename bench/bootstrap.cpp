// Benchmark of the bootstrap: 10,000 replicates of 20,000 focal animals with predictive
// ability, 2 traits. Prints the wall time per trait and the tables; optionally writes the data
// so that bench/bootstrap.R runs the same bootstrap with R's boot package.
//   bench_bootstrap [n] [nrepboot] [threads] [data-file-to-write]
// or, on a table that bench_generate wrote (columns w1 p1 y1 w2 p2 y2 ..., a header line):
//   bench_bootstrap --read FILE nrepboot threads gvar1,gvar2,.. h2_1,h2_2,..
// The last line, "RESULT seconds=.. draws=..", is for bench/run.sh.
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/freeformat.hpp"

#include "statistics/bootstrap.hpp"
#include "statistics/lr_statistics.hpp"
#include "statistics/random.hpp"

namespace {

// A small self-contained normal generator (64-bit LCG + Box-Muller), so the data are the same
// on every machine.
struct normal_source {
  std::uint64_t state = 88172645463325252ULL;
  double uniform() {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return (static_cast<double>(state >> 11) + 0.5) / 9007199254740992.0;
  }
  double next() {
    const double u1 = uniform(), u2 = uniform();
    return std::sqrt(-2.0 * std::log(u1)) * std::cos(6.283185307179586 * u2);
  }
};

struct trait_data {
  std::vector<double> w, p, y;
};

// True value u ~ N(0, s2); partial = r_p^2-accurate prediction, whole more accurate (r_w^2),
// phenotype = u + residual for heritability h2.
trait_data simulate(int n, double s2, double h2, normal_source& g) {
  trait_data d;
  const double rel_w = 0.6, rel_p = 0.35;
  for (int i = 0; i < n; ++i) {
    const double u = std::sqrt(s2) * g.next();
    const double w = rel_w * u + std::sqrt(rel_w * (1 - rel_w) * s2) * g.next();
    const double b = rel_p / rel_w;  // regression of partial on whole
    const double p = b * w + std::sqrt(b * (rel_w - rel_p) * s2) * g.next();
    const double y = u + std::sqrt(s2 * (1 - h2) / h2) * g.next();
    d.w.push_back(w);
    d.p.push_back(p);
    d.y.push_back(y);
  }
  return d;
}

std::vector<double> list(const std::string& text) {
  std::vector<double> v;
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t comma = std::min(text.find(',', start), text.size());
    v.push_back(std::atof(text.substr(start, comma - start).c_str()));
    start = comma + 1;
  }
  return v;
}

// The table of bench_generate: a header, then per focal animal w, p, y of each trait.
std::vector<trait_data> read_table(const std::string& path) {
  ventrel::line_reader in(path);
  std::string_view line;
  std::vector<std::string_view> f(64);
  std::vector<trait_data> traits;
  in.next(line);  // header
  while (in.next(line)) {
    const std::size_t k = ventrel::split_fields(line, f);
    if (k == 0) continue;
    if (traits.empty()) traits.resize(k / 3);
    for (std::size_t t = 0; t < traits.size(); ++t) {
      double v[3];
      for (int c = 0; c < 3; ++c)
        if (!ventrel::parse_real(f[3 * t + static_cast<std::size_t>(c)], v[c])) {
          std::fprintf(stderr, "%s: not a number\n", ventrel::at_line(path, in.line_number()).c_str());
          std::exit(1);
        }
      traits[t].w.push_back(v[0]);
      traits[t].p.push_back(v[1]);
      traits[t].y.push_back(v[2]);
    }
  }
  return traits;
}

void print_row(const char* label, double value, const ventrel::statistics::interval& iv) {
  std::printf("  %-20s %12.6f  SD %12.6f  [%12.6f, %12.6f]\n", label, value, std::sqrt(iv.variance),
              iv.lower, iv.upper);
}

}  // namespace

int main(int argc, char** argv) {
  using namespace ventrel::statistics;
  const bool from_file = argc > 1 && std::string(argv[1]) == "--read";
  std::vector<trait_data> traits;
  std::vector<double> s2 = {1.0, 0.4};
  std::vector<double> h2 = {0.3, 0.15};
  int n = 0, nrepboot = 10000, threads = 2;
  if (from_file) {
    if (argc < 7) {
      std::fprintf(stderr, "usage: bench_bootstrap --read FILE nrepboot threads gvar1,.. h2_1,..\n");
      return 2;
    }
    traits = read_table(argv[2]);
    nrepboot = std::atoi(argv[3]);
    threads = std::atoi(argv[4]);
    s2 = list(argv[5]);
    h2 = list(argv[6]);
    if (traits.empty() || s2.size() < traits.size() || h2.size() < traits.size()) {
      std::fprintf(stderr, "bench_bootstrap: the table and the gvar and h2 lists do not match\n");
      return 2;
    }
    n = static_cast<int>(traits[0].w.size());
  } else {
    n = argc > 1 ? std::atoi(argv[1]) : 20000;
    nrepboot = argc > 2 ? std::atoi(argv[2]) : 10000;
    threads = argc > 3 ? std::atoi(argv[3]) : 2;
    const std::string data_file = argc > 4 ? argv[4] : "";
    normal_source g;
    for (int t = 0; t < 2; ++t) traits.push_back(simulate(n, s2[t], h2[t], g));
    if (!data_file.empty()) {
      std::FILE* f = std::fopen(data_file.c_str(), "w");
      if (f == nullptr) return 1;
      std::fprintf(f, "w1 p1 y1 w2 p2 y2\n");
      for (int i = 0; i < n; ++i) {
        std::fprintf(f, "%.17g %.17g %.17g %.17g %.17g %.17g\n", traits[0].w[i], traits[0].p[i],
                     traits[0].y[i], traits[1].w[i], traits[1].p[i], traits[1].y[i]);
      }
      std::fclose(f);
    }
  }
  const int ntrait = static_cast<int>(traits.size());

  rng generator;
  std::printf("bootstrap: n = %d, nrepboot = %d, threads = %d, traits = %d, draws per trait = %.3g\n", n,
              nrepboot, threads, ntrait, static_cast<double>(n) * nrepboot);
  double total = 0;
  for (int t = 0; t < ntrait; ++t) {
    const trait_data& d = traits[static_cast<std::size_t>(t)];
    const double gvar = s2[static_cast<std::size_t>(t)];
    const double h = h2[static_cast<std::size_t>(t)];
    const lr_values v = compute_lr(d.w, d.p, d.y, gvar, h);
    const double t0 = omp_get_wtime();
    const lr_intervals iv = bootstrap(d.w, d.p, d.y, gvar, h, nrepboot, generator, threads);
    const double elapsed = omp_get_wtime() - t0;
    total += elapsed;
    std::printf("trait %d: %.3f s\n", t + 1, elapsed);
    print_row("bias", v.bias, iv.bias);
    print_row("dispersion", v.dispersion, iv.dispersion);
    print_row("ratio_acc", v.ratio_acc, iv.ratio_acc);
    print_row("reliability", v.reliability, iv.reliability);
    print_row("pred_ability", v.pred_ability, iv.pred_ability);
  }
  std::printf("total %.3f s for %d traits (%.3f s per trait)\n", total, ntrait, total / ntrait);
  std::printf("RESULT seconds=%.4f draws=%.0f\n", total, static_cast<double>(n) * nrepboot * ntrait);
  return 0;
}
