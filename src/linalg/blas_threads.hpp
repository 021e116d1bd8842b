// The thread count of the BLAS library (OpenBLAS, pthread build): set once by the run, or for
// the length of a scope.
#pragma once

extern "C" {
int openblas_get_num_threads(void);
void openblas_set_num_threads(int);
}

namespace ventrel::linalg {

// Sets the number of threads every later BLAS call may use (0 or less: left as it is). The run
// calls it once, after the options are read.
inline void set_blas_threads(int threads) {
  if (threads > 0) openblas_set_num_threads(threads);
}

// Sets OpenBLAS's threads to `threads` (0 or less: left as they are) and restores the previous
// count when the scope ends. blas_threads(1) makes BLAS serial for a parallel region whose
// threads each call it, so that they do not each start a full team.
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
