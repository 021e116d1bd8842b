// A buffered text-file writer for the benchmark data generator: integers and reals formatted
// with std::to_chars into a large buffer, right-justified in fixed-width fields where asked,
// so that files of 10^8 lines are written at disk speed.
#pragma once

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace ventrel::bench {

class text_writer {
 public:
  explicit text_writer(const std::string& path) : path_(path), buf_(1 << 22) {
    f_ = std::fopen(path.c_str(), "wb");
    if (!f_) {
      std::perror(path.c_str());
      std::exit(1);
    }
  }
  ~text_writer() { close(); }
  text_writer(const text_writer&) = delete;
  text_writer& operator=(const text_writer&) = delete;

  void close() {
    if (!f_) return;
    flush();
    if (std::fclose(f_) != 0) {
      std::perror(path_.c_str());
      std::exit(1);
    }
    f_ = nullptr;
  }

  text_writer& text(std::string_view s) {
    room(s.size());
    std::memcpy(buf_.data() + used_, s.data(), s.size());
    used_ += s.size();
    return *this;
  }
  text_writer& ch(char c) {
    room(1);
    buf_[used_++] = c;
    return *this;
  }
  text_writer& end() { return ch('\n'); }
  text_writer& line(std::string_view s) { return text(s).end(); }

  // An integer right-justified in a field of `width` characters (width 0: as short as it goes,
  // after one blank unless it starts the line).
  text_writer& i(long long v, int width = 0) {
    char b[24];
    const auto r = std::to_chars(b, b + sizeof b, v);
    return field(b, r.ptr, width);
  }
  // A real with `decimals` decimals in fixed notation, right-justified in `width` characters.
  text_writer& f(double v, int decimals, int width = 0) {
    char b[64];
    const auto r = std::to_chars(b, b + sizeof b, v, std::chars_format::fixed, decimals);
    return field(b, r.ptr, width);
  }
  // A real with `digits` significant digits, in fixed or scientific notation, whichever is shorter.
  text_writer& g(double v, int digits, int width = 0) {
    char b[64];
    const auto r = std::to_chars(b, b + sizeof b, v, std::chars_format::general, digits);
    return field(b, r.ptr, width);
  }
  // A real in the shortest form that reads back to the same double.
  text_writer& x(double v, int width = 0) {
    char b[32];
    const auto r = std::to_chars(b, b + sizeof b, v);
    return field(b, r.ptr, width);
  }

 private:
  text_writer& field(const char* b, const char* e, int width) {
    const std::size_t len = static_cast<std::size_t>(e - b);
    std::size_t pad = width > 0 && static_cast<std::size_t>(width) > len ? static_cast<std::size_t>(width) - len : 0;
    const char prev = used_ > 0 ? buf_[used_ - 1] : last_;
    if (width == 0 && prev != '\n') pad = 1;
    room(pad + len);
    std::memset(buf_.data() + used_, ' ', pad);
    std::memcpy(buf_.data() + used_ + pad, b, len);
    used_ += pad + len;
    return *this;
  }
  void room(std::size_t k) {
    if (used_ + k > buf_.size()) flush();
  }
  void flush() {
    if (used_ > 0 && std::fwrite(buf_.data(), 1, used_, f_) != used_) {
      std::perror(path_.c_str());
      std::exit(1);
    }
    if (used_ > 0) last_ = buf_[used_ - 1];
    used_ = 0;
  }

  std::string path_;
  std::FILE* f_ = nullptr;
  std::vector<char> buf_;
  std::size_t used_ = 0;
  char last_ = '\n';
};

}  // namespace ventrel::bench
