// cholmod_common owner and the status check after CHOLMOD calls.
#include "sparse/cholmod_session.hpp"

#include <string>

#include "common/fatal.hpp"
#include "common/format.hpp"

namespace ventrel::sparse {
namespace {

const char* status_text(int status) {
  switch (status) {
    case CHOLMOD_NOT_INSTALLED: return "method not installed";
    case CHOLMOD_OUT_OF_MEMORY: return "out of memory";
    case CHOLMOD_TOO_LARGE: return "integer overflow";
    case CHOLMOD_INVALID: return "invalid input";
    case CHOLMOD_GPU_PROBLEM: return "GPU problem";
    case CHOLMOD_NOT_POSDEF: return "matrix not positive definite";
    case CHOLMOD_DSMALL: return "tiny diagonal";
    default: return "unknown status";
  }
}

}  // namespace

cholmod_session::cholmod_session() {
  cholmod_l_start(&cc_);
  cc_.print = 0;
  cc_.error_handler = nullptr;
}

cholmod_session::~cholmod_session() { cholmod_l_finish(&cc_); }

void cholmod_session::check(std::string_view call) {
  const int status = cc_.status;
  if (status < CHOLMOD_OK || status == CHOLMOD_NOT_POSDEF) {
    cc_.status = CHOLMOD_OK;
    stop({"MORLO90 (KELP): An error occurred.",
          std::string(call) + ": CHOLMOD status " + num(status) + " (" + status_text(status) + ")"});
  }
}

void cholmod_session::stop(std::vector<std::string> lines) const {
  if (!context_.empty()) lines.push_back(context_);
  fatal(std::move(lines));
}

void cholmod_session::free_factor(cholmod_factor*& l) {
  if (l) cholmod_l_free_factor(&l, &cc_);
  l = nullptr;
}

void cholmod_session::free_dense(cholmod_dense*& d) {
  if (d) cholmod_l_free_dense(&d, &cc_);
  d = nullptr;
}

}  // namespace ventrel::sparse
