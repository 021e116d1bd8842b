// Reading the genotype file.
#include "genomic/genotypes.hpp"

#include <sys/stat.h>

#include <unordered_map>

#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"

namespace ventrel::genomic {
namespace {

bool blank(char c) { return c == ' ' || c == '\t'; }

// Whether every character of s is 0, 1, 2 or 5 (a branch-free loop the compiler vectorises).
bool all_genotype_codes(const char* s, std::size_t n) {
  unsigned char bad = 0;
  for (std::size_t k = 0; k < n; ++k) {
    const unsigned char v = static_cast<unsigned char>(s[k] - '0');
    bad |= static_cast<unsigned char>((v > 2) & (v != 5));
  }
  return bad == 0;
}

}  // namespace

genotype_table read_genotypes(const std::string& path) {
  if (!file_exists(path))
    fatal({"The genotype file " + path + " does not exist", "It is named by OPTION SNP_file"});
  genotype_table g;
  g.path = path;
  struct stat st {};
  if (::stat(path.c_str(), &st) == 0 && st.st_size > 0) g.codes.reserve(static_cast<std::size_t>(st.st_size));
  std::unordered_map<std::string, std::int64_t> line_of;  // identifier -> its line
  std::int64_t first_line = 0;
  line_reader in(path);
  std::string_view line;
  while (in.next(line)) {
    std::size_t b = 0;
    while (b < line.size() && blank(line[b])) ++b;
    if (b == line.size()) continue;  // blank line
    std::size_t e = b;
    while (e < line.size() && !blank(line[e])) ++e;
    const std::string_view id = line.substr(b, e - b);
    std::size_t s = e;
    while (s < line.size() && blank(line[s])) ++s;
    std::size_t t = line.size();
    while (t > s && blank(line[t - 1])) --t;
    const std::size_t count = t - s;
    const std::int64_t ln = in.line_number();
    if (count == 0)
      fatal({"No genotypes after the identifier " + excerpt(id, 40) + ": " + at_line(path, ln),
             "A line holds an identifier, blanks, then one character (0, 1, 2 or 5) per marker"});
    if (g.animals == 0) {
      if (count > 2000000000)
        fatal({"Too many markers (" + num(static_cast<std::int64_t>(count)) + "): " + at_line(path, ln)});
      g.markers = static_cast<std::int32_t>(count);
      first_line = ln;
    } else if (count != static_cast<std::size_t>(g.markers)) {
      fatal({"Line " + num(ln) + " of genotype file " + path + " has " + num(static_cast<std::int64_t>(count)) +
                 " markers, line " + num(first_line) + " has " + num(g.markers),
             "Every animal needs a genotype for every marker (5 for a missing one)"});
    }
    const char* gt = line.data() + s;
    if (!all_genotype_codes(gt, count)) {
      std::size_t k = 0;
      while (k < count && all_genotype_codes(gt + k, 1)) ++k;
      fatal({"Character '" + excerpt(std::string_view(gt + k, 1)) + "' is not a genotype (0, 1, 2 or 5): " +
                 at_line(path, ln) + ", column " + num(static_cast<std::int64_t>(s + k + 1)),
             "  animal " + excerpt(id, 40) + ", marker " + num(static_cast<std::int64_t>(k + 1))});
    }
    auto [it, fresh] = line_of.try_emplace(std::string(id), ln);
    if (!fresh)
      fatal({"Animal " + excerpt(id, 40) + " is given twice in genotype file " + path + ": lines " +
             num(it->second) + " and " + num(ln)});
    if (g.animals == 2147483647) fatal({"Too many animals in genotype file " + path});
    const std::size_t at = g.codes.size();
    g.codes.resize(at + count);
    std::uint8_t* dst = g.codes.data() + at;
    for (std::size_t k = 0; k < count; ++k) dst[k] = static_cast<std::uint8_t>(gt[k] - '0');
    g.ids.emplace_back(id);
    g.lines.push_back(ln);
    ++g.animals;
  }
  if (g.animals == 0)
    fatal({"The genotype file " + path + " holds no animal", "It is named by OPTION SNP_file"});
  return g;
}

}  // namespace ventrel::genomic
