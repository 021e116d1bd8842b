// The relationships among focal animals of a single-step genomic evaluation, from the genotypes:
// reading and quality control, G tuned and blended, A22 by Colleau's product, and H among the
// focal animals by the closed form or by the sparse inverse of the assembled H-inverse.
#pragma once

#include <string>
#include <vector>

#include "genomic/genotype_qc.hpp"
#include "genomic/h_focal.hpp"
#include "genomic/hinverse.hpp"
#include "genomic/tune_blend.hpp"
#include "linalg/dense_matrix.hpp"
#include "pedigree/pedigree_phase.hpp"

namespace ventrel::genomic {

// How H among the focal animals is obtained.
enum class h_focal_way {
  closed_form,  // H = A - A_.2 (X^-1 + A22)^-1 A_2. from A, A22 and G (the default)
  inverse,      // H-inverse assembled, inverted by the sparse inverse, focal elements read
};

struct single_step_settings {
  std::string snp_file;                      // OPTION SNP_file
  std::string xref_file;                     // OPTION SNP_xref (default snp_file + ".xref")
  qc_settings qc;                            // OPTION marker_callrate, animal_callrate, min_maf
  bool tune = true;                          // OPTION tune_G (0 turns tuning off)
  double alpha = 0.95;                       // OPTION blend_G alpha beta: weight of G
  double beta = 0.05;                        //   and weight of A22
  h_weights weights;                         // OPTION H_weights tau omega
  std::string save_file;                     // OPTION save_H_inverse (empty: not written)
  h_focal_way way = h_focal_way::closed_form;  // OPTION H_focal closed / inverse
};

// G and A22 of the genotyped animals kept by quality control, in the order of kept.animals.
struct genomic_matrices {
  std::vector<std::int32_t> levels;  // level of the animal of each row
  linalg::dense_matrix g;            // G, tuned and blended as the settings say
  linalg::dense_matrix a22;          // pedigree relationships (Colleau's product)
  g_tuning tuning;                   // the tuning applied (a = 0, b = 1 without)
};

// VanRaden's G of the kept genotypes, tuned to A22 (with s.tune) and blended with it
// (s.alpha, s.beta); A22 from the pedigree phase's arrays. level[row] is the level of the
// animal of each row of the genotype table. Prints nothing. nthreads as below.
genomic_matrices genomic_relationship_matrices(const single_step_settings& s, const genotype_table& g,
                                               const qc_result& kept, const std::vector<std::int32_t>& level,
                                               const pedigree::pedigree_phase_result& ped, int nthreads);

// Stops when H cannot be built from the genotypes for this pedigree (it has metafounders); the
// run calls it before the pedigree phase, so that the fault is told at once.
void check_single_step_pedigree(bool metafounders);

// A_focal (H among the focal animals) of every focal set: sets hold levels of the animal effect
// (order nlev), which are the animals' numbers in the pedigree. Prints what it reads, the
// quality-control counts, the tuning, the blending, the weight line ("wGimA22i" and the weight,
// or "wGi,wA22i" and both) and the way H is obtained; parent-progeny conflicts go to standard
// error. nthreads: OpenMP and BLAS threads (0 = defaults); sparse: the sparse solver's settings.
std::vector<linalg::dense_matrix> single_step_focal_relationships(const single_step_settings& s,
                                                                  const pedigree::pedigree_phase_result& ped, int nlev,
                                                                  const std::vector<std::vector<int>>& sets, int nthreads,
                                                                  const inverse_settings& sparse);

}  // namespace ventrel::genomic
