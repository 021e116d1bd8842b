// Reading of the parameter file: its name, the checks of its format, its keyword sections
// into the model record, and the OPTION store over the still-open file.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "common/command_line.hpp"
#include "parfile/model_parameters.hpp"
#include "parfile/option_store.hpp"

namespace ventrel::parfile {

// What reading a parameter file leaves: the model and the OPTION store that owns the open file.
struct parameter_file {
  model_parameters model;  // never changed after reading
  option_store options;    // answers the OPTION queries of the rest of the run
};

// The parameter file's name: the first command-line argument, or, when there is none or it
// begins with "--", the first line read from in after the prompt " name of parameter file?"
// (no newline after the prompt; when in is not a terminal the line is ended after reading, since
// no echo did it). Blanks around the name are removed; an empty answer gives an empty name.
std::string parameter_file_name(const command_line& cmd, std::FILE* in = stdin);

// Reads the parameter file named by the command line (see parameter_file_name). With verbosity
// above 0 the banner (trimmed, when not blank) and then " parameter file: " and the name are
// printed. Every fault stops the run with its message; the model is complete or not at all.
parameter_file read_parameter_file(const command_line& cmd, int verbosity = 1,
                                   std::string_view banner = {});
// The same for a name given by the caller.
parameter_file read_parameter_file(const std::string& name, int verbosity = 1,
                                   std::string_view banner = {});

}  // namespace ventrel::parfile
