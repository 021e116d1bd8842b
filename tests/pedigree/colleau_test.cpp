// Tests of nrm_times_vector and nrm_times_vector_mf against the textbook A and dense tabular A.
#include "pedigree/colleau.hpp"

#include <gtest/gtest.h>

#include "pedigree_fixtures.hpp"

using namespace ventrel::pedigree;
namespace fx = pedigree_fixtures;

TEST(colleau, textbook_columns_are_the_columns_of_a) {
  const fx::sorted_view v = fx::sort_with_inbreeding(fx::textbook());
  std::vector<double> x(7), y(7), q(7);
  for (int j = 1; j <= 6; ++j) {
    std::fill(x.begin(), x.end(), 0.0);
    x[static_cast<std::size_t>(v.perm[static_cast<std::size_t>(j)])] = 1.0;
    nrm_times_vector(6, v.ped_sorted, v.inb_sorted, y, x, q);
    for (int i = 1; i <= 6; ++i)
      EXPECT_DOUBLE_EQ(y[static_cast<std::size_t>(v.perm[static_cast<std::size_t>(i)])], fx::textbook_a[i - 1][j - 1])
          << i << "," << j;
  }
}

TEST(colleau, products_match_dense_tabular_a_on_random_pedigrees) {
  // Without Gamma the groups are unknown parents (nrm_times_vector); with Gamma the metafounders
  // are rows of A too (nrm_times_vector_mf), indexed after the animals.
  for (bool mf : {false, true})
    for (std::uint64_t seed = 1; seed <= (mf ? 12u : 15u); ++seed) {
      fx::random_options o;
      o.n = mf ? 120 : 150;
      o.nupg = mf ? 1 + static_cast<std::int32_t>(seed % 4) : (seed % 3 == 0 ? 3 : 0);
      o.unknown = mf ? 0.3 : 0.2;
      const pedigree_table ped = fx::random_pedigree(seed, o);
      const std::vector<double> gamma = mf ? fx::random_gamma(o.nupg, seed) : std::vector<double>{};
      const fx::sorted_view v = fx::sort_with_inbreeding(ped, o.nupg, gamma);
      const ventrel::linalg::dense_matrix a = ventrel::reference::tabular_a(fx::to_reference(ped, o.nupg, gamma));
      const std::int32_t top = mf ? o.n + o.nupg : o.n;
      auto code = [&](std::int32_t i) { return i <= o.n ? v.perm[static_cast<std::size_t>(i)] : i; };
      fx::lcg r(seed);
      std::vector<double> xa(static_cast<std::size_t>(top) + 1), x(xa.size()), y(xa.size()), q(xa.size());
      for (std::int32_t i = 1; i <= top; ++i) {
        xa[static_cast<std::size_t>(i)] = r.uniform() - 0.5;
        x[static_cast<std::size_t>(code(i))] = xa[static_cast<std::size_t>(i)];
      }
      if (mf)
        nrm_times_vector_mf(o.n, v.ped_sorted, v.inb_sorted, group_info{o.nupg, gamma}, y, x, q);
      else
        nrm_times_vector(o.n, v.ped_sorted, v.inb_sorted, y, x, q);
      for (std::int32_t i = 1; i <= top; ++i) {
        double want = 0.0;
        for (std::int32_t j = 1; j <= top; ++j) want += a(i - 1, j - 1) * xa[static_cast<std::size_t>(j)];
        EXPECT_NEAR(y[static_cast<std::size_t>(code(i))], want, 1e-10) << mf << " " << seed << " " << i;
      }
    }
}
