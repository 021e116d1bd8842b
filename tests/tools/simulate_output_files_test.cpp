// The files of a run, in the layouts ventrel reads: read back with the program's own readers
// (parameter file, ebv_pev and pec files) where they exist and parsed here where not. Numbers
// are written in the shortest form that reads back exactly, so values compare with EXPECT_EQ.
#include "simulate/output_files.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "parfile/read_parameter_file.hpp"
#include "simulate/simulate_run.hpp"
#include "simulate_test_util.hpp"
#include "statistics/ebv_pev_files.hpp"
#include "support/test_support.hpp"

namespace ventrel::simulate {
namespace {

using std::size_t;
using row = std::vector<double>;

std::string text_of(const std::string& path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The numbers of each line of a file after `skip` lines.
std::vector<row> numbers_of(const std::string& path, int skip = 0) {
  std::vector<row> rows;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    if (skip-- > 0) continue;
    std::istringstream ls(line);
    rows.emplace_back();
    for (double v; ls >> v;) rows.back().push_back(v);
  }
  return rows;
}

// Two traits into the working directory, the two youngest generations without partial records.
simulation_result run_here() {
  simulation_options o = testing::small_options(2, 20);
  o.partial_generations = 2;
  o.acc = true;
  o.out = ".";
  return run_simulation(o);
}

TEST(simulate_output_files, solutions_ebv_pev_and_pec_files_of_both_evaluations) {
  test_support::scoped_work_dir work;
  const simulation_result r = run_here();
  const linalg::dense_matrix g0 = genetic_covariance(testing::small_options(2));
  const size_t m = r.focal.size();
  for (bool whole : {true, false}) {
    const evaluation& ev = whole ? r.whole : r.partial;
    auto pev = [&](int a, int t) { return ev.pev[static_cast<size_t>((a - 1) * 2 + t - 1)]; };
    const std::string text = text_of(solutions_file_name(whole));
    EXPECT_EQ(text.substr(0, text.find('\n')), "trait/effect level  solution acc");
    const std::vector<row> rows = numbers_of(solutions_file_name(whole), 1);
    ASSERT_EQ(rows.size(), static_cast<size_t>(ev.layout.neq()));
    for (const row& x : rows) {  // trait effect level solution acc
      ASSERT_EQ(x.size(), 5u);
      const int t = static_cast<int>(x[0]), e = static_cast<int>(x[1]), l = static_cast<int>(x[2]);
      EXPECT_EQ(x[3], e == 1 ? ev.herd_solution(l, t) : ev.ebv(l, t));
      EXPECT_NEAR(x[4], e == 1 ? 0.0 : std::sqrt(1 - pev(l, t) / ((1 + r.pop.inb[static_cast<size_t>(l)]) * g0(t - 1, t - 1))), 1e-12);
    }
    // The ebv_pev and pec files, read back with the readers of se exact.
    for (int t = 1; t <= 2; ++t) {
      const statistics::ebv_pev got = statistics::read_ebv_pev(ebv_pev_name(t, whole), r.focal, r.pop.n, 0);
      for (size_t k = 0; k < m; ++k) EXPECT_TRUE(got.ebv[k] == ev.ebv(r.focal[k], t) && got.pev[k] == pev(r.focal[k], t)) << k;
      const statistics::pec_matrix pec = statistics::read_pec(pec_name(t, whole), r.focal, r.pop.n, 0);
      ASSERT_EQ(pec.m, static_cast<int>(m));
      EXPECT_EQ(pec.col_start.back(), static_cast<std::int64_t>(m * (m - 1) / 2));
      for (size_t j = 0; j < m; ++j)
        for (std::int64_t q = pec.col_start[j]; q < pec.col_start[j + 1]; ++q)  // rows i > j
          EXPECT_EQ(pec.value[static_cast<size_t>(q)], ev.pec[static_cast<size_t>(t - 1)][pair_index(j, static_cast<size_t>(pec.row[static_cast<size_t>(q)]), m)]);
    }
  }
}

TEST(simulate_output_files, data_yhat_pedigree_validation_and_true_values_lines) {
  test_support::scoped_work_dir work;
  const simulation_result r = run_here();
  const population& p = r.pop;
  for (bool whole : {true, false}) {
    const std::vector<row> data = numbers_of(whole ? data_file_name : partial_data_file_name);
    ASSERT_EQ(data.size(), static_cast<size_t>(whole ? p.n : p.n - 40));  // two generations of 20
    for (const row& x : data) {
      const size_t a = static_cast<size_t>(x[0]);
      EXPECT_TRUE(whole || a < static_cast<size_t>(p.first_of_generation[2]));
      EXPECT_EQ(x, (row{x[0], double(p.herd[a]), p.y[a * 2], p.y[a * 2 + 1]}));
    }
  }
  const std::vector<row> yhat = numbers_of(yhat_file_name);
  ASSERT_EQ(yhat.size(), static_cast<size_t>(p.n));
  for (const row& x : yhat) {
    const size_t a = static_cast<size_t>(x[0]);
    EXPECT_EQ(x, (row{x[0], p.y[a * 2] - r.whole.herd_solution(p.herd[a], 1), p.y[a * 2 + 1] - r.whole.herd_solution(p.herd[a], 2)}));
  }
  const std::vector<row> ped = numbers_of(pedigree_file_name);
  ASSERT_EQ(ped.size(), static_cast<size_t>(p.n));
  for (size_t k = 0; k < ped.size(); ++k) EXPECT_EQ(ped[k], (row{double(k + 1), double(p.sire[k + 1]), double(p.dam[k + 1])}));
  const std::vector<row> val = numbers_of(validation_file_name);
  ASSERT_EQ(val.size(), 20u);
  EXPECT_EQ(val.front(), row{double(p.first_of_generation[3])});
  const std::string tv = text_of(true_values_file_name);
  EXPECT_EQ(tv.substr(0, tv.find('\n')), "# animal sire dam generation sex herd inbreeding tbv_1 tbv_2");
  const std::vector<row> rows = numbers_of(true_values_file_name, 1);
  ASSERT_EQ(rows.size(), static_cast<size_t>(p.n));
  const size_t n = static_cast<size_t>(p.n);
  EXPECT_EQ(rows.back(), (row{double(n), double(p.sire[n]), double(p.dam[n]), 3.0, p.male[n] ? 1.0 : 2.0,
                              double(p.herd[n]), p.inb[n], p.tbv[n * 2], p.tbv[n * 2 + 1]}));
}

TEST(simulate_output_files, the_parameter_file_reads_back_with_the_programs_reader) {
  test_support::scoped_work_dir work;
  const simulation_result r = run_here();
  const simulation_options o = testing::small_options(2);
  const parfile::parameter_file pf = parfile::read_parameter_file(std::string(parameter_file_name), 0);
  const parfile::model_parameters& m = pf.model;
  EXPECT_EQ(m.datafile, "data.txt");
  EXPECT_EQ(m.pos_y, (std::vector<int>{3, 4}));
  EXPECT_EQ(m.nlev, (std::vector<int>{r.pop.nherd, r.pop.n}));
  EXPECT_EQ(m.pos_eff, (std::vector<std::vector<int>>{{2, 2}, {1, 1}}));
  ASSERT_EQ(m.nrgroup(), 1);
  EXPECT_EQ(m.groups[0].file, "pedigree.txt");
  EXPECT_EQ(m.groups[0].g.a, genetic_covariance(o).a);
  EXPECT_EQ(m.r.a, residual_covariance(o).a);
  const parfile::option_values v = pf.options.get_option("validation");
  ASSERT_EQ(v.n, 2);
  EXPECT_EQ(v.xc[0] + " " + v.xc[1], "2 validation.txt");
  EXPECT_EQ(pf.options.get_option("predictive_ability").n, 0);
  EXPECT_EQ(pf.options.get_option("se").xc.at(0), "exact");
}

}  // namespace
}  // namespace ventrel::simulate
