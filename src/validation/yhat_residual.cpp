// Reading of the adjusted phenotypes.
#include "validation/yhat_residual.hpp"

#include <cmath>
#include <cstdint>
#include <vector>

#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"

namespace ventrel::validation {

linalg::dense_matrix read_yhat_residual(const std::string& path, int ntrait, const focal_index& index) {
  const int ndist = static_cast<int>(index.levels.size());
  linalg::dense_matrix sum(ndist, ntrait);
  std::vector<std::int64_t> count(ndist, 0);
  line_reader r(path);
  std::vector<std::string_view> f(static_cast<std::size_t>(ntrait) + 1);
  std::string_view line;
  while (r.next(line)) {
    const std::size_t n = split_fields(line, f);
    if (n == 0) continue;
    std::int64_t level = 0;
    if (n < f.size() || !parse_int(f[0], level))
      fatal({"Cannot read a line of " + path + ": a level and " + num(ntrait) +
                 " phenotype(s) expected",
             at_line(path, r.line_number())});
    const std::int32_t d = index.slot(level) - 1;
    if (d < 0) continue;
    for (int t = 0; t < ntrait; ++t) {
      double y = 0;
      if (!parse_real(f[t + 1], y) || !std::isfinite(y))
        fatal({"Cannot read a line of " + path + ": phenotype " + num(t + 1) +
                   " is not a finite number: " + std::string(f[t + 1]),
               at_line(path, r.line_number())});
      sum(d, t) += y;
    }
    ++count[d];
  }
  for (int d = 0; d < ndist; ++d) {
    if (count[d] == 0)
      fatal({"Focal individual " + num(index.levels[d]) + " has no line in " + path,
             "Predictive ability needs the adjusted phenotype of every focal individual"});
    for (int t = 0; t < ntrait; ++t) sum(d, t) /= static_cast<double>(count[d]);
  }
  return sum;
}

}  // namespace ventrel::validation
