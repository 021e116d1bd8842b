// Reading the renumbered pedigree file (animal, sire, dam; free format; further values ignored).
#include "pedigree/read_pedigree.hpp"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "common/fatal.hpp"
#include "common/format.hpp"

namespace ventrel::pedigree {
namespace {

enum class line_kind { triple, blank, stop };

// One record read list-directed into three integers: three values give a triple, an empty
// record is skipped, anything else ends the reading.
line_kind parse_line(std::string_view line, std::array<std::int32_t, 3>& v) {
  std::array<std::string_view, 3> f;
  std::size_t k = split_fields(line, f);
  if (k == 0) {
    // A record without values: empty (skipped) unless it starts with a slash, which a
    // list-directed read takes as a record that leaves the three values undefined.
    return line.find('/') == std::string_view::npos ? line_kind::blank : line_kind::stop;
  }
  if (k < 3) return line_kind::stop;
  for (int j = 0; j < 3; ++j)
    if (!parse_int(f[static_cast<std::size_t>(j)], v[static_cast<std::size_t>(j)])) return line_kind::stop;
  return line_kind::triple;
}

}  // namespace

namespace {

// What a piece of the file holds for count_pedigree: the same counts over its lines.
struct piece_count {
  pedigree_count c;
  void clear() { c = pedigree_count{}; }
};

// A line that names an animal in 1..n, for read_pedigree.
struct triple {
  std::array<std::int32_t, 3> v;
  std::int64_t line;
};

}  // namespace

pedigree_count count_pedigree(line_reader& file, int threads) {
  file.rewind();
  pedigree_count total;
  auto parse = [](piece_count& piece, std::string_view line, std::int64_t line_no) {
    pedigree_count& c = piece.c;
    std::array<std::int32_t, 3> v{};
    const line_kind kind = parse_line(line, v);
    if (kind == line_kind::blank) return true;
    if (kind == line_kind::stop) {
      c.stop_line = line_no;
      c.stop_text = visible(line, 60);
      return false;
    }
    ++c.lines;
    if (v[0] > c.n) {
      c.n = v[0];
      c.n_line = line_no;
    }
    const std::int32_t top = std::max({v[0], v[1], v[2]});
    if (top > c.maxid) {
      c.maxid = top;
      c.maxid_line = line_no;
    }
    return true;
  };
  // The pieces in order: a larger number wins, the first line that holds it is kept.
  auto take = [&](const piece_count& piece) {
    const pedigree_count& c = piece.c;
    total.lines += c.lines;
    if (c.n > total.n) {
      total.n = c.n;
      total.n_line = c.n_line;
    }
    if (c.maxid > total.maxid) {
      total.maxid = c.maxid;
      total.maxid_line = c.maxid_line;
    }
    if (c.stop_line > 0) {
      total.stop_line = c.stop_line;
      total.stop_text = c.stop_text;
    }
  };
  read_in_pieces<piece_count>(file, threads, parse, take);
  file.rewind();
  return total;
}

pedigree_count count_pedigree(const std::string& path) {
  line_reader file(path);
  return count_pedigree(file, 1);
}

void read_pedigree(line_reader& file, std::int32_t n, bool groups_allowed, pedigree_table& ped,
                   pedigree_repeats* repeats, int threads) {
  file.rewind();
  ped.assign(static_cast<std::size_t>(std::max(n, 0)) + 1, parents{});
  std::vector<std::int64_t> line_of;  // line that gave each animal, when repeats are counted
  if (repeats) line_of.assign(ped.size(), 0);
  auto parse = [&](std::vector<triple>& piece, std::string_view line, std::int64_t line_no) {
    std::array<std::int32_t, 3> v{};
    const line_kind kind = parse_line(line, v);
    if (kind == line_kind::blank) return true;
    if (kind == line_kind::stop) return false;
    if (v[0] < 1 || v[0] > n) return true;
    for (int j = 1; j <= 2; ++j) {
      const std::int32_t code = v[static_cast<std::size_t>(j)];
      if (code < 0) fatal({"Negative parent code in the pedigree file: " + num(code), at_line(file.path(), line_no)});
      if (code > n && !groups_allowed)
        fatal({"Parent code above the number of animals in the pedigree file: " + num(code),
               at_line(file.path(), line_no) + "; the pedigree has " + num(n) +
                   " animals and the random type of the animal effect allows no unknown parent groups"});
    }
    piece.push_back({v, line_no});
    return true;
  };
  // In the file's order, so that a later line of an animal wins.
  auto take = [&](const std::vector<triple>& piece) {
    for (const triple& t : piece) {
      const auto& v = t.v;
      parents& p = ped[static_cast<std::size_t>(v[0])];
      if (repeats) {
        std::int64_t& first = line_of[static_cast<std::size_t>(v[0])];
        if (first != 0 && (p.sire != v[1] || p.dam != v[2]) && repeats->count++ == 0) {
          repeats->first = v[0];
          repeats->first_line = first;
          repeats->repeat_line = t.line;
        }
        if (first == 0) first = t.line;
      }
      p = parents{v[1], v[2]};
    }
  };
  read_in_pieces<std::vector<triple>>(file, threads, parse, take);
  file.rewind();
}

void read_pedigree(const std::string& path, std::int32_t n, bool groups_allowed, pedigree_table& ped) {
  line_reader file(path);
  read_pedigree(file, n, groups_allowed, ped, nullptr, 1);
}

}  // namespace ventrel::pedigree
