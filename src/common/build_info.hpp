// The program's name, version and build identification.
#pragma once

#include <string>

namespace ventrel {

inline constexpr const char* program_name = "VENTREL";
inline constexpr const char* program_version = "1.0.0";

// The banner: name and version, each a 16-character field trimmed, joined by " ver. ",
// placed in a 48-character blank-padded field.
std::string banner_field();
// "GCC version 12.2.0 Compiled on Nov 06 2024 13:27:50": the compiler's identification,
// then the build date (two-digit day) and time.
std::string build_identification();

}  // namespace ventrel
