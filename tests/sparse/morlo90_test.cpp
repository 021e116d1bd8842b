// morlo90: task words, the step counter and its messages, optional arguments, and the tasks'
// results with both engines.
#include "sparse/morlo90.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "common/format.hpp"
#include "reference/dense_inverse.hpp"
#include "sparse_test_util.hpp"

namespace ventrel::sparse {
namespace {

using testing::fatal_lines;
using testing::ija_of;
using strings = std::vector<std::string>;

ija_matrix one_by_one(double v) {
  ija_matrix m;
  m.n = 1;
  m.ia = {1, 2};
  m.ja = {1};
  m.a = {v};
  return m;
}

ija8_matrix wide(const ija_matrix& m) { return {m.n, {m.ia.begin(), m.ia.end()}, m.ja, m.a}; }

morlo90 solver(morlo_engine e) {
  morlo90_settings s;
  s.engine = e;
  return morlo90(s);
}

class morlo90_engines : public ::testing::TestWithParam<morlo_engine> {
 protected:
  morlo90 s{morlo90_settings{GetParam()}};
  void SetUp() override { s.set_num_threads_kelp(2); }
};

INSTANTIATE_TEST_SUITE_P(both, morlo90_engines, ::testing::Values(morlo_engine::kelp, morlo_engine::morlo));

TEST_P(morlo90_engines, one_by_one_matrix_gives_log_four_and_a_quarter) {
  ija_matrix m = one_by_one(4.0);
  s("factorization", m);
  double det = 0.0;
  morlo90_args args;
  args.det = &det;
  s("ldet", m, args);
  EXPECT_DOUBLE_EQ(det, std::log(4.0));
  det = 0.0;
  s("det", m, args);
  EXPECT_DOUBLE_EQ(det, std::log(4.0));
  s("inverse", m);
  EXPECT_DOUBLE_EQ(m.a[0], 0.25);
}

TEST_P(morlo90_engines, inverse_or_ldet_before_factorization_stops) {
  ija_matrix m = one_by_one(4.0);
  double det = 0.0;
  morlo90_args args;
  args.det = &det;
  EXPECT_EQ(fatal_lines([&] { s("inverse", m); }), strings{"ERR_STEP: status<STAT_ORD"});
  EXPECT_EQ(fatal_lines([&] { s("ldet", m, args); }), strings{"ERR_STEP: status<STAT_ORD"});
}

TEST_P(morlo90_engines, element_count_not_matching_ia_stops) {
  ija_matrix m = ija_of(testing::random_spd(6, 0.5, 0, 1));
  m.ja.pop_back();
  m.a.pop_back();
  EXPECT_EQ(fatal_lines([&] { s("factorization", m); }), strings{"ERR_PARAM: n/=neq.or.nnz/=ia(n+1)-1"});
  ija_matrix empty;
  empty.ia = {1};
  EXPECT_EQ(fatal_lines([&] { s("factorization", empty); }), strings{"ERR_PARAM: n<1"});
}

TEST_P(morlo90_engines, another_matrix_after_ordering_stops_until_reset) {
  ija_matrix a = ija_of(testing::random_spd(8, 0.4, 0, 2));
  ija_matrix b = ija_of(testing::random_spd(9, 0.4, 0, 3));
  s("ordering", a);
  EXPECT_EQ(fatal_lines([&] { s("symbolic_fact", b); }), strings{"ERR_PARAM: n/=neq.or.nnz/=ia(n+1)-1"});
  EXPECT_EQ(fatal_lines([&] { s("ordering", a); }), strings{"ERR_STEP: status>STAT_ORD"});
  EXPECT_EQ(fatal_lines([&] { s("numeric_fact", a); }), strings{"ERR_STEP: status<STAT_SYM"});
  s("reset", a);
  EXPECT_EQ(s.step(), morlo_step::not_ready);
  s("factorization", b);
  EXPECT_EQ(s.step(), morlo_step::numeric);
  s("factorization", a);  // a new factorisation replaces the old one
  EXPECT_EQ(s.step(), morlo_step::numeric);
}

TEST_P(morlo90_engines, steps_one_at_a_time_equal_factorization) {
  linalg::dense_matrix d = testing::random_spd(30, 0.1, 5, 4);
  ija_matrix m = ija_of(d);
  double det = 0.0;
  morlo90_args args;
  args.det = &det;
  s("ord", m);
  EXPECT_EQ(s.step(), morlo_step::ordered);
  EXPECT_EQ(fatal_lines([&] { s("ldet", m, args); }), strings{"ERR_STEP: status<STAT_NUM"});
  s("symbolic_fact", m);
  EXPECT_EQ(s.step(), morlo_step::symbolic);
  s("numeric_fact", m);
  s("lde", m, args);
  EXPECT_NEAR(det, reference::dense_spd_logdet(d), 1e-10);
}

TEST_P(morlo90_engines, unknown_task_word_stops) {
  ija_matrix m = one_by_one(1.0);
  EXPECT_EQ(fatal_lines([&] { s("frobnicate", m); }), strings{"MORLO90 operation frobnicate unknown"});
}

TEST_P(morlo90_engines, missing_optional_arguments_stop) {
  ija_matrix m = one_by_one(2.0);
  s("factorization", m);
  EXPECT_EQ(fatal_lines([&] { s("solve", m); }), strings{"MORLO90: optional parameter SOL or RS missing"});
  EXPECT_EQ(fatal_lines([&] { s("m_fact", m); }), strings{"MORLO90: optional parameter SOL or RS missing"});
  EXPECT_EQ(fatal_lines([&] { s("x_inv_fact_n", m); }), strings{"MORLO90: optional parameter MSOL8 or MRS8 missing"});
  std::vector<double> x(1, 1.0), y(1);
  morlo90_args multi;
  multi.mrs8 = x;
  multi.msol8 = y;
  EXPECT_EQ(fatal_lines([&] { s("x_inv_fact_n", m, multi); }), strings{"MORLO90: nrhs missing"});
  EXPECT_EQ(fatal_lines([&] { s("ldet", m); }), strings{"MORLO90: optional parameter DET missing"});
  EXPECT_EQ(fatal_lines([&] { s("perm", m); }), strings{"MORLO90: optional parameter PERM missing"});
  EXPECT_EQ(fatal_lines([&] { s("export_fact", m); }), strings{"MORLO90: optional parameter factija"});
}

TEST(morlo90, wide_entry_messages_and_morlo_refusal) {
  morlo90 s;
  s.set_num_threads_kelp(1);
  ija8_matrix m = wide(one_by_one(2.0));
  s.morlo90_ia8("factorization", m);
  EXPECT_EQ(fatal_lines([&] { s.morlo90_ia8("solve", m); }), strings{"MORLO90_IA8: optional parameter SOL or RS missing"});
  EXPECT_EQ(fatal_lines([&] { s.morlo90_ia8("ldet", m); }), strings{"MORLO90_IA8: optional parameter DET missing"});
  EXPECT_EQ(fatal_lines([&] { s.morlo90_ia8("export_fact", m); }),
            strings{"MORLO90_IA8: optional parameter factija missing"});
  EXPECT_EQ(fatal_lines([&] { s.morlo90_ia8("nrhs", m); }), strings{"MORLO90_IA8 operation nrhs unknown"});
  s.morlo90_ia8("inverse", m);
  EXPECT_DOUBLE_EQ(m.a[0], 0.5);

  morlo90 simple = solver(morlo_engine::morlo);
  EXPECT_EQ(fatal_lines([&] { simple.morlo90_ia8("factorization", m); }),
            strings{"MORLO90_IA8: IJA8 is supported only in KELP. Switch from MORLO to KELP."});
}

TEST_P(morlo90_engines, solve_and_factor_products) {
  linalg::dense_matrix d = testing::random_spd(40, 0.1, 8, 5);
  ija_matrix m = ija_of(d);
  s("factorization", m);
  linalg::dense_matrix inv = reference::dense_spd_inverse(d);
  std::vector<double> b(40), x(40);
  for (int i = 0; i < 40; ++i) b[i] = std::cos(0.7 * i);
  morlo90_args args;
  args.rs = b;
  args.sol = x;
  s("solve", m, args);
  for (int i = 0; i < 40; ++i) {
    double want = 0.0;
    for (int j = 0; j < 40; ++j) want += inv(i, j) * b[j];
    EXPECT_NEAR(x[i], want, 1e-12);
  }
  // |F^{-1} P b|^2 = b' A^{-1} b, by m_inv_fact_n and by mni
  double quad = 0.0;
  for (int i = 0; i < 40; ++i) quad += b[i] * x[i];
  for (const char* word : {"m_inv_fact_n", "mni"}) {
    std::vector<double> y(40);
    args.sol = y;
    s(word, m, args);
    double s2 = 0.0;
    for (double v : y) s2 += v * v;
    EXPECT_NEAR(s2, quad, 1e-10) << word;
  }
  // P' F'^{-1} (F^{-1} P b) = A^{-1} b, by m_inv_fact_t / mti
  std::vector<double> y(40), z(40), w(40);
  args.sol = y;
  s("m_inv_fact_n", m, args);
  morlo90_args back;
  back.rs = y;
  back.sol = z;
  s("m_inv_fact_t", m, back);
  back.sol = w;
  s("mti", m, back);
  for (int i = 0; i < 40; ++i) {
    EXPECT_NEAR(z[i], x[i], 1e-12);
    EXPECT_NEAR(w[i], x[i], 1e-12);
  }
  // m_fact undoes m_inv_fact_t's inverse: P'F (F^{-1} P b) = b
  back.sol = z;
  s("m_fact", m, back);
  for (int i = 0; i < 40; ++i) EXPECT_NEAR(z[i], b[i], 1e-12);
  // x_inv_fact_n on two columns equals m_inv_fact_n on each
  std::vector<double> two(80), out(80);
  for (int i = 0; i < 40; ++i) {
    two[i] = b[i];
    two[40 + i] = 2.0 * b[i];
  }
  morlo90_args multi;
  multi.mrs8 = two;
  multi.msol8 = out;
  multi.nrhs = 2;
  s("x_inv_fact_n", m, multi);
  for (int i = 0; i < 40; ++i) {
    EXPECT_NEAR(out[i], y[i], 1e-12);
    EXPECT_NEAR(out[40 + i], 2.0 * y[i], 1e-12);
  }
}

TEST_P(morlo90_engines, checkb_stops_an_inaccurate_solution) {
  // factorise one matrix, then solve with another of the same pattern
  linalg::dense_matrix d = testing::random_spd(20, 0.2, 0, 6);
  ija_matrix m = ija_of(d);
  s("factorization", m);
  for (double& v : m.a) v *= 3.0;
  std::vector<double> b(20, 1.0), x(20);
  morlo90_args args;
  args.rs = b;
  args.sol = x;
  auto lines = fatal_lines([&] { s("solve", m, args); });
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "ERROR in CHECKB: not accurate solution");
  EXPECT_EQ(lines[1].rfind("observed deviation = ", 0), 0u);
  EXPECT_EQ(lines[2].rfind("maximum allowed    = ", 0), 0u);
}

TEST_P(morlo90_engines, sparse_inverse_and_logdet_against_dense) {
  for (unsigned seed : {7u, 8u}) {
    linalg::dense_matrix d = seed == 7u ? testing::random_spd(150, 0.03, 30, seed) : testing::pedigree_inverse(400, seed);
    ija_matrix m = ija_of(d);
    s("reset", m);
    s("factorization", m);
    double det = 0.0;
    morlo90_args args;
    args.det = &det;
    s("ldet", m, args);
    EXPECT_NEAR(det, reference::dense_spd_logdet(d), 1e-9 * (1.0 + std::fabs(det)));
    s("inverse", m);
    linalg::dense_matrix inv = reference::dense_spd_inverse(d);
    for (int i = 1; i <= m.n; ++i)
      for (int p = m.ia[i - 1]; p < m.ia[i]; ++p) EXPECT_NEAR(m.a[p - 1], inv(i - 1, m.ja[p - 1] - 1), 1e-10);
  }
}

TEST(morlo90, kelp_and_morlo_agree) {
  linalg::dense_matrix d = testing::pedigree_inverse(600, 9);
  ija_matrix a = ija_of(d), b = a;
  morlo90 kelp = solver(morlo_engine::kelp), simple = solver(morlo_engine::morlo);
  kelp.set_num_threads_kelp(2);
  double dk = 0.0, ds = 0.0;
  morlo90_args ak, as;
  ak.det = &dk;
  as.det = &ds;
  kelp("factorization", a);
  kelp("ldet", a, ak);
  kelp("inverse", a);
  simple("factorization", b);
  simple("ldet", b, as);
  simple("inverse", b);
  EXPECT_NEAR(dk, ds, 1e-9 * std::fabs(ds));
  for (std::size_t p = 0; p < a.a.size(); ++p) EXPECT_NEAR(a.a[p], b.a[p], 1e-11);
}

TEST_P(morlo90_engines, export_and_import_of_the_permutation) {
  linalg::dense_matrix d = testing::random_spd(25, 0.15, 0, 10);
  ija_matrix m = ija_of(d);
  std::vector<int> perm;
  morlo90_args args;
  args.perm = &perm;
  EXPECT_EQ(fatal_lines([&] { s("perm", m, args); }), strings{"ERR_STEP: status<STAT_ORD"});
  s("factorization", m);
  s("export_perm", m, args);
  ASSERT_EQ(perm.size(), 25u);
  std::vector<int> reversed(perm.rbegin(), perm.rend());
  s("reset", m);
  args.perm = &reversed;
  s("import_perm", m, args);
  EXPECT_EQ(s.step(), morlo_step::ordered);
  EXPECT_EQ(fatal_lines([&] { s("import_perm", m, args); }), strings{"ERR_STEP: status>STAT_ORD"});
  s("factorization", m);  // skips the ordering
  std::vector<int> used;
  args.perm = &used;
  s("perm", m, args);
  if (GetParam() == morlo_engine::morlo) {
    EXPECT_EQ(used, reversed);  // KELP postorders the permutation it is given
  }
  ija8_matrix u;
  morlo90_args fa;
  fa.factija = &u;
  s("export_fact", m, fa);
  EXPECT_EQ(testing::ija_problem(u), "");
  // U'U = P A P'
  for (int i = 0; i < 25; ++i) {
    double diag = 0.0;
    for (int r = 0; r < 25; ++r)
      for (std::int64_t p = u.ia[r] - 1; p < u.ia[r + 1] - 1; ++p)
        if (u.ja[p] == i + 1) diag += u.a[p] * u.a[p];
    EXPECT_NEAR(diag, d(used[i] - 1, used[i] - 1), 1e-10);
  }
  s("reset", m);
  std::vector<int> bad(25, 1);
  args.perm = &bad;
  EXPECT_EQ(fatal_lines([&] { s("import_perm", m, args); }), strings{"MORLO90: PERM is not a permutation of 1..25"});
}

TEST_P(morlo90_engines, statistics_block_and_note) {
  ija_matrix m = ija_of(testing::random_spd(12, 0.3, 0, 11));
  ::testing::internal::CaptureStdout();
  s("stat", m);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "NOTE: The sparse matrix is not loaded to the internal storage.\n");
  s("factorization", m);
  ::testing::internal::CaptureStdout();
  s("statistics", m);
  std::string out = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(out.rfind("SPARSE STATISTICS\nDIMENSION OF MATRIX     =          12\nRANK                    =          12\n", 0), 0u);
  for (const char* label : {"STORAGE AVAILABLE       =", "MAXIMUM NEEDED          =", "NZE IN FACTOR           =",
                            "NO. OF CALLS SOLVE      =           0"})
    EXPECT_NE(out.find(label), std::string::npos) << label;
  EXPECT_NE(out.find("NZE IN UPPER TRIANGULAR =" + fmt_i(static_cast<std::int64_t>(m.ja.size()), 12)), std::string::npos);
  EXPECT_NE(out.find("NO. OF CALLS NUM FACT   =           1"), std::string::npos);
}

