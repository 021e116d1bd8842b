// Hash matrix to IJA: one pass counts the elements of each row, a second scatters them into
// their rows, then every row is sorted by column. Cost O(nel + nz log(row length)).
#include "sparse/convert_hash_ija.hpp"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "common/fatal.hpp"
#include "common/format.hpp"

namespace ventrel::sparse {
namespace {

// Largest index held in the table: the order of a matrix whose n was not stated.
int largest_index(const sparse_hashm& h) {
  int m = 0;
  for (std::int64_t s = 1; s <= h.nel; ++s) m = std::max({m, slot_row(h, s), slot_col(h, s)});
  return m;
}

// Sorts ja/a of positions lo..hi-1 (from 0) by column: insertion sort for the short rows of a
// pedigree inverse, a sort of pairs for long (dense) rows.
void sort_row(int* ja, double* a, std::int64_t lo, std::int64_t hi,
              std::vector<std::pair<int, double>>& work) {
  std::int64_t len = hi - lo;
  if (len <= 32) {
    for (std::int64_t k = lo + 1; k < hi; ++k) {
      int c = ja[k];
      double v = a[k];
      std::int64_t m = k - 1;
      while (m >= lo && ja[m] > c) {
        ja[m + 1] = ja[m];
        a[m + 1] = a[m];
        --m;
      }
      ja[m + 1] = c;
      a[m + 1] = v;
    }
    return;
  }
  work.resize(static_cast<std::size_t>(len));
  for (std::int64_t k = 0; k < len; ++k) work[k] = {ja[lo + k], a[lo + k]};
  std::sort(work.begin(), work.end(),
            [](const auto& p, const auto& q) { return p.first < q.first; });
  for (std::int64_t k = 0; k < len; ++k) {
    ja[lo + k] = work[k].first;
    a[lo + k] = work[k].second;
  }
}

// Converts the elements with row and column in first..last (renumbered from 1). head names the
// routine in the messages. order: the matrix's order, for the check that no element lies
// beyond it.
template <class Ptr>
void convert(const sparse_hashm& h, basic_ija<Ptr>& out, int first, int last, int order,
             std::int64_t max_nz, const std::string& head) {
  const int nb = last - first + 1;
  std::vector<Ptr> cnt(static_cast<std::size_t>(nb) + 1, 0);
  std::int64_t total = 0;
  for (std::int64_t s = 1; s <= h.nel; ++s) {
    int r = slot_row(h, s), c = slot_col(h, s);
    if (r == 0 && c == 0) continue;
    if (r > order || c > order)
      fatal({head + " element outside the order of the matrix",
             "row, column, order: " + num(r) + " " + num(c) + " " + num(order)});
    if (r < first || r > last || c < first || c > last) continue;
    ++cnt[r - first + 1];
    ++total;
  }
  std::int64_t room = max_nz < 0 ? std::numeric_limits<std::int64_t>::max() : max_nz;
  if constexpr (sizeof(Ptr) == 4) room = std::min<std::int64_t>(room, std::numeric_limits<int>::max() - 1);
  if (total > room)
    fatal({head + " too many elements found in a hash matrix",
           "The upper limit & actual number of elements " + num(room) + " " + num(total)});

  out.n = nb;
  out.ia.assign(static_cast<std::size_t>(nb) + 1, 0);
  out.ia[0] = 1;
  for (int i = 1; i <= nb; ++i) out.ia[i] = out.ia[i - 1] + cnt[i];
  out.ja.assign(static_cast<std::size_t>(total), 0);
  out.a.assign(static_cast<std::size_t>(total), 0.0);

  // next free position (from 0) of every row
  for (int i = 0; i < nb; ++i) cnt[i] = out.ia[i] - 1;
  for (std::int64_t s = 1; s <= h.nel; ++s) {
    int r = slot_row(h, s), c = slot_col(h, s);
    if (r < first || r > last || c < first || c > last) continue;  // empty slots too
    Ptr& p = cnt[r - first];
    out.ja[p] = c - first + 1;
    out.a[p] = slot_value(h, s);
    ++p;
  }

#pragma omp parallel
  {
    std::vector<std::pair<int, double>> work;
#pragma omp for schedule(dynamic, 4096)
    for (int i = 0; i < nb; ++i)
      sort_row(out.ja.data(), out.a.data(), static_cast<std::int64_t>(out.ia[i]) - 1,
               static_cast<std::int64_t>(out.ia[static_cast<std::size_t>(i) + 1]) - 1, work);
  }
}

void check_ready(const sparse_hashm& h) {
  if (h.status != hash_ready) fatal("Structure sparse_hashm not ready; probably sorted");
}

int order_of(const sparse_hashm& h) { return h.n > 0 ? h.n : largest_index(h); }

template <class Ptr>
void general(const sparse_hashm& h, basic_ija<Ptr>& out, std::int64_t max_nz) {
  check_ready(h);
  if (h.storage != hash_storage::upper)
    fatal("CONVERT_HASH_IJA_GENERAL: not yet implemented for full-stored matrix");
  int n = order_of(h);
  convert(h, out, 1, n, n, max_nz, "CONVERT_HASH_IJA_GENERAL:");
}

template <class Ptr>
void entry(const sparse_hashm& h, basic_ija<Ptr>& out, std::int64_t max_nz) {
  if (h.storage != hash_storage::upper)
    fatal("CONVERT_HASH_IJA: not yet implemented for full-stored hash matrix");
  general(h, out, max_nz);
}

template <class Ptr>
void block(const sparse_hashm& h, basic_ija<Ptr>& out, int first, int last, std::int64_t max_nz) {
  check_ready(h);
  if (h.storage != hash_storage::upper)
    fatal("CONVERT_HASH_IJA_BLOCK: not yet implemented for full-stored matrix");
  int n = order_of(h);
  if (first > last || first < 1 || last > n)
    fatal({"CONVERT_HASH_IJA_BLOCK: abnormal range specified",
           "range: " + num(first) + " " + num(last) + "; order of the matrix: " + num(n)});
  convert(h, out, first, last, n, max_nz, "CONVERT_HASH_IJA_BLOCK:");
}

}  // namespace

void convert_hash_ija(const sparse_hashm& hashm, ija_matrix& out, std::int64_t max_nz) {
  entry(hashm, out, max_nz);
}
void convert_hash_ija(const sparse_hashm& hashm, ija8_matrix& out, std::int64_t max_nz) {
  entry(hashm, out, max_nz);
}
void convert_hash_ija_general(const sparse_hashm& hashm, ija_matrix& out, std::int64_t max_nz) {
  general(hashm, out, max_nz);
}
void convert_hash_ija_general(const sparse_hashm& hashm, ija8_matrix& out, std::int64_t max_nz) {
  general(hashm, out, max_nz);
}
void convert_hash_ija_block(const sparse_hashm& hashm, ija_matrix& out, int first, int last,
                            std::int64_t max_nz) {
  block(hashm, out, first, last, max_nz);
}
void convert_hash_ija_block(const sparse_hashm& hashm, ija8_matrix& out, int first, int last,
                            std::int64_t max_nz) {
  block(hashm, out, first, last, max_nz);
}

}  // namespace ventrel::sparse
