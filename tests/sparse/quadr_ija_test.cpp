// quadr_ija: x'Ax from the upper triangle against the dense product, for any thread count.
#include "sparse/quadr_ija.hpp"

#include "sparse_test_util.hpp"

namespace ventrel::sparse::testing {

TEST(quadr_ija, equals_the_dense_quadratic_form_for_any_thread_count) {
  for (auto [n, additions] : {std::pair{80, 1500}, std::pair{1000, 8000}}) {
    const ija_matrix m = random_ija(n, additions, n);
    std::vector<double> x(n);
    for (int i = 0; i < n; ++i) x[i] = std::cos(1.3 * i) + 0.2;
    const std::vector<double> ax = dense_times(dense_of(m), x);
    double want = 0.0;
    for (int i = 0; i < n; ++i) want += x[i] * ax[i];
    for (int threads : {1, 2, 3}) {
      EXPECT_NEAR(with_threads(threads, [&] { return quadr_ija(m, x); }), want, 1e-12 * (1.0 + std::fabs(want)));
      EXPECT_NEAR(with_threads(threads, [&] { return quadr_ija(wide(m), x); }), want, 1e-12 * (1.0 + std::fabs(want)));
    }
  }
}

TEST(quadr_ija, stops_when_x_does_not_fit) {
  const ija_matrix m = random_ija(10, 20, 6);
  const std::vector<double> x(9, 1.0);
  expect_stops({{"x too short", [&] { quadr_ija(m, x); }, {"QUADR_IJA: incompatible dimensions"}}});
}

}  // namespace ventrel::sparse::testing
