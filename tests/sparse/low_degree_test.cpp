// Rows of at most two neighbours eliminated ahead of the factorisation, against the dense
// inverse: the reduced matrix's inverse is the block of the whole inverse among the rows kept.
#include "sparse/low_degree.hpp"

#include "reference/tabular_a.hpp"
#include "sparse_test_util.hpp"

namespace ventrel::sparse::testing {
namespace {

std::vector<char> marks(int n, const std::vector<int>& rows) {
  std::vector<char> keep(static_cast<std::size_t>(n) + 1, 0);
  for (int r : rows) keep[static_cast<std::size_t>(r)] = 1;
  return keep;
}

// The inverse of the reduced matrix against the block of the dense inverse of d.
void expect_schur_complement(const linalg::dense_matrix& d, const reduced_matrix& r, double tol) {
  ASSERT_TRUE(well_formed_ija(r.m));
  ASSERT_EQ(static_cast<std::size_t>(r.m.n), r.kept.size());
  const linalg::dense_matrix whole = reference::dense_spd_inverse(d);
  const linalg::dense_matrix part = reference::dense_spd_inverse(dense_of(r.m));
  double worst = 0.0;
  for (int q = 0; q < r.m.n; ++q)
    for (int s = 0; s < r.m.n; ++s)
      worst = std::max(worst, std::fabs(part(q, s) - whole(r.kept[static_cast<std::size_t>(q)] - 1,
                                                           r.kept[static_cast<std::size_t>(s)] - 1)));
  EXPECT_LT(worst, tol);
}

linalg::dense_matrix tridiagonal(int n) {
  linalg::dense_matrix d(n, n);
  for (int i = 0; i < n; ++i) {
    d(i, i) = 3.0 + 0.1 * i;
    if (i + 1 < n) d(i, i + 1) = d(i + 1, i) = -1.0 + 0.05 * i;
  }
  return d;
}

}  // namespace

TEST(eliminate_low_degree, a_pedigree_inverse_loses_its_animals_without_progeny_and_keeps_its_inverse_block) {
  const linalg::dense_matrix d = pedigree_inverse(300, 7);
  const std::vector<int> chosen{299, 5, 150, 151, 2};
  const ija_matrix m = ija_of(d);
  const reduced_matrix r = eliminate_low_degree(m, marks(300, chosen));
  ASSERT_FALSE(r.kept.empty());
  EXPECT_LT(r.m.n, 200) << "most animals have no progeny";
  for (int c : chosen) EXPECT_TRUE(std::binary_search(r.kept.begin(), r.kept.end(), c)) << c;
  expect_schur_complement(d, r, 1e-10);
}

TEST(eliminate_low_degree, mates_whose_common_progeny_have_gone_are_neighbours_no_more) {
  // An inbred pedigree of overlapping generations: the elements joining mates cancel as their
  // progeny go (to rounding, the sampling variances being inexact in binary), which frees the
  // parents in turn, so that only ancestors of the rows kept can stay.
  std::mt19937 rng(11);
  const int n = 240;
  reference::tabular_pedigree ped;
  ped.parents.assign(n + 1, {0, 0});
  for (int a = 31; a <= n; ++a) {
    const int lo = std::max(1, a - 60);
    ped.parents[a] = {lo + static_cast<int>(rng() % static_cast<unsigned>(a - lo)), 0};
    if (rng() % 5 != 0) ped.parents[a][1] = lo + static_cast<int>(rng() % static_cast<unsigned>(a - lo));
    if (ped.parents[a][1] == ped.parents[a][0]) ped.parents[a][1] = 0;
  }
  const std::vector<double> f = reference::tabular_inbreeding(ped);
  std::vector<int> sire(n), dam(n);
  std::vector<double> dvar(n);
  for (int a = 1; a <= n; ++a) {
    sire[a - 1] = ped.parents[a][0];
    dam[a - 1] = ped.parents[a][1];
    dvar[a - 1] = 1.0;
    for (int p : ped.parents[a])
      if (p > 0) dvar[a - 1] -= 0.25 * (1.0 + f[static_cast<std::size_t>(p)]);
  }
  ASSERT_GT(*std::max_element(f.begin(), f.end()), 0.05);
  const linalg::dense_matrix d = henderson_inverse(sire, dam, dvar);
  const std::vector<int> chosen{n, n - 3, n - 40};
  std::vector<char> ancestor(n + 1, 0);
  for (int a = n; a >= 1; --a)
    if (ancestor[a] || std::find(chosen.begin(), chosen.end(), a) != chosen.end())
      for (int p : ped.parents[a]) ancestor[p > 0 ? p : 0] = 1;
  const reduced_matrix r = eliminate_low_degree(ija_of(d), marks(n, chosen));
  ASSERT_FALSE(r.kept.empty());
  for (int a : r.kept)
    EXPECT_TRUE(ancestor[a] || std::find(chosen.begin(), chosen.end(), a) != chosen.end()) << a << " stayed";
  expect_schur_complement(d, r, 1e-10);

  // Rows 3 and 4 both join rows 1 and 2: eliminating 3 cancels element (1,2), eliminating 4
  // then makes it -0.25, and it must be in the reduced matrix.
  linalg::dense_matrix two(4, 4);
  for (int i = 0; i < 4; ++i) two(i, i) = 4.0;
  for (int k : {2, 3})
    for (int i : {0, 1}) two(i, k) = two(k, i) = 1.0;
  two(0, 1) = two(1, 0) = 0.25;
  const reduced_matrix back = eliminate_low_degree(ija_of(two), marks(4, {1, 2}));
  ASSERT_EQ(back.kept, (std::vector<int>{1, 2}));
  EXPECT_DOUBLE_EQ(getm_ija(back.m, 1, 2), -0.25);
  expect_schur_complement(two, back, 1e-13);
}

TEST(eliminate_low_degree, random_pedigrees_with_a_genomic_block_keep_the_inverse_among_the_rows_kept) {
  // H-inverse-like matrices: a pedigree's inverse plus 0.5 I + 0.05 J among some animals, with
  // random focal rows; the elimination cascades differently in each.
  std::mt19937 rng(2026);
  for (unsigned seed = 1; seed <= 40; ++seed) {
    const int n = 40 + static_cast<int>(rng() % 80);
    linalg::dense_matrix d = pedigree_inverse(n, seed);
    std::vector<int> genotyped, chosen;
    for (int i = 1; i <= n; ++i) {
      if (rng() % 8 == 0) genotyped.push_back(i);
      if (rng() % 10 == 0) chosen.push_back(i);
    }
    for (int a : genotyped)
      for (int b : genotyped) d(a - 1, b - 1) += (a == b ? 0.5 : 0.0) + 0.05;
    const reduced_matrix r = eliminate_low_degree(ija_of(d), marks(n, chosen));
    if (r.kept.empty()) continue;
    for (int c : chosen) EXPECT_TRUE(std::binary_search(r.kept.begin(), r.kept.end(), c)) << "seed " << seed;
    expect_schur_complement(d, r, 1e-10);
  }
}

TEST(eliminate_low_degree, rows_freed_by_an_elimination_follow_and_nothing_fills_in) {
  // A chain: every row but the kept one goes, from both ends inwards.
  const linalg::dense_matrix chain = tridiagonal(6);
  for (int kept : {6, 3}) {
    const reduced_matrix r = eliminate_low_degree(ija_of(chain), marks(6, {kept}));
    ASSERT_EQ(r.kept, std::vector<int>{kept});
    expect_schur_complement(chain, r, 1e-13);
  }
  // A cycle of four: each row's two neighbours are not neighbours, so eliminating it would fill
  // in; nothing goes until a chord joins them.
  linalg::dense_matrix cycle = tridiagonal(4);
  cycle(0, 3) = cycle(3, 0) = -0.5;
  EXPECT_TRUE(eliminate_low_degree(ija_of(cycle), marks(4, {})).kept.empty());
  cycle(0, 2) = cycle(2, 0) = 0.3;  // rows 2 and 4 now have neighbours 1 and 3, which touch
  const reduced_matrix r = eliminate_low_degree(ija_of(cycle), marks(4, {1}));
  ASSERT_FALSE(r.kept.empty());
  EXPECT_EQ(r.kept.front(), 1);
  expect_schur_complement(cycle, r, 1e-13);
}

TEST(eliminate_low_degree, a_row_whose_pivot_is_not_positive_stays_for_the_factorisation_to_refuse) {
  linalg::dense_matrix d(2, 2);
  d(0, 0) = 4.0;
  d(0, 1) = d(1, 0) = 1.0;
  d(1, 1) = -1.0;
  const reduced_matrix r = eliminate_low_degree(ija_of(d), marks(2, {}));
  ASSERT_EQ(r.kept, std::vector<int>{2});
  ASSERT_EQ(r.m.a.size(), 1u);
  EXPECT_DOUBLE_EQ(r.m.a[0], -1.25) << "row 1 eliminated into row 2, which is not then eliminated";
}

}  // namespace ventrel::sparse::testing
