// The text of the output files: the layouts ventrel reads, checked by reading them back with
// the program's own readers where they exist and by parsing them here where not.
#include "simulate/output_files.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "simulate_test_util.hpp"
#include "statistics/ebv_pev_files.hpp"

namespace ventrel::simulate {
namespace {

using testing::small_options;

std::vector<std::vector<double>> numbers_of(const std::string& text) {
  std::vector<std::vector<double>> rows;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream ls(line);
    std::vector<double> r;
    double v;
    while (ls >> v) r.push_back(v);
    rows.push_back(r);
  }
  return rows;
}

std::string write_temp(const std::string& name, const std::string& text) {
  const std::string path = ::testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

struct fixture {
  simulation_options o = small_options(2, 20);
  population p;
  std::vector<char> rec;
  std::vector<int> focal;
  evaluation ev;
  fixture() {
    p = simulate_population(o);
    rec.assign(static_cast<std::size_t>(p.n) + 1, 1);
    rec[0] = 0;
    for (int i = p.first_of_generation[3]; i <= p.n; ++i) focal.push_back(i);
    evaluation_request req;
    req.pev = true;
    req.pec_animals = focal;
    ev = evaluate(p, p.n, rec, genetic_covariance(o), residual_covariance(o), req);
  }
};

TEST(simulate_output_files, names_follow_the_family) {
  EXPECT_EQ(solutions_file_name(true), "solutions_whole");
  EXPECT_EQ(solutions_file_name(false), "solutions_partial");
  EXPECT_EQ(ebv_pev_name(2, true), "ebv_pev_2_1_whole");
  EXPECT_EQ(pec_name(1, false), "pec_1_1_partial");
  EXPECT_EQ(ebv_pev_name(1, false), statistics::ebv_pev_file_name(1, statistics::evaluation::partial));
  EXPECT_EQ(pec_name(2, true), statistics::pec_file_name(2, statistics::evaluation::whole));
}

TEST(simulate_output_files, solutions_have_the_header_and_every_effect_level_and_trait) {
  fixture f;
  for (bool acc : {false, true}) {
    const std::string text = solutions_text(f.p, f.ev, acc, genetic_covariance(f.o));
    const std::string header = text.substr(0, text.find('\n'));
    EXPECT_EQ(header, acc ? "trait/effect level  solution acc" : "trait/effect level  solution");
    auto rows = numbers_of(text.substr(text.find('\n') + 1));
    ASSERT_EQ(rows.size(), static_cast<std::size_t>(f.ev.layout.neq()));
    for (const auto& r : rows) {
      ASSERT_EQ(r.size(), acc ? 5u : 4u);
      const int t = static_cast<int>(r[0]), e = static_cast<int>(r[1]), l = static_cast<int>(r[2]);
      const double expect = e == 1 ? f.ev.herd_solution(l, t) : f.ev.ebv(l, t);
      EXPECT_EQ(r[3], expect);  // shortest round-trip text reads back exactly
      if (acc && e == 2) {
        const double pev = f.ev.pev[static_cast<std::size_t>((l - 1) * 2 + t - 1)];
        const double var = (1 + f.p.inb[static_cast<std::size_t>(l)]) * genetic_covariance(f.o)(t - 1, t - 1);
        EXPECT_NEAR(r[4], std::sqrt(1 - pev / var), 1e-12);
      }
    }
  }
}

TEST(simulate_output_files, ebv_pev_and_pec_files_read_back_with_the_se_readers) {
  fixture f;
  const int m = static_cast<int>(f.focal.size());
  for (int t = 1; t <= 2; ++t) {
    const std::string ep = write_temp("sim_ebv_pev", ebv_pev_text(f.ev, t));
    const statistics::ebv_pev got = statistics::read_ebv_pev(ep, f.focal, f.p.n);
    for (int k = 0; k < m; ++k) {
      EXPECT_EQ(got.ebv[static_cast<std::size_t>(k)], f.ev.ebv(f.focal[static_cast<std::size_t>(k)], t));
      EXPECT_EQ(got.pev[static_cast<std::size_t>(k)],
                f.ev.pev[static_cast<std::size_t>((f.focal[static_cast<std::size_t>(k)] - 1) * 2 + t - 1)]);
    }
    const std::string pp = write_temp("sim_pec", pec_text(f.ev, f.focal, t));
    const statistics::pec_matrix pec = statistics::read_pec(pp, f.focal, f.p.n);
    ASSERT_EQ(pec.m, m);
    std::size_t entries = 0;
    for (int j = 0; j < m; ++j) {
      for (std::int64_t q = pec.col_start[static_cast<std::size_t>(j)]; q < pec.col_start[static_cast<std::size_t>(j) + 1]; ++q) {
        const int i = pec.row[static_cast<std::size_t>(q)];  // i > j
        EXPECT_EQ(pec.value[static_cast<std::size_t>(q)],
                  f.ev.pec[static_cast<std::size_t>(t - 1)][pair_index(static_cast<std::size_t>(j), static_cast<std::size_t>(i), static_cast<std::size_t>(m))]);
        ++entries;
      }
    }
    EXPECT_LE(entries, static_cast<std::size_t>(m * (m - 1) / 2));  // zeros may be left out
  }
}

TEST(simulate_output_files, yhat_residual_is_the_phenotype_less_the_herd_solution) {
  fixture f;
  auto rows = numbers_of(yhat_residual_text(f.p, f.rec, f.ev));
  ASSERT_EQ(rows.size(), static_cast<std::size_t>(f.p.n));
  for (const auto& r : rows) {
    ASSERT_EQ(r.size(), 3u);
    const std::size_t a = static_cast<std::size_t>(r[0]);
    for (int t = 1; t <= 2; ++t)
      EXPECT_EQ(r[static_cast<std::size_t>(t)], f.p.y[a * 2 + static_cast<std::size_t>(t - 1)] - f.ev.herd_solution(f.p.herd[a], t));
  }
}

TEST(simulate_output_files, data_pedigree_validation_and_true_values_lines) {
  fixture f;
  std::vector<char> partial = f.rec;
  for (int a : f.focal) partial[static_cast<std::size_t>(a)] = 0;
  auto data = numbers_of(data_text(f.p, partial));
  ASSERT_EQ(data.size(), static_cast<std::size_t>(f.p.n) - f.focal.size());
  for (const auto& r : data) {
    const std::size_t a = static_cast<std::size_t>(r[0]);
    EXPECT_TRUE(partial[a]);
    EXPECT_EQ(r[1], f.p.herd[a]);
    EXPECT_EQ(r[2], f.p.y[a * 2]);
    EXPECT_EQ(r[3], f.p.y[a * 2 + 1]);
  }
  auto ped = numbers_of(pedigree_text(f.p));
  ASSERT_EQ(ped.size(), static_cast<std::size_t>(f.p.n));
  for (std::size_t k = 0; k < ped.size(); ++k) {
    EXPECT_EQ(ped[k][0], static_cast<double>(k + 1));
    EXPECT_EQ(ped[k][1], f.p.sire[k + 1]);
    EXPECT_EQ(ped[k][2], f.p.dam[k + 1]);
    EXPECT_LT(ped[k][1], ped[k][0]);
    EXPECT_LT(ped[k][2], ped[k][0]);
  }
  auto val = numbers_of(validation_text(f.focal));
  ASSERT_EQ(val.size(), f.focal.size());
  EXPECT_EQ(val[0], std::vector<double>{static_cast<double>(f.focal[0])});
  const std::string tv = true_values_text(f.p);
  EXPECT_EQ(tv.substr(0, tv.find('\n')), "# animal sire dam generation sex herd inbreeding tbv_1 tbv_2");
  auto rows = numbers_of(tv.substr(tv.find('\n') + 1));
  ASSERT_EQ(rows.size(), static_cast<std::size_t>(f.p.n));
  const auto& last = rows.back();
  const std::size_t n = static_cast<std::size_t>(f.p.n);
  EXPECT_EQ(last, (std::vector<double>{double(f.p.n), double(f.p.sire[n]), double(f.p.dam[n]), 3.0,
                                       f.p.male[n] ? 1.0 : 2.0, double(f.p.herd[n]), f.p.inb[n],
                                       f.p.tbv[n * 2], f.p.tbv[n * 2 + 1]}));
}

}  // namespace
}  // namespace ventrel::simulate
