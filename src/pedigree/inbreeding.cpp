// compute_inbreeding: the choice of method, its label and timing, and the renumbered view of
// the pedigree that every method works on.
#include "pedigree/inbreeding.hpp"

#include <omp.h>

#include <chrono>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "pedigree/inbreeding_kernels.hpp"
#include "pedigree/renumber.hpp"

namespace ventrel::pedigree {
namespace {
constexpr std::int32_t large_pedigree = 200'000;  // animals from which a faster method may be advised
}  // namespace

inbreeding_method effective_inbreeding_method(int code, bool metafounders) {
  if (code < 1 || code > 9) return inbreeding_method::meuwissen_luo;
  const auto m = static_cast<inbreeding_method>(code);
  if (metafounders) {
    if (code >= 2 && code <= 5) return inbreeding_method::meuwissen_luo;
    return m;
  }
  if (m == inbreeding_method::colleau_metafounders || m == inbreeding_method::metafounder_file)
    return inbreeding_method::meuwissen_luo;
  return m;
}

std::string inbreeding_method_label(int code, const group_info& groups) {
  const bool mf = groups.metafounders();
  const std::string count = mf ? num(groups.nupg) + " metafounders" : std::string();
  switch (effective_inbreeding_method(code, mf)) {
    case inbreeding_method::meuwissen_luo:
      return mf ? "Meuwissen and Luo (1992) with " + count : "Meuwissen and Luo (1992)";
    case inbreeding_method::sargolzaei_iwaisaki:
      return "Modified Meuwissen & Luo by Sargolzaei & Iwaisaki (2004)";
    case inbreeding_method::modified_colleau:
      return "Modified Colleau by Sargolzaei et al. (2005)";
    case inbreeding_method::recursive_tabular:
      return "Recursive tabular";
    case inbreeding_method::tier:
      return groups.nupg > 0 ? "Tier (1990) with groups" : "Tier (1990)";
    case inbreeding_method::hybrid_parallel:
      return mf ? "Hybrid parallel computing with " + count : "Hybrid parallel computing";
    case inbreeding_method::tabular_selfing:
      return "Recursive tabular with self breeding generations";
    case inbreeding_method::colleau_metafounders:
      return "F by Colleau " + count;
    case inbreeding_method::metafounder_file:
      return "read from file inb_mf.txt with " + count;
  }
  return {};
}

void compute_inbreeding(const pedigree_table& ped, std::vector<double>& inb, const inbreeding_options& opt,
                        const group_info& groups, std::span<const std::int32_t> perm) {
  const auto t0 = std::chrono::steady_clock::now();
  const std::int32_t n = static_cast<std::int32_t>(ped.size()) - 1;
  const std::int32_t nupg = groups.nupg;
  const bool mf = groups.metafounders();
  if (mf && groups.gamma.size() != static_cast<std::size_t>(nupg) * static_cast<std::size_t>(nupg))
    fatal("The metafounders' relationship matrix Gamma must be of order " + num(nupg) +
          " (the number of metafounders)");
  const inbreeding_method method = effective_inbreeding_method(opt.method, mf);
  const int threads = opt.nthreads > 0 ? opt.nthreads : omp_get_max_threads();
  if (opt.verbosity > 0) {
    say("  - computing inbreeding coefficients");
    say("    method = " + inbreeding_method_label(opt.method, groups));
    if (method == inbreeding_method::hybrid_parallel) say("    number of threads = " + num(threads));
  }

  inb.assign(static_cast<std::size_t>(n) + static_cast<std::size_t>(nupg) + 1, 0.0);
  if (method == inbreeding_method::metafounder_file) {
    const std::vector<double> read = read_inbreeding_file(opt.inb_mf_file, n, nupg);
    std::copy(read.begin(), read.end(), inb.begin());
  } else {
    std::vector<std::int32_t> own;
    if (perm.empty()) {
      renumber_pedigree(ped, nupg, own);
      perm = own;
    }
    if (perm.size() != ped.size())
      fatal("compute_inbreeding: the order has " + num(static_cast<std::int64_t>(perm.size()) - 1) +
            " animals and the pedigree " + num(n));
    pedigree_table sorted = sorted_pedigree(ped, perm, nupg);
    if (!parents_first(sorted, n)) fatal("compute_inbreeding: the order given does not put parents first");
    if (!mf)  // groups without Gamma are unknown parents
      for (std::int32_t i = 1; i <= n; ++i) {
        parents& p = sorted[static_cast<std::size_t>(i)];
        if (p.sire > n) p.sire = 0;
        if (p.dam > n) p.dam = 0;
      }
    // A method that the pedigree's shape makes slow: say which is faster, where the console output
    // has no line for it.
    if (n >= large_pedigree && !mf) {
      const inbreeding_forecast fc = forecast_inbreeding(sorted, n, threads);
      const int better = advised_inbreeding_method(method, fc);
      if (better != 0) {
        const double times = forecast_seconds(method, fc) /
                             forecast_seconds(effective_inbreeding_method(better, false), fc);
        warn("inbreeding by \"" + inbreeding_method_label(opt.method, groups) + "\" on " + num(n) +
             " animals of this pedigree is slow; OPTION inbreeding_method " + num(better) +
             " gives the same coefficients about " + num(static_cast<int>(times)) +
             " times faster (forecast from the pedigree's shape)");
      }
    }
    const group_info kernel_groups = mf ? groups : group_info{};
    std::vector<double> f;
    switch (method) {
      case inbreeding_method::meuwissen_luo:
      case inbreeding_method::metafounder_file:  // read above; listed for completeness
        detail::inbreeding_meuwissen_luo(sorted, n, kernel_groups, f, threads);
        break;
      case inbreeding_method::sargolzaei_iwaisaki:
        detail::inbreeding_sargolzaei_iwaisaki(sorted, n, f);
        break;
      case inbreeding_method::modified_colleau:
      case inbreeding_method::colleau_metafounders:  // the same product, with metafounders
        detail::inbreeding_indirect(sorted, n, kernel_groups, {true, 1}, f);
        break;
      case inbreeding_method::recursive_tabular:
        detail::inbreeding_recursive_tabular(sorted, n, kernel_groups, {}, f);
        break;
      case inbreeding_method::tier:
        detail::inbreeding_tier(sorted, n, f);
        break;
      case inbreeding_method::hybrid_parallel:
        detail::inbreeding_indirect(sorted, n, kernel_groups, {false, threads}, f);
        break;
      case inbreeding_method::tabular_selfing: {
        std::vector<std::int32_t> selfing;
        if (!opt.self_generations_file.empty()) {
          const std::vector<std::int32_t> by_animal = read_self_generations(opt.self_generations_file, n);
          selfing.assign(static_cast<std::size_t>(n) + 1, 0);
          for (std::int32_t i = 1; i <= n; ++i)
            selfing[static_cast<std::size_t>(perm[static_cast<std::size_t>(i)])] =
                by_animal[static_cast<std::size_t>(i)];
        }
        detail::inbreeding_recursive_tabular(sorted, n, kernel_groups, selfing, f);
        break;
      }
    }
    for (std::int32_t i = 1; i <= n; ++i)
      inb[static_cast<std::size_t>(i)] = f[static_cast<std::size_t>(perm[static_cast<std::size_t>(i)])];
  }
  if (mf)
    for (std::int32_t k = 1; k <= nupg; ++k)
      inb[static_cast<std::size_t>(n + k)] = 0.5 * groups.gamma_at(k, k);
  inb[0] = 0.0;
  if (opt.verbosity > 0) {
    const double sec = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    say("  - computation done; elapsed time=" + fmt_f(sec, 10, 3) + " sec.");
  }
}

}  // namespace ventrel::pedigree
