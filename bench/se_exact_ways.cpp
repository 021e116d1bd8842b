// se exact by Colleau two ways on a bench data folder (bench_generate): the relationships among
// the focal animals swept a block of columns at a time (what ventrel does), and, where 8 m^2
// bytes fit, the dense A_focal gathered from the same products (what ventrel did before). Two
// traits (the first with predictive ability and without prediction error covariances, the
// second with covariances of neighbouring focal pairs), EBVs and PEVs drawn at random. Prints
// the time of each way and the largest relative difference between their SDs and limits.
//   bench_se_exact_ways dir=FOLDER [dense=1] [threads=2]
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "common/fatal.hpp"
#include "linalg/symmetric_columns.hpp"
#include "pedigree/focal_relationships.hpp"
#include "pedigree/pedigree_phase.hpp"
#include "statistics/analytical_se.hpp"

namespace {

using namespace ventrel;

struct stopwatch {
  double w0 = omp_get_wtime();
  std::clock_t c0 = std::clock();
  double wall() const { return omp_get_wtime() - w0; }
  double cpu() const { return static_cast<double>(std::clock() - c0) / CLOCKS_PER_SEC; }
};

// The SDs (square roots of the variances) and limits of every statistic, in one list.
std::vector<double> figures(const statistics::lr_intervals& s) {
  std::vector<double> out;
  for (const statistics::interval& i : {s.bias, s.dispersion, s.ratio_acc, s.reliability, s.pred_ability})
    out.insert(out.end(), {std::sqrt(std::max(i.variance, 0.0)), i.lower, i.upper});
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  std::map<std::string, std::string> kv;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    const auto eq = a.find('=');
    if (eq != std::string::npos) kv[a.substr(0, eq)] = a.substr(eq + 1);
  }
  const std::string dir = kv.count("dir") ? kv["dir"] : ".";
  const bool dense = !kv.count("dense") || kv["dense"] == "1";
  const int threads = kv.count("threads") ? std::atoi(kv["threads"].c_str()) : 2;
  try {
    pedigree::pedigree_phase_input pin;
    pin.pedigree_file = dir + "/ped.txt";
    pin.inbreeding_needed = true;
    pin.relationships_needed = true;
    pin.inbreeding_method = 6;
    pin.nthreads = threads;
    stopwatch t0;
    const pedigree::pedigree_phase_result ped = pedigree::read_pedigree_phase(pin);
    std::vector<int> levels;
    std::ifstream valid(dir + "/valid.txt");
    for (int a; valid >> a;) levels.push_back(a);
    const int m = static_cast<int>(levels.size());
    std::printf("pedigree of %d animals read with inbreeding in %.2f s; %d focal animals\n", ped.n, t0.wall(), m);

    // Two traits: EBVs and PEVs at random.
    std::mt19937_64 rng(7);
    std::normal_distribution<double> z(0.0, 1.0);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    const double s2[2] = {1.0, 0.4};
    std::vector<double> w[2], p[2], y, pev_w[2], pev_p[2];
    for (int t = 0; t < 2; ++t)
      for (int i = 0; i < m; ++i) {
        p[t].push_back(std::sqrt(0.4 * s2[t]) * z(rng));
        w[t].push_back(p[t].back() + std::sqrt(0.2 * s2[t]) * z(rng));
        if (t == 0) y.push_back(p[t].back() + std::sqrt(s2[t]) * z(rng));
        const double f = ped.inb[static_cast<std::size_t>(levels[static_cast<std::size_t>(i)])];
        pev_p[t].push_back(s2[t] * (1.0 + f) * (0.5 + 0.4 * u(rng)));
        pev_w[t].push_back(pev_p[t].back() * (0.5 + 0.4 * u(rng)));
      }
    std::vector<statistics::pec_pair> pw, pp;
    for (int i = 1; i < m; ++i) {
      pw.push_back({i, i - 1, 0.01 * s2[1] * u(rng), i});
      pp.push_back({i, i - 1, 0.02 * s2[1] * u(rng), i});
    }
    const statistics::pec_matrix pec_w = statistics::make_pec_matrix(m, pw), pec_p = statistics::make_pec_matrix(m, pp);
    const std::vector<statistics::se_trait_input> in = {{1, w[0], p[0], y, s2[0], 0.95 * s2[0], 0.3},
                                                        {2, w[1], p[1], {}, s2[1], 0.95 * s2[1], 0.4}};
    const std::vector<statistics::se_exact_model> model = {{{}, pev_w[0], pev_p[0], nullptr, nullptr},
                                                           {{}, pev_w[1], pev_p[1], &pec_w, &pec_p}};

    std::vector<statistics::se_result> swept;
    stopwatch t1;
    const linalg::symmetric_columns a = pedigree::focal_relationship_columns(ped, levels, threads);
    swept = statistics::se_exact(in, model, a);
    std::printf("| way | wall s | processor s (all threads) |\n|---|---|---|\n");
    std::printf("| by blocks of columns | %.2f | %.2f |\n", t1.wall(), t1.cpu());
    std::fflush(stdout);
    if (!dense) return 0;

    stopwatch t2;
    const linalg::dense_matrix af = pedigree::focal_relationships(ped, levels, threads);
    std::vector<statistics::se_exact_model> dmodel = model;
    for (statistics::se_exact_model& e : dmodel) e.a_focal = af.a;
    const std::vector<statistics::se_result> full = statistics::se_exact(in, dmodel, linalg::dense_symmetric_columns(af.a, m, threads));
    std::printf("| dense A_focal (%.2f GB) | %.2f | %.2f |\n", 8.0 * m * m / 1e9, t2.wall(), t2.cpu());
    double worst = 0.0;
    for (int t = 0; t < 2; ++t) {
      const std::vector<double> g = figures(swept[static_cast<std::size_t>(t)].intervals);
      const std::vector<double> h = figures(full[static_cast<std::size_t>(t)].intervals);
      for (std::size_t k = 0; k < g.size(); ++k)
        if (h[k] != 0.0 && std::isfinite(h[k])) worst = std::max(worst, std::fabs(g[k] / h[k] - 1.0));
    }
    std::printf("largest relative difference of the SDs and limits, blocks against dense: %.1e\n", worst);
  } catch (const fatal_error& e) {
    for (const auto& l : e.lines()) std::printf("%s\n", l.c_str());
    return 1;
  }
  return 0;
}
