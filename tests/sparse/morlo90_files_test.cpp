// morlo90's files: "savem"/"loadm" (morlo90.ord), "savef"/"loadf" (morlo90.fac) and "dump",
// written in a fresh folder, with both engines.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>

#include "sparse/morlo90.hpp"
#include "sparse_test_util.hpp"

// The optional arguments are named by designated initializers; the ones left out are empty.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace ventrel::sparse {
namespace {

using namespace testing;

class morlo90_files : public ::testing::TestWithParam<morlo_engine> {
 protected:
  scoped_work_dir dir_{"morlo90_files"};
  morlo90 s{morlo90_settings{GetParam()}};
  void SetUp() override { s.set_num_threads_kelp(1); }
};

INSTANTIATE_TEST_SUITE_P(both, morlo90_files, ::testing::Values(morlo_engine::kelp, morlo_engine::morlo));

TEST_P(morlo90_files, saved_ordering_is_taken_back) {
  ija_matrix m = ija_of(random_spd(30, 0.1, 0, 2));
  std::vector<int> first, second;
  s("ordering", m);
  s("savem", m);
  s("perm", m, {.perm = &first});
  s("reset", m);
  s("loadm", m);
  EXPECT_EQ(s.step(), morlo_step::ordered);
  s("perm", m, {.perm = &second});
  EXPECT_EQ(first, second);
}

TEST_P(morlo90_files, saved_factor_gives_the_same_results) {
  ija_matrix m = ija_of(pedigree_inverse(200, 4)), again = m;
  double det1 = 0.0, det2 = 0.0;
  s("factorization", m);
  s("savef", m);
  s("ldet", m, {.det = &det1});
  s("inverse", m);
  s("reset", again);
  s("loadf", again);
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
  const std::size_t nnz = m.ja.size();
  const bool ia8 = GetParam() == morlo_engine::kelp;  // the 64-bit entry is KELP's
  std::string want;
  auto record = [&want](const void* data, std::size_t bytes) {
    const std::int32_t len = static_cast<std::int32_t>(bytes);
    want.append(reinterpret_cast<const char*>(&len), 4).append(static_cast<const char*>(data), bytes);
    want.append(reinterpret_cast<const char*>(&len), 4);
  };
  const std::int64_t head8[2] = {7, static_cast<std::int64_t>(nnz)};
  const std::int32_t head4[2] = {7, static_cast<std::int32_t>(nnz)};
  ia8 ? record(head8, 16) : record(head4, 8);
  ia8 ? record(w.ia.data(), 8 * 8) : record(m.ia.data(), 8 * 4);
  record(m.ja.data(), nnz * 4);
  record(m.a.data(), nnz * 8);
  const std::string name = ia8 ? "xx_ija8.bin" : "xx_ija4.bin";
  EXPECT_EQ(captured_stdout([&] { ia8 ? s.morlo90_ia8("dump", w) : s("dump", m); }),
            name + " nnz= " + std::to_string(nnz) + " size(ija%ia)= 8\n");
  std::ifstream f(name, std::ios::binary);
  EXPECT_TRUE(std::string(std::istreambuf_iterator<char>(f), {}) == want);
}

TEST_P(morlo90_files, messages) {
  ija_matrix m = ija_of(random_spd(30, 0.1, 0, 1)), other = ija_of(random_spd(31, 0.1, 0, 3));
  expect_stops({{"savem before ordering", [&] { s("savem", m); }, {"MORLO90: no intermediate results"}},
                {"savef after ordering only", [&] { s("ordering", m), s("savem", m), s("savef", m); },
                 {"MORLO90: no intermediate results"}},
                {"loadm of another matrix", [&] { s("reset", m), s("loadm", other); },
                 {"ERR_PARAM: n/=neq.or.nnz/=ia(n+1)-1"}},
                {"loadf without the file", [&] { s("loadf", m); }, {"MORLO90: cannot open file morlo90.fac"}}});
}

}  // namespace
}  // namespace ventrel::sparse
