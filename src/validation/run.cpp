// The run flow: phases in order.
#include "validation/run.hpp"

#include "common/fatal.hpp"

namespace ventrel::validation {

int run(const command_line&) {
  fatal("ventrel: reading a parameter file is not built yet; only --version works");
}

}  // namespace ventrel::validation
