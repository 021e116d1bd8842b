// Splitting of parameter-file lines into words at blanks, and the lower-case conversion that
// makes option names case-insensitive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ventrel::parfile {

// The words of a line as text and as numbers; also what an OPTION query answers.
struct option_values {
  int n = -1;                    // number of words (values); -1 when an OPTION query found no line
  std::vector<std::string> xc;   // the words as written
  std::vector<double> x;         // their values read free-format; 0 where a word is not a number
  std::int64_t line_no = 0;      // line of the file that an OPTION query found; 0 when none
};

// A keyword line of the model part of the parameter file.
struct keyword_line {
  int n = -1;                    // number of words; -1 at the end of the file
  std::vector<std::string> words;
  std::vector<int> numbers;      // integer value of each word, 0 where it is not an integer
  std::int64_t line_no = 0;      // line number in the file (of the last line read at the end)
};

// Splits text into words separated by blanks (only the blank separates: a TAB or a comma is part
// of a word) and reads each word as a number. More than max_words words stop the run with
// "Error in nums2 splitting string starting: " and the text from the first word too many, then
// `where` (the file and line, as at_line gives them) when it is not empty.
option_values nums2(std::string_view text, std::size_t max_words, std::string_view where = {});

// The same split for keyword lines, numbers read as integers; at most max_words words, else the
// run stops with "Error in numsx splitting string starting: " (and `where`).
keyword_line numsx(std::string_view text, std::size_t max_words = 70, std::string_view where = {});

// A copy of text with the letters A-Z replaced by a-z; every other character is kept.
std::string to_lower(std::string_view text);

}  // namespace ventrel::parfile
