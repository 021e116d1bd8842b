// Reading the renumbered pedigree file: its size (count_pedigree) and its parents (read_pedigree).
#pragma once

#include <cstdint>
#include <string>

#include "common/freeformat.hpp"
#include "pedigree/pedigree_types.hpp"

namespace ventrel::pedigree {

struct pedigree_count {
  std::int32_t n = 0;           // largest animal number in column 1 (the number of animals)
  std::int32_t maxid = 0;       // largest number in any of the three columns
  std::int64_t lines = 0;       // lines read as three integers
  std::int64_t n_line = 0;      // line number where n was first found
  std::int64_t maxid_line = 0;  // line number where maxid was first found
  std::int64_t stop_line = 0;   // the line that ended the reading early; 0 = the end of the file
  std::string stop_text;        // that line, shortened
};

// Animals that the file gives more than once with different parents (the later line is kept).
struct pedigree_repeats {
  std::int64_t count = 0;      // lines that changed an animal's parents given earlier
  std::int32_t first = 0;      // the first such animal
  std::int64_t first_line = 0;     // its first line
  std::int64_t repeat_line = 0;    // the line that repeated it
};

// Reads the file from its start to its end, or to the first line that cannot be read as three
// integers (a blank line is skipped, as a list-directed read skips it), and returns n and maxid.
// The file is rewound before and after. The lines are parsed on `threads` threads (<= 0:
// OpenMP's default), with the result of one.
pedigree_count count_pedigree(line_reader& file, int threads);
pedigree_count count_pedigree(const std::string& path);

// Fills ped (resized to n+1, element 0 = {0, 0}) from the file: a line whose animal number a has
// 1 <= a <= n sets ped[a] to its second and third values; lines with any other animal number are
// skipped; reading stops as in count_pedigree. Animals without a line keep unknown parents.
// A negative parent code stops the run, and so does a parent code above n unless groups_allowed
// (the random type of the animal effect allows unknown parent groups or metafounders); both
// messages name the file, the line and the code. The file is rewound before and after.
// When repeats is given, it counts the animals given again with other parents. Parsed on
// `threads` threads as count_pedigree, with the result and the messages of one.
void read_pedigree(line_reader& file, std::int32_t n, bool groups_allowed, pedigree_table& ped,
                   pedigree_repeats* repeats, int threads);
void read_pedigree(const std::string& path, std::int32_t n, bool groups_allowed, pedigree_table& ped);

}  // namespace ventrel::pedigree
