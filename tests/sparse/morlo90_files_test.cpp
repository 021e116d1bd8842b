// morlo90's files: "savem"/"loadm" (morlo90.ord), "savef"/"loadf" (morlo90.fac) and "dump",
// written in a fresh folder.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "reference/dense_inverse.hpp"
#include "sparse/morlo90.hpp"
#include "sparse_test_util.hpp"

namespace ventrel::sparse {
namespace {

using testing::fatal_lines;
using testing::ija_of;
using strings = std::vector<std::string>;

// Runs each test in its own empty folder.
class morlo90_files : public ::testing::TestWithParam<morlo_engine> {
 protected:
  void SetUp() override {
    old_ = std::filesystem::current_path();
    dir_ = std::filesystem::path(::testing::TempDir()) /
           ("morlo90_files_" + std::to_string(::getpid()));
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
    std::filesystem::current_path(dir_);
    morlo90_settings st;
    st.engine = GetParam();
    s_ = std::make_unique<morlo90>(st);
    s_->set_num_threads_kelp(1);
  }
  void TearDown() override {
    std::filesystem::current_path(old_);
    std::filesystem::remove_all(dir_);
  }
  morlo90& s() { return *s_; }

 private:
  std::filesystem::path old_, dir_;
  std::unique_ptr<morlo90> s_;
};

INSTANTIATE_TEST_SUITE_P(both, morlo90_files, ::testing::Values(morlo_engine::kelp, morlo_engine::morlo));

TEST_P(morlo90_files, nothing_to_save_before_the_steps) {
  ija_matrix m = ija_of(testing::random_spd(10, 0.3, 0, 1));
  EXPECT_EQ(fatal_lines([&] { s()("savem", m); }), strings{"MORLO90: no intermediate results"});
  s()("ordering", m);
  EXPECT_EQ(fatal_lines([&] { s()("savef", m); }), strings{"MORLO90: no intermediate results"});
}

TEST_P(morlo90_files, saved_ordering_is_taken_back) {
  ija_matrix m = ija_of(testing::random_spd(30, 0.1, 0, 2));
  std::vector<int> first, second;
  morlo90_args args;
  s()("ordering", m);
  s()("savem", m);
  EXPECT_TRUE(std::filesystem::exists("morlo90.ord"));
  args.perm = &first;
  s()("perm", m, args);
  s()("reset", m);
  s()("loadm", m);
  EXPECT_EQ(s().step(), morlo_step::ordered);
  args.perm = &second;
  s()("perm", m, args);
  EXPECT_EQ(first, second);
  ija_matrix other = ija_of(testing::random_spd(31, 0.1, 0, 3));
  s()("reset", m);
  EXPECT_EQ(fatal_lines([&] { s()("loadm", other); }), strings{"ERR_PARAM: n/=neq.or.nnz/=ia(n+1)-1"});
}

TEST_P(morlo90_files, saved_factor_gives_the_same_results) {
  linalg::dense_matrix d = testing::pedigree_inverse(200, 4);
  ija_matrix m = ija_of(d), again = m;
  s()("factorization", m);
  s()("savef", m);
  double det1 = 0.0, det2 = 0.0;
  morlo90_args a1, a2;
  a1.det = &det1;
  a2.det = &det2;
  s()("ldet", m, a1);
  s()("inverse", m);
  s()("reset", again);
  s()("loadf", again);
  EXPECT_EQ(s().step(), morlo_step::numeric);
  s()("ldet", again, a2);
  EXPECT_NEAR(det1, det2, 1e-12 * std::fabs(det1));
  s()("inverse", again);
  for (std::size_t p = 0; p < m.a.size(); ++p) EXPECT_NEAR(m.a[p], again.a[p], 1e-12);
}

TEST_P(morlo90_files, missing_file_stops) {
  ija_matrix m = ija_of(testing::random_spd(5, 0.5, 0, 5));
  EXPECT_EQ(fatal_lines([&] { s()("loadf", m); }), strings{"MORLO90: cannot open file morlo90.fac"});
}

TEST_P(morlo90_files, dump_writes_the_matrix_unformatted) {
  ija_matrix m = ija_of(testing::random_spd(7, 0.4, 0, 6));
  ::testing::internal::CaptureStdout();
  s()("dump", m);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "xx_ija4.bin nnz= " + std::to_string(m.ja.size()) + " size(ija%ia)= 8\n");
  std::ifstream f("xx_ija4.bin", std::ios::binary);
  auto record = [&f](std::size_t bytes) {
    std::int32_t head = 0, tail = 0;
    std::vector<char> data(bytes);
    f.read(reinterpret_cast<char*>(&head), 4);
    f.read(data.data(), static_cast<std::streamsize>(bytes));
    f.read(reinterpret_cast<char*>(&tail), 4);
    EXPECT_EQ(head, static_cast<std::int32_t>(bytes));
    EXPECT_EQ(tail, head);
    return data;
  };
  std::vector<char> h = record(8);
  EXPECT_EQ(*reinterpret_cast<std::int32_t*>(h.data()), 7);
  std::vector<char> ia = record(8 * 4);
  EXPECT_EQ(std::memcmp(ia.data(), m.ia.data(), ia.size()), 0);
  std::vector<char> ja = record(m.ja.size() * 4);
  EXPECT_EQ(std::memcmp(ja.data(), m.ja.data(), ja.size()), 0);
  std::vector<char> a = record(m.a.size() * 8);
  EXPECT_EQ(std::memcmp(a.data(), m.a.data(), a.size()), 0);
  if (GetParam() == morlo_engine::kelp) {
    ija8_matrix w{m.n, {m.ia.begin(), m.ia.end()}, m.ja, m.a};
    ::testing::internal::CaptureStdout();
    s().morlo90_ia8("dump", w);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "xx_ija8.bin nnz= " + std::to_string(m.ja.size()) + " size(ija%ia)= 8\n");
    EXPECT_EQ(std::filesystem::file_size("xx_ija8.bin"), 4 * 8 + 16 + 8 * 8 + m.ja.size() * 12);
  }
}

}  // namespace
}  // namespace ventrel::sparse
