// Fill-reducing orderings of an H-inverse file compared: the time of each ordering and the size
// and work of the Cholesky factor it leads to. AMD is run with several thresholds for dense rows
// (a row with more than max(16, alpha * sqrt(n)) entries is set aside and ordered last; CHOLMOD's
// default alpha is 10), METIS with CHOLMOD's defaults, and, given the pedigree, the order that
// the pedigree itself suggests: A-inverse = (I - P)' D^-1 (I - P) has a Cholesky factor without
// fill when the youngest animals come first (reverse of parents-first order), so that order with
// the rows of more than 1000 entries (the genotyped animals' dense block) moved last. Diagnoses
// the ordering step of the sparse inverse that OPTION readHInverse leads to.
//   bench_ordering file=PATH levels=N [alphas=10,4,1] [metis=1] [ped=PEDIGREE]
#include <omp.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "genomic/hinverse.hpp"
#include "pedigree/read_pedigree.hpp"
#include "pedigree/renumber.hpp"
#include "sparse/cholmod_session.hpp"
#include "sparse/convert_hash_ija.hpp"
#include "sparse/hash_matrix.hpp"
#include "sparse/kelp_factor.hpp"

using namespace ventrel;

namespace {

// Symbolic factorisation with a given permutation: non-zeros of L and flops of the numeric step.
void report(const char* name, double seconds, cholmod_sparse* s, std::vector<SuiteSparse_long>& perm,
            cholmod_common* cc) {
  cc->nmethods = 1;
  cc->method[0].ordering = CHOLMOD_GIVEN;
  cc->postorder = 1;
  cc->supernodal = CHOLMOD_SUPERNODAL;
  const double t0 = omp_get_wtime();
  cholmod_factor* l = cholmod_l_analyze_p(s, perm.data(), nullptr, 0, cc);
  const double t1 = omp_get_wtime();
  if (!l) {
    std::printf("%-14s analyze failed (status %d)\n", name, cc->status);
    return;
  }
  std::printf("%-14s ordering %7.2f s | symbolic %5.2f s | nnz(L) %11.0f (%6.0f MiB) | flops %9.3g\n", name,
              seconds, t1 - t0, cc->lnz, cc->lnz * 8 / 1048576.0, cc->fl);
  std::fflush(stdout);
  cholmod_l_free_factor(&l, cc);
}

}  // namespace

