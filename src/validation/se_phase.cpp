// The standard-error phase.
#include "validation/se_phase.hpp"

#include <span>

#include "common/fatal.hpp"
#include "common/freeformat.hpp"
#include "statistics/analytical_se.hpp"
#include "statistics/bootstrap.hpp"
#include "statistics/ebv_pev_files.hpp"
#include "statistics/random.hpp"
#include "genomic/hinverse.hpp"
#include "genomic/single_step.hpp"
#include "parfile/kelp_threads.hpp"

namespace ventrel::validation {
namespace {

std::span<const double> column(const linalg::dense_matrix& m, int trait) {
  if (m.rows == 0 || m.cols == 0) return {};
  return {m.a.data() + static_cast<std::size_t>(trait - 1) * static_cast<std::size_t>(m.rows),
          static_cast<std::size_t>(m.rows)};
}

std::size_t at(int t) { return static_cast<std::size_t>(t - 1); }

statistics::se_trait_input trait_input(const se_phase_input& in, const focal_set& set, int t) {
  statistics::se_trait_input x;
  x.trait = t;
  x.w = column(set.whole, t);
  x.p = column(set.partial, t);
  if (in.options.predictive_ability) x.y = column(set.phenotype, t);
  x.s2 = in.genetic_variance[at(t)];
  x.gvar_focal = in.pedigree.gvar_focal[at(t)];
  x.h2 = in.h2[at(t)];
  return x;
}

void bootstrap_phase(const se_phase_input& in, std::vector<trait_report>& results) {
  statistics::rng generator;  // one stream for the whole run, from the default seeds
  for (const focal_set& set : in.sets)
    for (int t : set.traits) {
      statistics::se_trait_input x = trait_input(in, set, t);
      results[at(t)].se = statistics::bootstrap(x.w, x.p, x.y, x.gvar_focal, x.h2, in.options.nrepboot, generator,
                                                in.options.nthreads);
    }
}

// Reads one evaluation's ebv_pev file of a trait and compares its EBVs with the solutions.
statistics::ebv_pev read_pev(const se_phase_input& in, const focal_set& set, int t, statistics::evaluation e) {
  const std::string path = statistics::ebv_pev_file_name(t, e);
  const int nlev = in.model.nlev[at(in.options.focal_effect)];
  statistics::ebv_pev ep = statistics::read_ebv_pev(path, set.levels, nlev);
  const bool whole = e == statistics::evaluation::whole;
  statistics::compare_ebv(path, ep.ebv, whole ? in.options.sol_whole : in.options.sol_partial,
                          column(whole ? set.whole : set.partial, t));
  return ep;
}

void exact_phase(const se_phase_input& in, std::vector<trait_report>& results) {
  const bool inverse = genomic::uses_inverse_relationships(in.genomic);
  std::vector<linalg::dense_matrix> a_inverse_way;
  const int nlev = in.model.nlev[at(in.options.focal_effect)];
  if (inverse) {
    std::vector<std::vector<int>> levels;
    for (const focal_set& set : in.sets) levels.push_back(set.levels);
    const genomic::inverse_settings sparse{parfile::num_threads_kelp(), in.options.msg_morlo};
    if (in.options.read_hinverse)
      a_inverse_way = genomic::focal_relationships_from_inverse(in.options.hinverse_file, nlev, levels, sparse);
    else  // OPTION SNP_file: H built from the genotypes
      a_inverse_way = genomic::single_step_focal_relationships(in.genomic.single_step, in.pedigree, nlev, levels,
                                                               in.options.nthreads, sparse);
  }
  for (std::size_t s = 0; s < in.sets.size(); ++s) {
    const focal_set& set = in.sets[s];
    linalg::dense_matrix a_focal =
        inverse ? std::move(a_inverse_way[s]) : pedigree::focal_relationships(in.pedigree, set.levels, in.options.nthreads);
    for (int t : set.traits) {
      statistics::ebv_pev whole = read_pev(in, set, t, statistics::evaluation::whole);
      statistics::ebv_pev partial = read_pev(in, set, t, statistics::evaluation::partial);
      statistics::pec_matrix pec_w, pec_p;
      statistics::se_exact_model model{a_focal.a, whole.pev, partial.pev, nullptr, nullptr};
      const std::string fw = statistics::pec_file_name(t, statistics::evaluation::whole);
      const std::string fp = statistics::pec_file_name(t, statistics::evaluation::partial);
      if (file_exists(fw)) {
        pec_w = statistics::read_pec(fw, set.levels, nlev);
        model.pec_w = &pec_w;
      }
      if (file_exists(fp)) {
        pec_p = statistics::read_pec(fp, set.levels, nlev);
        model.pec_p = &pec_p;
      }
      results[at(t)].se = statistics::se_exact(trait_input(in, set, t), model).intervals;
    }
  }
}

void approx_phase(const se_phase_input& in, std::vector<trait_report>& results) {
  for (const focal_set& set : in.sets) {
    std::vector<double> diag_a(set.inb.size());
    for (std::size_t i = 0; i < diag_a.size(); ++i) diag_a[i] = 1.0 + set.inb[i];
    statistics::accuracy_column kind = set.extra == extra_column::acc  ? statistics::accuracy_column::acc
                                       : set.extra == extra_column::se ? statistics::accuracy_column::se
                                                                       : statistics::accuracy_column::none;
    for (int t : set.traits) {
      const double s2 = in.genetic_variance[at(t)];
      std::vector<double> r_w = statistics::approx_accuracies(kind, column(set.whole_extra, t), diag_a, s2);
      std::vector<double> r_p = statistics::approx_accuracies(kind, column(set.partial_extra, t), diag_a, s2);
      statistics::se_approx_model model{diag_a, r_w, r_p};
      results[at(t)].se = statistics::se_approx(trait_input(in, set, t), model).intervals;
    }
  }
}

}  // namespace

void run_se_phase(const se_phase_input& in, std::vector<trait_report>& results) {
  switch (in.options.se) {
    case se_method::boot: bootstrap_phase(in, results); break;
    case se_method::exact: exact_phase(in, results); break;
    case se_method::approx: approx_phase(in, results); break;
    case se_method::none: break;
  }
}

}  // namespace ventrel::validation
