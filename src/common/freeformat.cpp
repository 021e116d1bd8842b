// Free-format reading.
#include "common/freeformat.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>

#include "common/fatal.hpp"

namespace ventrel {

std::string at_line(std::string_view path, std::int64_t line) {
  return "file " + std::string(path) + ", line " + std::to_string(line);
}

bool file_exists(const std::string& path) {
  struct stat st {};
  return ::stat(path.c_str(), &st) == 0;
}

bool is_directory(const std::string& path) {
  struct stat st {};
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string excerpt(std::string_view text, std::size_t max) {
  if (text.size() <= max) return std::string(text);
  return std::string(text.substr(0, max)) + " ...";
}

std::string visible(std::string_view text, std::size_t max) {
  static const char hex[] = "0123456789ABCDEF";
  std::string out;
  for (std::size_t i = 0; i < text.size() && i < max; ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c >= 32 && c < 127) {
      out += static_cast<char>(c);
    } else {
      out += '<';
      out += hex[c >> 4];
      out += hex[c & 15];
      out += '>';
    }
  }
  if (text.size() > max) out += " ...";
  return out;
}

std::string_view byte_order_mark(std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) return "UTF-8";
  if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF")) return "UTF-16";
  return {};
}

std::int64_t count_newlines(std::string_view text) {
  // In blocks of a fixed length, which the compiler turns into vector compares: std::count
  // goes a byte at a time, some twenty times slower, and the readers count every byte they read.
  std::int64_t n = 0;
  const char* p = text.data();
  std::size_t left = text.size();
  constexpr std::size_t block = 128;  // at most 128 newlines: the sum fits a byte
  for (; left >= block; left -= block, p += block) {
    unsigned char in_block = 0;
    for (std::size_t i = 0; i < block; ++i) in_block += p[i] == '\n';
    n += in_block;
  }
  for (; left > 0; --left) n += *p++ == '\n';
  return n;
}

line_reader::line_reader(std::string path, bool keep_cr, std::size_t initial_buffer, std::size_t max_line)
    : path_(std::move(path)), keep_cr_(keep_cr), max_line_(std::max<std::size_t>(max_line, 1)) {
  struct stat st {};
  const bool known = ::stat(path_.c_str(), &st) == 0;
  if (known && S_ISDIR(st.st_mode)) fatal("Cannot read file " + path_ + ": it is a directory");
  f_ = std::fopen(path_.c_str(), "rb");
  if (!f_) fatal("Cannot open file " + path_ + ": " + std::strerror(errno));
  std::size_t size = initial_buffer;
  if (size == 0) {
    const std::size_t file_size = known && st.st_size > 0 ? static_cast<std::size_t>(st.st_size) : 0;
    size = std::clamp<std::size_t>(file_size + 1, std::size_t{4096}, std::size_t{1} << 20);
  }
  buf_.resize(std::min(size, max_line_ + 1));
}

line_reader::~line_reader() {
  if (f_) std::fclose(f_);
}

void line_reader::rewind() {
  std::rewind(f_);
  begin_ = end_ = 0;
  eof_ = false;
  line_no_ = 0;
}

