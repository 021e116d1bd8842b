// The sparse solver's thread count.
#include "parfile/kelp_threads.hpp"

#include <gtest/gtest.h>

namespace ventrel::parfile {
namespace {

TEST(kelp_threads, is_zero_until_set_and_at_least_one_after) {
  EXPECT_EQ(num_threads_kelp(), 0);
  set_num_threads_kelp(4);
  EXPECT_EQ(num_threads_kelp(), 4);
  set_num_threads_kelp(-3);
  EXPECT_EQ(num_threads_kelp(), 1);
}

}  // namespace
}  // namespace ventrel::parfile
