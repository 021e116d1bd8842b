// Free-format reading: line reader, field splitting and number parsing.
#include "common/freeformat.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "common/fatal.hpp"
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

TEST(line_reader, hands_out_the_same_lines_with_any_buffer_and_rewinds) {
  const std::string path = write_temp("ff_tiny.txt", "first\r\n\nsecond line, longer than the buffer\n\r\nlast\r");
  for (std::size_t b : {1, 2, 3, 5, 8, 9, 1 << 20}) {
    line_reader r(path, false, b);
    std::string_view line;
    ASSERT_TRUE(r.next(line));
    EXPECT_EQ(line, "first");
    EXPECT_EQ(rest_of(r), (lines{"", "second line, longer than the buffer", "", "last"})) << b;
    EXPECT_EQ(r.line_number(), 5);
    r.rewind();
    EXPECT_EQ(r.line_number(), 0);
    EXPECT_EQ(rest_of(r).front(), "first");
  }
  line_reader cr(write_temp("lr2.txt", "a\rb\r\n"), true);  // carriage returns kept when asked
  EXPECT_EQ(rest_of(cr), lines{"a\rb\r"});
  line_reader big(write_temp("lr3.txt", "1\n" + std::string(3'000'000, 'x') + "\n2"));  // no last newline
  EXPECT_EQ(rest_of(big), (lines{"1", std::string(3'000'000, 'x'), "2"}));
}

TEST(line_reader, hands_out_runs_of_whole_lines_that_make_up_the_file) {
  const std::string text = "first\r\n\nsecond line, longer than the buffer\n\r\nlast";  // "bad 5" is line 6
  const std::string path = write_temp("ff_blocks.txt", text);
  for (std::size_t b : {1, 2, 7, 1 << 20}) {
    line_reader r(path, false, b);
    std::string all;
    std::string_view block;
    while (r.next_block(block)) {
      ASSERT_FALSE(block.empty());
      if (all.size() + block.size() < text.size()) {
        EXPECT_EQ(block.back(), '\n') << b;
      }
      all += block;
    }
    EXPECT_EQ(all, text) << b;
    EXPECT_EQ(r.line_number(), 5) << b;
  }
  // A line longer than the limit is named by its number, as by next().
  const std::string long_path = write_temp("ff_blocks_long.txt", "a\nb\n" + std::string(100, 'x') + "\n");
  expect_stops({{"long line",
                 [&] {
                   line_reader r(long_path, false, 8, 50);
                   std::string_view block;
                   while (r.next_block(block)) {
                   }
                 },
                 {"Cannot read file " + long_path + ": line 3 is longer than 50 characters", "*"}}});
}

// read_in_pieces hands every line to a piece with its number, the pieces in the file's order,
// as next() does one at a time; after a header read by next(), with any buffer and thread count.
// A fault stops at the first faulty line of the file, after everything before it was taken.
TEST(read_in_pieces, gives_the_lines_in_order_with_their_numbers_and_stops_at_the_first_fault) {
  struct numbered {
    std::vector<std::pair<std::int64_t, std::string>> lines;
    void clear() { lines.clear(); }
  };
  const std::string text = "header\nfirst\r\n\nsecond line, longer than the buffer\n\r\nbad 5\nsixth\nbad 7\nlast";  // "bad 5" is line 6
  const std::string path = write_temp("ff_pieces.txt", text);
  line_reader seq(path);
  std::vector<std::pair<std::int64_t, std::string>> expected;
  std::string_view line;
  while (seq.next(line)) expected.emplace_back(seq.line_number(), std::string(line));
  expected.erase(expected.begin());  // the header
  for (std::size_t b : {1, 2, 7, 1 << 20})
    for (int threads : {1, 2, 3, 8}) {
      line_reader r(path, false, b);
      ASSERT_TRUE(r.next(line));
      std::vector<std::pair<std::int64_t, std::string>> got;
      read_in_pieces<numbered>(
          r, threads,
          [](numbered& out, std::string_view l, std::int64_t no) { out.lines.emplace_back(no, std::string(l)); },
          [&](const numbered& out) { got.insert(got.end(), out.lines.begin(), out.lines.end()); });
      EXPECT_EQ(got, expected) << b << " " << threads;

      // Lines that begin with "bad" are faults: the first one stops, everything before it taken.
      line_reader f(path, false, b);
      ASSERT_TRUE(f.next(line));
      got.clear();
      expect_stops({{"bad " + std::to_string(b) + " " + std::to_string(threads),
                     [&] {
                       read_in_pieces<numbered>(
                           f, threads,
                           [&](numbered& out, std::string_view l, std::int64_t no) {
                             if (l.starts_with("bad")) fatal(at_line(path, no) + ": " + std::string(l));
                             out.lines.emplace_back(no, std::string(l));
                           },
                           [&](const numbered& out) { got.insert(got.end(), out.lines.begin(), out.lines.end()); });
                     },
                     {at_line(path, 6) + ": bad 5"}}});
      EXPECT_EQ(got, std::vector(expected.begin(), expected.begin() + 4)) << b << " " << threads;
    }
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
      {"line too long", reading(path, 99), {"Cannot read file " + path + ": line 2 is longer than 99 characters", "*"}},
  });
}

TEST(count_newlines, counts_every_newline_of_any_length_and_density) {
  std::string text;
  unsigned x = 1;
  for (int i = 0; i < 5000; ++i) {
    x = x * 1103515245u + 12345u;
    text += (x >> 16) % 7 == 0 ? '\n' : 'a';
  }
  text += std::string(3 * 128 + 5, '\n');  // whole blocks of nothing but newlines
  for (std::size_t len : {std::size_t{0}, std::size_t{1}, std::size_t{127}, std::size_t{128}, std::size_t{129}, std::size_t{1000}, text.size()})
    for (std::size_t start : {std::size_t{0}, std::size_t{3}}) {
      const std::string_view s = std::string_view(text).substr(start, len);
      EXPECT_EQ(count_newlines(s), std::count(s.begin(), s.end(), '\n')) << start << " " << len;
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

}  // namespace
}  // namespace ventrel
