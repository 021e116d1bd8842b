// Simulation of pedigree, true breeding values, herds and phenotypes.
#include "simulate/population.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "common/fatal.hpp"
#include "common/format.hpp"
#include "linalg/cholesky.hpp"
#include "simulate/inbreeding.hpp"
#include "simulate/rng.hpp"

namespace ventrel::simulate {

namespace {

// Lower Cholesky factor of a small covariance matrix (stops when it is not positive definite).
linalg::dense_matrix lower_factor(linalg::dense_matrix m, const char* what) {
  if (linalg::cholesky_lower(m) != 0) fatal(std::string("ventrel-simulate: the ") + what + " matrix is not positive definite");
  for (int j = 1; j < m.cols; ++j)
    for (int i = 0; i < j; ++i) m(i, j) = 0.0;
  return m;
}

// out = scale * L z for a fresh standard normal z.
void correlated_draw(rng& r, const linalg::dense_matrix& l, double scale, double* out) {
  const int t = l.rows;
  double z[2] = {0.0, 0.0};
  for (int k = 0; k < t; ++k) z[k] = r.normal();
  for (int i = 0; i < t; ++i) {
    double s = 0.0;
    for (int k = 0; k <= i; ++k) s += l(i, k) * z[k];
    out[i] = scale * s;
  }
}

// Adds animal i's phenotypes: mean + herd + u + e.
void add_phenotype(population& p, int i, rng& r, const linalg::dense_matrix& lr) {
  const std::size_t nt = static_cast<std::size_t>(p.ntrait);
  double e[2];
  correlated_draw(r, lr, 1.0, e);
  const std::size_t h = static_cast<std::size_t>(p.herd[static_cast<std::size_t>(i)]);
  for (std::size_t t = 0; t < nt; ++t) {
    p.y[static_cast<std::size_t>(i) * nt + t] =
        p.mean[t] + p.herd_effect[h * nt + t] + p.tbv[static_cast<std::size_t>(i) * nt + t] + e[t];
  }
}

// The k best candidates by score (ties to the older animal), or k at random when score is
// empty; all of them when there are no more than k.
std::vector<int> choose(std::vector<int> cand, int k, const std::vector<double>& score, rng& r) {
  if (score.empty()) {
    for (std::size_t i = cand.size(); i > 1; --i) {
      std::size_t j = static_cast<std::size_t>(r.below(static_cast<int>(i)));
      std::swap(cand[i - 1], cand[j]);
    }
  } else {
    std::stable_sort(cand.begin(), cand.end(), [&](int a, int b) {
      return score[static_cast<std::size_t>(a)] > score[static_cast<std::size_t>(b)];
    });
  }
  if (static_cast<int>(cand.size()) > k) cand.resize(static_cast<std::size_t>(k));
  return cand;
}

}  // namespace

population simulate_population(const simulation_options& opt, const ebv_function& ebv) {
  rng r(opt.seed);
  population p;
  p.ntrait = opt.traits;
  p.nherd = opt.herds;
  p.generations = opt.generations;
  p.mean = opt.mean;
  const std::size_t nt = static_cast<std::size_t>(opt.traits);
  const std::size_t n = static_cast<std::size_t>(opt.founders) +
                        static_cast<std::size_t>(opt.size) * static_cast<std::size_t>(opt.generations);
  p.n = static_cast<int>(n);
  p.sire.assign(n + 1, 0);
  p.dam.assign(n + 1, 0);
  p.generation.assign(n + 1, 0);
  p.male.assign(n + 1, 0);
  p.herd.assign(n + 1, 0);
  p.inb.assign(n + 1, 0.0);
  p.dvar.assign(n + 1, 1.0);
  p.tbv.assign((n + 1) * nt, 0.0);
  p.y.assign((n + 1) * nt, 0.0);
  p.herd_effect.assign(static_cast<std::size_t>(opt.herds + 1) * nt, 0.0);
  p.first_of_generation.assign(static_cast<std::size_t>(opt.generations) + 2, 0);

  const linalg::dense_matrix lg = lower_factor(genetic_covariance(opt), "genetic (co)variance");
  const linalg::dense_matrix lr = lower_factor(residual_covariance(opt), "residual (co)variance");

  for (std::size_t h = 1; h <= static_cast<std::size_t>(opt.herds); ++h)
    for (std::size_t t = 0; t < nt; ++t)
      p.herd_effect[h * nt + t] = std::sqrt(opt.herd_share * opt.vp[t]) * r.normal();

  // Founders.
  p.first_of_generation[0] = 1;
  for (int i = 1; i <= opt.founders; ++i) {
    const std::size_t ui = static_cast<std::size_t>(i);
    p.male[ui] = r.uniform() < 0.5 ? 1 : 0;
    p.herd[ui] = 1 + r.below(opt.herds);
    correlated_draw(r, lg, 1.0, &p.tbv[ui * nt]);
    add_phenotype(p, i, r, lr);
  }

  int next = opt.founders + 1;
  for (int g = 1; g <= opt.generations; ++g) {
    p.first_of_generation[static_cast<std::size_t>(g)] = next;
    // Candidates: the animals of the latest `overlap` generations.
    const int from = p.first_of_generation[static_cast<std::size_t>(std::max(0, g - opt.overlap))];
    std::vector<int> males, females;
    for (int i = from; i < next; ++i) (p.male[static_cast<std::size_t>(i)] ? males : females).push_back(i);
    if (males.empty() || females.empty()) {
      fatal("ventrel-simulate: generation " + num(g) + " has no " + (males.empty() ? "male" : "female") +
            " candidate; give more animals per generation");
    }
    std::vector<double> score;
    if (opt.select == selection::phenotype) {
      score.assign(static_cast<std::size_t>(next), 0.0);
      for (int i = from; i < next; ++i) score[static_cast<std::size_t>(i)] = p.y[static_cast<std::size_t>(i) * nt];
    } else if (opt.select == selection::ebv) {
      if (!ebv) fatal("ventrel-simulate: selection on EBV needs an evaluation");
      score = ebv(p, next - 1);  // the animals born so far
    }
    const std::vector<int> sires = choose(std::move(males), opt.sires, score, r);
    std::vector<int> dams = choose(std::move(females), opt.dams, score, r);
    for (std::size_t i = dams.size(); i > 1; --i) {
      std::size_t j = static_cast<std::size_t>(r.below(static_cast<int>(i)));
      std::swap(dams[i - 1], dams[j]);
    }

    const int first = next, last = next + opt.size - 1;
    for (int i = first; i <= last; ++i) {
      const std::size_t ui = static_cast<std::size_t>(i);
      p.dam[ui] = dams[static_cast<std::size_t>(i - first) % dams.size()];
      p.sire[ui] = sires[static_cast<std::size_t>(r.below(static_cast<int>(sires.size())))];
      p.male[ui] = r.uniform() < 0.5 ? 1 : 0;
      p.herd[ui] = p.herd[static_cast<std::size_t>(p.dam[ui])];
      p.generation[ui] = g;
    }
    inbreeding_of_new_animals(p.sire, p.dam, p.inb, p.dvar, first, last);
    for (int i = first; i <= last; ++i) {
      const std::size_t ui = static_cast<std::size_t>(i);
      const std::size_t s = static_cast<std::size_t>(p.sire[ui]), d = static_cast<std::size_t>(p.dam[ui]);
      double ms[2];
      correlated_draw(r, lg, std::sqrt(p.dvar[ui]), ms);
      for (std::size_t t = 0; t < nt; ++t) {
        p.tbv[ui * nt + t] = 0.5 * (p.tbv[s * nt + t] + p.tbv[d * nt + t]) + ms[t];
      }
      add_phenotype(p, i, r, lr);
    }
    next = last + 1;
  }
  p.first_of_generation[static_cast<std::size_t>(opt.generations) + 1] = next;
  return p;
}

}  // namespace ventrel::simulate
