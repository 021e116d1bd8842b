// The genotype file of OPTION SNP_file: one animal per line, an identifier, blanks, then one
// character per marker (0, 1, 2 copies of the counted allele, 5 missing).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ventrel::genomic {

inline constexpr std::uint8_t missing_genotype = 5;  // the code of a missing call

struct genotype_table {
  std::string path;                 // the file read
  std::int32_t animals = 0;         // lines (animals) read
  std::int32_t markers = 0;         // markers per line
  std::vector<std::string> ids;     // identifier of each animal, in file order
  std::vector<std::int64_t> lines;  // the line of the file that gave each animal
  std::vector<std::uint8_t> codes;  // animals x markers, by animal: 0, 1, 2 or 5
  const std::uint8_t* row(std::int32_t k) const {
    return codes.data() + static_cast<std::size_t>(k) * static_cast<std::size_t>(markers);
  }
};

// Reads the whole file. Blank lines are skipped; a carriage return and blanks after the
// genotypes are ignored. Stops, naming the file and the line, on a line without genotypes, on a
// line whose number of markers differs from the first line's (both counts given), on a
// character other than 0, 1, 2 or 5 (with its column), on an identifier given twice (with both
// lines), and on a file without any animal. Reads through one large buffer; the validity check
// and the copy of a line are loops the compiler vectorises.
genotype_table read_genotypes(const std::string& path);

}  // namespace ventrel::genomic
