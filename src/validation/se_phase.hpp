// The standard-error phase: bootstrap, or the analytical standard errors from the focal
// animals' relationships and prediction error variances.
#pragma once

#include <vector>

#include "genomic/options.hpp"
#include "parfile/model_parameters.hpp"
#include "pedigree/pedigree_phase.hpp"
#include "validation/focal_set.hpp"
#include "validation/options.hpp"
#include "validation/report.hpp"

namespace ventrel::validation {

struct se_phase_input {
  const parfile::model_parameters& model;
  const validation_options& options;
  const genomic::genomic_options& genomic;
  const std::vector<focal_set>& sets;
  const pedigree::pedigree_phase_result& pedigree;
  const std::vector<double>& genetic_variance;  // per trait, parameter file
  const std::vector<double>& gvar_focal;        // per trait, genetic variance of the focal animals
  const std::vector<double>& h2;                // per trait
};

// Fills results[t-1].se of every trait that a focal set validates, sets in order, traits in
// order within a set (the bootstrap's one random stream follows that order). With se exact, the
// relationships from an inverse relationship matrix (dense A_focal of every set) and
// keep_a_focal given, they are left there (set s at s) for the groups' standard errors instead
// of being freed; relationships from the pedigree are never held, and keep_a_focal stays empty.
void run_se_phase(const se_phase_input& in, std::vector<trait_report>& results,
                  std::vector<linalg::dense_matrix>* keep_a_focal = nullptr);

}  // namespace ventrel::validation
