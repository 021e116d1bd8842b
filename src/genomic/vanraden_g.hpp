// The genomic relationship matrix G by VanRaden's first method.
#pragma once

#include "genomic/genotype_qc.hpp"
#include "genomic/genotypes.hpp"
#include "linalg/dense_matrix.hpp"

namespace ventrel::genomic {

// G = Z Z' / (2 sum p(1-p)) over the animals and markers kept by quality control (rows and
// columns of G in the order of kept.animals), with Z = M - 2p, a missing genotype taken as 2p
// (a zero in Z), p the frequencies of kept.p (VanRaden 2008, J. Dairy Sci. 91:4414). Z is formed
// for blocks of markers (by animal, in parallel) and each block is added by a BLAS symmetric
// rank-k update; both triangles are filled at the end. nthreads (0 = the defaults) sets the
// OpenMP and BLAS threads. Cost: animals^2 x markers flops; memory G plus one block of Z.
linalg::dense_matrix vanraden_g(const genotype_table& g, const qc_result& kept, int nthreads);

}  // namespace ventrel::genomic
