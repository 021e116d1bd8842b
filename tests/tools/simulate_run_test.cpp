// A whole run into a folder: every file present, the parameter file read by the program's own
// reader, the focal animals and the partial data as described.
#include "simulate/simulate_run.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "parfile/read_parameter_file.hpp"
#include "simulate/output_files.hpp"
#include "common/fatal.hpp"
#include "simulate_test_util.hpp"
#include "statistics/ebv_pev_files.hpp"

namespace ventrel::simulate {
namespace {

using testing::small_options;

std::int64_t lines_of(const std::string& path) {
  std::ifstream in(path);
  std::string l;
  std::int64_t n = 0;
  while (std::getline(in, l)) ++n;
  return n;
}

// Runs f with the working directory set to dir.
template <class F>
void inside(const std::string& dir, F f) {
  const auto old = std::filesystem::current_path();
  std::filesystem::current_path(dir);
  try {
    f();
  } catch (...) {
    std::filesystem::current_path(old);
    throw;
  }
  std::filesystem::current_path(old);
}

TEST(simulate_run, writes_every_file_and_the_parameter_file_reads_back) {
  simulation_options o = small_options(2, 30);
  o.partial_generations = 2;
  o.acc = true;
  o.out = testing::fresh_dir("sim_run_all");
  const simulation_result r = run_simulation(o);
  const std::filesystem::path d(o.out);
  for (const char* f : {"ventrel.par", "data.txt", "data_partial.txt", "pedigree.txt", "validation.txt",
                        "yhat_residual", "true_bv.txt", "solutions_whole", "solutions_partial",
                        "ebv_pev_1_1_whole", "ebv_pev_2_1_partial", "pec_1_1_whole", "pec_2_1_partial"}) {
    EXPECT_TRUE(std::filesystem::exists(d / f)) << f;
  }
  // Focal: the youngest generation; partial data without the two latest generations.
  ASSERT_EQ(r.focal.size(), 30u);
  EXPECT_EQ(r.focal.front(), r.pop.first_of_generation[3]);
  EXPECT_EQ(lines_of((d / "data.txt").string()), r.pop.n);
  EXPECT_EQ(lines_of((d / "data_partial.txt").string()), r.pop.n - 60);
  EXPECT_EQ(lines_of((d / "validation.txt").string()), 30);
  EXPECT_EQ(lines_of((d / "pec_1_1_whole").string()), 30 * 29 / 2);
  EXPECT_EQ(lines_of((d / "solutions_whole").string()), 1 + 2 * (r.pop.nherd + r.pop.n));

  inside(o.out, [&] {
    const parfile::parameter_file pf = parfile::read_parameter_file(std::string("ventrel.par"), 0);
    const parfile::model_parameters& m = pf.model;
    EXPECT_EQ(m.datafile, "data.txt");
    EXPECT_EQ(m.ntrait, 2);
    EXPECT_EQ(m.neff, 2);
    EXPECT_EQ(m.pos_y, (std::vector<int>{3, 4}));
    EXPECT_EQ(m.nlev, (std::vector<int>{r.pop.nherd, r.pop.n}));
    EXPECT_EQ(m.pos_eff[0], (std::vector<int>{2, 2}));
    EXPECT_EQ(m.pos_eff[1], (std::vector<int>{1, 1}));
    ASSERT_EQ(m.nrgroup(), 1);
    EXPECT_EQ(m.groups[0].effects, std::vector<int>{2});
    EXPECT_EQ(m.groups[0].file, "pedigree.txt");
    EXPECT_EQ(m.groups[0].g.a, genetic_covariance(o).a);
    EXPECT_EQ(m.r.a, residual_covariance(o).a);
    const parfile::option_values v = pf.options.get_option("validation");
    ASSERT_EQ(v.n, 2);
    EXPECT_EQ(v.xc[0], "2");
    EXPECT_EQ(v.xc[1], "validation.txt");
    EXPECT_EQ(pf.options.get_option("predictive_ability").n, 0);
    const parfile::option_values se = pf.options.get_option("se");
    ASSERT_EQ(se.n, 1);
    EXPECT_EQ(se.xc[0], "exact");
    // The se exact inputs read for the focal animals.
    for (int t = 1; t <= 2; ++t) {
      const auto w = statistics::read_ebv_pev(ebv_pev_name(t, true), r.focal, r.pop.n);
      const auto p = statistics::read_ebv_pev(ebv_pev_name(t, false), r.focal, r.pop.n);
      for (std::size_t k = 0; k < r.focal.size(); ++k) {
        EXPECT_LE(w.pev[k], p.pev[k] + 1e-12);  // more data, smaller prediction errors
      }
      EXPECT_EQ(statistics::read_pec(pec_name(t, false), r.focal, r.pop.n).m, 30);
    }
  });
}

TEST(simulate_run, too_many_focal_animals_for_pec_files_and_no_pev) {
  simulation_options o = small_options(1, 30);
  o.pec_max = 10;
  o.se = "none";
  o.out = testing::fresh_dir("sim_run_nopec");
  simulation_result r = run_simulation(o);
  EXPECT_FALSE(r.pec_written);
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(o.out) / "pec_1_1_whole"));
  EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(o.out) / "ebv_pev_1_1_whole"));
  std::ifstream in(std::filesystem::path(o.out) / "ventrel.par");
  std::string all((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_EQ(all.find("OPTION se"), std::string::npos);

  o.pev = false;
  o.out = testing::fresh_dir("sim_run_nopev");
  r = run_simulation(o);
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(o.out) / "ebv_pev_1_1_whole"));
  EXPECT_TRUE(r.whole.pev.empty());
}

TEST(simulate_run, accuracies_need_the_prediction_error_variances) {
  simulation_options o = small_options(1, 30);
  o.acc = true;
  o.pev = false;
  o.out = testing::fresh_dir("sim_run_acc");
  try {
    run_simulation(o);
    ADD_FAILURE() << "no stop";
  } catch (const fatal_error& e) {
    EXPECT_EQ(e.lines().at(0), "ventrel-simulate: --acc needs the prediction error variances (drop --no-pev)");
  }
}

TEST(simulate_run, selection_on_ebv_runs_an_evaluation_per_generation_and_raises_the_mean) {
  simulation_options o = small_options(1, 200);
  o.generations = 3;
  o.sires = 5;
  o.select = selection::ebv;
  o.pev = false;
  o.out = testing::fresh_dir("sim_run_ebv");
  const simulation_result sel = run_simulation(o);
  o.select = selection::random;
  const simulation_result rnd = run_simulation(o);
  auto mean_last = [](const population& p) {
    double s = 0;
    for (int i = p.first_of_generation[static_cast<std::size_t>(p.generations)]; i <= p.n; ++i) s += p.tbv[static_cast<std::size_t>(i)];
    return s / (p.n - p.first_of_generation[static_cast<std::size_t>(p.generations)] + 1);
  };
  // Three rounds of selection of 5 sires in 100 males at h2 = 0.3: a gain of well over 0.3 sd.
  EXPECT_GT(mean_last(sel.pop) - mean_last(rnd.pop), 0.3 * std::sqrt(0.3));
}

}  // namespace
}  // namespace ventrel::simulate
