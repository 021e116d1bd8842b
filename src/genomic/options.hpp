// The genomic library's own OPTION lines, as far as this program needs them: whether genomic
// options are present at all, the H method that decides how the focal relationships are
// obtained, and the settings of H built from genotypes.
#pragma once

#include <string>

#include "genomic/single_step.hpp"
#include "parfile/option_store.hpp"

namespace ventrel::genomic {

struct genomic_options {
  int h_method = 0;                    // OPTION whichH (default 3 when SNP_file or readHInverse
                                       // is given; 0 otherwise)
  bool snp_file_given = false;         // OPTION SNP_file present
  std::string snp_file;                // its file name
  std::string metafounders_gamma_file; // OPTION metafounders_gamma (empty when absent)
  single_step_settings single_step;    // with OPTION SNP_file: the genotype file, quality
                                       // control, G, the weights and the way to H
};

// Reads the genomic options; prints "the genomic options are read" and the H method line when
// they are present, and with OPTION SNP_file one "* " line for each option of H built from the
// genotypes that is given (SNP_xref, marker_callrate, animal_callrate, min_maf, tune_G, blend_G,
// H_weights, save_H_inverse, H_focal). A value out of its range stops naming the option, the
// value and the line.
genomic_options read_genomic_options(const parfile::option_store& options);

// Whether the relationships among focal animals come from the inverse of H (H methods 3, 4, 5
// and 7) rather than from the pedigree.
bool uses_inverse_relationships(const genomic_options& g);

}  // namespace ventrel::genomic