TEST_P(morlo90_engines, illegal_matrix_format_stops) {
  ija_matrix m = ija_of(testing::random_spd(6, 0.5, 0, 12));
  std::swap(m.ja[0], m.ja[1]);  // columns not ascending in row 1
  EXPECT_EQ(fatal_lines([&] { s("factorization", m); }),
            strings{"INPUT ERROR: illegal format of input matrix (ia, ja, a)."});
}

TEST(morlo90, default_thread_count_is_announced_once) {
  morlo90 s;
  ija_matrix m = one_by_one(3.0);
  ::testing::internal::CaptureStdout();
  s("factorization", m);
  s("inverse", m);
  std::string out = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(out.rfind(" MORLO90: number of threads for KELP = ", 0), 0u);
  EXPECT_NE(out.find("; default = "), std::string::npos);
  EXPECT_EQ(out.find(" by default.\n"), out.size() - 13);
}

TEST(morlo90, morlo_memory_limit_stops) {
  morlo90_settings st;
  st.engine = morlo_engine::morlo;
  st.morlo_max_memory = 5;
  morlo90 s(st);
  ija_matrix m = ija_of(testing::random_spd(10, 0.3, 0, 13));
  auto lines = fatal_lines([&] { s("factorization", m); });
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].rfind("MORLO90: memory needed: ", 0), 0u);
  EXPECT_EQ(lines[1], "         maxmimum memory allowed: 5");
}

