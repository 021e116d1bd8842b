// Elimination of rows with at most two neighbours, ahead of the factorisation.
#include "sparse/low_degree.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

namespace ventrel::sparse {

namespace {

// Rows that start with more neighbours than this are never eliminated: only rows below it have
// their elements above the diagonal listed by column, so that the lists stay O(n) beside a dense
// genomic block. Leaves of a pedigree start with two neighbours and parents freed by them with a
// few more.
constexpr int max_start_degree = 64;

// An element no larger than this, relative to the geometric mean of its two diagonals in the
// matrix given, is a rounding residue: in a pedigree's inverse the element joining two mates is
// the sum of what their common progeny add, and it cancels when the last of them is eliminated.
// The mates are then neighbours no more, and a parent whose progeny have all gone is freed in
// turn. Taking such a residue as zero changes the matrix by less than the factorisation's own
// rounding.
constexpr double residue = 1e-13;

}  // namespace

reduced_matrix eliminate_low_degree(ija_matrix m, const std::vector<char>& keep) {
  const int n = m.n;
  const auto at = [](auto& v, auto k) -> auto& { return v[static_cast<std::size_t>(k)]; };
  const auto begin = [&](int i) { return at(m.ia, i - 1) - 1; };
  const auto end = [&](int i) { return at(m.ia, i) - 1; };
  const auto col = [&](int e) { return at(m.ja, e); };

  // The diagonal's position (-1 if none) and the scale below which an element is a residue.
  std::vector<int> diag(static_cast<std::size_t>(n) + 1, -1);
  std::vector<double> scale(static_cast<std::size_t>(n) + 1, 0.0);
  for (int i = 1; i <= n; ++i)
    if (begin(i) < end(i) && col(begin(i)) == i) {
      at(diag, i) = begin(i);
      at(scale, i) = std::sqrt(std::fabs(at(m.a, begin(i))) * residue);
    }
  // Elements that an elimination has cancelled to a residue: they count as no neighbours, but a
  // later elimination may still update one (it is there), which makes it a neighbour again.
  std::vector<char> cancelled(m.a.size(), 0);
  const auto zero = [&](int e) { return at(cancelled, e) != 0; };

  // Neighbours left of every row; for the rows that may go, the elements above the diagonal by
  // column (row and position), so that both sides are at hand.
  std::vector<int> degree(static_cast<std::size_t>(n) + 1, 0);
  for (int i = 1; i <= n; ++i)
    for (int e = begin(i); e < end(i); ++e)
      if (const int j = col(e); j != i) {
        ++at(degree, i);
        ++at(degree, j);
      }
  std::vector<char> may_go(static_cast<std::size_t>(n) + 1, 0);
  for (int j = 1; j <= n; ++j) at(may_go, j) = !at(keep, j) && at(degree, j) <= max_start_degree;
  std::vector<int> cptr(static_cast<std::size_t>(n) + 2, 0);
  for (int i = 1; i <= n; ++i)
    for (int e = begin(i); e < end(i); ++e)
      if (const int j = col(e); j != i && at(may_go, j)) ++at(cptr, j + 1);
  for (int j = 1; j <= n; ++j) at(cptr, j + 1) += at(cptr, j);
  std::vector<int> crow(static_cast<std::size_t>(cptr.back())), cpos(crow.size());
  {
    std::vector<int> next(cptr.begin(), cptr.end() - 1);
    for (int i = 1; i <= n; ++i)
      for (int e = begin(i); e < end(i); ++e)
        if (const int j = col(e); j != i && at(may_go, j)) {
          const int q = at(next, j)++;
          at(crow, q) = i;
          at(cpos, q) = e;
        }
  }

  // Eliminations update m's values in place: the neighbours' diagonals and the element joining
  // them.
  std::vector<char> gone(static_cast<std::size_t>(n) + 1, 0);
  std::vector<int> ready;
  const auto free_row = [&](int i) { return at(may_go, i) && at(degree, i) <= 2; };
  for (int i = 1; i <= n; ++i)
    if (free_row(i)) ready.push_back(i);
  int eliminated = 0;
  for (std::size_t h = 0; h < ready.size(); ++h) {
    const int k = ready[h];
    if (at(gone, k) || !free_row(k) || at(diag, k) < 0) continue;
    const double pivot = at(m.a, at(diag, k));
    if (!(pivot > 0.0)) continue;
    // The neighbours left: as many as degree counts, at most two.
    int nb[2] = {0, 0}, el[2] = {0, 0}, c = 0;
    const auto add = [&](int j, int e) {
      if (!at(gone, j) && !zero(e)) {
        if (c < 2) nb[c] = j, el[c] = e;
        ++c;
      }
    };
    for (int e = begin(k) + 1; e < end(k); ++e) add(col(e), e);
    for (int q = at(cptr, k); q < at(cptr, k + 1); ++q) add(at(crow, q), at(cpos, q));
    if (c > 2) continue;
    std::int64_t between = -1;  // the element joining the two neighbours
    if (c == 2) {
      between = ija_position(m, std::min(nb[0], nb[1]), std::max(nb[0], nb[1]));
      if (between < 0) continue;  // it would fill in
    }
    bool diagonals = true;
    for (int t = 0; t < c; ++t) diagonals = diagonals && at(diag, nb[t]) >= 0;
    if (!diagonals) continue;
    const double x0 = c > 0 ? at(m.a, el[0]) : 0.0, x1 = c > 1 ? at(m.a, el[1]) : 0.0;
    if (c > 0) at(m.a, at(diag, nb[0])) -= x0 * x0 / pivot;
    if (c > 1) at(m.a, at(diag, nb[1])) -= x1 * x1 / pivot;
    int lost = 1;  // neighbours that each of nb[0], nb[1] loses: k, and the other if their element cancels
    if (c == 2) {
      const double x = at(m.a, between) -= x0 * x1 / pivot;
      char& z = at(cancelled, between);
      const char was = z;
      z = std::fabs(x) <= at(scale, nb[0]) * at(scale, nb[1]);
      lost += z - was;
    }
    at(gone, k) = 1;
    ++eliminated;
    for (int t = 0; t < c; ++t) {
      at(degree, nb[t]) -= lost;
      if (free_row(nb[t])) ready.push_back(nb[t]);
    }
  }
  reduced_matrix out;
  if (eliminated == 0) {
    out.m = std::move(m);
    return out;
  }

  // The rows kept, renumbered in their order, with the elements among them but the residues,
  // moved forward within m's own arrays.
  std::vector<int> place(static_cast<std::size_t>(n) + 1, 0);
  out.kept.reserve(static_cast<std::size_t>(n - eliminated));
  for (int i = 1; i <= n; ++i)
    if (!at(gone, i)) {
      out.kept.push_back(i);
      at(place, i) = static_cast<int>(out.kept.size());
    }
  std::vector<int> ia(out.kept.size() + 1, 1);
  int to = 0;
  for (std::size_t q = 0; q < out.kept.size(); ++q) {
    const int i = out.kept[q];
    for (int e = begin(i); e < end(i); ++e)
      if (const int j = col(e); !at(gone, j) && !zero(e)) {
        at(m.ja, to) = at(place, j);
        at(m.a, to++) = at(m.a, e);
      }
    ia[q + 1] = to + 1;
  }
  m.n = static_cast<int>(out.kept.size());
  m.ia = std::move(ia);
  m.ja.resize(static_cast<std::size_t>(to));
  m.a.resize(static_cast<std::size_t>(to));
  m.ja.shrink_to_fit();  // the factorisation comes next: the memory of the rows gone is freed
  m.a.shrink_to_fit();
  out.m = std::move(m);
  return out;
}

}  // namespace ventrel::sparse
