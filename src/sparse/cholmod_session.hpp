// The one boundary to CHOLMOD: an owner of cholmod_common (64-bit integer API) whose check()
// turns CHOLMOD's status into the fatal stop of the KELP engine.
#pragma once

#include <cholmod.h>

#include <string>
#include <string_view>
#include <vector>

namespace ventrel::sparse {

class cholmod_session {
 public:
  cholmod_session();   // cholmod_l_start, quiet (CHOLMOD prints nothing itself)
  ~cholmod_session();  // cholmod_l_finish
  cholmod_session(const cholmod_session&) = delete;
  cholmod_session& operator=(const cholmod_session&) = delete;

  cholmod_common* common() { return &cc_; }

  // After every CHOLMOD call: an error status (or a matrix found not positive definite)
  // stops with "MORLO90 (KELP): An error occurred." and a line naming the call and the status.
  void check(std::string_view call);
  // Stops with lines, then the context line when one is set.
  [[noreturn]] void stop(std::vector<std::string> lines) const;
  // A last line for every stop (which matrix is being factorised); empty: none.
  void set_context(std::string line) { context_ = std::move(line); }
  // The same for calls that return a pointer: a null result is an error even without status.
  template <class T>
  T* check(T* result, std::string_view call) {
    if (result == nullptr && cc_.status == CHOLMOD_OK) cc_.status = CHOLMOD_INVALID;
    check(call);
    return result;
  }

  void free_factor(cholmod_factor*& l);
  void free_dense(cholmod_dense*& d);

 private:
  cholmod_common cc_;
  std::string context_;
};

}  // namespace ventrel::sparse
