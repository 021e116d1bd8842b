// The whole validation run, from the parameter file to the report and the log.
#pragma once

#include "common/command_line.hpp"

namespace ventrel::validation {

// Runs every phase in order; returns the exit status (0). Faults throw fatal_error, which main
// alone turns into the message and the exit status.
int run(const command_line& cmd);

}  // namespace ventrel::validation
