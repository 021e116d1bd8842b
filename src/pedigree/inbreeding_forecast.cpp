// What the shape of a pedigree predicts of the cost of the inbreeding methods, for the advice that
// a run prints when another method would be much faster on it.
#include <algorithm>
#include <cmath>
#include <vector>

#include "pedigree/inbreeding.hpp"
#include "pedigree/inbreeding_kernels.hpp"

namespace ventrel::pedigree {
namespace {

using index_t = std::int32_t;

// Seconds per unit of work on one thread of the 2-core benchmark machine (bench/RESULTS.md), from
// the methods' times on the four pedigree shapes of bench/: one ancestor visit of methods 1 and 6
// (the same trace), one of method 2, one row of a column pass of Colleau's product (method 3: one
// column a pass; method 6: two).
constexpr double visit_seconds = 7e-9;
constexpr double sargolzaei_visit_seconds = 20e-9;
constexpr double sire_row_seconds = 1.0e-9;
constexpr double hybrid_row_seconds = 1.2e-9;

// At most this many ancestors are counted for the sample of animals.
constexpr std::int64_t sample_budget = 20'000'000;
constexpr int sample_size = 256;

}  // namespace

// The cost of method 1 is the number of ancestors of every animal that needs its own row of L
// (both parents known, not a full sib of the animal before it): their mean over a sample of such
// animals, taken in a scrambled order so that any prefix of the sample spreads over the whole
// pedigree. The cost of a column of Colleau's product (methods 3 and 6) is the rows from the
// column's oldest ancestor to its youngest mate, over the reduced pedigree of the parents; the
// oldest ancestor of every parent comes from one pass in parents-first order. Method 6 takes as
// column the parent of a mating with more mates and traces the families of a column by Meuwissen
// and Luo when it has at most two mates or when that costs less than its pass, as its plan does.
// Cost: O(n) plus the sample's ancestors (at most sample_budget).
inbreeding_forecast forecast_inbreeding(const pedigree_table& ped, std::int32_t n, int threads) {
  inbreeding_forecast fc;
  const std::size_t un = static_cast<std::size_t>(n);
  auto known = [n](index_t p) { return p >= 1 && p <= n; };

  // Rows of the reduced pedigree: the parents, in parents-first order; the oldest ancestor's row
  // of each row; the distinct mates of each parent (full sibs are neighbours in the order of
  // renumber_pedigree, so a family is a mating whose parents differ from the animal's before).
  std::vector<index_t> row(un + 1, 0), matings(un + 1, 0);
  for (std::size_t i = 1; i <= un; ++i) {
    const parents& p = ped[i];
    if (known(p.sire)) row[static_cast<std::size_t>(p.sire)] = 1;
    if (known(p.dam)) row[static_cast<std::size_t>(p.dam)] = 1;
    if (known(p.sire) && known(p.dam) && (i == 1 || p.sire != ped[i - 1].sire || p.dam != ped[i - 1].dam)) {
      ++matings[static_cast<std::size_t>(p.sire)];
      ++matings[static_cast<std::size_t>(p.dam)];
    }
  }
  index_t rows = 0;
  for (std::size_t i = 1; i <= un; ++i)
    if (row[i]) row[i] = ++rows;
  std::vector<index_t> oldest(un + 1, 0);  // by position, for parents only
  for (std::size_t i = 1; i <= un; ++i) {
    if (!row[i]) continue;
    index_t o = row[i];
    for (index_t p : {ped[i].sire, ped[i].dam})
      if (known(p)) o = std::min(o, oldest[static_cast<std::size_t>(p)]);
    oldest[i] = o;
  }

  // The animals that need a row of L, and the youngest mate of every column.
  std::vector<index_t> traced;
  std::vector<index_t> top_sire(un + 1, 0), top_column(un + 1, 0);
  std::vector<index_t> families(un + 1, 0);  // families of each column of method 6
  for (std::size_t i = 1; i <= un; ++i) {
    const parents& p = ped[i];
    if (!known(p.sire) || !known(p.dam)) continue;
    const bool family = i == 1 || p.sire != ped[i - 1].sire || p.dam != ped[i - 1].dam;
    if (family) traced.push_back(static_cast<index_t>(i));
    const std::size_t s = static_cast<std::size_t>(p.sire), d = static_cast<std::size_t>(p.dam);
    top_sire[s] = std::max({top_sire[s], row[s], row[d]});
    const std::size_t c = matings[s] >= matings[d] ? s : d;
    top_column[c] = std::max({top_column[c], row[s], row[d]});
    if (family) ++families[c];
  }
  for (std::size_t i = 1; i <= un; ++i)
    if (top_sire[i] > 0) fc.sire_rows += static_cast<double>(top_sire[i] - oldest[i] + 1);

  // Mean number of ancestors over the sample.
  std::vector<index_t> stamp(un + 1, 0), stack;
  std::int64_t counted = 0, sampled = 0;
  const std::size_t t = traced.size();
  for (int k = 0; k < sample_size && t > 0 && counted < sample_budget; ++k) {
    // Every such animal when there are few, else a scrambled sample.
    const std::size_t at = t <= sample_size ? static_cast<std::size_t>(k)
                                            : static_cast<std::size_t>(std::fmod(0.6180339887498949 * k, 1.0) *
                                                                       static_cast<double>(t));
    if (at >= t) break;
    const index_t i = traced[at];
    ++sampled;
    stack.assign({ped[static_cast<std::size_t>(i)].sire, ped[static_cast<std::size_t>(i)].dam});
    while (!stack.empty()) {
      const index_t a = stack.back();
      stack.pop_back();
      if (!known(a) || stamp[static_cast<std::size_t>(a)] == k + 1) continue;
      stamp[static_cast<std::size_t>(a)] = k + 1;
      ++counted;
      stack.push_back(ped[static_cast<std::size_t>(a)].sire);
      stack.push_back(ped[static_cast<std::size_t>(a)].dam);
    }
  }
  const double mean_ancestors = sampled > 0 ? static_cast<double>(counted) / static_cast<double>(sampled) : 0.0;
  fc.traced_visits = mean_ancestors * static_cast<double>(t);
  // Method 6 traces the families of a column with at most two mates, or whose tracing costs
  // fewer rows than the column's pass (a visit counted as hybrid_visit_rows rows, as its plan does).
  for (std::size_t i = 1; i <= un; ++i) {
    if (top_column[i] == 0) continue;
    const double pass = static_cast<double>(top_column[i] - oldest[i] + 1);
    const double visits = static_cast<double>(families[i]) * mean_ancestors;
    if (matings[i] <= 2 || detail::hybrid_visit_rows * visits < pass)
      fc.hybrid_visits += visits;
    else
      fc.hybrid_rows += pass;
  }

  const double th = std::max(1, threads);
  fc.meuwissen_luo_seconds = fc.traced_visits * visit_seconds / th;
  fc.sargolzaei_iwaisaki_seconds = fc.traced_visits * sargolzaei_visit_seconds;
  fc.sire_columns_seconds = fc.sire_rows * sire_row_seconds;
  fc.hybrid_seconds = (fc.hybrid_rows * hybrid_row_seconds + fc.hybrid_visits * visit_seconds) / th;
  return fc;
}

double forecast_seconds(inbreeding_method method, const inbreeding_forecast& fc) {
  switch (method) {
    case inbreeding_method::meuwissen_luo:
      return fc.meuwissen_luo_seconds;
    case inbreeding_method::sargolzaei_iwaisaki:
      return fc.sargolzaei_iwaisaki_seconds;
    case inbreeding_method::modified_colleau:
      return fc.sire_columns_seconds;
    case inbreeding_method::hybrid_parallel:
      return fc.hybrid_seconds;
    case inbreeding_method::recursive_tabular:  // tabular: at least the ancestors of every animal
    case inbreeding_method::tier:
    case inbreeding_method::tabular_selfing:
      return 10.0 * fc.sargolzaei_iwaisaki_seconds;
    default:
      return 0.0;
  }
}

int advised_inbreeding_method(inbreeding_method chosen, const inbreeding_forecast& fc) {
  const double own = forecast_seconds(chosen, fc);
  if (own == 0.0) return 0;
  struct option {
    int code;
    double seconds;
  };
  option best{1, fc.meuwissen_luo_seconds};
  for (option o : {option{6, fc.hybrid_seconds}, option{3, fc.sire_columns_seconds}})
    if (o.seconds < best.seconds) best = o;
  // Named only when it saves most of a run that takes a while.
  if (best.code == static_cast<int>(chosen) || own < advice_threshold_seconds || best.seconds > 0.5 * own) return 0;
  return best.code;
}

}  // namespace ventrel::pedigree
