// quadr_ija: x'Ax from the upper triangle against the dense product, for any thread count.
#include "sparse/quadr_ija.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "sparse/convert_hash_ija.hpp"
#include "sparse_test_util.hpp"

namespace ventrel::sparse {
namespace {

using namespace testing;

ija_matrix random_ija(int n, int additions, unsigned seed) {
  ija_matrix m;
  convert_hash_ija(random_hash(n, additions, seed, false).h, m);
  return m;
}

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

TEST(quadr_ija, thread_line_only_when_verbose) {
  const ija_matrix m = random_ija(10, 20, 7);
  const std::vector<double> x(10, 1.0);
  EXPECT_EQ(captured_stdout([&] { quadr_ija(m, x, 0); }), "");
  const std::string out = captured_stdout([&] { quadr_ija(m, x, 1); });
  EXPECT_EQ(out.rfind("quadr_ija: OpenMP threads=", 0), 0u);
  EXPECT_NE(out.find(" OMP="), std::string::npos);
}

TEST(quadr_ija, messages) {
  const ija_matrix m = random_ija(10, 20, 6);
  const std::vector<double> x(9, 1.0);
  expect_stops({{"x too short", [&] { quadr_ija(m, x); }, {"QUADR_IJA: incompatible dimensions"}}});
}

}  // namespace
}  // namespace ventrel::sparse
