// The family bootstrap (OPTION boot_clusters): resampling whole clusters of focal animals (sire
// or dam families, or groups the user gives), for focal animals that are not independent.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "statistics/lr_results.hpp"
#include "statistics/random.hpp"

namespace ventrel::statistics {

// The focal animals of one set grouped in clusters: cluster c holds the positions
// members[start[c]] .. members[start[c+1]-1] (positions from 0 in the set's order).
struct focal_clusters {
  std::vector<std::int64_t> start = {0};  // count() + 1 offsets into members
  std::vector<int> members;               // every position once, grouped by cluster
  int count() const { return static_cast<int>(start.size()) - 1; }
  int largest() const;                    // animals in the largest cluster; 0 when none
};

// Clusters from one label per focal animal: equal labels share a cluster; clusters are numbered
// in order of first appearance and keep the animals in the set's order. O(m log m).
focal_clusters clusters_from_labels(std::span<const std::int64_t> label);

// Cluster labels of the focal animals (levels of the validation effect, in the set's order) from
// a file of lines "level cluster" (free format; the cluster is any word). Lines of animals that
// are not focal are skipped. A line without two values, a focal animal given twice or one
// without a line stops the run naming the file (and the lines or the level). One pass.
std::vector<std::int64_t> read_cluster_labels(const std::string& path, std::span<const int> focal);

// The 97.5% point of Student's t with df degrees of freedom: by bisection on the distribution
// function up to 30, by the Cornish-Fisher expansion above; NaN for df < 1.
double t_quantile_975(int df);

// The delete-one-cluster jackknife variances of the statistics (fields of the result hold
// variances): with theta_c the value without cluster c and theta_. their mean,
// (C - 1) / C sum_c (theta_c - theta_.)^2, pred_ability only with y. From the clusters' sums of
// the data centred at the whole set's means, O(m + C). NaN when C < 2, and for a statistic
// without a value once some cluster is left out (e.g. all but one animal in one cluster).
lr_values jackknife_variances(std::span<const double> w, std::span<const double> p,
                              std::span<const double> y, double gvar_focal, double h2,
                              const focal_clusters& clusters);

// One effect and trait: nrepboot replicates, each drawing C = clusters.count() clusters with
// generator.random_integer(1, C) and taking every animal of each drawn cluster (rows of w, p and
// y together), so a replicate holds a varying number of animals. Replicate statistics as
// compute_lr. The variance is the larger of that of the replicates times C / (C - 1) (the
// cluster bootstrap's own bias) and the delete-one-cluster jackknife's on the same clusters
// (jackknife_variances; not finite: the bootstrap's alone), and the limits are those of the
// analytical methods with its SD and t(C - 1) in place of the normal point: bias and
// dispersion symmetric, the correlations by Fisher's z, the reliability by Fisher's z on its
// square root.
//
// Replicate r (0-based) uses draws r*C+1 .. (r+1)*C of the generator's current stream, so the
// results are the same for any thread count; on return the generator stands where nrepboot*C
// sequential draws leave it. nthreads = 0 uses the thread runtime's current setting.
lr_intervals cluster_bootstrap(std::span<const double> w, std::span<const double> p,
                               std::span<const double> y, double gvar_focal, double h2,
                               const focal_clusters& clusters, std::int32_t nrepboot,
                               rng& generator, int nthreads = 0);

}  // namespace ventrel::statistics
