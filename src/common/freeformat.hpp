// Free-format (list-directed) reading: a buffered line reader with line numbers, the splitting
// of a record into values (blanks, TABs and commas separate them), and number parsing that
// rejects garbage. No iostream per value: files of 10^8 lines go through here.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ventrel {

// "file <path>, line <n>": how messages name the place of a bad line.
std::string at_line(std::string_view path, std::int64_t line);

// Whether a path names an existing regular file (or anything else that exists, for
// Fortran's INQUIRE(EXIST=)).
bool file_exists(const std::string& path);
// Whether a path names an existing directory.
bool is_directory(const std::string& path);

// Text from a file as a message shows it: at most max characters, then " ..." when cut, so that
// a line of megabytes never makes a message of megabytes.
std::string excerpt(std::string_view text, std::size_t max = 100);
// The same with every byte that is not printable ASCII written as <XX> (its hexadecimal code),
// so that a byte-order mark, a TAB or a control character shows in a message.
std::string visible(std::string_view text, std::size_t max = 100);
// The name of the byte-order mark that text starts with ("UTF-8" for EF BB BF, "UTF-16" for
// FF FE or FE FF); empty when it starts with none. Text files of the family hold no such mark.
std::string_view byte_order_mark(std::string_view text);

// Reads a text file one line at a time through a large buffer. A line is handed out without its
// newline; a carriage return before the newline is removed unless keep_cr is set. The view stays
// valid until the next call. A file that cannot be opened stops the run naming it.
// The buffer starts at the file's size (at least 4 KB, at most 1 MB; initial_buffer > 0 sets it,
// for tests of the refills) and doubles while a line does not fit, up to max_line characters: a
// longer line (a file without line ends, such as a binary file named by mistake) stops the run
// naming the file and the line instead of taking all memory.
class line_reader {
 public:
  static constexpr std::size_t default_max_line = std::size_t{256} << 20;  // 256 MiB

  explicit line_reader(std::string path, bool keep_cr = false, std::size_t initial_buffer = 0,
                       std::size_t max_line = default_max_line);
  ~line_reader();
  line_reader(const line_reader&) = delete;
  line_reader& operator=(const line_reader&) = delete;

  bool next(std::string_view& line);  // false at the end of the file
  // The next run of whole lines, each with its newline (the file's last line may have none):
  // everything the buffer holds up to its last newline, at least one line; false at the end of
  // the file. For readers that split the lines among threads; line_number() is then that of the
  // run's last line. Do not mix with next().
  bool next_block(std::string_view& lines);
  std::int64_t line_number() const { return line_no_; }  // of the line last handed out
  const std::string& path() const { return path_; }
  void rewind();

 private:
  bool fill();
  std::string path_;
  bool keep_cr_;
  std::FILE* f_ = nullptr;
  std::vector<char> buf_;
  std::size_t max_line_;
  std::size_t begin_ = 0, end_ = 0;
  bool eof_ = false;
  std::int64_t line_no_ = 0;
};

// Splits a list-directed record into values: blanks, TABs, carriage returns and commas
// separate; a slash ends the record. Fills at most out.size() views and returns how many
// values the record holds in all (so a count above out.size() means some were not stored).
std::size_t split_fields(std::string_view line, std::span<std::string_view> out);

// Whole values only: the number must take the whole field. parse_int accepts an optional sign
// and digits and fails on overflow of the target type.
bool parse_int(std::string_view s, std::int64_t& v);
bool parse_int(std::string_view s, std::int32_t& v);
// Reals: Fortran's forms (1, 1., .5, 1e3, 1.5D-3, +2); NaN and Infinity are read as such, so
// callers that need finite values check std::isfinite.
bool parse_real(std::string_view s, double& v);

}  // namespace ventrel
