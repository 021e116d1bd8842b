// Elimination of rows with at most two neighbours, ahead of the factorisation.
#include "sparse/low_degree.hpp"

#include <algorithm>
#include <cstdint>
#include <unordered_map>
#include <utility>

namespace ventrel::sparse {

namespace {

// Rows that start with more neighbours than this are never eliminated: only rows below it have
// their elements above the diagonal listed by column, so that the lists stay O(n) beside a dense
// genomic block. Leaves of a pedigree start with two neighbours and parents freed by them with a
// few more.
constexpr int max_start_degree = 64;

}  // namespace

reduced_matrix eliminate_low_degree(const ija_matrix& m, const std::vector<char>& keep) {
  reduced_matrix out;
  const int n = m.n;
  const auto begin = [&](int i) { return m.ia[static_cast<std::size_t>(i) - 1] - 1; };
  const auto end = [&](int i) { return m.ia[static_cast<std::size_t>(i)] - 1; };
  const auto col = [&](int e) { return m.ja[static_cast<std::size_t>(e)]; };

  // Neighbours left of every row and the diagonal's position; for the rows that may go, the
  // elements above the diagonal by column (row and position), so that both sides are at hand.
  std::vector<int> degree(static_cast<std::size_t>(n) + 1, 0), diag(static_cast<std::size_t>(n) + 1, -1);
  for (int i = 1; i <= n; ++i)
    for (int e = begin(i); e < end(i); ++e) {
      const int j = col(e);
      if (j == i) {
        diag[static_cast<std::size_t>(i)] = e;
        continue;
      }
      ++degree[static_cast<std::size_t>(i)];
      ++degree[static_cast<std::size_t>(j)];
    }
  std::vector<char> may_go(static_cast<std::size_t>(n) + 1, 0);
  for (int j = 1; j <= n; ++j)
    may_go[static_cast<std::size_t>(j)] = !keep[static_cast<std::size_t>(j)] && degree[static_cast<std::size_t>(j)] <= max_start_degree;
  std::vector<int> cptr(static_cast<std::size_t>(n) + 2, 0);
  for (int i = 1; i <= n; ++i)
    for (int e = begin(i); e < end(i); ++e)
      if (const int j = col(e); j != i && may_go[static_cast<std::size_t>(j)]) ++cptr[static_cast<std::size_t>(j) + 1];
  for (int j = 1; j <= n; ++j) cptr[static_cast<std::size_t>(j) + 1] += cptr[static_cast<std::size_t>(j)];
  std::vector<int> crow(static_cast<std::size_t>(cptr[static_cast<std::size_t>(n) + 1]));
  std::vector<int> cpos(crow.size());
  {
    std::vector<int> next(cptr.begin(), cptr.end() - 1);
    for (int i = 1; i <= n; ++i)
      for (int e = begin(i); e < end(i); ++e)
        if (const int j = col(e); j != i && may_go[static_cast<std::size_t>(j)]) {
          const int q = next[static_cast<std::size_t>(j)]++;
          crow[static_cast<std::size_t>(q)] = i;
          cpos[static_cast<std::size_t>(q)] = e;
        }
  }

  // The values that the eliminations change: the diagonals, and the elements that join two
  // neighbours (by position, with their row); the other elements keep m's values.
  std::vector<double> dval(static_cast<std::size_t>(n) + 1, 0.0);
  for (int i = 1; i <= n; ++i)
    if (diag[static_cast<std::size_t>(i)] >= 0) dval[static_cast<std::size_t>(i)] = m.a[static_cast<std::size_t>(diag[static_cast<std::size_t>(i)])];
  std::unordered_map<std::int64_t, std::pair<int, double>> joined;
  const auto value = [&](std::int64_t e) {
    const auto it = joined.find(e);
    return it == joined.end() ? m.a[static_cast<std::size_t>(e)] : it->second.second;
  };

  std::vector<char> gone(static_cast<std::size_t>(n) + 1, 0);
  std::vector<int> ready;
  const auto free_row = [&](int i) { return may_go[static_cast<std::size_t>(i)] && degree[static_cast<std::size_t>(i)] <= 2; };
  for (int i = 1; i <= n; ++i)
    if (free_row(i)) ready.push_back(i);
  int eliminated = 0;
  for (std::size_t h = 0; h < ready.size(); ++h) {
    const int k = ready[h];
    if (gone[static_cast<std::size_t>(k)] || !free_row(k)) continue;
    const double pivot = dval[static_cast<std::size_t>(k)];  // 0 without a diagonal element
    if (!(pivot > 0.0)) continue;
    // The neighbours left: as many as degree counts, at most two.
    int nb[2] = {0, 0}, at[2] = {0, 0}, c = 0;
    const auto add = [&](int j, int e) {
      if (c < 2) {
        nb[c] = j;
        at[c] = e;
      }
      ++c;
    };
    for (int e = begin(k); e < end(k); ++e)
      if (const int j = col(e); j != k && !gone[static_cast<std::size_t>(j)]) add(j, e);
    for (int q = cptr[static_cast<std::size_t>(k)]; q < cptr[static_cast<std::size_t>(k) + 1]; ++q)
      if (const int i = crow[static_cast<std::size_t>(q)]; !gone[static_cast<std::size_t>(i)])
        add(i, cpos[static_cast<std::size_t>(q)]);
    if (c > 2) continue;
    std::int64_t between = -1;  // the element joining the two neighbours
    if (c == 2) {
      between = ija_position(m, std::min(nb[0], nb[1]), std::max(nb[0], nb[1]));
      if (between < 0) continue;  // it would fill in
    }
    bool diagonals = true;
    for (int t = 0; t < c; ++t) diagonals = diagonals && diag[static_cast<std::size_t>(nb[t])] >= 0;
    if (!diagonals) continue;
    const double x0 = c > 0 ? value(at[0]) : 0.0, x1 = c > 1 ? value(at[1]) : 0.0;
    if (c > 0) dval[static_cast<std::size_t>(nb[0])] -= x0 * x0 / pivot;
    if (c > 1) dval[static_cast<std::size_t>(nb[1])] -= x1 * x1 / pivot;
    if (c == 2) {
      const auto it = joined.try_emplace(between, std::min(nb[0], nb[1]), m.a[static_cast<std::size_t>(between)]).first;
      it->second.second -= x0 * x1 / pivot;
    }
    gone[static_cast<std::size_t>(k)] = 1;
    ++eliminated;
    for (int t = 0; t < c; ++t) {
      --degree[static_cast<std::size_t>(nb[t])];
      if (free_row(nb[t])) ready.push_back(nb[t]);
    }
  }
  if (eliminated == 0) return out;

  // The rows kept, renumbered in their order, with the elements among them.
  std::vector<int> place(static_cast<std::size_t>(n) + 1, 0);
  out.kept.reserve(static_cast<std::size_t>(n - eliminated));
  for (int i = 1; i <= n; ++i)
    if (!gone[static_cast<std::size_t>(i)]) {
      out.kept.push_back(i);
      place[static_cast<std::size_t>(i)] = static_cast<int>(out.kept.size());
    }
  ija_matrix& r = out.m;
  r.n = static_cast<int>(out.kept.size());
  r.ia.assign(static_cast<std::size_t>(r.n) + 1, 1);
  for (int q = 1; q <= r.n; ++q) {
    const int i = out.kept[static_cast<std::size_t>(q) - 1];
    int c = 0;
    for (int e = begin(i); e < end(i); ++e) c += !gone[static_cast<std::size_t>(col(e))];
    r.ia[static_cast<std::size_t>(q)] = r.ia[static_cast<std::size_t>(q) - 1] + c;
  }
  r.ja.resize(static_cast<std::size_t>(r.ia.back()) - 1);
  r.a.resize(r.ja.size());
  for (int q = 1, at = 0; q <= r.n; ++q) {
    const int i = out.kept[static_cast<std::size_t>(q) - 1];
    for (int e = begin(i); e < end(i); ++e)
      if (const int j = col(e); !gone[static_cast<std::size_t>(j)]) {
        r.ja[static_cast<std::size_t>(at)] = place[static_cast<std::size_t>(j)];
        r.a[static_cast<std::size_t>(at++)] = j == i ? dval[static_cast<std::size_t>(i)] : m.a[static_cast<std::size_t>(e)];
      }
  }
  // The joined elements that changed, at their new places.
  for (const auto& [e, rv] : joined) {
    const int i = rv.first, j = col(static_cast<int>(e));
    if (gone[static_cast<std::size_t>(i)] || gone[static_cast<std::size_t>(j)]) continue;
    r.a[static_cast<std::size_t>(ija_position(r, place[static_cast<std::size_t>(i)], place[static_cast<std::size_t>(j)]))] = rv.second;
  }
  return out;
}

}  // namespace ventrel::sparse
