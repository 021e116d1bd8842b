// Reading of the adjusted phenotypes.
#include "validation/yhat_residual.hpp"

#include <cmath>
#include <cstdint>
#include <vector>

#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"

namespace ventrel::validation {

namespace {

// The focal individuals' lines of a piece of the file: their positions and phenotypes.
struct phenotype_lines {
  std::vector<std::int32_t> slot;
  std::vector<double> y;                  // ntrait a line
  std::vector<std::string_view> fields;  // room for a line's values, kept from line to line
  void clear() {
    slot.clear();
    y.clear();
  }
};

}  // namespace

linalg::dense_matrix read_yhat_residual(const std::string& path, int ntrait, const focal_index& index, int threads) {
  const int ndist = static_cast<int>(index.levels.size());
  linalg::dense_matrix sum(ndist, ntrait);
  std::vector<std::int64_t> count(ndist, 0);
  auto parse = [&](phenotype_lines& found, std::string_view line, std::int64_t line_no) {
    std::vector<std::string_view>& f = found.fields;
    f.resize(static_cast<std::size_t>(ntrait) + 1);
    const std::size_t n = split_fields(line, f);
    if (n == 0) return;
    std::int64_t level = 0;
    if (n < f.size() || !parse_int(f[0], level))
      fatal({"Cannot read a line of " + path + ": a level and " + num(ntrait) + " phenotype(s) expected",
             at_line(path, line_no)});
    const std::int32_t d = index.slot(level) - 1;
    if (d < 0) return;
    for (int t = 0; t < ntrait; ++t) {
      double y = 0;
      if (!parse_real(f[t + 1], y) || !std::isfinite(y))
        fatal({"Cannot read a line of " + path + ": phenotype " + num(t + 1) +
                   " is not a finite number: " + std::string(f[t + 1]),
               at_line(path, line_no)});
      found.y.push_back(y);
    }
    found.slot.push_back(d);
  };
  // The sums in the file's order, as one thread makes them.
  auto take = [&](const phenotype_lines& found) {
    for (std::size_t k = 0; k < found.slot.size(); ++k) {
      const std::int32_t d = found.slot[k];
      for (int t = 0; t < ntrait; ++t) sum(d, t) += found.y[k * static_cast<std::size_t>(ntrait) + static_cast<std::size_t>(t)];
      ++count[d];
    }
  };
  line_reader r(path);
  read_in_pieces<phenotype_lines>(r, threads, parse, take);
  for (int d = 0; d < ndist; ++d) {
    if (count[d] == 0)
      fatal({"Focal individual " + num(index.levels[d]) + " has no line in " + path,
             "Predictive ability needs the adjusted phenotype of every focal individual"});
    for (int t = 0; t < ntrait; ++t) sum(d, t) /= static_cast<double>(count[d]);
  }
  return sum;
}

}  // namespace ventrel::validation
