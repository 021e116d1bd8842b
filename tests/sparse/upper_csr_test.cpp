// Views of IJA matrices: the format check. The symmetric permutation is checked through the
// MORLO factor, which must reproduce P A P'.
#include "sparse/upper_csr.hpp"

#include "sparse_test_util.hpp"

namespace ventrel::sparse::testing {

TEST(upper_csr, well_formed_accepts_a_proper_matrix_and_rejects_each_breakage) {
  const ija_matrix good = ija_of(random_spd(8, 0.4, 0, 1));
  const std::vector<std::pair<const char*, std::function<void(ija_matrix&)>>> rows = {
      {"proper", [](ija_matrix&) {}},
      {"column below the row", [](ija_matrix& m) { m.ja[m.ia[3] - 1] = 2; }},
      {"repeated column", [](ija_matrix& m) { m.ja[1] = m.ja[0]; }},
      {"column beyond n", [](ija_matrix& m) { m.ja.back() = 9; }},
      {"ia(1) /= 1", [](ija_matrix& m) { m.ia[0] = 2; }}};
  for (const auto& [name, breakage] : rows) {
    SCOPED_TRACE(name);
    ija_matrix m = good;
    breakage(m);
    std::vector<std::int64_t> ptr;
    EXPECT_EQ(well_formed(view_of(m, ptr)), m.ja == good.ja && m.ia == good.ia);
  }
}

}  // namespace ventrel::sparse::testing