TEST(morlo90, metis_ordering_gives_the_same_inverse) {
  linalg::dense_matrix d = testing::pedigree_inverse(500, 14);
  ija_matrix a = ija_of(d), b = a;
  morlo90 amd, metis;
  amd.set_num_threads_kelp(1);
  metis.set_num_threads_kelp(1);
  metis.set_ordering(kelp_ordering::metis);
  amd("factorization", a);
  amd("inverse", a);
  ::testing::internal::CaptureStdout();
  metis("factorization", b);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");  // no dummy-METIS caution
  metis("inverse", b);
  for (std::size_t p = 0; p < a.a.size(); ++p) EXPECT_NEAR(a.a[p], b.a[p], 1e-11);
}

}  // namespace
}  // namespace ventrel::sparse

namespace ventrel::sparse {
namespace {

TEST(morlo90, verbose_run_names_its_steps_and_times) {
  for (morlo_engine e : {morlo_engine::kelp, morlo_engine::morlo}) {
    morlo90_settings st;
    st.engine = e;
    st.msg_level = 1;
    morlo90 s(st);
    s.set_num_threads_kelp(1);
    ija_matrix small = ija_of(testing::random_spd(10, 0.3, 0, 20));
    ija_matrix big = ija_of(testing::random_spd(40, 0.3, 0, 21));
    ::testing::internal::CaptureStdout();
    s("factorization", small);
    s("inverse", small);
    s("reset", small);
    s("factorization", big);
    std::string out = ::testing::internal::GetCapturedStdout();
    for (const char* label : {"ordering time =", "symbolic factorization time=", "numerical factorization time=",
                              "inversion time="})
      EXPECT_NE(out.find(label), std::string::npos) << label;
    if (e == morlo_engine::kelp) {
      EXPECT_NE(out.find("* find_maximal_supernode ns= "), std::string::npos);
      EXPECT_NE(out.find("NOTE: panel size is automatically detecied: SM="), std::string::npos);
    } else {
      EXPECT_NE(out.find("memory increased from: "), std::string::npos);
      EXPECT_NE(out.find(" to: "), std::string::npos);
    }
  }
}

}  // namespace
}  // namespace ventrel::sparse

