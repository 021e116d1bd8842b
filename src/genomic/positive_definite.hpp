// The checks that G and A22 are positive definite, and the stop that says what to change.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "genomic/genotype_qc.hpp"
#include "genomic/genotypes.hpp"
#include "linalg/dense_matrix.hpp"

namespace ventrel::genomic {

// Pairs of kept animals (rows of the table, first < second) whose genotypes are identical at
// every kept marker: each animal's genotypes are hashed, animals with equal hashes compared.
// Cost: one pass over the kept genotypes.
std::vector<std::pair<std::int32_t, std::int32_t>> identical_genotypes(const genotype_table& g, const qc_result& kept);

// What the stop needs to say what to change.
struct pd_context {
  const genotype_table* genotypes = nullptr;  // for the pairs of identical genotypes
  const qc_result* kept = nullptr;
  std::string settings;                       // the settings in force, as the stop shows them
};

// Stops the run: `which` ("G" or "A22") of order `order` is not positive definite (the leading
// minor `minor` is not), with what to change and the pairs of animals whose genotypes are
// identical.
[[noreturn]] void stop_not_positive_definite(const std::string& which, int order, int minor, const pd_context& c);

}  // namespace ventrel::genomic
