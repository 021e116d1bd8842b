// The genomic relationships of a single-step evaluation, in order.
#include "genomic/single_step.hpp"

#include <optional>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/memory.hpp"
#include "genomic/genotype_xref.hpp"
#include "genomic/genotypes.hpp"
#include "genomic/hinverse_build.hpp"
#include "genomic/hinverse_save.hpp"
#include "genomic/tune_blend.hpp"
#include "genomic/vanraden_g.hpp"
#include "pedigree/relationship_block.hpp"

namespace ventrel::genomic {
namespace {

linalg::dense_matrix block(const pedigree::pedigree_phase_result& ped, const std::vector<std::int32_t>& rows,
                           const std::vector<std::int32_t>& cols, const char* label, int nthreads) {
  return pedigree::relationship_block(ped.n, ped.ped_sorted, ped.inb_sorted, ped.perm, ped.groups(), rows, cols,
                                      "Genotyped or focal animal", label, nthreads);
}

void symmetrise(linalg::dense_matrix& a) {
  for (int j = 0; j < a.cols; ++j)
    for (int i = j + 1; i < a.rows; ++i) {
      const double v = 0.5 * (a(i, j) + a(j, i));
      a(i, j) = v;
      a(j, i) = v;
    }
}

std::string weight(double w) { return fmt_f(w, 12, 6); }

// Stops before G is formed when the dense matrices of the genotyped animals cannot fit. Either
// way to H among the focal animals holds four matrices of order n2 at once (G, A22 and a
// factor or inverse of each), beside three of n2 x m and two of m x m; the genotypes are
// already read. A lower bound: what it leaves out (work blocks, the pedigree) is small beside.
void check_genomic_memory(std::int64_t n2, std::int64_t m) {
  const double n = static_cast<double>(n2), f = static_cast<double>(m);
  const std::optional<std::string> lacking = lacking_memory(8.0 * (4.0 * n * n + 3.0 * n * f + 2.0 * f * f));
  if (!lacking) return;
  fatal({"Not enough memory for H from the genotypes: the relationships of the " + num(n2) + " genotyped and " + num(m) +
             " focal animals need at least " + *lacking,
         "Alternatives: OPTION se approx (no relationships among focal animals), OPTION se boot (bootstrap),",
         "or a machine with more memory"});
}

}  // namespace

genomic_matrices genomic_relationship_matrices(const single_step_settings& s, const genotype_table& g,
                                               const qc_result& kept, const std::vector<std::int32_t>& level,
                                               const pedigree::pedigree_phase_result& ped, int nthreads) {
  genomic_matrices m;
  m.levels.resize(kept.animals.size());
  for (std::size_t k = 0; k < m.levels.size(); ++k) m.levels[k] = level[static_cast<std::size_t>(kept.animals[k])];
  m.a22 = block(ped, m.levels, m.levels, "A22", nthreads);
  symmetrise(m.a22);
  m.g = vanraden_g(g, kept, nthreads);
  if (s.tune) {
    m.tuning = tuning_to_a22(m.g, m.a22);
    apply_tuning(m.g, m.tuning);
  }
  if (s.alpha != 1.0 || s.beta != 0.0) blend(m.g, m.a22, s.alpha, s.beta);
  return m;
}

void check_single_step_pedigree(bool metafounders) {
  if (metafounders)
    fatal({"H from genotypes (OPTION SNP_file) is not available with metafounders",
           "Give the inverse relationship matrix with OPTION readHInverse"});
}

std::vector<linalg::dense_matrix> single_step_focal_relationships(const single_step_settings& s,
                                                                  const pedigree::pedigree_phase_result& ped, int nlev,
                                                                  const std::vector<std::vector<int>>& sets, int nthreads,
                                                                  const inverse_settings& sparse) {
  check_single_step_pedigree(ped.groups().metafounders());
  const genotype_table g = read_genotypes(s.snp_file);
  say("* Genotypes read from " + s.snp_file + ": " + num(g.animals) + " animals, " + num(g.markers) + " markers");
  const std::string xref = s.xref_file.empty() ? s.snp_file + ".xref" : s.xref_file;
  const std::vector<std::int32_t> level = read_genotype_xref(xref, nlev, g);

  const qc_result kept = quality_control(g, s.qc, nthreads);
  print_quality_control(kept, s.qc);
  if (kept.animals.empty() || kept.markers.empty())
    fatal({"No genotyped animal or no marker is left after quality control",
           "Lower OPTION marker_callrate, OPTION animal_callrate or OPTION min_maf"});
  report_parent_progeny_conflicts(g, level, parent_progeny_conflicts(g, kept, level, ped.ped));
  std::int64_t focal = 0;
  for (const auto& set : sets) focal += static_cast<std::int64_t>(set.size());
  check_genomic_memory(static_cast<std::int64_t>(kept.animals.size()), focal);

  genomic_matrices mats = genomic_relationship_matrices(s, g, kept, level, ped, nthreads);
  const std::vector<std::int32_t>& glev = mats.levels;
  const linalg::dense_matrix& a22 = mats.a22;
  const linalg::dense_matrix& gm = mats.g;
  if (s.tune)
    say("* G tuned to A22: a + b G with a =" + weight(mats.tuning.a) + " and b =" + weight(mats.tuning.b));
  if (s.alpha != 1.0 || s.beta != 0.0) say("* G blended: " + num(s.alpha) + " G + " + num(s.beta) + " A22");
  if (s.weights.tau == s.weights.omega)
    say("wGimA22i" + weight(s.weights.tau));
  else
    say("wGi,wA22i" + weight(s.weights.tau) + weight(s.weights.omega));

  pd_context context{&g, &kept,
                     "OPTION blend_G " + num(s.alpha) + " " + num(s.beta) + ", OPTION min_maf " + num(s.qc.min_maf) +
                         ", OPTION marker_callrate " + num(s.qc.marker_callrate) + ", OPTION animal_callrate " +
                         num(s.qc.animal_callrate)};
  const bool assemble = s.way == h_focal_way::inverse || !s.save_file.empty();
  sparse::ija_matrix hinv;
  if (assemble) {
    genomic_block gb{glev, genomic_inverse_block(gm, a22, s.weights, context, nthreads)};
    hinv = assemble_hinverse(nlev, ped.n, ped.ped, ped.inb, gb,
                             s.way == h_focal_way::inverse ? sets : std::vector<std::vector<int>>{});
    if (!s.save_file.empty()) {
      save_h_inverse(s.save_file, hinv);
      say("* H-inverse written to " + s.save_file);
    }
  }

  std::vector<linalg::dense_matrix> out;
  if (s.way == h_focal_way::inverse) {
    say("* H among the focal animals: sparse inverse of H-inverse");
    return focal_elements_of_inverse(hinv, sets, sparse, "H-inverse built from the genotypes of " + s.snp_file);
  }
  hinv = sparse::ija_matrix();
  say("* H among the focal animals: closed form from A, A22 and G");
  std::vector<std::int32_t> all;
  for (const auto& set : sets) all.insert(all.end(), set.begin(), set.end());
  std::vector<std::int32_t> rows(glev);
  rows.insert(rows.end(), all.begin(), all.end());
  const linalg::dense_matrix both = block(ped, rows, all, "relationships of the focal animals", nthreads);
  const int n2 = static_cast<int>(glev.size()), m = static_cast<int>(all.size());
  linalg::dense_matrix a_2f(n2, m), a_ff(m, m);
  for (int j = 0; j < m; ++j) {
    for (int i = 0; i < n2; ++i) a_2f(i, j) = both(i, j);
    for (int i = 0; i < m; ++i) a_ff(i, j) = both(n2 + i, j);
  }
  symmetrise(a_ff);
  const linalg::dense_matrix h = h_focal_closed_form(a_ff, a_2f, gm, a22, s.weights, context, nthreads);
  int offset = 0;
  for (const auto& set : sets) {
    const int k = static_cast<int>(set.size());
    linalg::dense_matrix hs(k, k);
    for (int j = 0; j < k; ++j)
      for (int i = 0; i < k; ++i) hs(i, j) = h(offset + i, offset + j);
    out.push_back(std::move(hs));
    offset += k;
  }
  return out;
}

}  // namespace ventrel::genomic
