// Validation by groups: the group file and the statistics of every group of focal animals.
#include "validation/groups.hpp"

#include <algorithm>
#include <array>
#include <span>

#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"
#include "pedigree/focal_relationships.hpp"
#include "statistics/analytical_se.hpp"
#include "statistics/bootstrap.hpp"
#include "statistics/cluster_bootstrap.hpp"
#include "statistics/ebv_pev_files.hpp"
#include "statistics/lr_statistics.hpp"
#include "statistics/random.hpp"

namespace ventrel::validation {
namespace {

std::size_t at(int t) { return static_cast<std::size_t>(t - 1); }

// Column t of m restricted to the given rows; empty when m is empty.
std::vector<double> rows_of(const linalg::dense_matrix& m, int t, const std::vector<int>& rows) {
  std::vector<double> out;
  if (m.rows == 0 || m.cols == 0) return out;
  out.reserve(rows.size());
  for (int r : rows) out.push_back(m(r, t - 1));
  return out;
}

// The animals of one group in one set, with their rows in the set.
struct member_rows {
  int set = 0;              // from 0
  int group = 0;            // index in names
  std::vector<int> rows;    // rows of the set's arrays
  std::vector<int> levels;  // their levels, same order
};

std::vector<member_rows> members(const group_phase_input& in) {
  std::vector<member_rows> out;
  for (std::size_t s = 0; s < in.sets.size(); ++s)
    for (std::size_t g = 0; g < in.groups.names.size(); ++g) {
      member_rows m{static_cast<int>(s), static_cast<int>(g), {}, {}};
      const std::vector<int>& of_row = in.groups.of_row[s];
      for (std::size_t r = 0; r < of_row.size(); ++r)
        if (of_row[r] == static_cast<int>(g)) {
          m.rows.push_back(static_cast<int>(r));
          m.levels.push_back(in.sets[s].levels[r]);
        }
      out.push_back(std::move(m));
    }
  return out;
}

// The clusters of a group's animals under OPTION boot_clusters, as for the whole set: by sire or
// dam (an animal whose parent is unknown is a cluster of its own) or from the user's file.
statistics::focal_clusters clusters_of(const group_phase_input& in, const member_rows& g) {
  const std::string& how = in.options.boot_clusters;
  std::vector<std::int64_t> label;
  if (how == "sire" || how == "dam") {
    const pedigree::pedigree_phase_result& ped = in.pedigree;
    for (std::size_t i = 0; i < g.levels.size(); ++i) {
      const int a = g.levels[i];
      std::int32_t c = 0;
      if (a >= 1 && a <= ped.n && static_cast<std::size_t>(a) < ped.ped.size())
        c = how == "sire" ? ped.ped[static_cast<std::size_t>(a)].sire : ped.ped[static_cast<std::size_t>(a)].dam;
      label.push_back(c >= 1 && c <= ped.n ? c : -1 - static_cast<std::int64_t>(i));
    }
  } else {
    label = statistics::read_cluster_labels(how, g.levels);
  }
  return statistics::clusters_from_labels(label);
}

// The exact model traces of one group, every trait of its set from one sweep over the columns of
// the relationships among its animals (a), with their PEVs and, when the files exist, their
// prediction error covariances; without covariances the trait's flag in no_pec is set.
std::vector<statistics::trace_scalars> exact_group_traces(const group_phase_input& in, const member_rows& g,
                                                          const linalg::symmetric_columns& a, std::vector<bool>& no_pec) {
  const int nlev = in.model.nlev[at(in.options.focal_effect)];
  const focal_set& set = in.sets[static_cast<std::size_t>(g.set)];
  using statistics::evaluation;
  const std::size_t nt = set.traits.size();
  std::vector<statistics::ebv_pev> whole(nt), partial(nt);
  std::vector<statistics::pec_matrix> pec_w(nt), pec_p(nt);
  std::vector<std::vector<double>> w(nt), p(nt), y(nt);
  std::vector<statistics::se_trait_input> inputs(nt);
  std::vector<statistics::se_exact_model> models(nt);
  no_pec.assign(nt, false);
  for (std::size_t k = 0; k < nt; ++k) {
    const int t = set.traits[k];
    whole[k] = statistics::read_ebv_pev(statistics::ebv_pev_file_name(t, evaluation::whole), g.levels, nlev,
                                          in.options.nthreads);
    partial[k] = statistics::read_ebv_pev(statistics::ebv_pev_file_name(t, evaluation::partial), g.levels, nlev,
                                            in.options.nthreads);
    statistics::se_exact_model& model = models[k];
    model.pev_w = whole[k].pev;
    model.pev_p = partial[k].pev;
    const std::string fw = statistics::pec_file_name(t, evaluation::whole);
    const std::string fp = statistics::pec_file_name(t, evaluation::partial);
    if (file_exists(fw)) {
      pec_w[k] = statistics::read_pec(fw, g.levels, nlev, in.options.nthreads);
      model.pec_w = &pec_w[k];
    }
    if (file_exists(fp)) {
      pec_p[k] = statistics::read_pec(fp, g.levels, nlev, in.options.nthreads);
      model.pec_p = &pec_p[k];
    }
    no_pec[k] = !model.pec_w && !model.pec_p;
    w[k] = rows_of(set.whole, t, g.rows);
    p[k] = rows_of(set.partial, t, g.rows);
    if (in.options.predictive_ability) y[k] = rows_of(set.phenotype, t, g.rows);
    statistics::se_trait_input& x = inputs[k];
    x.trait = t;
    x.w = w[k];
    x.p = p[k];
    x.y = y[k];
    x.genetic_variance = in.genetic_variance[at(t)];
    x.h2 = in.h2[at(t)];
  }
  return statistics::exact_trace_scalars(inputs, models, a);
}

// The relationships among a group's animals: its rows and columns of the set's A_focal when that
// is held (from an inverse relationship matrix), else by Colleau's products over the group's
// animals and their ancestors, a block of columns at a time.
std::vector<statistics::trace_scalars> exact_group(const group_phase_input& in, const member_rows& g,
                                                   std::vector<bool>& no_pec) {
  if (in.a_focal.empty())
    return exact_group_traces(in, g, pedigree::focal_relationship_columns(in.pedigree, g.levels, in.options.nthreads),
                              no_pec);
  const linalg::dense_matrix& a = in.a_focal[static_cast<std::size_t>(g.set)];
  const int m = static_cast<int>(g.rows.size());
  linalg::dense_matrix sub(m, m);
  for (int j = 0; j < m; ++j)
    for (int i = j; i < m; ++i) sub(i, j) = a(g.rows[static_cast<std::size_t>(i)], g.rows[static_cast<std::size_t>(j)]);
  return exact_group_traces(in, g, linalg::dense_symmetric_columns(sub.a, m, in.options.nthreads), no_pec);
}

statistics::se_result approx_group(const focal_set& set, const member_rows& g, int t,
                                   const statistics::se_trait_input& x) {
  std::vector<double> diag_a;
  for (int r : g.rows) diag_a.push_back(1.0 + (set.inb.empty() ? 0.0 : set.inb[static_cast<std::size_t>(r)]));
  const statistics::accuracy_column kind = set.extra == extra_column::acc  ? statistics::accuracy_column::acc
                                           : set.extra == extra_column::se ? statistics::accuracy_column::se
                                                                           : statistics::accuracy_column::none;
  const std::vector<double> r_w = statistics::approx_accuracies(kind, rows_of(set.whole_extra, t, g.rows), diag_a, x.genetic_variance);
  const std::vector<double> r_p = statistics::approx_accuracies(kind, rows_of(set.partial_extra, t, g.rows), diag_a, x.genetic_variance);
  const statistics::se_approx_model model{diag_a, r_w, r_p};
  return statistics::intervals_from_traces(x, statistics::approx_trace_scalars(x, model));
}

}  // namespace

validation_groups read_validation_groups(const std::string& path, const std::vector<focal_set>& sets) {
  validation_groups out;
  out.file = path;
  if (!file_exists(path) || is_directory(path)) fatal("Validation groups file " + path + " does not exist");
  // Every focal level: the set and row of each of its appearances.
  const focal_index index = index_focal_levels(sets, 0);
  std::vector<std::int64_t> line_of(index.levels.size(), 0);
  std::vector<int> group_of(index.levels.size(), -1);
  line_reader r(path);
  std::array<std::string_view, 2> f;
  std::string_view line;
  bool any = false;
  while (r.next(line)) {
    const std::size_t k = split_fields(line, f);
    if (k == 0) continue;
    const std::string where = at_line(path, r.line_number());
    if (k < 2) fatal({"Validation groups file: a line must hold a level and a group name, found: " + excerpt(line), where});
    std::int64_t level = 0;
    if (!parse_int(f[0], level))
      fatal({"Validation groups file: the first value of a line must be a level (a whole number), found: " + excerpt(f[0]),
             where});
    const std::int32_t slot = level > 0 && level <= INT32_MAX ? index.slot(level) : 0;
    if (slot == 0)
      fatal({"Validation groups file: level " + num(level) + " is not a focal animal of any validation-set file", where});
    const std::size_t d = static_cast<std::size_t>(slot - 1);
    if (line_of[d] != 0)
      fatal({"Validation groups file: level " + num(level) + " is given twice (first on line " + num(line_of[d]) + ")",
             where});
    const std::string name(f[1]);
    if (name == "all")
      fatal({"Validation groups file: the group name all is kept for every focal animal; choose another name", where});
    std::size_t g = 0;
    while (g < out.names.size() && out.names[g] != name) ++g;
    if (g == out.names.size()) out.names.push_back(name);
    line_of[d] = r.line_number();
    group_of[d] = static_cast<int>(g);
    any = true;
  }
  if (!any) fatal("Validation groups file " + path + " holds no animal");
  for (const focal_set& s : sets) {
    std::vector<int> rows(s.levels.size(), -1);
    for (std::size_t i = 0; i < rows.size(); ++i) rows[i] = group_of[static_cast<std::size_t>(index.slot(s.levels[i]) - 1)];
    out.of_row.push_back(std::move(rows));
  }
  return out;
}

std::vector<results_block> group_blocks(const group_phase_input& in) {
  std::vector<results_block> out;
  if (in.groups.names.empty()) return out;
  const std::vector<member_rows> groups = members(in);
  const validation_options& o = in.options;

  // se exact: the traces of every group of 2 or more animals, all its set's traits at once.
  std::vector<std::vector<statistics::trace_scalars>> traces(groups.size());
  std::vector<std::vector<bool>> no_pec(groups.size());
  if (o.se == se_method::exact) {
    if (!in.a_focal.empty() && in.a_focal.size() != in.sets.size())
      fatal("Validation groups: the relationships among the focal animals were not kept");
    for (std::size_t k = 0; k < groups.size(); ++k)
      if (groups[k].rows.size() >= 2) traces[k] = exact_group(in, groups[k], no_pec[k]);
  }

  statistics::rng generator;  // the groups' own stream, from the default seeds
  for (std::size_t s = 0; s < in.sets.size(); ++s) {
    const focal_set& set = in.sets[s];
    for (int t : set.traits)
      for (std::size_t k = 0; k < groups.size(); ++k) {
        const member_rows& g = groups[k];
        if (g.set != static_cast<int>(s)) continue;
        results_block b;
        b.set = static_cast<int>(s) + 1;
        b.group = in.groups.names[static_cast<std::size_t>(g.group)];
        b.partial_file = o.sol_partial;
        b.trait = t;
        b.n = static_cast<int>(g.rows.size());
        b.h2 = in.h2[at(t)];
        b.stats.genetic_variance = in.genetic_variance[at(t)];
        if (o.focal_var == "inb" && b.n > 0) {
          double f = 0;
          for (int r : g.rows) f += set.inb.empty() ? 0.0 : set.inb[static_cast<std::size_t>(r)];
          b.gvar_focal = in.genetic_variance[at(t)] * (1.0 - f / b.n);
        } else {
          b.gvar_focal = in.gvar_focal[at(t)];
        }
        if (b.n < 2) {
          b.notes.push_back(fewer_than_two);
          out.push_back(std::move(b));
          continue;
        }
        const std::vector<double> w = rows_of(set.whole, t, g.rows);
        const std::vector<double> p = rows_of(set.partial, t, g.rows);
        const std::vector<double> y = o.predictive_ability ? rows_of(set.phenotype, t, g.rows) : std::vector<double>{};
        b.computed = true;
        b.stats.value = statistics::compute_lr(w, p, y, b.gvar_focal, b.h2);
        statistics::se_trait_input x;
        x.trait = t;
        x.w = w;
        x.p = p;
        x.y = y;
        x.genetic_variance = in.genetic_variance[at(t)];
        x.gvar_focal = b.gvar_focal;
        x.h2 = b.h2;
        switch (o.se) {
          case se_method::boot:
            b.stats.se = o.boot_clusters.empty()
                             ? statistics::bootstrap(w, p, y, b.gvar_focal, b.h2, o.nrepboot, generator, o.nthreads)
                             : statistics::cluster_bootstrap(w, p, y, b.gvar_focal, b.h2, clusters_of(in, g),
                                                             o.nrepboot, generator, o.nthreads);
            break;
          case se_method::exact: {
            const std::size_t ti = static_cast<std::size_t>(std::find(set.traits.begin(), set.traits.end(), t) - set.traits.begin());
            // The correlations at the model's moments, as for the whole set; a group's model is not
            // scaled under selection, and there the observed moments are taken (moments::model
            // keeps them where the model is far off), which keeps its intervals on the wide side.
            statistics::se_result r = statistics::intervals_from_traces(x, traces[k][ti], statistics::moments::model);
            if (no_pec[k][ti])
              r.warnings.insert(r.warnings.begin(), "Warning: no prediction error covariances for trait " + num(t) +
                                                        "; standard errors are conservative");
            b.stats.se = r.intervals;
            b.notes = r.warnings;
            break;
          }
          case se_method::approx: {
            statistics::se_result r = approx_group(set, g, t, x);
            b.stats.se = r.intervals;
            b.notes = r.warnings;
            break;
          }
          case se_method::none: break;
        }
        add_whole_partial_figures(b, w, p);
        out.push_back(std::move(b));
      }
  }
  return out;
}

std::vector<std::string> group_report_lines(const std::vector<results_block>& blocks, bool with_se,
                                            bool predictive_ability) {
  std::vector<std::string> out;
  for (const results_block& b : blocks) {
    const std::string title = " Cross-validation statistics for trait: " + fmt_i(b.trait, 3) + "  group: " + b.group +
                              "  animals: " + num(b.n);
    if (!b.computed) {
      out.insert(out.end(), {title, " Fewer than 2 animals: no statistics", ""});
      continue;
    }
    for (std::string& line : report_block(title, b.stats, with_se, predictive_ability)) out.push_back(std::move(line));
  }
  return out;
}

}  // namespace ventrel::validation