namespace ventrel::sparse {
namespace {

TEST(morlo90, short_and_long_task_words_select_the_same_task) {
  linalg::dense_matrix d = testing::random_spd(15, 0.3, 0, 30);
  ija_matrix m = ija_of(d);
  morlo90 s;
  s.set_num_threads_kelp(1);
  s("FAC", m);
  std::vector<double> b(15, 1.0), x1(15), x2(15);
  morlo90_args a1, a2;
  a1.rs = b;
  a1.sol = x1;
  a2.rs = b;
  a2.sol = x2;
  s("m_inv_fact_t", m, a1);
  s("mtinv", m, a2);
  EXPECT_EQ(x1, x2);
  s("m_inv_fact_n", m, a1);
  s("mninv", m, a2);
  EXPECT_EQ(x1, x2);
  std::vector<double> one(15), many(15);
  a1.sol = one;
  s("m_inv_fact_n", m, a1);
  morlo90_args multi;
  multi.mrs8 = b;
  multi.msol8 = many;
  multi.nrhs = 1;
  s("xninv", m, multi);
  EXPECT_EQ(one, many);
  std::vector<int> p1, p2;
  morlo90_args e1, e2;
  e1.perm = &p1;
  e2.perm = &p2;
  s("perm", m, e1);
  s("export_perm", m, e2);
  EXPECT_EQ(p1, p2);
  ija8_matrix f1, f2;
  morlo90_args g1, g2;
  g1.factija = &f1;
  g2.factija = &f2;
  s("export", m, g1);
  s("export_fact", m, g2);
  EXPECT_EQ(f1.a, f2.a);
}

}  // namespace
}  // namespace ventrel::sparse
