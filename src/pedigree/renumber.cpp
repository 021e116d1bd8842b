// Renumbering a pedigree so that parents precede progeny; generations; pedigree loops.
#include "pedigree/renumber.hpp"

#include <algorithm>
#include <chrono>
#include <numeric>
#include <string>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"

namespace ventrel::pedigree {
namespace {

using index_t = std::int32_t;

const char* method_label(renumber_method m) {
  switch (m) {
    case renumber_method::within_family:
      return "renumber renumber within family";
    case renumber_method::within_family_lap:
      return "renumber within family with lap";
    case renumber_method::by_generation:
      break;
  }
  return "renumber based on generation";
}

void check_codes(const pedigree_table& ped, index_t nupg) {
  const index_t n = static_cast<index_t>(ped.size()) - 1;
  const std::int64_t top = static_cast<std::int64_t>(n) + nupg;
  for (index_t i = 1; i <= n; ++i) {
    for (index_t p : {ped[static_cast<std::size_t>(i)].sire, ped[static_cast<std::size_t>(i)].dam}) {
      if (p < 0 || p > top)
        fatal({"Parent code " + num(p) + " of animal " + num(i) + " is outside the pedigree",
               "(animals 1 to " + num(n) +
                   (nupg > 0 ? ", groups " + num(n + 1) + " to " + num(top) : std::string()) + ")"});
    }
  }
}

// Called when the depth-first walk meets an animal that is still open (its ancestors being
// visited) as a parent: walks from `start` up through open parents until an animal repeats, and
// stops naming that loop. Every open animal has an open parent, so the walk cannot end.
[[noreturn]] void report_loop(const pedigree_table& ped, const std::vector<index_t>& gen, index_t start) {
  const index_t n = static_cast<index_t>(ped.size()) - 1;
  auto open = [&](index_t c) { return c >= 1 && c <= n && gen[static_cast<std::size_t>(c)] < 0; };
  std::vector<index_t> path;
  std::vector<index_t> seen_at(static_cast<std::size_t>(n) + 1, -1);
  index_t x = start;
  while (seen_at[static_cast<std::size_t>(x)] < 0) {
    seen_at[static_cast<std::size_t>(x)] = static_cast<index_t>(path.size());
    path.push_back(x);
    const parents& p = ped[static_cast<std::size_t>(x)];
    x = open(p.sire) ? p.sire : p.dam;
  }
  std::string chain;
  const std::size_t first = static_cast<std::size_t>(seen_at[static_cast<std::size_t>(x)]);
  const std::size_t shown = std::min<std::size_t>(path.size() - first, 20);
  for (std::size_t k = first; k < first + shown; ++k) chain += num(path[k]) + " -> ";
  chain += path.size() - first > shown ? "... -> " + num(x) : num(x);
  fatal({"Pedigree loop: animal " + num(x) + " is its own ancestor",
         "  " + chain + " (each animal followed by one of its parents)"});
}

}  // namespace

renumber_method renumber_method_from_code(int code) {
  if (code == 2) return renumber_method::within_family;
  if (code == 3) return renumber_method::within_family_lap;
  return renumber_method::by_generation;
}

// Depth first from each animal up through its parents, the generation of an animal being set
// once those of its parents are: 0 = not visited, -1 = open (its ancestors being visited).
// Meeting an open animal as a parent means a loop. Cost O(n).
std::vector<index_t> generations(const pedigree_table& ped, index_t nupg) {
  check_codes(ped, nupg);
  const index_t n = static_cast<index_t>(ped.size()) - 1;
  std::vector<index_t> gen(static_cast<std::size_t>(n) + 1, 0);
  std::vector<index_t> stack;
  auto known = [n](index_t c) { return c >= 1 && c <= n; };
  for (index_t i = 1; i <= n; ++i) {
    if (gen[static_cast<std::size_t>(i)] != 0) continue;
    stack.push_back(i);
    while (!stack.empty()) {
      const index_t x = stack.back();
      index_t& gx = gen[static_cast<std::size_t>(x)];
      if (gx > 0) {  // reached twice while pending
        stack.pop_back();
        continue;
      }
      gx = -1;
      const parents& p = ped[static_cast<std::size_t>(x)];
      bool pending = false;
      index_t g = 0;
      for (index_t c : {p.sire, p.dam}) {
        if (!known(c)) continue;
        const index_t gc = gen[static_cast<std::size_t>(c)];
        if (gc < 0) report_loop(ped, gen, x);
        if (gc == 0) {
          stack.push_back(c);
          pending = true;
        }
        g = std::max(g, gc);
      }
      if (!pending) {
        gx = g + 1;
        stack.pop_back();
      }
    }
  }
  return gen;
}

void renumber_pedigree(const pedigree_table& ped, index_t nupg, std::vector<index_t>& perm, int verbosity,
                       int method) {
  const auto t0 = std::chrono::steady_clock::now();
  const renumber_method m = renumber_method_from_code(method);
  if (verbosity > 0) {
    say("  - renumbering animal IDs");
    say(std::string("    method = ") + method_label(m));
  }
  const index_t n = static_cast<index_t>(ped.size()) - 1;
  const std::size_t un = static_cast<std::size_t>(n);
  const std::vector<index_t> gen = generations(ped, nupg);
  const index_t max_gen = n > 0 ? *std::max_element(gen.begin() + 1, gen.end()) : 0;
  auto known = [n](index_t c) { return c >= 1 && c <= n; };

  perm.assign(un + 1, 0);
  // Animals by generation (a counting sort, stable in the animals' numbers).
  std::vector<index_t> first(static_cast<std::size_t>(max_gen) + 2, 0);
  for (index_t i = 1; i <= n; ++i) ++first[static_cast<std::size_t>(gen[static_cast<std::size_t>(i)]) + 1];
  std::partial_sum(first.begin(), first.end(), first.begin());
  std::vector<index_t> order(un);
  {
    std::vector<index_t> fill(first.begin(), first.end() - 1);
    for (index_t i = 1; i <= n; ++i)
      order[static_cast<std::size_t>(fill[static_cast<std::size_t>(gen[static_cast<std::size_t>(i)])]++)] = i;
  }

  if (m == renumber_method::by_generation) {
    for (std::size_t k = 0; k < un; ++k)
      perm[static_cast<std::size_t>(order[k])] = static_cast<index_t>(k + 1);
  } else if (m == renumber_method::within_family_lap) {
    // Generation by generation, so that the parents' new positions are known when their
    // progeny are sorted by family.
    auto key = [&](index_t c) -> std::uint64_t {
      return static_cast<std::uint64_t>(known(c) ? perm[static_cast<std::size_t>(c)] : (c > n ? c : 0));
    };
    struct entry {
      std::uint64_t family;  // sire's key in the high half, dam's in the low half
      index_t id;
    };
    std::vector<entry> gen_entries;
    for (index_t g = 1; g <= max_gen; ++g) {
      const index_t b = first[static_cast<std::size_t>(g)], e = first[static_cast<std::size_t>(g) + 1];
      gen_entries.clear();
      for (index_t k = b; k < e; ++k) {
        const index_t x = order[static_cast<std::size_t>(k)];
        const parents& px = ped[static_cast<std::size_t>(x)];
        gen_entries.push_back({(key(px.sire) << 32) | key(px.dam), x});
      }
      std::sort(gen_entries.begin(), gen_entries.end(), [](const entry& u, const entry& v) {
        return u.family != v.family ? u.family < v.family : u.id < v.id;
      });
      for (index_t k = b; k < e; ++k)
        perm[static_cast<std::size_t>(gen_entries[static_cast<std::size_t>(k - b)].id)] = k + 1;
    }
  } else {
    // Depth first: each animal after its sire line and its dam line (no loops remain here).
    index_t next = 0;
    std::vector<index_t> stack;
    for (index_t i = 1; i <= n; ++i) {
      if (perm[static_cast<std::size_t>(i)] != 0) continue;
      stack.push_back(i);
      while (!stack.empty()) {
        const index_t x = stack.back();
        const parents& p = ped[static_cast<std::size_t>(x)];
        if (known(p.sire) && perm[static_cast<std::size_t>(p.sire)] == 0) {
          stack.push_back(p.sire);
        } else if (known(p.dam) && perm[static_cast<std::size_t>(p.dam)] == 0) {
          stack.push_back(p.dam);
        } else {
          stack.pop_back();
          perm[static_cast<std::size_t>(x)] = ++next;
        }
      }
    }
  }
  if (verbosity > 0) {
    const double sec = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    say("  - maximum generation = " + num(max_gen));
    say("  - renumbering done; elapsed time=" + fmt_f(sec, 10, 3) + " sec.");
  }
}

pedigree_table sorted_pedigree(const pedigree_table& ped, std::span<const index_t> perm, index_t nupg) {
  const index_t n = static_cast<index_t>(ped.size()) - 1;
  pedigree_table out(static_cast<std::size_t>(n) + static_cast<std::size_t>(nupg) + 1);
  auto map = [&](index_t c) { return c >= 1 && c <= n ? perm[static_cast<std::size_t>(c)] : c; };
  for (index_t i = 1; i <= n; ++i) {
    const parents& p = ped[static_cast<std::size_t>(i)];
    out[static_cast<std::size_t>(perm[static_cast<std::size_t>(i)])] = parents{map(p.sire), map(p.dam)};
  }
  return out;
}

bool parents_first(const pedigree_table& ped, index_t n) {
  for (index_t i = 1; i <= n; ++i) {
    const parents& p = ped[static_cast<std::size_t>(i)];
    if ((p.sire >= i && p.sire <= n) || (p.dam >= i && p.dam <= n)) return false;
  }
  return true;
}

}  // namespace ventrel::pedigree
