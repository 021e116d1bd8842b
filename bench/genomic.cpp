// Benchmark of the genomic relationships of a single-step run, step by step on a folder written
// by bench_generate with markers=: reading the genotype file (MB/s), quality control, A22 by
// Colleau, G (rank-k updates), tuning and blending, the closed form of H among the focal
// animals, and for comparison the assembly of H-inverse. Wall and processor seconds per step.
//   bench_genomic dir=FOLDER [threads=2] [inverse=0]   (inverse=1 also times the sparse way)
#include <omp.h>
#include <sys/stat.h>
#include <time.h>

#include <chrono>
#include <cstdio>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/console.hpp"
#include "common/freeformat.hpp"
#include "genomic/genotype_qc.hpp"
#include "genomic/genotype_xref.hpp"
#include "genomic/genotypes.hpp"
#include "genomic/h_focal.hpp"
#include "genomic/hinverse.hpp"
#include "genomic/hinverse_build.hpp"
#include "genomic/tune_blend.hpp"
#include "genomic/vanraden_g.hpp"
#include "pedigree/pedigree_phase.hpp"
#include "pedigree/relationship_block.hpp"

using namespace ventrel;

namespace {

double cpu_seconds() {
  timespec ts{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + 1e-9 * static_cast<double>(ts.tv_nsec);
}

struct step_timer {
  std::chrono::steady_clock::time_point w = std::chrono::steady_clock::now();
  double c = cpu_seconds();
  double wall = 0, cpu = 0;
  double secs() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - w).count(); }
  void stop(const char* what, const std::string& extra = "") {
    wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - w).count();
    cpu = cpu_seconds() - c;
    std::printf("| %-34s | %8.2f | %8.2f | %s\n", what, wall, cpu, extra.c_str());
    std::fflush(stdout);
  }
};

}  // namespace

int main(int argc, char** argv) {
  std::string dir;
  int threads = 2;
  bool inverse = false;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a.rfind("dir=", 0) == 0) dir = a.substr(4);
    else if (a.rfind("threads=", 0) == 0) threads = std::atoi(a.c_str() + 8);
    else if (a.rfind("inverse=", 0) == 0) inverse = a.substr(8) == "1";
  }
  if (dir.empty()) {
    std::fprintf(stderr, "bench_genomic dir=FOLDER [threads=2] [inverse=0]\n");
    return 2;
  }
  omp_set_num_threads(threads);
  std::vector<std::int32_t> focal;
  {
    line_reader in(dir + "/valid.txt");
    std::string_view l;
    while (in.next(l)) focal.push_back(std::atoi(std::string(l).c_str()));
  }
  std::printf("| %-34s | %8s | %8s | %s\n", "step", "wall s", "cpu s", "figure");

  step_timer tp;
  pedigree::pedigree_phase_input pin;
  pin.pedigree_file = dir + "/ped.txt";
  pin.inbreeding_method = 6;
  pin.nthreads = threads;
  pin.inbreeding_needed = true;
  pin.relationships_needed = true;
  const pedigree::pedigree_phase_result ped = pedigree::read_pedigree_phase(pin);
  tp.stop("pedigree and inbreeding", std::to_string(ped.n) + " animals");

  step_timer tr;
  const genomic::genotype_table g = genomic::read_genotypes(dir + "/snp.txt");
  struct stat st {};
  ::stat((dir + "/snp.txt").c_str(), &st);
  tr.stop("reading the genotype file", std::to_string(g.animals) + " x " + std::to_string(g.markers) + ", " +
                                            std::to_string(static_cast<long long>(static_cast<double>(st.st_size) / 1e6 / tr.secs())) + " MB/s");
  const std::vector<std::int32_t> level = genomic::read_genotype_xref(dir + "/snp.txt.xref", ped.n, g);

  step_timer tq;
  const genomic::qc_result kept = genomic::quality_control(g, {}, threads);
  const auto conflicts = genomic::parent_progeny_conflicts(g, kept, level, ped.ped);
  tq.stop("quality control", std::to_string(kept.markers.size()) + " markers kept, " +
                                 std::to_string(conflicts.size()) + " conflicts");

  std::vector<std::int32_t> glev;
  for (std::int32_t k : kept.animals) glev.push_back(level[static_cast<std::size_t>(k)]);
  step_timer ta;
  linalg::dense_matrix a22 = pedigree::relationship_block(ped.n, ped.ped_sorted, ped.inb_sorted, ped.perm, ped.groups(),
                                                          glev, glev, "Animal", "A22", threads);
  ta.stop("A22 by Colleau", std::to_string(glev.size()) + " columns");

  step_timer tg;
  linalg::dense_matrix gm = genomic::vanraden_g(g, kept, threads);
  const double flops = static_cast<double>(glev.size()) * glev.size() * kept.markers.size();
  tg.stop("G (rank-k updates)", std::to_string(static_cast<long long>(flops / tg.secs() / 1e9)) + " GFLOP/s");

  step_timer tt;
  genomic::apply_tuning(gm, genomic::tuning_to_a22(gm, a22));
  genomic::blend(gm, a22, 0.95, 0.05);
  tt.stop("tuning and blending");

  std::vector<std::int32_t> rows(glev);
  rows.insert(rows.end(), focal.begin(), focal.end());
  step_timer tf;
  const linalg::dense_matrix both = pedigree::relationship_block(ped.n, ped.ped_sorted, ped.inb_sorted, ped.perm,
                                                                 ped.groups(), rows, focal, "Animal", "A focal", threads);
  tf.stop("A focal columns (genotyped, focal rows)", std::to_string(focal.size()) + " columns");
  const int n2 = static_cast<int>(glev.size()), m = static_cast<int>(focal.size());
  linalg::dense_matrix a_2f(n2, m), a_ff(m, m);
  for (int j = 0; j < m; ++j) {
    for (int i = 0; i < n2; ++i) a_2f(i, j) = both(i, j);
    for (int i = 0; i < m; ++i) a_ff(i, j) = both(n2 + i, j);
  }
  step_timer th;
  const linalg::dense_matrix h = genomic::h_focal_closed_form(a_ff, a_2f, gm, a22, {}, {}, threads);
  th.stop("closed form of H(focal)");

  if (inverse) {
    step_timer tb;
    const genomic::genomic_block gb{glev, genomic::genomic_inverse_block(gm, a22, {}, {}, threads)};
    tb.stop("G^-1 - A22^-1");
    step_timer ts;
    std::vector<std::vector<int>> sets{std::vector<int>(focal.begin(), focal.end())};
    sparse::ija_matrix hinv = genomic::assemble_hinverse(ped.n, ped.n, ped.ped, ped.inb, gb, sets);
    ts.stop("H-inverse assembled", std::to_string(hinv.nnz()) + " elements");
    step_timer ti;
    const auto hs = genomic::focal_elements_of_inverse(hinv, sets, {threads, 0}, "H-inverse");
    double d = 0;
    for (std::size_t k = 0; k < h.a.size(); ++k) d = std::max(d, std::abs(h.a[k] - hs[0].a[k]));
    ti.stop("sparse inverse of H-inverse", "largest difference to the closed form " + std::to_string(d));
  }
  return 0;
}