int main(int argc, char** argv) {
  std::string path, alphas = "10,4,1";
  int levels = 0;
  bool metis = true;
  std::string ped;
  for (int i = 1; i < argc; ++i) {
    if (!std::strncmp(argv[i], "file=", 5)) path = argv[i] + 5;
    else if (!std::strncmp(argv[i], "levels=", 7)) levels = std::atoi(argv[i] + 7);
    else if (!std::strncmp(argv[i], "alphas=", 7)) alphas = argv[i] + 7;
    else if (!std::strncmp(argv[i], "metis=", 6)) metis = std::atoi(argv[i] + 6) != 0;
    else if (!std::strncmp(argv[i], "ped=", 4)) ped = argv[i] + 4;
  }
  if (path.empty() || levels < 1) {
    std::fprintf(stderr, "usage: bench_ordering file=PATH levels=N [alphas=10,4,1] [metis=1]\n");
    return 2;
  }
  double t0 = omp_get_wtime();
  sparse::ija_matrix m;
  {
    sparse::sparse_hashm h;
    sparse::init(h, sparse::hash_capacity_for(static_cast<std::int64_t>(std::filesystem::file_size(path) / 20)),
                 sparse::hash_storage::upper, levels);
    genomic::read_hinverse(path, levels, h);
    sparse::convert_hash_ija(h, m);
  }
  // The upper triangle by rows is the lower triangle by columns (stype -1), as KELP hands it on.
  std::vector<std::int64_t> pointers;
  sparse::cholmod_view view(sparse::view_of(m, pointers));
  const std::vector<SuiteSparse_long>& p = view.p;
  const std::vector<SuiteSparse_long>& ix = view.i;
  cholmod_sparse& s = view.s;
  std::size_t dense_rows = 0;
  std::vector<SuiteSparse_long> degree(static_cast<std::size_t>(m.n), 0);
  for (int k = 0; k < m.n; ++k)
    for (SuiteSparse_long q = p[static_cast<std::size_t>(k)]; q < p[static_cast<std::size_t>(k) + 1]; ++q) {
      ++degree[static_cast<std::size_t>(k)];
      if (ix[static_cast<std::size_t>(q)] != k) ++degree[static_cast<std::size_t>(ix[static_cast<std::size_t>(q)])];
    }
  for (SuiteSparse_long d : degree) dense_rows += d > 1000;
  std::printf("%s: order %d, nnz(upper) %zu, rows with more than 1000 entries %zu; read in %.1f s\n", path.c_str(),
              m.n, m.ja.size(), dense_rows, omp_get_wtime() - t0);

  sparse::cholmod_session session;
  cholmod_common* cc = session.common();
  std::vector<SuiteSparse_long> perm(static_cast<std::size_t>(m.n));
  std::size_t start = 0;
  while (start <= alphas.size()) {
    const std::size_t comma = std::min(alphas.find(',', start), alphas.size());
    const double alpha = std::atof(alphas.substr(start, comma - start).c_str());
    start = comma + 1;
    cc->method[0].prune_dense = alpha;
    cc->current = 0;
    t0 = omp_get_wtime();
    cholmod_l_amd(&s, nullptr, 0, perm.data(), cc);
    const double t = omp_get_wtime() - t0;
    char name[32];
    std::snprintf(name, sizeof name, "AMD alpha=%g", alpha);
    if (cc->status != CHOLMOD_OK) std::printf("%s failed (status %d)\n", name, cc->status);
    else report(name, t, &s, perm, cc);
    cc->method[0].prune_dense = 10;
  }
  if (metis) {
    t0 = omp_get_wtime();
    cholmod_l_metis(&s, nullptr, 0, 1, perm.data(), cc);
    const double t = omp_get_wtime() - t0;
    if (cc->status != CHOLMOD_OK) std::printf("METIS failed (status %d)\n", cc->status);
    else report("METIS", t, &s, perm, cc);
  }
  if (!ped.empty()) {
    t0 = omp_get_wtime();
    const pedigree::pedigree_count c = pedigree::count_pedigree(ped);
    pedigree::pedigree_table table;
    pedigree::read_pedigree(ped, c.n, false, table);
    std::vector<std::int32_t> pos;
    pedigree::renumber_pedigree(table, 0, pos);  // pos[i] = place of animal i, parents first
    const double t_read = omp_get_wtime() - t0;
    t0 = omp_get_wtime();
    // Pivot k = the animal at place n - k (youngest first); dense rows after all others.
    std::vector<SuiteSparse_long> by_place(static_cast<std::size_t>(m.n), -1);
    for (std::int32_t i = 1; i <= c.n && i <= m.n; ++i) by_place[static_cast<std::size_t>(pos[static_cast<std::size_t>(i)] - 1)] = i - 1;
    std::size_t k = 0;
    std::vector<char> placed(static_cast<std::size_t>(m.n), 0);
    for (std::size_t q = by_place.size(); q-- > 0;) {
      const SuiteSparse_long a = by_place[q];
      if (a < 0 || degree[static_cast<std::size_t>(a)] > 1000) continue;
      perm[k++] = a;
      placed[static_cast<std::size_t>(a)] = 1;
    }
    for (SuiteSparse_long a = 0; a < m.n; ++a)
      if (!placed[static_cast<std::size_t>(a)] && degree[static_cast<std::size_t>(a)] <= 1000) perm[k++] = a;
    for (SuiteSparse_long a = 0; a < m.n; ++a)
      if (degree[static_cast<std::size_t>(a)] > 1000) perm[k++] = a;
    const double t = omp_get_wtime() - t0;
    std::printf("(pedigree read and renumbered in %.2f s)\n", t_read);
    report("pedigree", t, &s, perm, cc);
  }
  return 0;
}
