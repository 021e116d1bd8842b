// Colleau's product A X for a block of unit columns over a pedigree closed under ancestry, the
// engine of the focal relationships and of the indirect inbreeding methods. Internal to the
// pedigree folder.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "pedigree/pedigree_types.hpp"

namespace ventrel::pedigree::detail {

// A pedigree closed under ancestry in parents-first order, numbered by rows: rows 1..nmf are
// metafounders (without parents), rows nmf+1..m are animals; parent row 0 = unknown.
struct sub_pedigree {
  std::int32_t m = 0;         // rows in all
  std::int32_t nmf = 0;       // metafounder rows 1..nmf
  std::vector<parents> par;   // size m+1: parent rows of each row; par[0] = {0, 0}
  std::vector<double> d;      // size m+1: Mendelian sampling variance of each animal row
  std::vector<double> gamma;  // nmf x nmf, column-major: relationships among the metafounders
};

// The animals at positions pos (of the parents-first pedigree ped, 1..n) and all their
// ancestors, as rows of a sub-pedigree (metafounders first when groups has them), with the
// Mendelian sampling variances that the product needs; row_of[position] is the row (0 = not
// kept). Cost O(n).
sub_pedigree make_subset(std::int32_t n, const pedigree_table& ped, std::span<const double> inb,
                         const group_info& groups, const std::vector<std::int32_t>& pos,
                         std::vector<std::int32_t>& row_of);

// Workspace of one thread: the block of W vectors, row-major (row i at buf[i*W .. i*W+W)),
// zero between products, and a mark per row of the backward pass.
template <int W>
struct block_workspace {
  std::vector<double> buf;
  std::vector<std::uint8_t> mark;
  std::vector<double> tmp;  // nmf x W: Gamma times the metafounder rows
  std::int32_t nmf = 0;     // metafounder rows 1..nmf, cleared after every product
  std::int32_t lo = 0;      // rows lo..hi of buf (and rows 1..nmf) hold the last product
  std::int32_t hi = -1;

  explicit block_workspace(const sub_pedigree& p)
      : buf((static_cast<std::size_t>(p.m) + 1) * W, 0.0),
        mark(static_cast<std::size_t>(p.m) + 1, 0),
        tmp(static_cast<std::size_t>(p.nmf) * W, 0.0),
        nmf(p.nmf) {}
  const double* row(std::int32_t i) const { return buf.data() + static_cast<std::size_t>(i) * W; }

  // Zeroes what the last product left, so that the next one starts from zeros.
  void clear() {
    if (nmf > 0) {
      std::memset(buf.data() + W, 0, sizeof(double) * W * static_cast<std::size_t>(nmf));
      std::memset(mark.data() + 1, 0, static_cast<std::size_t>(nmf));
    }
    if (hi >= lo) {
      std::memset(buf.data() + static_cast<std::size_t>(lo) * W, 0,
                  sizeof(double) * W * static_cast<std::size_t>(hi - lo + 1));
      std::memset(mark.data() + lo, 0, static_cast<std::size_t>(hi - lo + 1));
    }
    lo = 0;
    hi = -1;
  }
};

// y = A x for the unit vectors of the rows cols[0..w) (w <= W, lane l = column cols[l]), as
// A = T D T' + (metafounder part) by Colleau's two passes:
//  backward, rows from the largest column down: q(i) += x(i); q(parent) += q(i)/2, visiting only
//  rows marked as reached from a column;
//  metafounders: y(k) = sum_l Gamma(k,l) q(l);
//  forward, rows lo..top: y(i) = (y(sire) + y(dam))/2 + d(i) q(i), y(unknown) = 0,
// done in place in ws.buf. On return ws.buf holds y on rows 1..top (without metafounders, zero
// below the oldest ancestor of the columns, where A is zero); rows above top are not computed.
// Each lane's arithmetic does not depend on the other lanes, so a column's values are the same
// in any block.
// Cost: the marked rows plus rows lo..top, W values per row. ws must be clear.
template <int W>
void block_product(const sub_pedigree& p, std::span<const std::int32_t> cols, std::int32_t top,
                   block_workspace<W>& ws) {
  double* const b = ws.buf.data();
  std::uint8_t* const mark = ws.mark.data();
  std::int32_t start = 0;
  for (std::size_t l = 0; l < cols.size(); ++l) {
    const std::int32_t c = cols[l];
    b[static_cast<std::size_t>(c) * W + l] += 1.0;
    mark[c] = 1;
    start = std::max(start, c);
  }
  top = std::max(top, start);
  // Backward pass over the marked rows.
  std::int32_t low = start;
  for (std::int32_t i = start; i > p.nmf; --i) {
    // Eight unmarked rows at once: a mark set from a row of the block comes only from a marked
    // row above it, so an empty block stays empty.
    if ((i & 7) == 7 && i - 7 > p.nmf) {
      std::uint64_t w;
      std::memcpy(&w, mark + i - 7, sizeof w);
      if (w == 0) {
        i -= 7;
        continue;
      }
    }
    if (!mark[i]) continue;
    low = i;
    const parents& pi = p.par[static_cast<std::size_t>(i)];
    const double* qi = b + static_cast<std::size_t>(i) * W;
    if (pi.sire != 0) {
      double* qs = b + static_cast<std::size_t>(pi.sire) * W;
      for (int l = 0; l < W; ++l) qs[l] += 0.5 * qi[l];
      mark[pi.sire] = 1;
    }
    if (pi.dam != 0) {
      double* qd = b + static_cast<std::size_t>(pi.dam) * W;
      for (int l = 0; l < W; ++l) qd[l] += 0.5 * qi[l];
      mark[pi.dam] = 1;
    }
  }
  // With metafounders every animal may be related to the columns through Gamma, so the forward
  // pass starts at the first animal; without them, rows below the oldest ancestor stay zero.
  if (p.nmf > 0) low = p.nmf + 1;
  ws.lo = low;
  ws.hi = top;
  // Metafounders: y = Gamma q on rows 1..nmf.
  if (p.nmf > 0) {
    const std::size_t k = static_cast<std::size_t>(p.nmf);
    std::fill(ws.tmp.begin(), ws.tmp.end(), 0.0);
    for (std::size_t c = 0; c < k; ++c) {
      const double* qc = b + (c + 1) * W;
      for (std::size_t r = 0; r < k; ++r) {
        const double g = p.gamma[r + c * k];
        double* t = ws.tmp.data() + r * W;
        for (int l = 0; l < W; ++l) t[l] += g * qc[l];
      }
    }
    std::memcpy(b + W, ws.tmp.data(), sizeof(double) * W * k);
  }
  // Forward pass: row 0 stays zero and stands for an unknown parent.
  for (std::int32_t i = low; i <= top; ++i) {
    const parents& pi = p.par[static_cast<std::size_t>(i)];
    const double* ys = b + static_cast<std::size_t>(pi.sire) * W;
    const double* yd = b + static_cast<std::size_t>(pi.dam) * W;
    double* yi = b + static_cast<std::size_t>(i) * W;
    const double di = p.d[static_cast<std::size_t>(i)];
    for (int l = 0; l < W; ++l) yi[l] = 0.5 * (ys[l] + yd[l]) + di * yi[l];
  }
}

}  // namespace ventrel::pedigree::detail
