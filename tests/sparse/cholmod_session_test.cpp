// The CHOLMOD boundary: a failing call becomes the KELP fatal stop, and the status is cleared.
// (A matrix that is not positive definite is stopped by the program's own fixtures.)
#include "sparse/cholmod_session.hpp"

#include "sparse_test_util.hpp"

namespace ventrel::sparse::testing {

TEST(cholmod_session, failing_call_stops_and_clears_the_status) {
  cholmod_session s;
  const std::string head = "MORLO90 (KELP): An error occurred.";
  expect_stops({{"status set", [&] { s.common()->status = CHOLMOD_OUT_OF_MEMORY, s.check("x"); },
                 {head, "x: CHOLMOD status -2 (out of memory)"}},
                {"status cleared by the stop", [&] { s.check("y"); }, {}},
                {"null result without status", [&] { s.check(static_cast<int*>(nullptr), "z"); },
                 {head, "z: CHOLMOD status -4 (invalid input)"}}});
}

}  // namespace ventrel::sparse::testing
