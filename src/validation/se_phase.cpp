// The standard-error phase.
#include "validation/se_phase.hpp"

#include <algorithm>
#include <cmath>
#include <optional>
#include <span>
#include <unordered_map>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"
#include "common/memory.hpp"
#include "statistics/analytical_se.hpp"
#include "statistics/bootstrap.hpp"
#include "statistics/cluster_bootstrap.hpp"
#include "statistics/ebv_pev_files.hpp"
#include "statistics/random.hpp"
#include "genomic/hinverse.hpp"
#include "genomic/single_step.hpp"
#include "pedigree/focal_relationships.hpp"

namespace ventrel::validation {
namespace {

std::size_t at(int t) { return static_cast<std::size_t>(t - 1); }

statistics::se_trait_input trait_input(const se_phase_input& in, const focal_set& set, int t) {
  statistics::se_trait_input x;
  x.trait = t;
  x.w = column(set.whole, t);
  x.p = column(set.partial, t);
  if (in.options.predictive_ability) x.y = column(set.phenotype, t);
  x.genetic_variance = in.genetic_variance[at(t)];
  x.gvar_focal = in.gvar_focal[at(t)];
  x.h2 = in.h2[at(t)];
  return x;
}

// How the focal animals of a set come in families: the share that has a paternal (or maternal)
// half- or full-sib among the focal animals, and the mean size of those families.
struct family_measure {
  double share = 0.0;        // focal animals with a sib by the same parent, over all
  double mean_size = 0.0;    // focal animals per parent, over the parents with two or more
  const char* parent = "";   // "sire" or "dam", whichever gives the larger share
};

family_measure families(const pedigree::pedigree_phase_result& ped, std::span<const int> levels) {
  family_measure best;
  for (const char* parent : {"sire", "dam"}) {
    std::unordered_map<std::int32_t, int> size;
    for (int a : levels) {
      if (a < 1 || a > ped.n || static_cast<std::size_t>(a) >= ped.ped.size()) continue;
      const std::int32_t c = parent[0] == 's' ? ped.ped[static_cast<std::size_t>(a)].sire
                                              : ped.ped[static_cast<std::size_t>(a)].dam;
      if (c >= 1 && c <= ped.n) ++size[c];
    }
    double in_families = 0, parents = 0;
    for (const auto& [code, k] : size)
      if (k >= 2) {
        in_families += k;
        ++parents;
      }
    const double share = levels.empty() ? 0.0 : in_families / static_cast<double>(levels.size());
    if (share > best.share) best = {share, parents > 0 ? in_families / parents : 0.0, parent};
  }
  return best;
}

std::string one_decimal(double v) {
  const std::string f = fmt_f(v, 12, 1);
  return f.substr(f.find_first_not_of(' '));
}

// The one warning of se boot (without clusters) and se approx when half or more of the focal
// animals have a sib by the same sire or dam among them, in families of 4 or more on average.
void warn_families(const se_phase_input& in, const focal_set& set, const char* method,
                   const char* instead) {
  const family_measure f = families(in.pedigree, set.levels);
  if (f.share < 0.5 || f.mean_size < 4.0) return;
  say("Warning: " + num(static_cast<int>(std::lround(100.0 * f.share))) +
      "% of the focal animals of " + set.file + " share a " + f.parent +
      " with another (mean family " + one_decimal(f.mean_size) + "); " + method +
      " treats them as independent and its SDs can be 2 to 4 times too small (more, the larger "
      "the families); use " + instead);
}

// Clusters of the set's focal animals for OPTION boot_clusters: by sire or dam (an animal whose
// parent is unknown is a cluster of its own), or from the user's file.
statistics::focal_clusters clusters_of(const se_phase_input& in, const focal_set& set) {
  const std::string& how = in.options.boot_clusters;
  std::vector<std::int64_t> label;
  if (how == "sire" || how == "dam") {
    const pedigree::pedigree_phase_result& ped = in.pedigree;
    for (std::size_t i = 0; i < set.levels.size(); ++i) {
      const int a = set.levels[i];
      std::int32_t c = 0;
      if (a >= 1 && a <= ped.n && static_cast<std::size_t>(a) < ped.ped.size())
        c = how == "sire" ? ped.ped[static_cast<std::size_t>(a)].sire : ped.ped[static_cast<std::size_t>(a)].dam;
      label.push_back(c >= 1 && c <= ped.n ? c : -1 - static_cast<std::int64_t>(i));
    }
  } else {
    label = statistics::read_cluster_labels(how, set.levels);
  }
  statistics::focal_clusters cl = statistics::clusters_from_labels(label);
  say(" Bootstrap over clusters of focal animals (" + how + "): " + num(cl.count()) +
      " clusters, the largest of " + num(cl.largest()));
  if (cl.count() < 30)
    say("Warning: only " + num(cl.count()) + " clusters of focal animals in " + set.file +
        "; with fewer than about 30 the intervals of the cluster bootstrap may be narrow");
  return cl;
}

void bootstrap_phase(const se_phase_input& in, std::vector<trait_report>& results) {
  statistics::rng generator;  // one stream for the whole run, from the default seeds
  for (const focal_set& set : in.sets) {
    const bool by_cluster = !in.options.boot_clusters.empty();
    const statistics::focal_clusters clusters = by_cluster ? clusters_of(in, set) : statistics::focal_clusters{};
    if (!by_cluster) warn_families(in, set, "se boot", "OPTION boot_clusters sire");
    for (int t : set.traits) {
      statistics::se_trait_input x = trait_input(in, set, t);
      results[at(t)].se =
          by_cluster ? statistics::cluster_bootstrap(x.w, x.p, x.y, x.gvar_focal, x.h2, clusters, in.options.nrepboot,
                                                     generator, in.options.nthreads)
                     : statistics::bootstrap(x.w, x.p, x.y, x.gvar_focal, x.h2, in.options.nrepboot, generator,
                                             in.options.nthreads);
    }
  }
}

// The sire family (0, 1, ... in order of first appearance) of each focal animal of a set, for
// se exact's scaling under selection; an animal whose sire is unknown is a family of its own.
std::vector<int> sire_families(const pedigree::pedigree_phase_result& ped, std::span<const int> levels) {
  std::unordered_map<std::int32_t, int> index;
  std::vector<int> family;
  int next = 0;
  for (int a : levels) {
    std::int32_t c = 0;
    if (a >= 1 && a <= ped.n && static_cast<std::size_t>(a) < ped.ped.size()) c = ped.ped[static_cast<std::size_t>(a)].sire;
    if (c >= 1 && c <= ped.n) {
      const auto [it, added] = index.try_emplace(c, next);
      if (added) ++next;
      family.push_back(it->second);
    } else {
      family.push_back(next++);
    }
  }
  return family;
}

// Reads one evaluation's ebv_pev file of a trait and compares its EBVs with the solutions.
statistics::ebv_pev read_pev(const se_phase_input& in, const focal_set& set, int t, statistics::evaluation e) {
  const std::string path = statistics::ebv_pev_file_name(t, e);
  const int nlev = in.model.nlev[at(in.options.focal_effect)];
  statistics::ebv_pev ep = statistics::read_ebv_pev(path, set.levels, nlev, in.options.nthreads);
  const bool whole = e == statistics::evaluation::whole;
  statistics::compare_ebv(path, ep.ebv, whole ? in.options.sol_whole : in.options.sol_partial,
                          column(whole ? set.whole : set.partial, t));
  return ep;
}

// Stops before the relationships among focal animals are allocated when they cannot fit. From an
// inverse relationship matrix they are a dense m x m matrix per set, all sets at once; from the
// pedigree they are computed a block of columns at a time (the sub-pedigree and per thread a
// workspace of 4 values per animal), one set at a time. Beside them the traces' work vectors,
// about 100 per animal, and the column sums, 7 per animal and trait.
void check_exact_memory(const se_phase_input& in, bool inverse) {
  double need = 0.0;
  const focal_set* largest = nullptr;
  for (const focal_set& s : in.sets) {
    const double m = static_cast<double>(s.n);
    const double traits = static_cast<double>(s.traits.size());
    const double beside = 800.0 * m + 56.0 * traits * m;
    const double bytes = inverse ? 8.0 * m * m + beside
                                 : pedigree::focal_relationship_columns_bytes(in.pedigree.n, s.n, 1 + 2 * static_cast<int>(s.traits.size()),
                                                                              in.options.nthreads) +
                                       beside;
    need = inverse ? need + bytes : std::max(need, bytes);
    if (!largest || s.n > largest->n) largest = &s;
  }
  const std::optional<std::string> lacking = largest ? lacking_memory(need) : std::nullopt;
  if (!lacking) return;
  const std::string who = in.sets.size() == 1 ? "the " + num(largest->n) + " focal animals of validation set file " + largest->file
                                               : "the focal animals (largest set: " + num(largest->n) + " animals of " +
                                                     largest->file + ")";
  fatal({"Not enough memory for OPTION se exact: the relationships among " + who + " need " + *lacking,
         "Alternatives: OPTION se approx (no relationships among focal animals), OPTION se boot (bootstrap),",
         "a smaller validation set, or a machine with more memory"});
}

// One set's exact standard errors, all its traits from one sweep over the columns of A_focal.
void exact_set(const se_phase_input& in, const focal_set& set, const linalg::symmetric_columns& a,
               std::vector<trait_report>& results) {
  const int nlev = in.model.nlev[at(in.options.focal_effect)];
  const std::size_t nt = set.traits.size();
  std::vector<statistics::ebv_pev> whole(nt), partial(nt);
  std::vector<statistics::pec_matrix> pec_w(nt), pec_p(nt);
  std::vector<statistics::se_trait_input> inputs;
  std::vector<statistics::se_exact_model> models;
  const std::vector<int> family = sire_families(in.pedigree, set.levels);
  for (std::size_t k = 0; k < nt; ++k) {
    const int t = set.traits[k];
    whole[k] = read_pev(in, set, t, statistics::evaluation::whole);
    partial[k] = read_pev(in, set, t, statistics::evaluation::partial);
    statistics::se_exact_model model{{}, whole[k].pev, partial[k].pev, nullptr, nullptr, family};
    const std::string fw = statistics::pec_file_name(t, statistics::evaluation::whole);
    const std::string fp = statistics::pec_file_name(t, statistics::evaluation::partial);
    if (file_exists(fw)) {
      pec_w[k] = statistics::read_pec(fw, set.levels, nlev, in.options.nthreads);
      model.pec_w = &pec_w[k];
    }
    if (file_exists(fp)) {
      pec_p[k] = statistics::read_pec(fp, set.levels, nlev, in.options.nthreads);
      model.pec_p = &pec_p[k];
    }
    inputs.push_back(trait_input(in, set, t));
    models.push_back(model);
  }
  const std::vector<statistics::se_result> r = statistics::se_exact(inputs, models, a);
  for (std::size_t k = 0; k < nt; ++k) results[at(set.traits[k])].se = r[k].intervals;
}

void exact_phase(const se_phase_input& in, std::vector<trait_report>& results,
                 std::vector<linalg::dense_matrix>* keep_a_focal) {
  const bool inverse = genomic::uses_inverse_relationships(in.genomic);
  check_exact_memory(in, inverse);
  std::vector<linalg::dense_matrix> a_inverse_way;
  if (inverse) {
    const int nlev = in.model.nlev[at(in.options.focal_effect)];
    std::vector<std::vector<int>> levels;
    for (const focal_set& set : in.sets) levels.push_back(set.levels);
    const genomic::inverse_settings sparse{in.options.num_threads_kelp, in.options.msg_morlo};
    if (in.options.read_hinverse)
      a_inverse_way = genomic::focal_relationships_from_inverse(in.options.hinverse_file, nlev, levels, sparse);
    else  // OPTION SNP_file: H built from the genotypes
      a_inverse_way = genomic::single_step_focal_relationships(in.genomic.single_step, in.pedigree, nlev, levels,
                                                               in.options.nthreads, sparse);
  }
  for (std::size_t s = 0; s < in.sets.size(); ++s) {
    const focal_set& set = in.sets[s];
    if (inverse) {
      const linalg::dense_matrix& a_focal = a_inverse_way[s];
      exact_set(in, set, linalg::dense_symmetric_columns(a_focal.a, a_focal.rows, in.options.nthreads), results);
    } else {
      say("Create A for the focal animals using Colleau");
      exact_set(in, set, pedigree::focal_relationship_columns(in.pedigree, set.levels, in.options.nthreads), results);
    }
  }
  if (inverse && keep_a_focal) *keep_a_focal = std::move(a_inverse_way);
}

void approx_phase(const se_phase_input& in, std::vector<trait_report>& results) {
  for (const focal_set& set : in.sets) {
    warn_families(in, set, "se approx", "OPTION se exact, or se boot with OPTION boot_clusters sire");
    std::vector<double> diag_a(set.inb.size());
    for (std::size_t i = 0; i < diag_a.size(); ++i) diag_a[i] = 1.0 + set.inb[i];
    statistics::accuracy_column kind = set.extra == extra_column::acc  ? statistics::accuracy_column::acc
                                       : set.extra == extra_column::se ? statistics::accuracy_column::se
                                                                       : statistics::accuracy_column::none;
    for (int t : set.traits) {
      const double s2 = in.genetic_variance[at(t)];
      std::vector<double> r_w = statistics::approx_accuracies(kind, column(set.whole_extra, t), diag_a, s2);
      std::vector<double> r_p = statistics::approx_accuracies(kind, column(set.partial_extra, t), diag_a, s2);
      statistics::se_approx_model model{diag_a, r_w, r_p};
      results[at(t)].se = statistics::se_approx(trait_input(in, set, t), model).intervals;
    }
  }
}

}  // namespace

void run_se_phase(const se_phase_input& in, std::vector<trait_report>& results,
                  std::vector<linalg::dense_matrix>* keep_a_focal) {
  switch (in.options.se) {
    case se_method::boot: bootstrap_phase(in, results); break;
    case se_method::exact: exact_phase(in, results, keep_a_focal); break;
    case se_method::approx: approx_phase(in, results); break;
    case se_method::none: break;
  }
}

}  // namespace ventrel::validation
