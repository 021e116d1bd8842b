// Reading and checking Gamma.
#include "genomic/metafounders.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <utility>

#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"
#include "linalg/cholesky.hpp"

namespace ventrel::genomic {

linalg::dense_matrix read_metafounders_gamma(const std::string& path) {
  if (!file_exists(path)) fatal({"Metafounder relationship file " + path + " does not exist",
                                 "It is named by OPTION metafounders_gamma"});
  line_reader in(path);
  std::map<std::pair<int, int>, std::pair<double, std::int64_t>> elements;  // (i<=j) -> value, line
  int order = 0;
  std::string_view line;
  std::array<std::string_view, 3> f;
  // Gamma is kept dense: its order bounds the memory (5000 gives 200 MB), far above the few
  // dozen metafounders of real pedigrees.
  constexpr int max_order = 5000;
  while (in.next(line)) {
    std::size_t k = split_fields(line, f);
    if (k == 0) continue;
    std::int32_t i = 0, j = 0;
    double v = 0;
    if (k < 3 || !parse_int(f[0], i) || !parse_int(f[1], j) || !parse_real(f[2], v) || !std::isfinite(v))
      fatal({"Cannot read i, j and a value of Gamma: " + at_line(path, in.line_number())});
    if (i < 1 || j < 1 || i > max_order || j > max_order)
      fatal({"Metafounder index out of range 1.." + num(max_order) + ": " + at_line(path, in.line_number())});
    auto key = std::minmax(i, j);
    auto [it, fresh] = elements.try_emplace({key.first, key.second}, v, in.line_number());
    if (!fresh && it->second.first != v)
      fatal({"Gamma(" + num(key.first) + "," + num(key.second) + ") is given twice with different values: " +
                 at_line(path, it->second.second) + " and line " + num(in.line_number()),
             "Gamma must be symmetric"});
    order = std::max(order, key.second);
  }
  if (order == 0) fatal({"Metafounder relationship file " + path + " holds no element of Gamma"});
  // Every diagonal element is needed (a positive definite matrix has them all positive); checked
  // before the dense matrix is allocated, so that its order never exceeds the lines given.
  for (int k = 1; k <= order; ++k)
    if (!elements.contains({k, k}))
      fatal({"Gamma(" + num(k) + "," + num(k) + ") is not given in metafounder relationship file " + path,
             "Gamma is of order " + num(order) + " (its largest index) and needs every diagonal element"});
  linalg::dense_matrix g(order, order);
  for (const auto& [key, val] : elements) {
    g(key.first - 1, key.second - 1) = val.first;
    g(key.second - 1, key.first - 1) = val.first;
  }
  if (!linalg::is_positive_definite(g))
    fatal({"Gamma of file " + path + " is not positive definite"});
  return g;
}

}  // namespace ventrel::genomic
