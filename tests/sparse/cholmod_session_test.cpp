// The CHOLMOD boundary: a failing call becomes the KELP fatal stop.
#include "sparse/cholmod_session.hpp"

#include <gtest/gtest.h>

#include "sparse_test_util.hpp"

namespace ventrel::sparse {
namespace {

using testing::fatal_lines;

TEST(cholmod_session, invalid_input_is_a_kelp_error) {
  cholmod_session s;
  // a rectangular matrix cannot be stored as symmetric
  auto lines = fatal_lines([&] {
    cholmod_sparse* a = s.check(cholmod_l_allocate_sparse(3, 2, 0, 1, 1, -1, CHOLMOD_REAL, s.common()),
                                "cholmod_l_allocate_sparse");
    cholmod_l_free_sparse(&a, s.common());
  });
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "MORLO90 (KELP): An error occurred.");
  EXPECT_EQ(lines[1], "cholmod_l_allocate_sparse: CHOLMOD status -4 (invalid input)");
}

TEST(cholmod_session, status_is_cleared_after_the_stop) {
  cholmod_session s;
  s.common()->status = CHOLMOD_OUT_OF_MEMORY;
  auto lines = fatal_lines([&] { s.check("x"); });
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[1], "x: CHOLMOD status -2 (out of memory)");
  EXPECT_TRUE(fatal_lines([&] { s.check("y"); }).empty());
}

TEST(cholmod_session, a_null_result_without_status_is_still_an_error) {
  cholmod_session s;
  int* nothing = nullptr;
  auto lines = fatal_lines([&] { s.check(nothing, "z"); });
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[1], "z: CHOLMOD status -4 (invalid input)");
}

}  // namespace
}  // namespace ventrel::sparse
