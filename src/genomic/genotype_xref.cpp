// Reading the cross-reference file of the genotyped animals.
#include "genomic/genotype_xref.hpp"

#include <array>
#include <unordered_map>

#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"

namespace ventrel::genomic {

std::vector<std::int32_t> read_genotype_xref(const std::string& path, int nlev, const genotype_table& g) {
  if (!file_exists(path))
    fatal({"The cross-reference file " + path + " of the genotyped animals does not exist",
           "Name it with OPTION SNP_xref (by default the genotype file's name followed by .xref)"});
  std::unordered_map<std::string_view, std::int32_t> index;  // identifier -> row of the table
  index.reserve(g.ids.size());
  for (std::size_t k = 0; k < g.ids.size(); ++k) index.emplace(g.ids[k], static_cast<std::int32_t>(k));
  std::vector<std::int32_t> level(g.ids.size(), 0);
  std::vector<std::int64_t> line_of_row(g.ids.size(), 0);
  std::unordered_map<std::int32_t, std::int64_t> line_of_level;
  line_reader in(path);
  std::string_view line;
  std::array<std::string_view, 2> f;
  while (in.next(line)) {
    const std::size_t k = split_fields(line, f);
    if (k == 0) continue;
    const std::int64_t ln = in.line_number();
    std::int32_t lev = 0;
    if (k < 2 || !parse_int(f[0], lev))
      fatal({"Cannot read a level and an identifier: " + at_line(path, ln), "  " + excerpt(line)});
    if (lev < 1 || lev > nlev)
      fatal({"Level " + excerpt(f[0], 20) + " is outside the levels 1.." + num(nlev) +
                 " of the animal effect: " + at_line(path, ln)});
    auto [lv, fresh] = line_of_level.try_emplace(lev, ln);
    if (!fresh)
      fatal({"Level " + num(lev) + " is given twice in cross-reference file " + path + ": lines " +
             num(lv->second) + " and " + num(ln)});
    auto it = index.find(f[1]);
    if (it == index.end()) continue;  // not genotyped (or removed from the genotype file)
    const std::size_t row = static_cast<std::size_t>(it->second);
    if (level[row] != 0)
      fatal({"Animal " + excerpt(f[1], 40) + " is given twice in cross-reference file " + path + ": lines " +
             num(line_of_row[row]) + " and " + num(ln)});
    level[row] = lev;
    line_of_row[row] = ln;
  }
  for (std::size_t row = 0; row < level.size(); ++row)
    if (level[row] == 0)
      fatal({"Animal " + excerpt(g.ids[row], 40) + " has no level in cross-reference file " + path + ": genotype " +
                 at_line(g.path, g.lines[row]),
             "Every genotyped animal needs a line: its level in the animal effect, then its identifier"});
  return level;
}

}  // namespace ventrel::genomic
