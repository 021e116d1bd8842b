// The Fortran edit descriptors against what gfortran prints (fortran/format_table.txt, made by
// fortran/format_table.f90), plus the cases that need no table.
#include "common/format.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

namespace ventrel {
namespace {

// Each line of the table: "(Kw.d) <value> |<field>|", the value in hex bits, or decimal for I.
TEST(format, matches_gfortran_table) {
  std::ifstream in(std::string(VENTREL_SOURCE_DIR) + "/tests/common/fortran/format_table.txt");
  ASSERT_TRUE(in.good());
  std::string line;
  int checked = 0;
  while (std::getline(in, line)) {
    const std::size_t bar = line.find('|');
    const std::string want = line.substr(bar + 1, line.rfind('|') - bar - 1);
    std::istringstream head(line.substr(0, bar));
    std::string desc, value;
    head >> desc >> value;
    const char kind = desc[1];
    const std::size_t dot = desc.find('.');
    const int w = std::stoi(desc.substr(2, dot - 2));
    const int d = dot == std::string::npos ? 0 : std::stoi(desc.substr(dot + 1));
    std::string got;
    if (kind == 'I') {
      got = fmt_i(std::stoll(value), w);
    } else {
      const double v = std::bit_cast<double>(static_cast<std::uint64_t>(std::stoull(value, nullptr, 16)));
      got = kind == 'F' ? fmt_f(v, w, d) : kind == 'G' ? fmt_g(v, w, d) : fmt_e(v, w, d);
    }
    EXPECT_EQ(got, want) << desc << " of " << value;
    ++checked;
  }
  EXPECT_GT(checked, 400);
}

TEST(format, fields_outside_the_table) {
  const double v[3] = {1, 2, 3};
  const std::vector<std::pair<std::string, std::string>> rows{
      {fmt_g(123456.0, 12, 5), " 0.12346E+06"},
      {fmt_f(1e12, 12, 3), "************"},
      {fmt_i(1000, 3), "***"},
      {fmt_f(-0.0, 12, 3), "      -0.000"},
      {fmt_f(std::nan(""), 12, 3), "         NaN"},
      {fmt_f(-INFINITY, 12, 3), "   -Infinity"},
      {fmt_f(INFINITY, 4, 1), " Inf"},
      {fmt_g_lines(v, 3, 2, 12, 5), "  1.0000      2.0000    \n  3.0000    "},  // two a line
      {fmt_a("abcdef", 3), "abc"},
      {pad_right("abcdef", 3), "abc"},
      {std::string(trim_right("ab  ")), "ab"},
      {std::string(trim_right("   ")), ""},
      // Plain numbers inside messages.
      {num(std::int64_t{-5}), "-5"},
      {num(0.1), "0.1"},
      {num(1e300), "1e+300"},
      {num(std::nan("")), "NaN"},
  };
  for (const auto& [got, want] : rows) EXPECT_EQ(got, want);
}

}  // namespace
}  // namespace ventrel
