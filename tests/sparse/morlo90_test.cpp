// morlo90 with both engines: log-determinant, sparse inverse, solves and products against the
// dense reference, KELP against MORLO, the permutation given out and taken in, task words, the
// statistics block, the verbose trace and every message.
#include "sparse/morlo90.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "common/format.hpp"
#include "sparse_test_util.hpp"

// The optional arguments are named by designated initializers; the ones left out are empty.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace ventrel::sparse {
namespace {

using namespace testing;

ija_matrix one_by_one(double v) { return {1, {1, 2}, {1}, {v}}; }

// A solver per engine, with two KELP threads.
class morlo90_engines : public ::testing::TestWithParam<morlo_engine> {
 protected:
  morlo90 s{morlo90_settings{GetParam()}};
  void SetUp() override { s.set_num_threads_kelp(2); }
};

INSTANTIATE_TEST_SUITE_P(both, morlo90_engines, ::testing::Values(morlo_engine::kelp, morlo_engine::morlo));

TEST_P(morlo90_engines, logdet_and_inverse_match_the_dense_reference) {
  // one after the other on the same solver: a new "factorization" replaces the factor in hand
  struct row {
    const char* name;
    linalg::dense_matrix d;
    bool step_by_step;
  };
  for (const row& r : std::vector<row>{{"random, step by step", random_spd(30, 0.1, 5, 4), true},
                                       {"one by one", dense_of(one_by_one(4.0)), false},
                                       {"random, dense block", random_spd(150, 0.03, 30, 7), false},
                                       {"pedigree", pedigree_inverse(400, 8), false}}) {
    SCOPED_TRACE(r.name);
    ija_matrix m = ija_of(r.d);
    if (!r.step_by_step) s("factorization", m);
    for (auto [word, step] : {std::pair{"ord", morlo_step::ordered}, std::pair{"symbolic_fact", morlo_step::symbolic},
                              std::pair{"numeric_fact", morlo_step::numeric}}) {
      if (!r.step_by_step) break;
      s(word, m);
      EXPECT_EQ(s.step(), step) << word;
    }
    double det = 0.0;
    s("ldet", m, {.det = &det});
    EXPECT_NEAR(det, reference::dense_spd_logdet(r.d), 1e-9 * (1.0 + std::fabs(det)));
    s("inverse", m);
    expect_dense_inverse_at_pattern(m, r.d, 1e-10);
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
  const std::vector<double> want = dense_solve(d, b);
  expect_all_near(run("solve", b), want, 1e-12);
  const std::vector<double> y = run("m_inv_fact_n", b);  // F^{-1} P b: |y|^2 = b' A^{-1} b
  double yy = 0.0, bx = 0.0;
  for (int i = 0; i < n; ++i) yy += y[i] * y[i], bx += b[i] * want[i];
  EXPECT_NEAR(yy, bx, 1e-10);
  expect_all_near(run("m_inv_fact_t", y), want, 1e-12);  // P' F'^{-1} y = A^{-1} b
  expect_all_near(run("m_fact", y), b, 1e-12);           // P' F y = b
  std::vector<double> two(b), out(2 * n), twice(y);      // x_inv_fact_n on the columns b and 2b
  for (int i = 0; i < n; ++i) two.push_back(2.0 * b[i]), twice.push_back(2.0 * y[i]);
  s("x_inv_fact_n", m, {.mrs8 = two, .msol8 = out, .nrhs = 2});
  expect_all_near(out, twice, 1e-12);
}

TEST_P(morlo90_engines, permutation_given_out_and_taken_in) {
  const linalg::dense_matrix d = random_spd(25, 0.15, 0, 10);
  ija_matrix m = ija_of(d);
  std::vector<int> perm, used;
  s("factorization", m);
  s("export_perm", m, {.perm = &perm});
  ASSERT_EQ(perm.size(), 25u);
  std::vector<int> reversed(perm.rbegin(), perm.rend());
  s("reset", m);
  EXPECT_EQ(s.step(), morlo_step::not_ready);
  s("import_perm", m, {.perm = &reversed});
  EXPECT_EQ(s.step(), morlo_step::ordered);
  s("factorization", m);  // skips the ordering
  s("perm", m, {.perm = &used});
  EXPECT_TRUE(GetParam() == morlo_engine::kelp || used == reversed);  // KELP postorders it
  ija8_matrix u;
  s("export_fact", m, {.factija = &u});
  std::vector<std::int64_t> pivots;  // from 0
  for (int k : used) pivots.push_back(k - 1);
  expect_factor_of(u, d, pivots, 1e-10);
}

TEST_P(morlo90_engines, statistics_block_and_note) {
  ija_matrix m = ija_of(random_spd(12, 0.3, 0, 11));
  EXPECT_EQ(captured_stdout([&] { s("stat", m); }), "NOTE: The sparse matrix is not loaded to the internal storage.\n");
  s("factorization", m);
  const std::string out = captured_stdout([&] { s("statistics", m); });
  EXPECT_EQ(out.rfind("SPARSE STATISTICS\nDIMENSION OF MATRIX     =          12\n"
                      "RANK                    =          12\n", 0), 0u);
  for (const std::string label : {"STORAGE AVAILABLE       =", "MAXIMUM NEEDED          =", "NZE IN FACTOR           =",
                                  "NO. OF CALLS NUM FACT   =           1", "NO. OF CALLS SOLVE      =           0"})
    EXPECT_NE(out.find(label), std::string::npos) << label;
  const std::string nze = "NZE IN UPPER TRIANGULAR =" + fmt_i(static_cast<std::int64_t>(m.ja.size()), 12);
  EXPECT_NE(out.find(nze), std::string::npos);
}

TEST_P(morlo90_engines, messages) {
  ija_matrix m = ija_of(random_spd(25, 0.15, 0, 12)), other = ija_of(random_spd(9, 0.4, 0, 3));
  ija_matrix short_ja = m, bad_columns = m, tripled = m, empty{0, {1}, {}, {}};
  short_ja.ja.pop_back(), short_ja.a.pop_back();
  std::swap(bad_columns.ja[0], bad_columns.ja[1]);  // columns not ascending in row 1
  for (double& v : tripled.a) v *= 3.0;             // the pattern of m, other values
  double det = 0.0;
  std::vector<int> perm, not_a_perm(25, 1);
  std::vector<double> x(25, 1.0), y(25);
  // every action starts from a fresh state and takes the steps before the fault
  auto after = [&](std::vector<const char*> steps, const char* word, morlo90_args a = {}, ija_matrix* on = nullptr) {
    return [&, steps, word, a, on] {
      s("reset", m);
      for (const char* w : steps) s(w, m);
      s(word, on ? *on : m, a);
    };
  };
  const std::string missing = "MORLO90: optional parameter ", order = "ERR_STEP: status<STAT_ORD";
  const std::string param = "ERR_PARAM: n/=neq.or.nnz/=ia(n+1)-1";
  expect_stops({
      {"inverse before ordering", after({}, "inverse"), {order}},
      {"ldet before ordering", after({}, "ldet", {.det = &det}), {order}},
      {"perm before ordering", after({}, "perm", {.perm = &perm}), {order}},
      {"ldet after ordering", after({"ordering"}, "ldet", {.det = &det}), {"ERR_STEP: status<STAT_NUM"}},
      {"numeric before symbolic", after({"ordering"}, "numeric_fact"), {"ERR_STEP: status<STAT_SYM"}},
      {"ordering twice", after({"ordering"}, "ordering"), {"ERR_STEP: status>STAT_ORD"}},
      {"import after ordering", after({"ordering"}, "import_perm", {.perm = &perm}), {"ERR_STEP: status>STAT_ORD"}},
      {"another matrix after ordering", after({"ordering"}, "symbolic_fact", {}, &other), {param}},
      {"ja shorter than ia says", after({}, "factorization", {}, &short_ja), {param}},
      {"order 0", after({}, "factorization", {}, &empty), {"ERR_PARAM: n<1"}},
      {"columns not ascending", after({}, "factorization", {}, &bad_columns),
       {"INPUT ERROR: illegal format of input matrix (ia, ja, a)."}},
      {"unknown word", after({}, "frobnicate"), {"MORLO90 operation frobnicate unknown"}},
      {"not a permutation", after({}, "import_perm", {.perm = &not_a_perm}),
       {"MORLO90: PERM is not a permutation of 1..25"}},
      {"solve without vectors", after({"fac"}, "solve"), {missing + "SOL or RS missing"}},
      {"m_fact without vectors", after({"fac"}, "m_fact"), {missing + "SOL or RS missing"}},
      {"x_inv_fact_n without vectors", after({"fac"}, "x_inv_fact_n"), {missing + "MSOL8 or MRS8 missing"}},
      {"x_inv_fact_n without nrhs", after({"fac"}, "x_inv_fact_n", {.mrs8 = x, .msol8 = y}), {"MORLO90: nrhs missing"}},
      {"ldet without DET", after({"fac"}, "ldet"), {missing + "DET missing"}},
      {"perm without PERM", after({"fac"}, "perm"), {missing + "PERM missing"}},
      {"export_fact without factija", after({"fac"}, "export_fact"), {missing + "factija"}},
      {"solve with another matrix than the one factorised", after({"fac"}, "solve", {.rs = x, .sol = y}, &tripled),
       {"ERROR in CHECKB: not accurate solution", "observed deviation = *", "maximum allowed    = *"}},
  });
}

TEST(morlo90, messages_of_the_wide_entry_and_of_the_settings) {
  morlo90 s, morlo({.engine = morlo_engine::morlo}), small({.engine = morlo_engine::morlo, .morlo_max_memory = 5});
  s.set_num_threads_kelp(1);
  ija8_matrix m = wide(one_by_one(2.0));
  s.morlo90_ia8("factorization", m);
  ija_matrix ten = ija_of(random_spd(10, 0.3, 0, 13));
  auto task = [&](const char* word) { return [&, word] { s.morlo90_ia8(word, m); }; };
  expect_stops({{"solve", task("solve"), {"MORLO90_IA8: optional parameter SOL or RS missing"}},
                {"ldet", task("ldet"), {"MORLO90_IA8: optional parameter DET missing"}},
                {"export_fact", task("export_fact"), {"MORLO90_IA8: optional parameter factija missing"}},
                {"unknown", task("nrhs"), {"MORLO90_IA8 operation nrhs unknown"}},
                {"IJA8 with MORLO", [&] { morlo.morlo90_ia8("factorization", m); },
                 {"MORLO90_IA8: IJA8 is supported only in KELP. Switch from MORLO to KELP."}},
                {"MORLO memory limit", [&] { small("factorization", ten); },
                 {"MORLO90: memory needed: *", "         maxmimum memory allowed: 5"}}});
  s.morlo90_ia8("inverse", m);
  EXPECT_DOUBLE_EQ(m.a[0], 0.5);
}

TEST(morlo90, engines_and_orderings_agree) {
  // KELP with AMD against MORLO and against KELP with METIS, all of them silent
  const linalg::dense_matrix d = pedigree_inverse(600, 9);
  auto run = [&](morlo90_settings st, int threads, ija_matrix& m) {
    morlo90 s(st);
    s.set_num_threads_kelp(threads);
    double det = 0.0;
    EXPECT_EQ(captured_stdout([&] { s("factorization", m), s("ldet", m, {.det = &det}), s("inverse", m); }), "");
    return det;
  };
  ija_matrix ref = ija_of(d);
  const double ref_det = run({}, 2, ref);
  for (const morlo90_settings st : std::vector<morlo90_settings>{{.engine = morlo_engine::morlo},
                                                                 {.ordering = kelp_ordering::metis}}) {
    SCOPED_TRACE(st.engine == morlo_engine::morlo ? "MORLO" : "METIS");
    ija_matrix m = ija_of(d);
    EXPECT_NEAR(run(st, 1, m), ref_det, 1e-9 * std::fabs(ref_det));
    expect_all_near(m.a, ref.a, 1e-11);
  }
}

TEST(morlo90, default_thread_count_is_announced_once) {
  morlo90 s;
  ija_matrix m = one_by_one(3.0);
  const std::string out = captured_stdout([&] { s("factorization", m), s("inverse", m); });
  EXPECT_EQ(out.rfind(" MORLO90: number of threads for KELP = ", 0), 0u);
  EXPECT_NE(out.find("; default = "), std::string::npos);
  EXPECT_EQ(out.find(" by default.\n"), out.size() - 13);
}

TEST(morlo90, verbose_run_names_its_steps_and_times) {
  for (morlo_engine e : {morlo_engine::kelp, morlo_engine::morlo}) {
    morlo90 s({.engine = e, .msg_level = 1});
    s.set_num_threads_kelp(1);
    ija_matrix small = ija_of(random_spd(10, 0.3, 0, 20)), big = ija_of(random_spd(40, 0.3, 0, 21));
    const std::string out = captured_stdout([&] {
      s("factorization", small), s("inverse", small), s("reset", small);
      s("factorization", big);  // MORLO needs more room
    });
    std::vector<std::string> labels = {"ordering time =", "symbolic factorization time=",
                                       "numerical factorization time=", "inversion time="};
    if (e == morlo_engine::kelp)
      labels.insert(labels.end(), {"* find_maximal_supernode ns= ", "NOTE: panel size is automatically detecied: SM="});
    else
      labels.insert(labels.end(), {"memory increased from: ", " to: "});
    for (const std::string& label : labels) EXPECT_NE(out.find(label), std::string::npos) << label;
  }
}

TEST(morlo90, short_and_long_task_words_select_the_same_task) {
  const int n = 15;
  ija_matrix m = ija_of(random_spd(n, 0.3, 0, 30));
  morlo90 s;
  s.set_num_threads_kelp(1);
  s("FAC", m);  // three letters, any case
  EXPECT_EQ(s.step(), morlo_step::numeric);
  std::vector<double> b(n);
  for (int i = 0; i < n; ++i) b[i] = 1.0 + i % 4;
  auto output = [&](const char* word) {  // everything a word gives out, with every argument offered
    std::vector<double> out(n, 0.0);
    std::vector<int> perm;
    ija8_matrix u;
    double det = 0.0;
    s(word, m, {.rs = b, .sol = out, .mrs8 = b, .msol8 = out, .nrhs = 1, .det = &det, .perm = &perm, .factija = &u});
    out.push_back(det);
    out.insert(out.end(), perm.begin(), perm.end());
    out.insert(out.end(), u.a.begin(), u.a.end());
    return out;
  };
  for (const auto& [word, alias] : std::vector<std::pair<const char*, const char*>>{
           {"m_inv_fact_t", "mtinv"}, {"m_inv_fact_t", "mti"}, {"m_inv_fact_n", "mninv"}, {"m_inv_fact_n", "mni"},
           {"m_inv_fact_n", "xninv"}, {"m_inv_fact_n", "x_inv_fact_n"}, {"perm", "export_perm"},
           {"export", "export_fact"}, {"ldet", "det"}, {"ldet", "lde"}, {"solve", "SOL"}})
    EXPECT_EQ(output(word), output(alias)) << word << " " << alias;
  EXPECT_NE(output("m_inv_fact_n"), output("m_inv_fact_t"));
}

}  // namespace
}  // namespace ventrel::sparse
