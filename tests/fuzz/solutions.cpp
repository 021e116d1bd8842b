// Fuzz target: the solution-file reader (header check and streaming read), and the readers of
// the other per-animal files of the driver on the same bytes (validation set, yhat_residual).
// The first byte chooses the layout, the traits, the effect and small or huge level numbers;
// the rest is the file.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "common/freeformat.hpp"

#include "common/fatal.hpp"
#include "fuzz_input.hpp"
#include "validation/solution_files.hpp"
#include "validation/validation_set.hpp"
#include "validation/yhat_residual.hpp"

namespace {

using namespace ventrel;
using namespace ventrel::validation;

focal_index make_index(bool huge, int& nlev) {
  std::vector<focal_set> sets(2);
  if (huge) {
    nlev = 2147483647;
    sets[0].levels = {2147483647, 1, 1000000000};
    sets[1].levels = {1, 5};
  } else {
    nlev = 40;
    sets[0].levels = {17, 3, 40, 1};
    sets[1].levels = {3, 8};
  }
  return index_focal_levels(sets, nlev);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::silence_console();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::uint8_t b = data[0];
  const auto layout = static_cast<solution_layout>(b & 3);
  const int ntrait = 1 + ((b >> 2) & 3);
  const int effect = 1 + ((b >> 4) & 1);
  int nlev = 0;
  const focal_index index = make_index((b & 0x80) != 0, nlev);
  const std::string path = fuzz::write_input("solutions", data + 1, size - 1);

  try {
    // Both headers alike: the layout is that of the first line, or the run stops.
    const solution_layout l = check_headers(path, path);
    line_reader r(path);
    std::string_view first;
    VENTREL_FUZZ_CHECK(r.next(first) && layout_of_header(first) == l);
  } catch (const fatal_error&) {
  }
  // One thread and three give the same values, or the same stop.
  std::vector<std::string> stop1, stop3;
  focal_solutions one, three;
  try {
    one = read_solution_file(path, layout, effect, ntrait, index, 1);
    VENTREL_FUZZ_CHECK(one.sol.rows == static_cast<int>(index.levels.size()) && one.sol.cols == ntrait);
    for (double v : one.sol.a) VENTREL_FUZZ_CHECK(std::isnan(v) || std::isfinite(v));
  } catch (const fatal_error& e) {
    stop1 = e.lines();
  }
  try {
    three = read_solution_file(path, layout, effect, ntrait, index, 3);
  } catch (const fatal_error& e) {
    stop3 = e.lines();
  }
  VENTREL_FUZZ_CHECK(stop1 == stop3);
  VENTREL_FUZZ_CHECK(stop1.size() > 0 || (std::equal(one.sol.a.begin(), one.sol.a.end(), three.sol.a.begin(), three.sol.a.end(),
                                                      [](double x, double y) { return x == y || (std::isnan(x) && std::isnan(y)); }) &&
                                           one.extra.a == three.extra.a));
  try {
    const std::vector<int> levels = read_validation_set(path, effect, nlev);
    VENTREL_FUZZ_CHECK(!levels.empty());
    for (int l : levels) VENTREL_FUZZ_CHECK(l >= 1 && l <= nlev);
  } catch (const fatal_error&) {
  }
  try {
    const linalg::dense_matrix y = read_yhat_residual(path, ntrait, index, 2);
    for (double v : y.a) VENTREL_FUZZ_CHECK(std::isfinite(v));
  } catch (const fatal_error&) {
  }
  return 0;
}
