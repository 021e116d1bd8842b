// Free-format reading: line reader, field splitting and number parsing.
#include "common/freeformat.hpp"

#include <array>
#include <cmath>

#include "support/test_support.hpp"

namespace ventrel {
namespace {

using test_support::expect_stops;
using test_support::lines;
using test_support::write_temp;

// Every line the reader hands out from where it stands.
lines rest_of(line_reader& r) {
  lines got;
  std::string_view line;
  while (r.next(line)) got.emplace_back(line);
  return got;
}

TEST(line_reader, hands_out_lines_with_numbers_and_rewinds) {
  line_reader r(write_temp("lr1.txt", "a b\r\n\nlast without newline"));
  std::string_view line;
  ASSERT_TRUE(r.next(line));
  EXPECT_EQ(line, "a b");
  EXPECT_EQ(r.line_number(), 1);
  EXPECT_EQ(rest_of(r), (lines{"", "last without newline"}));
  EXPECT_EQ(r.line_number(), 3);
  r.rewind();
  EXPECT_EQ(r.line_number(), 0);
  EXPECT_EQ(rest_of(r), (lines{"a b", "", "last without newline"}));
  line_reader cr(write_temp("lr2.txt", "a\rb\r\n"), true);  // carriage returns kept when asked
  EXPECT_EQ(rest_of(cr), lines{"a\rb\r"});
}

TEST(line_reader, tiny_buffers_give_the_same_lines) {
  const std::string path = write_temp("ff_tiny.txt", "first\r\n\nsecond line, longer than the buffer\n\r\nlast\r");
  for (std::size_t b = 1; b <= 9; ++b) {
    line_reader r(path, false, b);
    EXPECT_EQ(rest_of(r), (lines{"first", "", "second line, longer than the buffer", "", "last"})) << b;
    r.rewind();
    EXPECT_EQ(rest_of(r).front(), "first");
  }
}

TEST(line_reader, reads_lines_longer_than_its_buffer_and_many_lines_across_refills) {
  line_reader r(write_temp("lr3.txt", "1\n" + std::string(3'000'000, 'x') + "\n2\n"));
  const lines got = rest_of(r);
  ASSERT_EQ(got.size(), 3u);
  EXPECT_EQ(got[1], std::string(3'000'000, 'x'));
  EXPECT_EQ(got[2], "2");
  std::string text;
  for (int i = 1; i <= 300000; ++i) text += std::to_string(i) + " 0 0\n";
  line_reader many(write_temp("lr4.txt", text));
  std::string_view line;
  std::int64_t count = 0;
  std::array<std::string_view, 3> f;
  while (many.next(line)) {
    ++count;
    ASSERT_EQ(split_fields(line, f), 3u);
    std::int64_t v = 0;
    ASSERT_TRUE(parse_int(f[0], v));
    ASSERT_EQ(v, count);
  }
  EXPECT_EQ(count, 300000);
}

TEST(line_reader, stops_naming_the_file_it_cannot_open_or_read) {
  const std::string path = write_temp("ff_long_line.txt", "short\n" + std::string(100, 'x') + "\nafter\n");
  for (std::size_t buffer : {8, 100}) {  // a line of exactly the limit is read
    line_reader ok(path, false, buffer, 100);
    EXPECT_EQ(rest_of(ok)[1].size(), 100u) << buffer;
  }
  auto reading = [](const std::string& file, std::size_t max_line = line_reader::default_max_line) {
    return [=] {
      line_reader r(file, false, 8, max_line);
      rest_of(r);
    };
  };
  expect_stops({
      {"missing", reading("/nonexistent/file.txt"), {"Cannot open file /nonexistent/file.txt: *"}},
      {"directory", reading(::testing::TempDir()),
       {"Cannot read file " + ::testing::TempDir() + ": it is a directory"}},
      // /proc/self/mem opens but fails to read at offset 0 (EIO), even for root.
      {"read error", reading("/proc/self/mem"), {"Cannot read file /proc/self/mem: *"}},
      {"line too long", reading(path, 99),
       {"Cannot read file " + path + ": line 2 is longer than 99 characters",
        "Is it a text file with one record a line?"}},
  });
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
  struct row {
    std::string_view text;
    bool ok64, ok32;
    std::int64_t value;
  };
  for (const row& r : {row{"+17", true, true, 17}, row{"-3", true, true, -3}, row{"2147483647", true, true, 2147483647},
                       row{"2147483648", true, false, 2147483648}, row{"1.5", false, false, 0},
                       row{"12a", false, false, 0}, row{"", false, false, 0}, row{"+", false, false, 0},
                       row{"+-8", false, false, 0},  // two signs (found by fuzzing)
                       row{"99999999999999999999", false, false, 0}}) {
    std::int64_t v = 0;
    std::int32_t w = 0;
    EXPECT_EQ(parse_int(r.text, v), r.ok64) << r.text;
    EXPECT_EQ(parse_int(r.text, w), r.ok32) << r.text;
    if (r.ok64) {
      EXPECT_EQ(v, r.value) << r.text;
    }
    if (r.ok32) {
      EXPECT_EQ(w, r.value) << r.text;
    }
  }
}

TEST(parse_real, reads_fortran_forms_and_rejects_garbage) {
  const std::vector<std::pair<std::string_view, double>> good{
      {"1.5d0", 1.5}, {"-2.5D-1", -0.25}, {"+7", 7.0}, {".5", 0.5}, {"3.", 3.0}, {"1e400", INFINITY},
      {"1e-400", 0.0}, {"-Infinity", -INFINITY}};
  for (const auto& [text, value] : good) {
    double v = 1;
    EXPECT_TRUE(parse_real(text, v)) << text;
    EXPECT_EQ(v, value) << text;
  }
  double v = 0;
  EXPECT_TRUE(parse_real("NaN", v));
  EXPECT_TRUE(std::isnan(v));
  // Out of range and followed by more text: garbage, not infinity or zero (found by fuzzing).
  for (std::string_view bad : {"abc", "1.2.3", "--1", "", "1e", "199e3199e", "1e-999x"})
    EXPECT_FALSE(parse_real(bad, v)) << bad;
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
  EXPECT_TRUE(file_exists(::testing::TempDir() + "ff_plain.txt"));
  EXPECT_FALSE(file_exists("/nonexistent/dir"));
  EXPECT_EQ(at_line("a.txt", 12), "file a.txt, line 12");
}

}  // namespace
}  // namespace ventrel
