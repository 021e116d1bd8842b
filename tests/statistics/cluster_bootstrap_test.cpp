// The family bootstrap: clusters from labels and files, the t points, the jackknife on the
// clusters, the resampling against the plain bootstrap and a sequential loop, and the same
// figures for any thread count.
#include "statistics/cluster_bootstrap.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "statistics/analytical_se.hpp"
#include "statistics/bootstrap.hpp"
#include "statistics/lr_statistics.hpp"
#include "statistics/vector_stats.hpp"
#include "stats_test_util.hpp"

namespace ventrel::statistics {
namespace {

using testing::focal_data;

constexpr double gvar = 0.8;
constexpr double h2 = 0.3;

TEST(cluster_bootstrap, clusters_keep_first_appearance_and_set_order) {
  const std::vector<std::int64_t> label = {7, -1, 7, 3, -2, 3, 7};
  const focal_clusters c = clusters_from_labels(label);
  EXPECT_EQ(c.count(), 4);
  EXPECT_EQ(c.start, (std::vector<std::int64_t>{0, 3, 4, 6, 7}));
  EXPECT_EQ(c.members, (std::vector<int>{0, 2, 6, 1, 3, 5, 4}));
  EXPECT_EQ(c.largest(), 3);
  EXPECT_EQ(clusters_from_labels({}).count(), 0);
}

TEST(cluster_bootstrap, cluster_file_gives_labels_in_set_order_and_stops_on_gaps) {
  const std::string path =
      test_support::write_temp("cl1", "5 herdA\n\n9 herdB\n2,herdB extra\n7 herdA\n");
  const std::vector<std::int64_t> got = read_cluster_labels(path, std::vector<int>{7, 2, 5});
  EXPECT_EQ(got[0], got[2]);
  EXPECT_NE(got[0], got[1]);
  EXPECT_EQ(test_support::stop_lines([&] { read_cluster_labels(path, std::vector<int>{5, 4}); })[0],
            "Focal animal 4 has no cluster in " + path);
  const std::string twice = test_support::write_temp("cl2", "5 a\n5 b\n");
  EXPECT_EQ(test_support::stop_lines([&] { read_cluster_labels(twice, std::vector<int>{5}); })[0],
            "Focal animal 5 is given twice: file " + twice + ", line 1 and line 2");
}

TEST(cluster_bootstrap, t_points_match_the_tables) {
  const double table[][2] = {{1, 12.7062}, {2, 4.3027}, {3, 3.1824}, {5, 2.5706},
                             {14, 2.1448}, {29, 2.0452}, {100, 1.9840}};
  for (const auto& row : table) EXPECT_NEAR(t_quantile_975(static_cast<int>(row[0])), row[1], 2e-4);
  EXPECT_TRUE(std::isnan(t_quantile_975(0)));
}

// The delete-one-cluster jackknife variances formed the plain way: compute_lr on the rows
// without each cluster, then (C - 1) / C times the sum of squares about the mean.
lr_values brute_jackknife(const focal_data& d, const focal_clusters& cl) {
  const int c = cl.count();
  std::vector<std::vector<double>> t(5);
  for (int k = 0; k < c; ++k) {
    focal_data b;
    for (int j = 0; j < c; ++j)
      for (std::int64_t e = cl.start[j]; e < cl.start[j + 1] && j != k; ++e) {
        const auto i = static_cast<std::size_t>(cl.members[static_cast<std::size_t>(e)]);
        b.w.push_back(d.w[i]);
        b.p.push_back(d.p[i]);
        b.y.push_back(d.y[i]);
      }
    const lr_values v = compute_lr(b.w, b.p, b.y, gvar, h2);
    for (const auto& [q, x] : {std::pair{0, v.bias}, {1, v.dispersion}, {2, v.ratio_acc}, {3, v.reliability},
                               {4, v.pred_ability}})
      t[q].push_back(x);
  }
  std::vector<double> out;
  for (const std::vector<double>& x : t) {
    double mean = 0.0, ss = 0.0;
    for (double e : x) mean += e / c;
    for (double e : x) ss += (e - mean) * (e - mean);
    out.push_back((c - 1.0) / c * ss);
  }
  return {out[0], out[1], out[2], out[3], out[4]};
}

// Families of varying size (and a family of one): the jackknife from the clusters' sums equals
// the plain one; one cluster gives none.
TEST(cluster_bootstrap, jackknife_variances_match_leaving_each_cluster_out) {
  const focal_data d = testing::make_focal_data(57, 5);
  std::vector<std::int64_t> label;
  for (int i = 0; i < 57; ++i) label.push_back(i == 56 ? 99 : (i * 7) % 11);
  const focal_clusters cl = clusters_from_labels(label);
  const lr_values got = jackknife_variances(d.w, d.p, d.y, gvar, h2, cl);
  const lr_values want = brute_jackknife(d, cl);
  for (const auto& [g, x] : {std::pair{got.bias, want.bias}, {got.dispersion, want.dispersion},
                             {got.ratio_acc, want.ratio_acc}, {got.reliability, want.reliability},
                             {got.pred_ability, want.pred_ability}}) {
    EXPECT_GT(x, 0.0);
    EXPECT_NEAR(g, x, 1e-9 * x);
  }
  EXPECT_TRUE(std::isnan(jackknife_variances(d.w, d.p, {}, gvar, h2, cl).pred_ability));
  EXPECT_TRUE(std::isnan(jackknife_variances(d.w, d.p, d.y, gvar, h2, clusters_from_labels(std::vector<std::int64_t>(57, 1))).bias));
}

// One animal per cluster in set order: cluster k is animal k, so the draws and replicates are
// those of the plain bootstrap; the variance is its variance times C / (C - 1), or the
// jackknife's when that is larger.
TEST(cluster_bootstrap, singletons_give_the_plain_bootstrap_variances) {
  const focal_data d = testing::make_focal_data(40, 3);
  std::vector<std::int64_t> label(40);
  for (int i = 0; i < 40; ++i) label[static_cast<std::size_t>(i)] = 100 - i;
  rng a, b;
  const lr_intervals plain = bootstrap(d.w, d.p, d.y, gvar, h2, 300, a, 1);
  const lr_intervals clus = cluster_bootstrap(d.w, d.p, d.y, gvar, h2, clusters_from_labels(label), 300, b, 1);
  EXPECT_EQ(a.current(), b.current());
  const interval* p[] = {&plain.bias, &plain.dispersion, &plain.ratio_acc, &plain.reliability, &plain.pred_ability};
  const interval* c[] = {&clus.bias, &clus.dispersion, &clus.ratio_acc, &clus.reliability, &clus.pred_ability};
  const lr_values jk = jackknife_variances(d.w, d.p, d.y, gvar, h2, clusters_from_labels(label));
  const double j[] = {jk.bias, jk.dispersion, jk.ratio_acc, jk.reliability, jk.pred_ability};
  for (int k = 0; k < 5; ++k) {
    const double want = std::max(p[k]->variance * 40.0 / 39.0, j[k]);
    EXPECT_NEAR(c[k]->variance, want, 1e-12 * want) << k;
  }
  const lr_values v = compute_lr(d.w, d.p, d.y, gvar, h2);
  const double q = t_quantile_975(39);
  const interval bias = normal_interval(v.bias, clus.bias.variance, q);
  EXPECT_EQ(clus.bias.lower, bias.lower);
  EXPECT_EQ(clus.bias.upper, bias.upper);
  const interval rel = squared_correlation_interval(v.reliability, clus.reliability.variance, q);
  EXPECT_EQ(clus.reliability.lower, rel.lower);
}

// Families of varying size: a sequential loop of C draws per replicate taking whole families,
// compute_lr on the gathered rows; the same for 1, 2 and 3 threads, the generator left where
// the sequential loop leaves it.
TEST(cluster_bootstrap, any_thread_count_gives_the_sequential_figures) {
  const focal_data d = testing::make_focal_data(60, 11);
  std::vector<std::int64_t> label;
  for (int i = 0; i < 60; ++i) label.push_back((i * i) % 13);
  const focal_clusters cl = clusters_from_labels(label);
  const int nrep = 250, c = cl.count();
  rng seq;
  std::vector<double> disp, rel;
  for (int r = 0; r < nrep; ++r) {
    focal_data b;
    for (int k = 0; k < c; ++k) {
      const int j = seq.random_integer(1, c) - 1;
      for (std::int64_t e = cl.start[j]; e < cl.start[j + 1]; ++e) {
        const auto i = static_cast<std::size_t>(cl.members[static_cast<std::size_t>(e)]);
        b.w.push_back(d.w[i]);
        b.p.push_back(d.p[i]);
        b.y.push_back(d.y[i]);
      }
    }
    const lr_values v = compute_lr(b.w, b.p, b.y, gvar, h2);
    disp.push_back(v.dispersion);
    rel.push_back(v.reliability);
  }
  const lr_values jk = jackknife_variances(d.w, d.p, d.y, gvar, h2, cl);
  for (int threads : {1, 2, 3}) {
    rng g;
    const lr_intervals t = cluster_bootstrap(d.w, d.p, d.y, gvar, h2, cl, nrep, g, threads);
    EXPECT_EQ(t.dispersion.variance, std::max(var(disp) * c / (c - 1), jk.dispersion)) << threads;
    EXPECT_EQ(t.reliability.variance, std::max(var(rel) * c / (c - 1), jk.reliability)) << threads;
    EXPECT_EQ(g.current(), seq.current()) << threads;
  }
}

}  // namespace
}  // namespace ventrel::statistics
