// The thread count of the BLAS library for the length of a scope.
#pragma once

extern "C" {
int openblas_get_num_threads(void);
void openblas_set_num_threads(int);
}

namespace ventrel::linalg {

// Sets OpenBLAS's threads to `threads` (0 or less: left as they are) and restores the previous
// count when the scope ends.
class blas_threads {
 public:
  explicit blas_threads(int threads) : saved_(openblas_get_num_threads()) {
    if (threads > 0) openblas_set_num_threads(threads);
  }
  ~blas_threads() { openblas_set_num_threads(saved_); }
  blas_threads(const blas_threads&) = delete;
  blas_threads& operator=(const blas_threads&) = delete;

 private:
  int saved_;
};

}  // namespace ventrel::linalg
