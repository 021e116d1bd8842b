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

namespace {

// What "ventrel --help" prints: the command line, the input files, where the options are told.
constexpr const char* usage_text =
    "Usage: ventrel [PARAMETER_FILE]   validate an evaluation as the parameter file describes it\n"
    "       ventrel --version          banner, build identification, genomic library version\n"
    "       ventrel --help             this text\n"
    "Without PARAMETER_FILE the program asks for its name on standard input.\n"
    "\n"
    "Input files, in the working folder unless the parameter file names a path:\n"
    "  the parameter file       model keywords, then OPTION lines (OPTION validation is needed)\n"
    "  solutions_whole, solutions_partial\n"
    "                           solutions of the whole and the partial evaluation\n"
    "                           (OPTION prefix NAME reads NAME_whole and NAME_partial)\n"
    "  validation-set file(s)   the focal animals' levels, named by OPTION validation\n"
    "  the pedigree             the FILE of the validated effect's RANDOM_GROUP (renumbered)\n"
    "  as options ask           yhat_residual, ebv_pev_<t>_1_whole/_partial, Hinv.txt, ranolt.inb\n"
    "Output: the report on the console, ventrel.log and sol_valids; exit status 0, or 1 and a\n"
    "message when an input is wrong.\n"
    "\n"
    "Every OPTION this program reads, its values and its default: README.md, section\n"
    "\"Options\".\n";

}  // namespace

int main(int argc, char** argv) {
  using namespace ventrel;
  const command_line cmd = command_line::from(argc, argv);
  try {
    if (find_argument(cmd, "--help") > 0 || find_argument(cmd, "-h") > 0) {
      std::fputs(usage_text, stdout);
      return 0;
    }
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
  } catch (const std::exception& e) {
    // Any other exception of the standard library (a length error, a system error of the
    // thread runtime) ends the run like a fatal stop: a message and status 1, not an abort.
    std::printf("The run stopped on an unexpected error: %s\n", e.what());
    std::printf("Please report it together with the input files\n");
    return 1;
  }
}
