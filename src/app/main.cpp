// ventrel: validation of genetic evaluations by the linear-regression method.
#include <cstdio>
#include <exception>
#include <new>

#include "common/build_info.hpp"
#include "common/command_line.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "genomic/version.hpp"
#include "validation/run.hpp"

int main(int argc, char** argv) {
  using namespace ventrel;
  const command_line cmd = command_line::from(argc, argv);
  try {
    if (find_argument(cmd, "--version") > 0) {
      std::printf("%s\n", std::string(trim_right(banner_field())).c_str());
      std::printf("%s\n", build_identification().c_str());
      std::printf("%s\n", genomic::version_line().c_str());
      return 0;
    }
    return validation::run(cmd);
  } catch (const fatal_error& e) {
    std::fflush(stdout);
    for (const auto& line : e.lines()) std::printf("%s\n", line.c_str());
    std::fflush(stdout);
    return 1;
  } catch (const std::bad_alloc&) {
    std::printf("Out of memory\n");
    return 1;
  }
}
