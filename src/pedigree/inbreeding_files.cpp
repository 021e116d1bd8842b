// Files that method 7 and method 9 of compute_inbreeding read: selfing generations and
// inbreeding coefficients given per animal.
#include <array>

#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"
#include "pedigree/inbreeding.hpp"

namespace ventrel::pedigree {
namespace {

// Splits a line into its first two values; false for a line without values (skipped).
bool two_fields(line_reader& file, std::string_view line, std::array<std::string_view, 2>& f) {
  const std::size_t k = split_fields(line, f);
  if (k == 0) return false;
  if (k < 2) fatal({"Two values expected (animal and value)", at_line(file.path(), file.line_number())});
  return true;
}

}  // namespace

std::vector<std::int32_t> read_self_generations(const std::string& path, std::int32_t n) {
  if (!file_exists(path)) fatal("File of self-breeding generations " + path + " does not exist");
  line_reader file(path);
  std::vector<std::int32_t> gen(static_cast<std::size_t>(n) + 1, 0);
  std::string_view line;
  std::array<std::string_view, 2> f;
  while (file.next(line)) {
    if (!two_fields(file, line, f)) continue;
    std::int32_t a = 0, g = 0;
    if (!parse_int(f[0], a) || !parse_int(f[1], g))
      fatal(
          {"Cannot read animal and number of self-breeding generations", at_line(path, file.line_number())});
    if (a < 1 || a > n)
      fatal({"Animal " + num(a) + " is not in the pedigree (animals 1 to " + num(n) + ")",
             at_line(path, file.line_number())});
    if (g < 0 || g > 1000)
      fatal({"Number of self-breeding generations out of range (0 to 1000): " + num(g),
             at_line(path, file.line_number())});
    gen[static_cast<std::size_t>(a)] = g;
  }
  return gen;
}

std::vector<double> read_inbreeding_file(const std::string& path, std::int32_t n, std::int32_t nupg) {
  if (!file_exists(path)) fatal("File " + path + " does not exist");
  line_reader file(path);
  std::vector<double> inb(static_cast<std::size_t>(n) + 1, 0.0);
  std::vector<char> seen(static_cast<std::size_t>(n) + 1, 0);
  std::string_view line;
  std::array<std::string_view, 2> f;
  while (file.next(line)) {
    if (!two_fields(file, line, f)) continue;
    std::int32_t a = 0;
    double v = 0.0;
    if (!parse_int(f[0], a) || !parse_real(f[1], v))
      fatal({"Cannot read animal and inbreeding coefficient", at_line(path, file.line_number())});
    if (a < 1 || a > n + nupg)
      fatal({"Animal " + num(a) + " is not in the pedigree (animals 1 to " + num(n) + ")",
             at_line(path, file.line_number())});
    if (a > n) continue;  // a metafounder: its coefficient comes from Gamma
    inb[static_cast<std::size_t>(a)] = v;
    seen[static_cast<std::size_t>(a)] = 1;
  }
  for (std::int32_t a = 1; a <= n; ++a)
    if (!seen[static_cast<std::size_t>(a)])
      fatal("Animal " + num(a) + " has no inbreeding coefficient in file " + path);
  return inb;
}

}  // namespace ventrel::pedigree
