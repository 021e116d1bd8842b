// The whole validation run, from the parameter file to the report and the log.
#pragma once

#include "common/command_line.hpp"

namespace ventrel::validation {

// Runs every phase in order; returns the exit status (0). Faults throw fatal_error; any other
// standard exception but std::bad_alloc is turned into one, so that no input ends in an abort.
int run(const command_line& cmd);

}  // namespace ventrel::validation
