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

std::string apply_descriptor(const std::string& desc, double v) {
  // desc like "(F12.3)", "(G12.5)", "(E10.3)"
  char kind = desc[1];
  std::size_t dot = desc.find('.');
  int w = std::stoi(desc.substr(2, dot - 2));
  int d = std::stoi(desc.substr(dot + 1));
  switch (kind) {
    case 'F': return fmt_f(v, w, d);
    case 'G': return fmt_g(v, w, d);
    default: return fmt_e(v, w, d);
  }
}

TEST(format, matches_gfortran_table) {
  std::ifstream in(std::string(VENTREL_SOURCE_DIR) + "/tests/common/fortran/format_table.txt");
  ASSERT_TRUE(in.good());
  std::string line;
  int checked = 0;
  while (std::getline(in, line)) {
    std::size_t bar = line.find('|');
    std::string want = line.substr(bar + 1, line.rfind('|') - bar - 1);
    std::istringstream head(line.substr(0, bar));
    std::string desc, value;
    head >> desc >> value;
    std::string got;
    if (desc[1] == 'I') {
      got = fmt_i(std::stoll(value), std::stoi(desc.substr(2)));
    } else {
      double v = std::bit_cast<double>(static_cast<std::uint64_t>(std::stoull(value, nullptr, 16)));
      got = apply_descriptor(desc, v);
    }
    EXPECT_EQ(got, want) << desc << " of " << value;
    ++checked;
  }
  EXPECT_GT(checked, 400);
}

TEST(format, examples_of_the_report_fields) {
  EXPECT_EQ(fmt_g(1.0, 12, 5), "  1.0000    ");
  EXPECT_EQ(fmt_g(123456.0, 12, 5), " 0.12346E+06");
  EXPECT_EQ(fmt_f(1e12, 12, 3), "************");
  EXPECT_EQ(fmt_i(1000, 3), "***");
  EXPECT_EQ(fmt_f(-0.0, 12, 3), "      -0.000");
  EXPECT_EQ(fmt_f(std::nan(""), 12, 3), "         NaN");
  EXPECT_EQ(fmt_f(-INFINITY, 12, 3), "   -Infinity");
  EXPECT_EQ(fmt_f(INFINITY, 4, 1), " Inf");
}

TEST(format, character_fields) {
  EXPECT_EQ(fmt_a("abc", 5), "  abc");
  EXPECT_EQ(fmt_a("abcdef", 3), "abc");
  EXPECT_EQ(pad_right("Dispersion:", 14), "Dispersion:   ");
  EXPECT_EQ(pad_right("abcdef", 3), "abc");
  EXPECT_EQ(trim_right("ab  "), "ab");
  EXPECT_EQ(trim_right("   "), "");
}

TEST(format, g_lines_wrap_after_the_count_per_line) {
  double v[3] = {1, 2, 3};
  EXPECT_EQ(fmt_g_lines(v, 3, 2, 12, 5), "  1.0000      2.0000    \n  3.0000    ");
}

TEST(format, message_numbers_are_plain) {
  EXPECT_EQ(num(72), "72");
  EXPECT_EQ(num(std::int64_t{-5}), "-5");
  EXPECT_EQ(num(0.1), "0.1");
  EXPECT_EQ(num(1e300), "1e+300");
  EXPECT_EQ(num(std::nan("")), "NaN");
}

}  // namespace
}  // namespace ventrel
