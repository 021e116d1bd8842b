// The validation-set files: the levels of the focal individuals, one a line.
#pragma once

#include <string>
#include <vector>

namespace ventrel::validation {

// The levels in a validation-set file: the first value of every non-blank line (values
// separated by blanks, TABs or commas; further values ignored), read as the family reads them,
// up to the first line whose first value is not a whole number (a footer): the lines from there
// on are not read, and a "Warning: " line on the console says so. Stops naming the file (and the
// line and level where there is one) when the file is missing or holds no level, when it starts
// with a byte-order mark or with a line that is not a level (a header), when a level lies
// outside 1..nlev of effect `effect`, and when a level is given twice.
std::vector<int> read_validation_set(const std::string& path, int effect, int nlev);

}  // namespace ventrel::validation
