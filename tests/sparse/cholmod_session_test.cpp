// The CHOLMOD boundary: a failing call becomes the KELP fatal stop, and the status is cleared.
#include "sparse/cholmod_session.hpp"

#include <gtest/gtest.h>

#include "sparse_test_util.hpp"

namespace ventrel::sparse {
namespace {

using namespace testing;

TEST(cholmod_session, messages) {
  cholmod_session s;
  const std::string head = "MORLO90 (KELP): An error occurred.";
  expect_stops({{"rectangular symmetric matrix",  // CHOLMOD refuses it
                 [&] {
                   cholmod_sparse* a = s.check(cholmod_l_allocate_sparse(3, 2, 0, 1, 1, -1, CHOLMOD_REAL, s.common()),
                                               "cholmod_l_allocate_sparse");
                   cholmod_l_free_sparse(&a, s.common());
                 },
                 {head, "cholmod_l_allocate_sparse: CHOLMOD status -4 (invalid input)"}},
                {"status set", [&] { s.common()->status = CHOLMOD_OUT_OF_MEMORY, s.check("x"); },
                 {head, "x: CHOLMOD status -2 (out of memory)"}},
                {"status cleared by the stop", [&] { s.check("y"); }, {}},
                {"null result without status", [&] { s.check(static_cast<int*>(nullptr), "z"); },
                 {head, "z: CHOLMOD status -4 (invalid input)"}}});
}

}  // namespace
}  // namespace ventrel::sparse
