// Version of the genomic relationship library.
#include "genomic/version.hpp"

namespace ventrel::genomic {

std::string version_line() { return std::string("Genomic relationship library ver. ") + library_version; }

}  // namespace ventrel::genomic
