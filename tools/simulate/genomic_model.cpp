// Genotypes, marker effects and the genomic block of H-inverse of a simulation.
#include "simulate/genomic_model.hpp"

#include <cmath>
#include <numeric>

#include "common/fatal.hpp"
#include "genomic/genotype_qc.hpp"
#include "genomic/h_focal.hpp"
#include "genomic/single_step.hpp"
#include "linalg/cholesky.hpp"
#include "simulate/genotype_drop.hpp"

namespace ventrel::simulate {

std::vector<int> genotyped_animals(const population& pop, const simulation_options& opt, rng& r) {
  std::vector<char> typed(static_cast<std::size_t>(pop.n) + 1, 0);
  if (opt.genotype_sires)
    for (int a = 1; a <= pop.n; ++a) typed[static_cast<std::size_t>(pop.sire[static_cast<std::size_t>(a)])] = 1;
  typed[0] = 0;
  const int from = pop.generations - opt.genotyped_generations + 1;
  for (int a = 1; a <= pop.n; ++a)
    if (pop.generation[static_cast<std::size_t>(a)] >= from && r.uniform() < opt.genotyped_share)
      typed[static_cast<std::size_t>(a)] = 1;
  std::vector<int> out;
  for (int a = 1; a <= pop.n; ++a)
    if (typed[static_cast<std::size_t>(a)]) out.push_back(a);
  return out;
}

genotype_data add_genotypes(population& pop, const simulation_options& opt) {
  rng r(opt.seed ^ 0x5eed0f6e7e5ull);
  genotype_data d;
  d.markers = opt.markers;
  d.typed = genotyped_animals(pop, opt, r);
  d.frequency = founder_frequencies(opt.markers, r);

  const int nt = pop.ntrait;
  const std::size_t unt = static_cast<std::size_t>(nt), n1 = static_cast<std::size_t>(pop.n) + 1;
  const double q = opt.marker_variance;
  double het = 0.0;
  for (double p : d.frequency) het += 2.0 * p * (1.0 - p);
  linalg::dense_matrix l = genetic_covariance(opt);
  for (double& v : l.a) v *= q / het;
  if (linalg::cholesky_lower(l) != 0) fatal("ventrel-simulate: the genetic (co)variance matrix is not positive definite");
  std::vector<double> b(static_cast<std::size_t>(opt.markers) * unt, 0.0);
  for (std::size_t k = 0; k < static_cast<std::size_t>(opt.markers); ++k) {
    double z[2] = {r.normal(), nt > 1 ? r.normal() : 0.0};
    for (int i = 0; i < nt; ++i)
      for (int j = 0; j <= i; ++j) b[k * unt + static_cast<std::size_t>(i)] += l(i, j) * z[j];
  }
  std::vector<double> values(n1 * unt, 0.0);
  marker_effects fx{nt, b, &values};
  marker_settings s;
  s.markers = opt.markers;
  s.recombination = opt.recombination;
  s.founder_haplotypes = opt.founder_haplotypes;
  s.missing = opt.snp_missing;
  std::vector<int> order(static_cast<std::size_t>(pop.n));
  std::iota(order.begin(), order.end(), 1);  // animals are numbered parents first
  d.codes = drop_genotypes(pop.sire, pop.dam, order, d.typed, d.frequency, s, r, q > 0.0 ? &fx : nullptr);

  const double keep = std::sqrt(1.0 - q);
  for (std::size_t k = unt; k < n1 * unt; ++k) {
    const double u = keep * pop.tbv[k] + values[k];
    pop.y[k] += u - pop.tbv[k];
    pop.tbv[k] = u;
  }
  return d;
}

genomic::genomic_block hinverse_genomic_block(const population& pop, const genotype_data& d, int nthreads) {
  genomic::genotype_table t;
  t.path = "snp.txt";
  t.animals = static_cast<std::int32_t>(d.typed.size());
  t.markers = d.markers;
  t.codes = d.codes;
  std::vector<std::int32_t> level(d.typed.begin(), d.typed.end());
  for (std::size_t k = 0; k < d.typed.size(); ++k) {
    t.ids.push_back(genotype_id(d.typed[k]));
    t.lines.push_back(static_cast<std::int64_t>(k) + 1);
  }
  pedigree::pedigree_phase_result ped;
  ped.file = "pedigree.txt";
  ped.n = pop.n;
  ped.ped.resize(static_cast<std::size_t>(pop.n) + 1);
  ped.perm.resize(static_cast<std::size_t>(pop.n) + 1);
  for (int a = 0; a <= pop.n; ++a) {
    const std::size_t ua = static_cast<std::size_t>(a);
    ped.ped[ua] = {pop.sire[ua], pop.dam[ua]};
    ped.perm[ua] = a;
  }
  ped.ped_sorted = ped.ped;
  ped.inb = pop.inb;
  ped.inb_sorted = pop.inb;
  ped.inbreeding_known = true;

  const genomic::single_step_settings s;  // ventrel's defaults for OPTION SNP_file
  const genomic::qc_result kept = genomic::quality_control(t, s.qc, nthreads);
  if (kept.animals.empty() || kept.markers.empty())
    fatal("ventrel-simulate: no genotyped animal or no marker is left after quality control; give more markers or "
          "genotype more animals");
  const genomic::genomic_matrices m = genomic::genomic_relationship_matrices(s, t, kept, level, ped, nthreads);
  const genomic::pd_context context{&t, &kept, "ventrel-simulate's genotypes"};
  return genomic::genomic_block{m.levels, genomic::genomic_inverse_block(m.g, m.a22, s.weights, context, nthreads)};
}

}  // namespace ventrel::simulate
