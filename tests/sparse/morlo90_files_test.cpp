// morlo90's files: "savem"/"loadm" (morlo90.ord), "savef"/"loadf" (morlo90.fac) and "dump",
// written in a fresh folder, with both engines.
#include <fstream>
#include <iterator>

#include "sparse/morlo90.hpp"
#include "sparse_test_util.hpp"

// The optional arguments are named by designated initializers; the ones left out are empty.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace ventrel::sparse::testing {

class morlo90_files : public ::testing::TestWithParam<morlo_engine> {
 protected:
  scoped_work_dir dir_;
  morlo90 s{morlo90_settings{GetParam()}};
  void SetUp() override { s.set_num_threads_kelp(1); }
};

INSTANTIATE_TEST_SUITE_P(both, morlo90_files, ::testing::Values(morlo_engine::kelp, morlo_engine::morlo));

TEST_P(morlo90_files, saved_ordering_and_factor_are_taken_back) {
  ija_matrix m = ija_of(pedigree_inverse(200, 4)), again = m;
  std::vector<int> first, second;
  double det1 = 0.0, det2 = 0.0;
  s("ordering", m), s("savem", m), s("perm", m, {.perm = &first});
  s("reset", m), s("loadm", m);
  EXPECT_EQ(s.step(), morlo_step::ordered);
  s("perm", m, {.perm = &second});
  EXPECT_EQ(first, second);
  s("factorization", m), s("savef", m), s("ldet", m, {.det = &det1}), s("inverse", m);
  s("reset", again), s("loadf", again);
  EXPECT_EQ(s.step(), morlo_step::numeric);
  s("ldet", again, {.det = &det2});
  EXPECT_NEAR(det1, det2, 1e-12 * std::fabs(det1));
  s("inverse", again);
  expect_all_near(again.a, m.a, 1e-12);
}

TEST_P(morlo90_files, dump_writes_the_matrix_unformatted) {
  // records framed by their length in bytes: n and nnz, then ia, ja and a as the caller holds them
  ija_matrix m = ija_of(random_spd(7, 0.4, 0, 6));
  ija8_matrix w = wide(m);
  const std::int64_t nnz = static_cast<std::int64_t>(m.ja.size());
  const bool ia8 = GetParam() == morlo_engine::kelp;  // the 64-bit entry is KELP's
  std::string want;
  auto record = [&want](const auto& v) {
    const std::int32_t len = static_cast<std::int32_t>(v.size() * sizeof(v[0]));
    const char* p = reinterpret_cast<const char*>(&len);
    want.append(p, 4).append(reinterpret_cast<const char*>(v.data()), v.size() * sizeof(v[0])).append(p, 4);
  };
  ia8 ? record(std::vector<std::int64_t>{7, nnz}) : record(std::vector<int>{7, static_cast<int>(nnz)});
  ia8 ? record(w.ia) : record(m.ia);
  record(m.ja), record(m.a);
  const std::string name = ia8 ? "xx_ija8.bin" : "xx_ija4.bin";
  EXPECT_EQ(captured_stdout([&] { ia8 ? s.morlo90_ia8("dump", w) : s("dump", m); }),
            name + " nnz= " + std::to_string(nnz) + " size(ija%ia)= 8\n");
  std::ifstream f(name, std::ios::binary);
  EXPECT_TRUE(std::string(std::istreambuf_iterator<char>(f), {}) == want);
}

TEST_P(morlo90_files, stops) {
  ija_matrix m = ija_of(random_spd(30, 0.1, 0, 1)), other = ija_of(random_spd(31, 0.1, 0, 3));
  expect_stops({{"savem before ordering", [&] { s("savem", m); }, {"MORLO90: no intermediate results"}},
                {"loadm of another matrix", [&] { s("ordering", m), s("savem", m), s("reset", m), s("loadm", other); },
                 {"ERR_PARAM: n/=neq.or.nnz/=ia(n+1)-1"}},
                {"loadf without the file", [&] { s("loadf", m); }, {"MORLO90: cannot open file morlo90.fac"}}});
}

}  // namespace ventrel::sparse::testing
