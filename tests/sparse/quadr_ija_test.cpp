// quadr_ija: x'Ax from the upper triangle against the dense product, for any thread count.
#include "sparse/quadr_ija.hpp"

#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <random>

#include "sparse/convert_hash_ija.hpp"
#include "sparse_test_util.hpp"

namespace ventrel::sparse {
namespace {

using testing::dense_of;
using testing::fatal_lines;

ija_matrix random_ija(int n, int additions, unsigned seed) {
  sparse_hashm h;
  init(h, 64, hash_storage::upper, n);
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> idx(1, n);
  std::uniform_real_distribution<double> val(-1.0, 1.0);
  for (int k = 0; k < additions; ++k) addm(val(rng), idx(rng), idx(rng), h);
  ija_matrix m;
  convert_hash_ija(h, m);
  return m;
}

double dense_quadratic(const linalg::dense_matrix& d, const std::vector<double>& x) {
  double s = 0.0;
  for (int i = 0; i < d.rows; ++i)
    for (int j = 0; j < d.cols; ++j) s += x[i] * d(i, j) * x[j];
  return s;
}

TEST(quadr_ija, equals_the_dense_quadratic_form) {
  ija_matrix m = random_ija(80, 1500, 3);
  std::vector<double> x(80);
  std::mt19937 rng(4);
  std::normal_distribution<double> z;
  for (double& v : x) v = z(rng);
  double want = dense_quadratic(dense_of(m), x);
  EXPECT_NEAR(quadr_ija(m, x), want, 1e-10 * (1.0 + std::fabs(want)));
  ija8_matrix m8{m.n, {m.ia.begin(), m.ia.end()}, m.ja, m.a};
  EXPECT_NEAR(quadr_ija(m8, x), want, 1e-10 * (1.0 + std::fabs(want)));
}

TEST(quadr_ija, same_result_for_any_thread_count) {
  ija_matrix m = random_ija(3000, 20000, 5);
  std::vector<double> x(3000);
  for (std::size_t i = 0; i < x.size(); ++i) x[i] = std::sin(static_cast<double>(i));
  int saved = omp_get_max_threads();
  omp_set_num_threads(1);
  double one = quadr_ija(m, x);
  omp_set_num_threads(2);
  double two = quadr_ija(m, x);
  omp_set_num_threads(3);
  double three = quadr_ija(m, x);
  omp_set_num_threads(saved);
  EXPECT_NEAR(one, two, 1e-12 * std::fabs(one));
  EXPECT_NEAR(one, three, 1e-12 * std::fabs(one));
}

TEST(quadr_ija, incompatible_dimensions_stop) {
  ija_matrix m = random_ija(10, 20, 6);
  std::vector<double> x(9, 1.0);
  EXPECT_EQ(fatal_lines([&] { quadr_ija(m, x); }),
            std::vector<std::string>{"QUADR_IJA: incompatible dimensions"});
}

TEST(quadr_ija, thread_line_only_when_verbose) {
  ija_matrix m = random_ija(10, 20, 7);
  std::vector<double> x(10, 1.0);
  ::testing::internal::CaptureStdout();
  quadr_ija(m, x, 0);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  ::testing::internal::CaptureStdout();
  quadr_ija(m, x, 1);
  std::string out = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(out.rfind("quadr_ija: OpenMP threads=", 0), 0u);
  EXPECT_NE(out.find(" OMP="), std::string::npos);
}

}  // namespace
}  // namespace ventrel::sparse
