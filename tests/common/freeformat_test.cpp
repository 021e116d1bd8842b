// Free-format reading: line reader, field splitting and number parsing.
#include "common/freeformat.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>

#include "common/fatal.hpp"

namespace ventrel {
namespace {

std::string write_temp(const std::string& name, const std::string& text) {
  std::string path = ::testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

TEST(line_reader, hands_out_lines_with_numbers_and_rewinds) {
  std::string path = write_temp("lr1.txt", "a b\r\n\nlast without newline");
  line_reader r(path);
  std::string_view line;
  ASSERT_TRUE(r.next(line));
  EXPECT_EQ(line, "a b");
  EXPECT_EQ(r.line_number(), 1);
  ASSERT_TRUE(r.next(line));
  EXPECT_EQ(line, "");
  ASSERT_TRUE(r.next(line));
  EXPECT_EQ(line, "last without newline");
  EXPECT_EQ(r.line_number(), 3);
  EXPECT_FALSE(r.next(line));
  r.rewind();
  ASSERT_TRUE(r.next(line));
  EXPECT_EQ(line, "a b");
}

TEST(line_reader, keeps_carriage_returns_when_asked) {
  std::string path = write_temp("lr2.txt", "a\rb\r\n");
  line_reader r(path, true);
  std::string_view line;
  ASSERT_TRUE(r.next(line));
  EXPECT_EQ(line, "a\rb\r");
}

TEST(line_reader, reads_lines_longer_than_its_buffer) {
  std::string longline(3'000'000, 'x');
  std::string path = write_temp("lr3.txt", "1\n" + longline + "\n2\n");
  line_reader r(path);
  std::string_view line;
  ASSERT_TRUE(r.next(line));
  ASSERT_TRUE(r.next(line));
  EXPECT_EQ(line.size(), longline.size());
  ASSERT_TRUE(r.next(line));
  EXPECT_EQ(line, "2");
}

TEST(line_reader, many_lines_across_buffer_refills) {
  std::string text;
  for (int i = 1; i <= 300000; ++i) text += std::to_string(i) + " 0 0\n";
  std::string path = write_temp("lr4.txt", text);
  line_reader r(path);
  std::string_view line;
  std::int64_t count = 0;
  std::array<std::string_view, 3> f;
  while (r.next(line)) {
    ++count;
    ASSERT_EQ(split_fields(line, f), 3u);
    std::int64_t v = 0;
    ASSERT_TRUE(parse_int(f[0], v));
    ASSERT_EQ(v, count);
  }
  EXPECT_EQ(count, 300000);
}

TEST(line_reader, missing_file_and_directory_stop_with_their_names) {
  try {
    line_reader r("/nonexistent/file.txt");
    FAIL();
  } catch (const fatal_error& e) {
    EXPECT_NE(std::string(e.what()).find("/nonexistent/file.txt"), std::string::npos);
  }
  try {
    line_reader r(::testing::TempDir());
    FAIL();
  } catch (const fatal_error& e) {
    EXPECT_NE(std::string(e.what()).find("is a directory"), std::string::npos);
  }
}

TEST(split_fields, blanks_tabs_and_commas_separate_and_slash_ends) {
  std::array<std::string_view, 8> f;
  EXPECT_EQ(split_fields("  1, 2\t3 ,,4  ", f), 4u);
  EXPECT_EQ(f[0], "1");
  EXPECT_EQ(f[3], "4");
  EXPECT_EQ(split_fields("5 6 / 7 8", f), 2u);
  EXPECT_EQ(split_fields("", f), 0u);
  std::array<std::string_view, 2> two;
  EXPECT_EQ(split_fields("a b c d", two), 4u);  // counts all, stores the first two
  EXPECT_EQ(two[1], "b");
}

TEST(parse_int, accepts_signed_integers_and_rejects_garbage_and_overflow) {
  std::int64_t v = 0;
  EXPECT_TRUE(parse_int("+17", v));
  EXPECT_EQ(v, 17);
  EXPECT_TRUE(parse_int("-3", v));
  EXPECT_EQ(v, -3);
  EXPECT_FALSE(parse_int("1.5", v));
  EXPECT_FALSE(parse_int("12a", v));
  EXPECT_FALSE(parse_int("", v));
  EXPECT_FALSE(parse_int("+", v));
  std::int32_t w = 0;
  EXPECT_FALSE(parse_int("2147483648", w));
  EXPECT_TRUE(parse_int("2147483647", w));
  EXPECT_FALSE(parse_int("99999999999999999999", v));
  // Two signs (found by fuzzing).
  std::int32_t k = 0;
  EXPECT_FALSE(parse_int("+-8", k));
  std::int64_t l = 0;
  EXPECT_FALSE(parse_int("+-8", l));
}

TEST(parse_real, reads_fortran_forms) {
  double v = 0;
  EXPECT_TRUE(parse_real("1.5d0", v));
  EXPECT_EQ(v, 1.5);
  EXPECT_TRUE(parse_real("-2.5D-1", v));
  EXPECT_EQ(v, -0.25);
  EXPECT_TRUE(parse_real("+7", v));
  EXPECT_EQ(v, 7.0);
  EXPECT_TRUE(parse_real(".5", v));
  EXPECT_EQ(v, 0.5);
  EXPECT_TRUE(parse_real("3.", v));
  EXPECT_EQ(v, 3.0);
  EXPECT_TRUE(parse_real("1e400", v));
  EXPECT_TRUE(std::isinf(v));
  EXPECT_TRUE(parse_real("1e-400", v));
  EXPECT_EQ(v, 0.0);
  EXPECT_TRUE(parse_real("NaN", v));
  EXPECT_TRUE(std::isnan(v));
  EXPECT_FALSE(parse_real("abc", v));
  EXPECT_FALSE(parse_real("1.2.3", v));
  EXPECT_FALSE(parse_real("--1", v));
  EXPECT_FALSE(parse_real("", v));
  EXPECT_FALSE(parse_real("1e", v));
  // Out of range and followed by more text: garbage, not infinity or zero (found by fuzzing).
  EXPECT_FALSE(parse_real("199e3199e", v));
  EXPECT_FALSE(parse_real("1e-999x", v));
}

TEST(excerpt, cuts_long_text_for_messages) {
  EXPECT_EQ(excerpt("short"), "short");
  EXPECT_EQ(excerpt(std::string(100, 'a')), std::string(100, 'a'));
  EXPECT_EQ(excerpt(std::string(10u << 20, 'a')), std::string(100, 'a') + " ...");
  EXPECT_EQ(excerpt("abcdef", 3), "abc ...");
}

TEST(is_directory, tells_directories_from_files) {
  EXPECT_TRUE(is_directory(::testing::TempDir()));
  EXPECT_FALSE(is_directory(write_temp("ff_plain.txt", "x\n")));
  EXPECT_FALSE(is_directory("/nonexistent/dir"));
}

TEST(line_reader, a_read_error_stops_naming_the_file) {
  // /proc/self/mem opens but fails to read at offset 0 (EIO), even for root: a file the system
  // refuses to read.
  try {
    line_reader r("/proc/self/mem");
    std::string_view line;
    r.next(line);
    FAIL();
  } catch (const fatal_error& e) {
    EXPECT_EQ(e.lines()[0].rfind("Cannot read file /proc/self/mem: ", 0), 0u) << e.what();
  }
}

TEST(line_reader, tiny_buffers_give_the_same_lines) {
  const std::string text = "first\r\n\nsecond line, longer than the buffer\n\r\nlast\r";
  const std::string path = write_temp("ff_tiny.txt", text);
  const std::vector<std::string> want{"first", "", "second line, longer than the buffer", "", "last"};
  for (std::size_t b = 1; b <= 9; ++b) {
    line_reader r(path, false, b);
    std::vector<std::string> got;
    std::string_view line;
    while (r.next(line)) got.emplace_back(line);
    EXPECT_EQ(got, want) << b;
    r.rewind();
    ASSERT_TRUE(r.next(line));
    EXPECT_EQ(line, "first");
  }
}

TEST(line_reader, a_line_beyond_the_limit_stops_naming_it) {
  const std::string path = write_temp("ff_long_line.txt", "short\n" + std::string(100, 'x') + "\nafter\n");
  line_reader ok(path, false, 8, 100);  // a line of exactly the limit is read
  std::string_view line;
  ASSERT_TRUE(ok.next(line));
  ASSERT_TRUE(ok.next(line));
  EXPECT_EQ(line.size(), 100u);
  line_reader r(path, false, 8, 99);
  ASSERT_TRUE(r.next(line));
  try {
    r.next(line);
    FAIL();
  } catch (const fatal_error& e) {
    EXPECT_EQ(e.lines(), (std::vector<std::string>{"Cannot read file " + path + ": line 2 is longer than 99 characters",
                                                   "Is it a text file with one record a line?"}));
  }
}

}  // namespace
}  // namespace ventrel
