// ventrel-simulate: a simulated population and its whole and partial BLUP evaluations, written
// as the input files of ventrel.
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "common/fatal.hpp"
#include "simulate/sim_options.hpp"
#include "simulate/simulate_run.hpp"

int main(int argc, char** argv) {
  using namespace ventrel;
  try {
    std::vector<std::string> args(argv + 1, argv + argc);
    simulate::parsed_command_line cmd = simulate::parse_command_line(args);
    if (cmd.help) {
      std::fputs(simulate::help_text().c_str(), stdout);
      return 0;
    }
    simulate::run_simulation(cmd.options);
    return 0;
  } catch (const fatal_error& e) {
    std::fflush(stdout);
    for (const auto& line : e.lines()) std::printf("%s\n", line.c_str());
    return 1;
  } catch (const std::bad_alloc&) {
    std::printf("Out of memory\n");
    return 1;
  }
}
