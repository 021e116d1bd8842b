// sparse_hashm: slot search by Bob Jenkins' lookup3 mix (or the older multiplicative hash),
// additions, lookups and growth of the table.
#include "sparse/hash_matrix.hpp"

#include <cmath>
#include <cstdlib>
#include <utility>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"

namespace ventrel::sparse {
namespace {

constexpr int max_probes = 5000;
constexpr double max_fill = 0.9;
constexpr std::uint64_t lookup3_seed = 305419896;

// The "rotation" of the mix, on the 64-bit value: (v << k) OR (v >> (32 - k)), logical shifts.
// On 64 bits this is not a rotation; it is kept as it is because it decides where elements
// land, and with that when the table grows.
inline std::uint64_t rot(std::uint64_t v, int k) { return (v << k) | (v >> (32 - k)); }

// The mix step of lookup3 in 64-bit wrap-around arithmetic.
inline void mix(std::uint64_t& a, std::uint64_t& b, std::uint64_t& c) {
  a -= c; a ^= rot(c, 4);  c += b;
  b -= a; b ^= rot(a, 6);  a += c;
  c -= b; c ^= rot(b, 8);  b += a;
  a -= c; a ^= rot(c, 16); c += b;
  b -= a; b ^= rot(a, 19); a += c;
  c -= b; c ^= rot(b, 4);  b += a;
}

// Result of a probe sequence: the slot (from 1) where the search stopped, whether it holds the
// element (otherwise it is empty), or slot -1 when every probe met another element.
struct probe_result {
  std::int64_t slot = -1;
  bool found = false;
};

// Looks at one slot: 1 = holds (i, j), 0 = empty, -1 = holds another element.
inline int look(const double* x, std::int64_t s, int i, int j) {
  const double* p = x + 3 * (s - 1);
  int r = static_cast<int>(p[0]);
  int c = static_cast<int>(p[1]);
  if (r == i && c == j) return 1;
  if (r == 0 && c == 0) return 0;
  return -1;
}

probe_result probe(int i, int j, const sparse_hashm& h) {
  const double* x = h.x.data();
  if (h.method == hash_method::lookup3) {
    std::uint64_t a = static_cast<std::uint64_t>(static_cast<std::int64_t>(i));
    std::uint64_t b = static_cast<std::uint64_t>(static_cast<std::int64_t>(j));
    std::uint64_t c = lookup3_seed;
    const std::uint64_t mask = static_cast<std::uint64_t>(h.nel - 1);
    for (int k = 0; k < max_probes; ++k) {
      mix(a, b, c);
      std::int64_t s = static_cast<std::int64_t>(mask & c) + 1;
      int l = look(x, s, i, j);
      if (l >= 0) return {s, l == 1};
    }
  } else {
    std::int64_t hv = 5813 * static_cast<std::int64_t>(i) + 1039 * static_cast<std::int64_t>(j);
    std::int64_t s = std::llabs(hv % h.nel) + 1;
    for (int k = 0; k < max_probes; ++k) {
      int l = look(x, s, i, j);
      if (l >= 0) return {s, l == 1};
      s = (s + 16) % h.nel + 1;
    }
  }
  say("Pb 5000 collisions");
  return {};
}

void check_indices(int i, int j) {
  if (i < 1 || j < 1) fatal("sparse_hashm: index below 1: " + num(i) + " " + num(j));
}

// Growth by 1.5: a new table of the same kind takes every element of the old one, in slot
// order, through addm (so that a growth during the re-insertion is handled the same way), and
// replaces it.
void grow(sparse_hashm& h) {
  double grown = 1.5 * static_cast<double>(h.nel);
  std::int64_t nel = grown >= 9.2e18 ? -1 : static_cast<std::int64_t>(grown);
  if (nel < 1 || nel < h.nel) fatal("hash matrix: indices overflow " + num(nel));
  if (nel == h.nel) nel = h.nel + 1;  // a table of one slot would otherwise never grow

  sparse_hashm t;
  init(t, nel, h.storage, h.n);
  t.method = h.method;
  t.msg_level = h.msg_level;
  for (std::int64_t s = 1; s <= h.nel; ++s) {
    int r = slot_row(h, s), c = slot_col(h, s);
    if (r == 0 && c == 0) continue;
    addm(slot_value(h, s), r, c, t);
  }
  if (h.msg_level > 0) {
    double pct = static_cast<double>(h.filled) / static_cast<double>(h.nel) * 100.0;
    say("hash matrix increased from " + num(h.nel) + " to " + num(t.nel) + " % filled: " +
        num(pct));
  }
  h = std::move(t);
}

}  // namespace

void init(sparse_hashm& hashm, std::int64_t nel, hash_storage storage, int n) {
  if (nel < 1) nel = 1;
  hashm.n = n;
  hashm.nel = nel;
  hashm.filled = 0;
  hashm.status = hash_ready;
  hashm.storage = storage;
  hashm.x.assign(static_cast<std::size_t>(3 * nel), 0.0);
}

std::int64_t hash_capacity_for(std::int64_t expected) {
  std::int64_t nel = 16;
  while (static_cast<double>(nel) * 0.7 < static_cast<double>(expected)) nel *= 2;
  return nel;
}

std::int64_t hash_search(int i, int j, sparse_hashm& hashm, hash_mode mode) {
  probe_result p = probe(i, j, hashm);
  if (p.slot < 0) return -1;
  if (p.found) return p.slot;
  switch (mode) {
    case hash_mode::find:
      return 0;
    case hash_mode::insert: {
      double* q = hashm.x.data() + 3 * (p.slot - 1);
      q[0] = i;
      q[1] = j;
      ++hashm.filled;
      return p.slot;
    }
    case hash_mode::locate:
      return p.slot;
  }
  return p.slot;
}

void addm(double value, int i, int j, sparse_hashm& hashm) {
  if (hashm.status != hash_ready)
    fatal("Structure sparse_hashm not ready; probably destroyed by solving");
  if (hashm.storage == hash_storage::upper && j < i) return;
  check_indices(i, j);

  probe_result p = probe(i, j, hashm);
  if (p.slot < 0 ||
      static_cast<double>(hashm.filled) / static_cast<double>(hashm.nel) > max_fill) {
    grow(hashm);
    p = probe(i, j, hashm);
    while (p.slot < 0) {
      grow(hashm);
      p = probe(i, j, hashm);
    }
  }
  double* q = hashm.x.data() + 3 * (p.slot - 1);
  if (!p.found) {
    q[0] = i;
    q[1] = j;
    ++hashm.filled;
  }
  q[2] += value;
}

double getm(int i, int j, const sparse_hashm& hashm) {
  if (hashm.status != hash_ready) fatal("Structure sparse_hashm not ready; probably sorted");
  if (hashm.storage == hash_storage::upper && j < i) return 0.0;
  if (i < 1 || j < 1) return 0.0;
  probe_result p = probe(i, j, hashm);
  return p.found ? slot_value(hashm, p.slot) : 0.0;
}

}  // namespace ventrel::sparse
