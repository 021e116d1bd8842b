// morlo90 with both engines (KELP with AMD and with METIS, MORLO): log-determinant, sparse
// inverse, solves, products and the exported factor against the dense reference, the permutation
// given out and taken in, short task words, the statistics block and the stops.
#include "sparse/morlo90.hpp"

#include "common/format.hpp"
#include "sparse_test_util.hpp"

// The optional arguments are named by designated initializers; the ones left out are empty.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace ventrel::sparse::testing {

ija_matrix one_by_one(double v) { return {1, {1, 2}, {1}, {v}}; }

// A solver per engine and ordering, with two KELP threads.
class morlo90_engines : public ::testing::TestWithParam<morlo90_settings> {
 protected:
  morlo90 s{GetParam()};
  void SetUp() override { s.set_num_threads_kelp(2); }
};

INSTANTIATE_TEST_SUITE_P(all, morlo90_engines,
                         ::testing::Values(morlo90_settings{}, morlo90_settings{.ordering = kelp_ordering::metis},
                                           morlo90_settings{.engine = morlo_engine::morlo}),
                         [](const auto& p) -> std::string {
                           if (p.param.engine == morlo_engine::morlo) return "morlo";
                           return p.param.ordering == kelp_ordering::metis ? "metis" : "amd";
                         });

TEST_P(morlo90_engines, logdet_and_inverse_match_the_dense_reference) {
  // one after the other on the same solver (a new "factorization" replaces the factor in hand),
  // the first step by step
  bool step_by_step = true;
  for (const linalg::dense_matrix& d :
       {random_spd(30, 0.1, 5, 4), dense_of(one_by_one(4.0)), pedigree_inverse(400, 8)}) {
    SCOPED_TRACE(d.rows);
    ija_matrix m = ija_of(d);
    if (!step_by_step) s("factorization", m);
    for (auto [word, step] : {std::pair{"ord", morlo_step::ordered}, std::pair{"symbolic_fact", morlo_step::symbolic},
                              std::pair{"numeric_fact", morlo_step::numeric}}) {
      if (!step_by_step) break;
      s(word, m);
      EXPECT_EQ(s.step(), step) << word;
    }
    step_by_step = false;
    double det = 0.0;
    s("det", m, {.det = &det});
    EXPECT_NEAR(det, reference::dense_spd_logdet(d), 1e-9 * (1.0 + std::fabs(det)));
    s("inverse", m);
    expect_dense_inverse_at_pattern(m, d, 1e-10);
  }
}

TEST_P(morlo90_engines, solves_and_products_with_the_factor) {
  // F is the factor of P A P' = F F'
  const int n = 40;
  const linalg::dense_matrix d = random_spd(n, 0.1, 8, 5);
  ija_matrix m = ija_of(d);
  s("factorization", m);
  auto run = [&](const char* word, const std::vector<double>& in) {
    std::vector<double> out(n);
    s(word, m, {.rs = in, .sol = out});
    return out;
  };
  std::vector<double> b(n);
  for (int i = 0; i < n; ++i) b[i] = std::cos(0.7 * i);
  const std::vector<double> want = dense_times(reference::dense_spd_inverse(d), b);
  expect_all_near(run("SOL", b), want, 1e-12);  // task words: three letters or more, any case
  const std::vector<double> y = run("mninv", b);  // F^{-1} P b: |y|^2 = b' A^{-1} b
  double yy = 0.0, bx = 0.0;
  for (int i = 0; i < n; ++i) yy += y[i] * y[i], bx += b[i] * want[i];
  EXPECT_NEAR(yy, bx, 1e-10);
  expect_all_near(run("m_inv_fact_t", y), want, 1e-12);  // P' F'^{-1} y = A^{-1} b
  expect_all_near(run("m_fact", y), b, 1e-12);           // P' F y = b
  std::vector<double> two(b), out(2 * n), twice(y);      // x_inv_fact_n on the columns b and 2b
  for (int i = 0; i < n; ++i) two.push_back(2.0 * b[i]), twice.push_back(2.0 * y[i]);
  s("xninv", m, {.mrs8 = two, .msol8 = out, .nrhs = 2});
  expect_all_near(out, twice, 1e-12);
}

