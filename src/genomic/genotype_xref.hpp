// The cross-reference file of the genotyped animals (OPTION SNP_xref, by default the genotype
// file's name followed by ".xref"): one line per animal, its level in the animal effect, then its
// identifier as in the genotype file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "genomic/genotypes.hpp"

namespace ventrel::genomic {

// The level (1..nlev) of every animal of the genotype table, in the table's order. Lines for
// identifiers that the genotype file does not hold are skipped. Stops, naming the file and the
// line, on a line that is not a level and an identifier, a level outside 1..nlev, a level or an
// identifier given twice, and on an animal of the genotype file without a level (naming the
// genotype file's line).
std::vector<std::int32_t> read_genotype_xref(const std::string& path, int nlev, const genotype_table& g);

}  // namespace ventrel::genomic
