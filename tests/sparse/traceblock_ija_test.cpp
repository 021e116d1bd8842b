// traceblock_ija family: tr(A_bb B) against the dense product of the block with B, for B held
// as IJA, dense (not symmetric) and as a hash matrix in both storages, with 32- and 64-bit row
// pointers.
#include "sparse/traceblock_ija.hpp"

#include "sparse_test_util.hpp"

namespace ventrel::sparse::testing {

constexpr int first = 7, last = 26, nb = last - first + 1;

TEST(traceblock_ija, every_kind_of_second_matrix_matches_the_dense_trace) {
  const ija_matrix a = random_ija(40, 400, 21), bi = random_ija(nb, 100, 22);
  const ija8_matrix a8 = wide(a), bi8 = wide(bi);
  const linalg::dense_matrix ad = dense_of(a);
  linalg::dense_matrix unsym(nb, nb);
  std::mt19937 rng(23);
  std::uniform_real_distribution<double> val(-1.0, 1.0);
  for (double& v : unsym.a) v = val(rng);
  const hash_fill upper = random_hash(nb, 150, 24), full = random_hash(nb, 150, 24, true, hash_storage::full);
  struct row {
    const char* name;
    linalg::dense_matrix b;
    double narrow, wide;
  };
  for (const row& r : std::vector<row>{
           {"ija", dense_of(bi), traceblock_ija(a, first, last, bi), traceblock_ija8(a8, first, last, bi8)},
           {"dense", unsym, traceblock_ija_dense(a, first, last, unsym), traceblock_ija8_dense(a8, first, last, unsym)},
           {"hash, upper", upper.matrix, traceblock_ija_hashm(a, first, last, upper.h),
            traceblock_ija8_hashm(a8, first, last, upper.h)},
           {"hash, full", full.matrix, traceblock_ija_hashm(a, first, last, full.h),
            traceblock_ija8_hashm(a8, first, last, full.h)}}) {
    SCOPED_TRACE(r.name);
    double want = 0.0;  // sum_ik A(first+i, first+k) B(k, i)
    for (int i = 0; i < nb; ++i)
      for (int k = 0; k < nb; ++k) want += ad(first - 1 + i, first - 1 + k) * r.b(k, i);
    EXPECT_NEAR(r.narrow, want, 1e-12 * (1 + std::fabs(want)));
    EXPECT_NEAR(r.wide, want, 1e-12 * (1 + std::fabs(want)));
  }
}

TEST(traceblock_ija, stops_on_a_bad_block) {
  const ija_matrix a = random_ija(40, 400, 21);
  const linalg::dense_matrix b(5, 5);
  expect_stops({{"first > last", [&] { traceblock_ija_dense(a, 10, 9, b); },
                 {"TRACEBLOCK_IJA_DENSE: abnormal range specified", "*"}},
                {"block of 6, B of 5", [&] { traceblock_ija_dense(a, 1, 6, b); },
                 {"TRACEBLOCK_IJA_DENSE: incompatible dimensions", "*"}}});
}

}  // namespace ventrel::sparse::testing
