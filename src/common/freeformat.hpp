// Free-format (list-directed) reading: a buffered line reader with line numbers, the splitting
// of a record into values (blanks, TABs and commas separate them), and number parsing that
// rejects garbage. No iostream per value: files of 10^8 lines go through here.
#pragma once

#include <omp.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
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
  // the file. For readers that split the lines among threads (read_in_pieces); line_number() is
  // then that of the run's last line. next() may come first (a header), not after.
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

// The number of newline characters in text.
std::int64_t count_newlines(std::string_view text);

// The lines of a run of whole lines (a piece of next_block's), one at a time, as
// line_reader::next hands them out: without the newline and a carriage return before it.
class line_cursor {
 public:
  explicit line_cursor(std::string_view text) : rest_(text) {}
  bool next(std::string_view& line) {
    if (rest_.empty()) return false;
    const std::size_t nl = rest_.find('\n');
    line = rest_.substr(0, nl);
    rest_.remove_prefix(nl == std::string_view::npos ? rest_.size() : nl + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return true;
  }

 private:
  std::string_view rest_;
};

// Cuts a run of whole lines into `parts` pieces of about equal size, each ending at a line end
// (some may be empty), and gives the number of each piece's first line when the run's first
// line is `first_line`.
void cut_lines(std::string_view run, std::int64_t first_line, std::span<std::string_view> pieces,
               std::span<std::int64_t> first_lines);

// Reads the rest of a file on `threads` threads (<= 0: OpenMP's default) and gives what a
// reading line by line would. Every run of whole lines (next_block) is cut into one piece a
// thread, and each thread hands the lines of its piece, as line_reader::next hands them out, to
// parse(state, line, line_number) with a State of its own. parse stops the piece at a faulty
// line by throwing, as the reading line by line would stop; it may return a bool, false for a
// line that ends the file's records (as a list-directed read ends at one): the lines after it
// are not read. Then, on the calling thread and in the file's order, take(state) hands each
// piece's findings on (checks across lines, such as a value given twice, belong there), the
// state is cleared, the piece's fault, if any, is thrown again, and a piece that ended the
// records ends the reading. So what comes before a fault or the end is taken first, a later
// piece's fault is never heard of, and neither the result nor the message depends on the
// number of threads. The fault travels from the thread to the caller as it was thrown; nothing
// on the way to main handles it.
template <class State, class Parse, class Take>
void read_in_pieces(line_reader& r, int threads, Parse&& parse, Take&& take) {
  const int n = threads > 0 ? threads : omp_get_max_threads();
  const std::size_t parts = static_cast<std::size_t>(n);
  std::vector<State> state(parts);
  std::vector<std::string_view> pieces(parts);
  std::vector<std::int64_t> first(parts);
  std::vector<std::exception_ptr> fault(parts);
  std::vector<char> ended(parts, 0);
  std::string_view run;
  std::int64_t before = r.line_number();
  while (r.next_block(run)) {
    cut_lines(run, before + 1, pieces, first);
#pragma omp parallel for num_threads(n) schedule(static, 1) if (n > 1)
    for (int p = 0; p < n; ++p) {
      const std::size_t k = static_cast<std::size_t>(p);
      try {
        line_cursor lines(pieces[k]);
        std::string_view line;
        for (std::int64_t no = first[k]; lines.next(line); ++no) {
          if constexpr (std::is_same_v<std::invoke_result_t<Parse&, State&, std::string_view, std::int64_t>, bool>) {
            if (!parse(state[k], line, no)) {
              ended[k] = 1;
              break;
            }
          } else {
            parse(state[k], line, no);
          }
        }
      } catch (...) {
        fault[k] = std::current_exception();
      }
    }
    for (std::size_t k = 0; k < parts; ++k) {
      take(state[k]);
      state[k].clear();
      if (fault[k]) std::rethrow_exception(fault[k]);
      if (ended[k]) return;
    }
    before = r.line_number();
  }
}

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
