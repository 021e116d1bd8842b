// The file "sol_valids": the focal individuals with their whole and partial solutions.
#pragma once

#include <string>
#include <vector>

#include "validation/focal_set.hpp"

namespace ventrel::validation {

// The text of sol_valids: a header line, then one line per focal individual, set by set: the
// set number (I4), the level (I12), then for every trait the whole and the partial solution
// (E16.8 each). Header: "set", "level", "whole_t" and "partial_t", right-aligned over them.
std::string sol_valids_text(const std::vector<focal_set>& sets, int ntrait);

// Writes that text to path whole or not at all (a temporary name renamed at the end).
void write_sol_valids(const std::vector<focal_set>& sets, int ntrait,
                      const std::string& path = "sol_valids");

}  // namespace ventrel::validation
