// The sparse solver's thread count.
#include "parfile/kelp_threads.hpp"

#include <algorithm>
#include <atomic>

namespace ventrel::parfile {

namespace {
std::atomic<int> kelp_threads{0};
}  // namespace

void set_num_threads_kelp(int k) { kelp_threads.store(std::max(k, 1)); }

int num_threads_kelp() { return kelp_threads.load(); }

}  // namespace ventrel::parfile
