// Fuzz target: the pedigree reader (count_pedigree, read_pedigree) and the renumbering with its
// loop detection, checked against the renumbering's promise: every known parent comes first.
#include <algorithm>
#include <string>
#include <vector>

#include "common/fatal.hpp"
#include "fuzz_input.hpp"
#include "pedigree/read_pedigree.hpp"
#include "pedigree/renumber.hpp"

namespace {
// read_pedigree allocates arrays of the largest animal number it is given: the pedigree phase
// stops before it when the numbers are far beyond the file's lines. Here, as there, such inputs
// do not reach it (with a smaller bound, so that every run stays fast).
constexpr std::int32_t max_animal = 100000;
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  ventrel::fuzz::silence_console();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ventrel;
  using namespace ventrel::pedigree;
  const std::string path = fuzz::write_input("pedigree", data, size);
  try {
    line_reader file(path);
    const pedigree_count count = count_pedigree(file, 1);
    if (count.n < 1 || count.n > max_animal || count.maxid > 2 * max_animal) return 0;
    const bool groups = (size & 1) != 0;
    pedigree_table ped;
    pedigree_repeats repeats;
    // Three threads give what one gives: the same counts, parents and repeats, or the same stop.
    {
      const pedigree_count three = count_pedigree(file, 3);
      VENTREL_FUZZ_CHECK(three.n == count.n && three.maxid == count.maxid && three.lines == count.lines &&
                         three.n_line == count.n_line && three.maxid_line == count.maxid_line &&
                         three.stop_line == count.stop_line && three.stop_text == count.stop_text);
      pedigree_table ped1, ped3;
      pedigree_repeats rep1, rep3;
      std::vector<std::string> stop1, stop3;
      try {
        read_pedigree(file, count.n, groups, ped1, &rep1, 1);
      } catch (const fatal_error& e) {
        stop1 = e.lines();
      }
      try {
        read_pedigree(file, count.n, groups, ped3, &rep3, 3);
      } catch (const fatal_error& e) {
        stop3 = e.lines();
      }
      VENTREL_FUZZ_CHECK(stop1 == stop3);
      VENTREL_FUZZ_CHECK(!stop1.empty() ||
                         (std::equal(ped1.begin(), ped1.end(), ped3.begin(), ped3.end(),
                                     [](const parents& x, const parents& y) { return x.sire == y.sire && x.dam == y.dam; }) &&
                          rep1.count == rep3.count && rep1.first == rep3.first &&
                          rep1.first_line == rep3.first_line && rep1.repeat_line == rep3.repeat_line));
    }
    read_pedigree(file, count.n, groups, ped, (size & 2) != 0 ? &repeats : nullptr, 2);
    VENTREL_FUZZ_CHECK(ped.size() == static_cast<std::size_t>(count.n) + 1);
    VENTREL_FUZZ_CHECK(repeats.count == 0 || (repeats.first >= 1 && repeats.first <= count.n &&
                                              repeats.first_line < repeats.repeat_line));
    VENTREL_FUZZ_CHECK(count.stop_line > 0 || count.stop_text.empty());
    const std::int32_t nupg = groups ? std::max(0, count.maxid - count.n) : 0;
    std::vector<std::int32_t> perm;
    renumber_pedigree(ped, nupg, perm, 0, 1 + static_cast<int>(size % 3));
    // perm is a permutation of 1..n in which every known parent precedes its progeny.
    const std::int32_t n = count.n;
    VENTREL_FUZZ_CHECK(perm.size() == static_cast<std::size_t>(n) + 1);
    std::vector<char> seen(static_cast<std::size_t>(n) + 1, 0);
    for (std::int32_t i = 1; i <= n; ++i) {
      const std::int32_t p = perm[static_cast<std::size_t>(i)];
      VENTREL_FUZZ_CHECK(p >= 1 && p <= n && !seen[static_cast<std::size_t>(p)]);
      seen[static_cast<std::size_t>(p)] = 1;
    }
    for (std::int32_t i = 1; i <= n; ++i)
      for (std::int32_t par : {ped[static_cast<std::size_t>(i)].sire, ped[static_cast<std::size_t>(i)].dam})
        if (par >= 1 && par <= n)
          VENTREL_FUZZ_CHECK(perm[static_cast<std::size_t>(par)] < perm[static_cast<std::size_t>(i)]);
    VENTREL_FUZZ_CHECK(parents_first(sorted_pedigree(ped, perm, nupg), n));
  } catch (const fatal_error&) {
    // A stop (a loop, a bad code) is a valid outcome.
  }
  return 0;
}
