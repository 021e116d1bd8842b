// sparse_hashm: an open-addressing hash table of (row, column, value) triples that takes
// additions at random positions and grows by itself; the assembly storage of sparse symmetric
// matrices before their conversion to the IJA form.
#pragma once

#include <cstdint>
#include <vector>

namespace ventrel::sparse {

// Which elements a hash matrix keeps: the upper triangle of a symmetric matrix ("u", row <=
// column) or every element ("f").
enum class hash_storage : char { upper = 'u', full = 'f' };

// The two hash functions of the table. lookup3 (Bob Jenkins' mix) is the one in force;
// multiplicative is the older method kept behind the switch.
enum class hash_method : int { multiplicative = 1, lookup3 = 2 };

// Search modes of hash_search.
enum class hash_mode : int {
  find = 0,       // an empty slot means the element is absent: result 0
  insert = 1,     // an empty slot receives the row and column; filled grows by one
  locate = 2,     // find, or give the empty slot where the element would go, without inserting
};

inline constexpr int hash_ready = 1;  // status of a table that may be added to and read

struct sparse_hashm {
  int n = 0;                                     // order of the matrix (0: not stated)
  std::int64_t nel = 0;                          // number of slots (capacity)
  std::int64_t filled = 0;                       // number of occupied slots
  int status = 0;                                // hash_ready, or consumed/sorted (any other)
  hash_storage storage = hash_storage::upper;    // upper triangle or full storage
  std::vector<double> x;                         // 3 x nel, column-major: row, column, value per
                                                 // slot; row = column = 0 marks an empty slot
  hash_method method = hash_method::lookup3;     // the hash function (the switch, value 2)
  int msg_level = 0;                             // above 0: print the growth message
};

// Allocates nel empty slots (at least one), filled = 0, status = ready. n is the order of the
// matrix when known (the conversion to IJA uses it), 0 to take the largest index.
void init(sparse_hashm& hashm, std::int64_t nel, hash_storage storage = hash_storage::upper,
          int n = 0);

// A capacity for about `expected` elements: the power of two that leaves them below 70% fill.
// With the lookup3 slot formula ((nel-1) AND hash) + 1 every slot of a power-of-two table is
// reachable, so probe sequences stay short; other sizes work but use fewer slots.
std::int64_t hash_capacity_for(std::int64_t expected);

// Adds value to element (i, j); indices from 1. With upper storage an element with j < i is
// ignored without a message. Grows the table by 1.5 when it is more than 90% full or when a
// probe sequence fails. Stops when the table is not ready.
void addm(double value, int i, int j, sparse_hashm& hashm);

// Value of element (i, j), 0 when absent (and for j < i with upper storage). Stops when the
// table is not ready.
double getm(int i, int j, const sparse_hashm& hashm);

// The slot search (slots counted from 1): the slot of (i, j) in the given mode, 0 when the
// element is absent in mode find, -1 when 5000 probes failed (after "Pb 5000 collisions").
std::int64_t hash_search(int i, int j, sparse_hashm& hashm, hash_mode mode);

// Row, column and value of slot s (from 1).
inline int slot_row(const sparse_hashm& h, std::int64_t s) {
  return static_cast<int>(h.x[static_cast<std::size_t>(3 * (s - 1))]);
}
inline int slot_col(const sparse_hashm& h, std::int64_t s) {
  return static_cast<int>(h.x[static_cast<std::size_t>(3 * (s - 1) + 1)]);
}
inline double slot_value(const sparse_hashm& h, std::int64_t s) {
  return h.x[static_cast<std::size_t>(3 * (s - 1) + 2)];
}

}  // namespace ventrel::sparse
