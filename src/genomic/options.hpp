// The genomic library's own OPTION lines, as far as this program needs them: whether genomic
// options are present at all, and the H method that decides how the focal relationships are
// obtained.
#pragma once

#include <string>

#include "parfile/option_store.hpp"

namespace ventrel::genomic {

struct genomic_options {
  bool read = false;                   // OPTION SNP_file or OPTION readHInverse present
  int h_method = 0;                    // OPTION whichH (default 3 when read; 0 otherwise)
  bool snp_file_given = false;         // OPTION SNP_file present
  std::string snp_file;                // its file name
  std::string metafounders_gamma_file; // OPTION metafounders_gamma (empty when absent)
};

// Reads the genomic options; prints "the genomic options are read" and the H method line when
// they are present.
genomic_options read_genomic_options(const parfile::option_store& options);

// Whether the relationships among focal animals come from the inverse of H (H methods 3, 4, 5
// and 7) rather than from the pedigree.
bool uses_inverse_relationships(const genomic_options& g);

}  // namespace ventrel::genomic
