// Version of the genomic relationship library.
#pragma once

#include <string>

namespace ventrel::genomic {

inline constexpr const char* library_version = "1.0.0";

// The line printed by "--version": " genomic relationship library ver. 1.0.0".
std::string version_line();

}  // namespace ventrel::genomic
