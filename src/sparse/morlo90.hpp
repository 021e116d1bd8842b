// morlo90: the single entry point of sparse factorisation, log-determinant, solves and sparse
// inverse of a symmetric positive definite matrix in upper-triangular IJA form, driven by task
// words. One object holds the state of one matrix between calls (the run owns it).
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <span>
#include <string_view>
#include <vector>

#include "sparse/ija_matrix.hpp"
#include "sparse/kelp_factor.hpp"
#include "sparse/ldl_factor.hpp"

namespace ventrel::sparse {

// KELP: CHOLMOD supernodal Cholesky and our supernodal sparse inverse (the default).
// MORLO: our simplicial LDL' and simplicial sparse inverse.
enum class morlo_engine { kelp, morlo };

// The step counter: what the state holds for the matrix in hand.
enum class morlo_step : int { not_ready = 0, ordered = 1, symbolic = 2, numeric = 3 };

struct morlo90_settings {
  morlo_engine engine = morlo_engine::kelp;     // which engine factorises
  kelp_ordering ordering = kelp_ordering::amd;  // KELP: AMD (default) or METIS nested dissection
  int msg_level = 0;                            // above 0: step names, sizes and times
  std::int64_t morlo_max_memory = 0;            // MORLO: most reals the factor may take, 0: any
  std::string context;                          // KELP: a last line for every stop (which matrix
                                                // it is); empty: none
  bool postorder = true;                        // KELP: postorder the elimination tree after the
                                                // ordering (false: the pivots stay as ordered)
};

// Optional arguments of a task; an absent one is empty or null.
struct morlo90_args {
  std::span<const double> rs;     // RS: right-hand side or vector to multiply (n)
  std::span<double> sol;          // SOL: the solution or product (n); may alias rs
  std::span<const double> mrs8;   // MRS8: n x nrhs right-hand sides, by columns
  std::span<double> msol8;        // MSOL8: n x nrhs results, by columns
  int nrhs = 0;                   // nrhs: columns of MRS8/MSOL8 (0: not given)
  double* det = nullptr;          // DET: receives the log-determinant
  std::vector<int>* perm = nullptr;  // PERM: permutation, from 1: perm[k-1] = the original row
                                     // that is pivot k (given out or taken in)
  ija8_matrix* factija = nullptr;    // factija: receives U = F' of P A P' = F F' (upper IJA)
};

// Task words are recognised by their first three letters (see morlo90.cpp for the table):
//   "factorization", "ordering", "symbolic_fact", "numeric_fact", "reset", "solve",
//   "m_fact" (sol = P'F rs), "m_inv_fact_n" or "mninv" (sol = F^{-1} P rs), "m_inv_fact_t" or
//   "mtinv" (sol = P' F'^{-1} rs), "x_inv_fact_n" or "xninv" (MSOL8 = F^{-1} P MRS8, nrhs
//   columns), "inverse", "ldet"/"det", "statistics", "perm"/"export_perm" (PERM out),
//   "import_perm"/"inport_perm" (PERM in), "export"/"export_fact", "savem"/"smem",
//   "loadm"/"lmem", "savef"/"sfile", "loadf"/"lfile", "dump". F is the Cholesky factor of the
//   permuted matrix: P A P' = F F'.
class morlo90 {
 public:
  explicit morlo90(morlo90_settings settings = {});
  ~morlo90();
  morlo90(const morlo90&) = delete;
  morlo90& operator=(const morlo90&) = delete;

  // The entry with 32-bit row pointers.
  void operator()(std::string_view task, ija_matrix& m, const morlo90_args& args = {});
  // The entry with 64-bit row pointers (KELP only).
  void morlo90_ia8(std::string_view task, ija8_matrix& m, const morlo90_args& args = {});

  // The OpenMP thread count of the KELP engine's sparse inverse, stored as max(k, 1); BLAS uses
  // the count the run set. Unset, the engine uses the OpenMP default and says so once.
  void set_num_threads_kelp(int k);
  const morlo90_settings& settings() const { return settings_; }
  // Changing the engine or the ordering discards the state ("reset").
  void set_engine(morlo_engine e) {
    reset();
    settings_.engine = e;
  }
  void set_ordering(kelp_ordering o) {
    reset();
    settings_.ordering = o;
  }
  void set_postorder(bool p) {
    reset();
    settings_.postorder = p;
  }
  void set_msg_level(int level) { settings_.msg_level = level; }

  morlo_step step() const { return step_; }
  // Reals held by the factor in hand (supernodal panels, or L and D), 0 before the analysis.
  std::int64_t factor_storage() const;
  // Reals of the largest update matrix the supernodal factorisation forms (0 for the simplicial).
  std::int64_t update_storage() const;
  // The KELP factor in hand (null before an ordering with the KELP engine).
  const kelp_factor* kelp() const { return kelp_.get(); }

 private:
  struct entry;  // which entry is running: its name in messages, the matrix view
  void run(std::string_view task, entry& e, const morlo90_args& args);
  // A stop, followed by the context line of the settings when there is one.
  [[noreturn]] void stop(std::vector<std::string> lines) const;
  [[noreturn]] void stop(std::string line) const;
  [[noreturn]] void stop(std::initializer_list<std::string> lines) const;
  void check_matrix(const entry& e) const;
  void require(morlo_step needed) const;
  void ordering(entry& e);
  void symbolic(entry& e);
  void numeric(entry& e);
  void factorization(entry& e);
  void reset();
  void solve(entry& e, const morlo90_args& args);
  void product(entry& e, std::string_view task, int kind, const morlo90_args& args);
  void inverse(entry& e);
  double logdet() const;
  void export_perm(const entry& e, const morlo90_args& args) const;
  void import_perm(entry& e, const morlo90_args& args);
  void export_fact(const entry& e, const morlo90_args& args) const;
  void statistics() const;
  void save_ordering(const entry& e) const;
  void load_ordering(entry& e);
  void save_factor(const entry& e) const;
  void load_factor(entry& e);
  void dump(const entry& e) const;
  int kelp_threads();
  bool simplicial() const;  // whether the factor in hand is the simplicial one

  morlo90_settings settings_;
  int num_threads_kelp_ = 0;          // 0: not set
  bool told_default_threads_ = false;
  morlo_step step_ = morlo_step::not_ready;
  int neq_ = 0;                       // order of the matrix in hand
  std::int64_t nnz_ = 0;              // its stored elements
  bool loaded_from_file_ = false;     // factor read by "loadf": held as the simplicial one
  std::unique_ptr<kelp_factor> kelp_;
  simplicial_factor ldl_;
  std::int64_t morlo_storage_ = 0;    // reals reserved for the MORLO factor so far
  std::int64_t calls_numeric_ = 0;
  std::int64_t calls_solve_ = 0;
};

}  // namespace ventrel::sparse