TEST_P(morlo90_engines, permutation_given_out_and_taken_in_and_the_exported_factor) {
  const linalg::dense_matrix d = random_spd(25, 0.15, 0, 10);
  ija_matrix m = ija_of(d);
  std::vector<int> perm, used;
  s("factorization", m);
  s("export_perm", m, {.perm = &perm});
  ASSERT_EQ(perm.size(), 25u);
  std::vector<int> reversed(perm.rbegin(), perm.rend());
  s("reset", m);
  s("import_perm", m, {.perm = &reversed});
  EXPECT_EQ(s.step(), morlo_step::ordered);
  s("factorization", m);  // skips the ordering
  s("perm", m, {.perm = &used});
  EXPECT_TRUE(GetParam().engine == morlo_engine::kelp || used == reversed);  // KELP postorders it
  ija8_matrix u;
  s("export_fact", m, {.factija = &u});
  std::vector<std::int64_t> pivots;  // from 0
  for (int k : used) pivots.push_back(k - 1);
  expect_factor_of(u, d, pivots, 1e-10);
  // the statistics count the factor exported, the matrix and the calls
  std::vector<double> x(25, 1.0);
  s("solve", m, {.rs = x, .sol = x});
  const std::string out = captured_stdout([&] { s("statistics", m); });
  for (const std::string& line : {"NZE IN UPPER TRIANGULAR =" + fmt_i(static_cast<std::int64_t>(m.ja.size()), 12),
                                 "NZE IN FACTOR           =" + fmt_i(u.nnz(), 12),
                                 std::string("NO. OF CALLS NUM FACT   =           2\n"
                                             "NO. OF CALLS SOLVE      =           1")})
    EXPECT_NE(out.find(line + "\n"), std::string::npos) << line;
  s("reset", m);
  EXPECT_EQ(captured_stdout([&] { s("stat", m); }), "NOTE: The sparse matrix is not loaded to the internal storage.\n");
}

TEST_P(morlo90_engines, stops) {
  ija_matrix m = ija_of(random_spd(25, 0.15, 0, 12)), other = ija_of(random_spd(9, 0.4, 0, 3));
  ija_matrix bad_columns = m, tripled = m, empty{0, {1}, {}, {}};
  std::swap(bad_columns.ja[0], bad_columns.ja[1]);  // columns not ascending in row 1
  for (double& v : tripled.a) v *= 3.0;             // the pattern of m, other values
  double det = 0.0;
  std::vector<int> not_a_perm(25, 1);
  std::vector<double> x(25, 1.0), y(25);
  // every action starts from a fresh state and takes the steps before the fault
  auto after = [&](std::vector<const char*> steps, const char* word, morlo90_args a = {}, ija_matrix* on = nullptr) {
    return [&, steps, word, a, on] {
      s("reset", m);
      for (const char* w : steps) s(w, m);
      s(word, on ? *on : m, a);
    };
  };
  expect_stops({
      {"inverse before ordering", after({}, "inverse"), {"ERR_STEP: status<STAT_ORD"}},
      {"ldet after symbolic", after({"ordering", "symbolic_fact"}, "ldet", {.det = &det}),
       {"ERR_STEP: status<STAT_NUM"}},
      {"numeric before symbolic", after({"ordering"}, "numeric_fact"), {"ERR_STEP: status<STAT_SYM"}},
      {"ordering twice", after({"ordering"}, "ordering"), {"ERR_STEP: status>STAT_ORD"}},
      {"another matrix after ordering", after({"ordering"}, "symbolic_fact", {}, &other),
       {"ERR_PARAM: n/=neq.or.nnz/=ia(n+1)-1"}},
      {"order 0", after({}, "factorization", {}, &empty), {"ERR_PARAM: n<1"}},
      {"columns not ascending", after({}, "factorization", {}, &bad_columns),
       {"INPUT ERROR: illegal format of input matrix (ia, ja, a)."}},
      {"unknown word", after({}, "frobnicate"), {"MORLO90 operation frobnicate unknown"}},
      {"not a permutation", after({}, "import_perm", {.perm = &not_a_perm}),
       {"MORLO90: PERM is not a permutation of 1..25"}},
      {"solve without vectors", after({"fac"}, "solve"), {"MORLO90: optional parameter SOL or RS missing"}},
      {"solve with another matrix than the one factorised", after({"fac"}, "solve", {.rs = x, .sol = y}, &tripled),
       {"ERROR in CHECKB: not accurate solution", "*", "*"}},
  });
}

TEST(morlo90, wide_entry_and_memory_limit) {
  morlo90 s, morlo({.engine = morlo_engine::morlo}), small({.engine = morlo_engine::morlo, .morlo_max_memory = 5});
  s.set_num_threads_kelp(1);
  ija8_matrix m = wide(one_by_one(2.0));
  s.morlo90_ia8("factorization", m);
  ija_matrix ten = ija_of(random_spd(10, 0.3, 0, 13));
  expect_stops({{"ldet", [&] { s.morlo90_ia8("ldet", m); }, {"MORLO90_IA8: optional parameter DET missing"}},
                {"IJA8 with MORLO", [&] { morlo.morlo90_ia8("factorization", m); },
                 {"MORLO90_IA8: IJA8 is supported only in KELP. Switch from MORLO to KELP."}},
                {"MORLO memory limit", [&] { small("factorization", ten); },
                 {"MORLO90: memory needed: *", "         maxmimum memory allowed: 5"}}});
  s.morlo90_ia8("inverse", m);
  EXPECT_DOUBLE_EQ(m.a[0], 0.5);
}

}  // namespace ventrel::sparse::testing
