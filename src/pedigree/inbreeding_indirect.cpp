// Inbreeding by Colleau's indirect method over the reduced pedigree of parents: one column of A
// per sire (Sargolzaei, Iwaisaki and Colleau 2005), or the hybrid parallel scheme.
#include <omp.h>

#include <algorithm>
#include <vector>

#include "pedigree/ancestor_trace.hpp"
#include "pedigree/colleau_block.hpp"
#include "pedigree/inbreeding_kernels.hpp"

namespace ventrel::pedigree::detail {
namespace {

// A mating seen from its column animal: the mate's row and the progeny's position.
struct mating {
  index_t mate = 0;
  index_t progeny = 0;
};

// Work of one stage: columns by Colleau's product, or single matings traced by Meuwissen and Luo.
struct task {
  index_t row = 0;        // column animal (Colleau) or sire row (traced)
  index_t other = 0;      // dam row (traced); unused for a column
  std::size_t first = 0;  // its matings: mates[first .. last)
  std::size_t last = 0;
  bool traced = false;
};

struct plan {
  sub_pedigree sub;                       // metafounders, then every parent, parents first
  std::vector<index_t> row_lap;           // longest ancestral path of each row (metafounders 0)
  std::vector<index_t> position;          // animal position of each row (0 for metafounders)
  std::vector<mating> mates;              // grouped by task
  std::vector<std::vector<task>> stages;  // tasks by stage
  index_t max_lap = 0;
  std::vector<trace_node> nodes;  // what a traced mating reads of each row (d set with sub.d)
};

std::vector<std::uint32_t> identity(std::size_t size) {
  std::vector<std::uint32_t> v(size);
  for (std::size_t k = 0; k < size; ++k) v[k] = static_cast<std::uint32_t>(k);
  return v;
}

// Reorders `order` stably by key(order[k]), a number in 0..range-1. Cost O(size + range).
template <class Key>
void counting_sort(std::vector<std::uint32_t>& order, std::size_t range, Key key) {
  std::vector<std::size_t> first(range + 1, 0);
  for (std::uint32_t k : order) ++first[static_cast<std::size_t>(key(k)) + 1];
  for (std::size_t r = 1; r <= range; ++r) first[r] += first[r - 1];
  std::vector<std::uint32_t> out(order.size());
  for (std::uint32_t k : order) out[first[static_cast<std::size_t>(key(k))]++] = k;
  order.swap(out);
}

plan make_plan(const pedigree_table& ped, index_t n, const group_info& groups, const indirect_options& opt,
               std::vector<double>& f) {
  plan pl;
  const index_t nmf = groups.metafounders() ? groups.nupg : 0;
  const std::size_t un = static_cast<std::size_t>(n);
  // Rows: metafounders 1..nmf, then every animal that is a parent, in parents-first order.
  std::vector<index_t> row_of(un + 1, 0);
  for (index_t i = 1; i <= n; ++i) {
    const parents& p = ped[static_cast<std::size_t>(i)];
    if (p.sire >= 1 && p.sire <= n) row_of[static_cast<std::size_t>(p.sire)] = 1;
    if (p.dam >= 1 && p.dam <= n) row_of[static_cast<std::size_t>(p.dam)] = 1;
  }
  index_t m = nmf;
  pl.position.assign(static_cast<std::size_t>(nmf) + 1, 0);
  for (index_t i = 1; i <= n; ++i)
    if (row_of[static_cast<std::size_t>(i)]) {
      row_of[static_cast<std::size_t>(i)] = ++m;
      pl.position.push_back(i);
    }
  auto row = [&](index_t code) -> index_t {
    if (code == 0) return 0;
    return code > n ? code - n : row_of[static_cast<std::size_t>(code)];
  };
  sub_pedigree& sub = pl.sub;
  sub.m = m;
  sub.nmf = nmf;
  sub.par.assign(static_cast<std::size_t>(m) + 1, parents{});
  sub.d.assign(static_cast<std::size_t>(m) + 1, 0.0);
  if (nmf > 0) sub.gamma.assign(groups.gamma.begin(), groups.gamma.end());
  pl.row_lap.assign(static_cast<std::size_t>(m) + 1, 0);
  for (index_t r = nmf + 1; r <= m; ++r) {
    const parents& p = ped[static_cast<std::size_t>(pl.position[static_cast<std::size_t>(r)])];
    parents& q = sub.par[static_cast<std::size_t>(r)];
    q = parents{row(p.sire), row(p.dam)};
    pl.row_lap[static_cast<std::size_t>(r)] = 1 + std::max(pl.row_lap[static_cast<std::size_t>(q.sire)],
                                                           pl.row_lap[static_cast<std::size_t>(q.dam)]);
    pl.max_lap = std::max(pl.max_lap, pl.row_lap[static_cast<std::size_t>(r)]);
  }

  // Matings with both parents relatable, as (sire row, dam row, progeny); a pair of
  // metafounders needs no product.
  struct entry {
    index_t s, d, progeny;
  };
  std::vector<entry> all;
  all.reserve(un);
  for (index_t i = 1; i <= n; ++i) {
    const parents& p = ped[static_cast<std::size_t>(i)];
    if (p.sire == 0 || p.dam == 0) continue;
    if (p.sire > n && p.dam > n) {
      f[static_cast<std::size_t>(i)] = 0.5 * gamma_of(groups, n, p.sire, p.dam);
      continue;
    }
    all.push_back({row(p.sire), row(p.dam), i});
  }
  // Column of each mating: the sire, or (hybrid) the parent with more distinct mates, a vertex
  // cover of the mating graph that needs few columns when few animals have many mates.
  std::vector<index_t> column(all.size());
  std::vector<index_t> degree;
  if (opt.sire_columns) {
    for (std::size_t k = 0; k < all.size(); ++k) column[k] = all[k].s;
  } else {
    // Distinct mates: matings grouped by sire, each dam stamped with the last sire it was seen with.
    std::vector<std::uint32_t> by_sire = identity(all.size());
    counting_sort(by_sire, static_cast<std::size_t>(m) + 1, [&](std::uint32_t k) { return all[k].s; });
    degree.assign(static_cast<std::size_t>(m) + 1, 0);
    std::vector<index_t> seen_with(static_cast<std::size_t>(m) + 1, 0);
    for (std::uint32_t k : by_sire) {
      const index_t sr = all[k].s, dr = all[k].d;
      if (seen_with[static_cast<std::size_t>(dr)] == sr) continue;
      seen_with[static_cast<std::size_t>(dr)] = sr;
      ++degree[static_cast<std::size_t>(sr)];
      if (dr != sr) ++degree[static_cast<std::size_t>(dr)];
    }
    for (std::size_t k = 0; k < all.size(); ++k) {
      const index_t sr = all[k].s, dr = all[k].d;
      column[k] = degree[static_cast<std::size_t>(sr)] >= degree[static_cast<std::size_t>(dr)] ? sr : dr;
    }
  }
  // Hybrid: a column costs a pass over the rows from its oldest ancestor to its youngest mate,
  // a traced mating (Meuwissen and Luo) the ancestors of its parents. The matings of a column
  // are traced when that is cheaper: always with at most `few` distinct mates, and when the
  // mates times the ancestors of a mating (their mean over a sample of matings) times the cost
  // of a visit in rows of a pass is below the pass's rows. So few sires of many progeny make
  // columns, many sires of few progeny each (random mating) are traced. A traced mating needs
  // the Mendelian variances of both parents' ancestors, so it waits for the later parent's stage.
  constexpr index_t few = 2;
  std::vector<std::uint8_t> trace_column;
  if (!opt.sire_columns) {
    std::vector<index_t> oldest(static_cast<std::size_t>(m) + 1, 0), top(static_cast<std::size_t>(m) + 1, 0);
    for (index_t r = nmf + 1; r <= m; ++r) {
      const parents& q = sub.par[static_cast<std::size_t>(r)];
      index_t o = r;
      for (index_t p : {q.sire, q.dam})
        if (p > nmf) o = std::min(o, oldest[static_cast<std::size_t>(p)]);
      oldest[static_cast<std::size_t>(r)] = nmf > 0 ? nmf + 1 : o;
    }
    for (std::size_t k = 0; k < all.size(); ++k) {
      index_t& t = top[static_cast<std::size_t>(column[k])];
      t = std::max({t, all[k].s, all[k].d});
    }
    // Mean ancestors of a mating over a sample spread over the matings.
    constexpr std::size_t sample = 64;
    std::vector<index_t> stamp(static_cast<std::size_t>(m) + 1, 0), stack;
    double counted = 0.0;
    const std::size_t taken = std::min(sample, all.size());
    for (std::size_t k = 0; k < taken; ++k) {
      const entry& e = all[k * all.size() / taken];
      stack.assign({e.s, e.d});
      while (!stack.empty()) {
        const index_t a = stack.back();
        stack.pop_back();
        if (a <= nmf || stamp[static_cast<std::size_t>(a)] == static_cast<index_t>(k + 1)) continue;
        stamp[static_cast<std::size_t>(a)] = static_cast<index_t>(k + 1);
        counted += 1.0;
        stack.push_back(sub.par[static_cast<std::size_t>(a)].sire);
        stack.push_back(sub.par[static_cast<std::size_t>(a)].dam);
      }
    }
    const double ancestors = taken > 0 ? counted / static_cast<double>(taken) : 0.0;
    trace_column.assign(static_cast<std::size_t>(m) + 1, 0);
    for (index_t c = 1; c <= m; ++c) {
      const std::size_t u = static_cast<std::size_t>(c);
      if (top[u] == 0) continue;
      const double pass = static_cast<double>(top[u] - oldest[u] + 1);
      trace_column[u] = degree[u] <= few || static_cast<double>(degree[u]) * ancestors * hybrid_visit_rows < pass;
    }
  }
  auto traced = [&](std::size_t k) {
    return !opt.sire_columns && trace_column[static_cast<std::size_t>(column[k])];
  };
  auto lap = [&](index_t r) { return pl.row_lap[static_cast<std::size_t>(r)]; };
  struct keyed {
    index_t stage, a, b;  // stage, then column row (or sire, dam rows of a traced mating)
    index_t progeny, mate;
    bool traced;
  };
  std::vector<keyed> keys(all.size());
  for (std::size_t k = 0; k < all.size(); ++k) {
    const entry& e = all[k];
    if (traced(k))
      keys[k] = {std::max(lap(e.s), lap(e.d)), e.s, e.d, e.progeny, 0, true};
    else
      keys[k] = {lap(column[k]), column[k], 0, e.progeny, column[k] == e.s ? e.d : e.s, false};
  }
  // Order by stage, then column (or sire), then dam of a traced mating, then progeny (already
  // increasing): three stable counting sorts, least significant key first.
  std::vector<std::uint32_t> order = identity(keys.size());
  const std::size_t rows = static_cast<std::size_t>(m) + 1;
  counting_sort(order, rows, [&](std::uint32_t k) { return keys[k].b; });
  counting_sort(order, rows, [&](std::uint32_t k) { return keys[k].a; });
  counting_sort(order, static_cast<std::size_t>(pl.max_lap) + 1,
                [&](std::uint32_t k) { return keys[k].stage; });
  std::vector<keyed> sorted(keys.size());
  for (std::size_t k = 0; k < order.size(); ++k) sorted[k] = keys[order[k]];
  keys.swap(sorted);
  pl.stages.assign(static_cast<std::size_t>(pl.max_lap) + 1, {});
  pl.mates.reserve(keys.size());
  for (std::size_t k = 0; k < keys.size(); ++k) {
    const keyed& e = keys[k];
    std::vector<task>& st = pl.stages[static_cast<std::size_t>(e.stage)];
    const bool same = k > 0 && keys[k - 1].stage == e.stage && keys[k - 1].a == e.a && keys[k - 1].b == e.b &&
                      keys[k - 1].traced == e.traced;
    if (!same) st.push_back({e.a, e.traced ? e.b : 0, pl.mates.size(), pl.mates.size(), e.traced});
    pl.mates.push_back({e.mate, e.progeny});
    st.back().last = pl.mates.size();
  }
  return pl;
}

// A(r,r) of a row: 1 + F for an animal, Gamma(k,k) for a metafounder, 0 for row 0.
double self_relationship(const plan& pl, const std::vector<double>& f, index_t r) {
  const sub_pedigree& s = pl.sub;
  if (r == 0) return 0.0;
  if (r <= s.nmf) return s.gamma[static_cast<std::size_t>(r - 1) * (static_cast<std::size_t>(s.nmf) + 1)];
  return 1.0 + f[static_cast<std::size_t>(pl.position[static_cast<std::size_t>(r)])];
}

// A row's parent as a traced mating reads it (trace_node): a metafounder by its number.
void trace_parent(const plan& pl, index_t r, std::int32_t& code, std::int32_t& length) {
  code = r;
  length = r >= 1 && r <= pl.sub.nmf ? -1 : pl.row_lap[static_cast<std::size_t>(r)];
}

// F of a progeny of rows s and d by Meuwissen and Luo.
template <bool Metafounders>
double traced_inbreeding(const plan& pl, const std::vector<double>& f, ancestor_trace<Metafounders>& trace,
                         index_t s, index_t d) {
  trace_node x;
  trace_parent(pl, s, x.sire, x.sire_length);
  trace_parent(pl, d, x.dam, x.dam_length);
  return trace.inbreeding(mendelian_variance(self_relationship(pl, f, s), self_relationship(pl, f, d)), x.sire,
                          x.sire_length, x.dam, x.dam_length);
}

// The stages of a plan run with W columns per pass: within a stage, consecutive column tasks are
// taken W at a time, traced tasks one at a time, all in parallel.
template <int W, bool Metafounders>
void run_stages(plan& pl, int threads, std::vector<double>& f) {
  pl.nodes.assign(static_cast<std::size_t>(pl.sub.m) + 1, {});
  for (index_t r = pl.sub.nmf + 1; r <= pl.sub.m; ++r) {
    const parents& q = pl.sub.par[static_cast<std::size_t>(r)];
    trace_node& x = pl.nodes[static_cast<std::size_t>(r)];
    trace_parent(pl, q.sire, x.sire, x.sire_length);
    trace_parent(pl, q.dam, x.dam, x.dam_length);
  }
  // Rows by LAP, for the Mendelian variances that each stage needs.
  std::vector<std::vector<index_t>> rows_at(static_cast<std::size_t>(pl.max_lap) + 1);
  for (index_t r = pl.sub.nmf + 1; r <= pl.sub.m; ++r)
    rows_at[static_cast<std::size_t>(pl.row_lap[static_cast<std::size_t>(r)])].push_back(r);
  std::vector<std::size_t> per_length(rows_at.size(), 1);
  for (std::size_t g = 1; g < rows_at.size(); ++g) per_length[g] = rows_at[g].size();
  const std::vector<std::size_t> first = trace_layout(per_length);
  // Work items of each stage: (first task, number of tasks).
  std::vector<std::vector<std::pair<std::size_t, std::size_t>>> items(pl.stages.size());
  for (std::size_t g = 0; g < pl.stages.size(); ++g) {
    const std::vector<task>& st = pl.stages[g];
    for (std::size_t k = 0; k < st.size();) {
      std::size_t w = 1;
      if (!st[k].traced)
        while (w < static_cast<std::size_t>(W) && k + w < st.size() && !st[k + w].traced) ++w;
      items[g].push_back({k, w});
      k += w;
    }
  }
#pragma omp parallel num_threads(threads)
  {
    block_workspace<W> ws(pl.sub);
    ancestor_trace<Metafounders> trace(pl.nodes, first, pl.sub.gamma, pl.sub.nmf);
    index_t cols[W];
    for (std::size_t g = 0; g < pl.stages.size(); ++g) {
      // The variances of the rows of LAP g: their parents' coefficients came from earlier stages.
#pragma omp single
      for (index_t r : rows_at[g]) {
        const parents& p = pl.sub.par[static_cast<std::size_t>(r)];
        pl.sub.d[static_cast<std::size_t>(r)] =
            mendelian_variance(self_relationship(pl, f, p.sire), self_relationship(pl, f, p.dam));
        pl.nodes[static_cast<std::size_t>(r)].d = pl.sub.d[static_cast<std::size_t>(r)];
      }
      const std::vector<task>& st = pl.stages[g];
      const std::vector<std::pair<std::size_t, std::size_t>>& it = items[g];
#pragma omp for schedule(dynamic, 1)
      for (std::size_t k = 0; k < it.size(); ++k) {
        const std::size_t k0 = it[k].first, w = it[k].second;
        if (st[k0].traced) {
          const task& t = st[k0];
          const double fi = traced_inbreeding(pl, f, trace, t.row, t.other);
          for (std::size_t e = t.first; e < t.last; ++e)
            f[static_cast<std::size_t>(pl.mates[e].progeny)] = fi;
          continue;
        }
        index_t top = 0;
        for (std::size_t l = 0; l < w; ++l) {
          const task& t = st[k0 + l];
          cols[l] = t.row;
          for (std::size_t e = t.first; e < t.last; ++e) top = std::max(top, pl.mates[e].mate);
        }
        block_product<W>(pl.sub, std::span<const index_t>(cols, w), top, ws);
        for (std::size_t l = 0; l < w; ++l) {
          const task& t = st[k0 + l];
          for (std::size_t e = t.first; e < t.last; ++e)
            f[static_cast<std::size_t>(pl.mates[e].progeny)] = 0.5 * ws.row(pl.mates[e].mate)[l];
        }
        ws.clear();
      }
    }
  }
}

}  // namespace

// F(i) = A(s,d)/2. Colleau's product gives the column A e_c of a column animal c over the reduced
// pedigree of parents (parents of parents are parents, so it is closed under ancestry), and its
// entries at c's mates give the coefficients of all of c's progeny at once. The product needs the
// Mendelian variances D of c and its ancestors only, which are known once every mating of smaller
// longest ancestral path (LAP) is done: tasks go stage by stage in LAP order, and within a stage
// they are independent and run in parallel, each thread with its own workspace. Every
// coefficient comes from one task whose arithmetic does not depend on the thread or on the other
// columns of its pass, so the result is the same for any thread count. Metafounders are rows of
// their own related by Gamma. One column per pass for the sire columns (method 3, as published),
// two per pass in the hybrid scheme (the two values of a row fill one vector register).
// Cost per column: its ancestors plus the rows between the oldest of them and its youngest mate.
void inbreeding_indirect(const pedigree_table& ped, index_t n, const group_info& groups,
                         const indirect_options& opt, std::vector<double>& f) {
  f.assign(static_cast<std::size_t>(n) + static_cast<std::size_t>(groups.nupg) + 1, 0.0);
  plan pl = make_plan(ped, n, groups, opt, f);
  const int threads = std::max(1, opt.nthreads);
  const bool mf = pl.sub.nmf > 0;
  if (opt.sire_columns)
    mf ? run_stages<1, true>(pl, threads, f) : run_stages<1, false>(pl, threads, f);
  else
    mf ? run_stages<2, true>(pl, threads, f) : run_stages<2, false>(pl, threads, f);
}

}  // namespace ventrel::pedigree::detail
