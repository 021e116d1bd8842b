// The thread count of the sparse solver (KELP), set from the parameter file's OPTION and read
// by the sparse library. Process-wide, as the solver's own setting is.
#pragma once

namespace ventrel::parfile {

// Stores max(k, 1) as the sparse solver's thread count.
void set_num_threads_kelp(int k);
// The stored thread count; 0 when it was never set (the solver then chooses).
int num_threads_kelp();

}  // namespace ventrel::parfile