// Moves the unread tail to the front and reads more; grows the buffer when a line fills it.
bool line_reader::fill() {
  if (eof_) return false;
  if (begin_ > 0) {
    std::memmove(buf_.data(), buf_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  if (end_ == buf_.size()) {
    // One line fills the buffer (a line end makes room by the move above).
    if (buf_.size() > max_line_)
      fatal({"Cannot read file " + path_ + ": line " + std::to_string(line_no_ + 1) + " is longer than " +
                 std::to_string(max_line_) + " characters",
             "Is it a text file with one record a line?"});
    buf_.resize(std::min(buf_.size() * 2, max_line_ + 1));
  }
  std::size_t got = std::fread(buf_.data() + end_, 1, buf_.size() - end_, f_);
  if (got == 0) {
    if (std::ferror(f_)) fatal("Cannot read file " + path_ + ": " + std::strerror(errno));
    eof_ = true;
    return false;
  }
  end_ += got;
  return true;
}

bool line_reader::next(std::string_view& line) {
  std::size_t scanned = begin_;
  for (;;) {
    const char* start = buf_.data() + begin_;
    const void* nl = std::memchr(buf_.data() + scanned, '\n', end_ - scanned);
    if (nl) {
      std::size_t len = static_cast<const char*>(nl) - start;
      line = std::string_view(start, len);
      begin_ += len + 1;
      break;
    }
    scanned = end_ - begin_;  // offset of what was scanned, relative to begin_
    if (!fill()) {
      if (begin_ == end_) return false;  // nothing left
      line = std::string_view(buf_.data() + begin_, end_ - begin_);  // last line without newline
      begin_ = end_;
      break;
    }
    scanned += begin_;
  }
  if (!keep_cr_ && !line.empty() && line.back() == '\r') line.remove_suffix(1);
  ++line_no_;
  return true;
}

bool line_reader::next_block(std::string_view& lines) {
  for (;;) {
    if (begin_ < end_) {
      const char* start = buf_.data() + begin_;
      const void* last = ::memrchr(start, '\n', end_ - begin_);
      if (last) {
        const std::size_t len = static_cast<std::size_t>(static_cast<const char*>(last) - start) + 1;
        lines = std::string_view(start, len);
        begin_ += len;
        line_no_ += count_newlines(lines);
        return true;
      }
    }
    if (!fill()) {
      if (begin_ == end_) return false;
      lines = std::string_view(buf_.data() + begin_, end_ - begin_);  // last line without newline
      begin_ = end_;
      ++line_no_;
      return true;
    }
  }
}

void cut_lines(std::string_view run, std::int64_t first_line, std::span<std::string_view> pieces,
               std::span<std::int64_t> first_lines) {
  const std::size_t parts = pieces.size();
  for (std::size_t p = 0; p < parts; ++p) {
    std::size_t at = run.size();
    if (p + 1 < parts) {  // an even share of what is left, to the end of its line
      const std::size_t want = run.size() / (parts - p);
      const std::size_t nl = want > 0 ? run.find('\n', want - 1) : std::string_view::npos;
      at = want == 0 ? 0 : nl == std::string_view::npos ? run.size() : nl + 1;
    }
    pieces[p] = run.substr(0, at);
    first_lines[p] = first_line;
    run.remove_prefix(at);
    // Only the pieces before the last are counted: the reader has counted the run already.
    if (p + 1 < parts) first_line += count_newlines(pieces[p]);
  }
}

std::size_t split_fields(std::string_view line, std::span<std::string_view> out) {
  std::size_t n = 0;
  std::size_t i = 0;
  const std::size_t len = line.size();
  while (i < len) {
    char c = line[i];
    if (c == ' ' || c == '\t' || c == ',' || c == '\r') {
      ++i;
      continue;
    }
    if (c == '/') break;
    std::size_t j = i;
    while (j < len && line[j] != ' ' && line[j] != '\t' && line[j] != ',' && line[j] != '\r' &&
           line[j] != '/')
      ++j;
    if (n < out.size()) out[n] = line.substr(i, j - i);
    ++n;
    i = j;
  }
  return n;
}

namespace {
template <class T>
bool parse_integer(std::string_view s, T& v) {
  if (!s.empty() && s[0] == '+') {
    s.remove_prefix(1);
    if (!s.empty() && s[0] == '-') return false;  // "+-8" is no number
  }
  if (s.empty()) return false;
  auto r = std::from_chars(s.data(), s.data() + s.size(), v);
  return r.ec == std::errc() && r.ptr == s.data() + s.size();
}
}  // namespace

bool parse_int(std::string_view s, std::int64_t& v) { return parse_integer(s, v); }
bool parse_int(std::string_view s, std::int32_t& v) { return parse_integer(s, v); }

bool parse_real(std::string_view s, double& v) {
  bool neg = false;
  if (!s.empty() && (s[0] == '+' || s[0] == '-')) {
    neg = s[0] == '-';
    s.remove_prefix(1);
  }
  if (s.empty() || s[0] == '+' || s[0] == '-') return false;
  char buf[128];
  std::string_view t = s;
  // Fortran's D exponent needs a copy for from_chars. (A plain loop: find_first_of("dD") calls
  // memchr on the set once for every character, once the largest cost of reading a solution file.)
  bool d_exponent = false;
  for (char c : s) d_exponent |= (c | 0x20) == 'd';
  if (s.size() < sizeof buf && d_exponent) {
    std::size_t k = 0;
    for (char c : s) buf[k++] = (c == 'd' || c == 'D') ? 'e' : c;
    t = std::string_view(buf, k);
  }
  double x = 0;
  auto r = std::from_chars(t.data(), t.data() + t.size(), x, std::chars_format::general);
  if (r.ptr != t.data() + t.size()) return false;  // text after the number, also when it is out of range
  if (r.ec == std::errc::result_out_of_range) {
    // Overflow reads as infinity, underflow as zero, as strtod does.
    errno = 0;
    std::string tmp(t);
    x = std::strtod(tmp.c_str(), nullptr);
  } else if (r.ec != std::errc() || r.ptr != t.data() + t.size()) {
    return false;
  }
  v = neg ? -x : x;
  return true;
}

}  // namespace ventrel
