// Writing H-inverse.
#include "genomic/hinverse_save.hpp"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <vector>

#include "common/fatal.hpp"

namespace ventrel::genomic {

void save_h_inverse(const std::string& path, const sparse::ija_matrix& h) {
  const std::string tmp = path + ".tmp";
  std::FILE* f = std::fopen(tmp.c_str(), "wb");
  if (!f) fatal({"Cannot write file " + tmp + ": " + std::strerror(errno), "It is named by OPTION save_H_inverse"});
  std::vector<char> buf(std::size_t{4} << 20);
  std::size_t used = 0;
  bool ok = true;
  auto flush = [&] {
    ok = ok && std::fwrite(buf.data(), 1, used, f) == used;
    used = 0;
  };
  for (int i = 1; i <= h.n; ++i)
    for (std::int64_t p = h.ia[static_cast<std::size_t>(i - 1)] - 1; p < h.ia[static_cast<std::size_t>(i)] - 1; ++p) {
      const int j = h.ja[static_cast<std::size_t>(p)];
      const double v = h.a[static_cast<std::size_t>(p)];
      if (v == 0.0 && j != i) continue;
      if (buf.size() - used < 64) flush();
      char* b = buf.data() + used;
      char* e = buf.data() + buf.size();
      b = std::to_chars(b, e, i).ptr;
      *b++ = ' ';
      b = std::to_chars(b, e, j).ptr;
      *b++ = ' ';
      b = std::to_chars(b, e, v).ptr;
      *b++ = '\n';
      used = static_cast<std::size_t>(b - buf.data());
    }
  flush();
  ok = (std::fclose(f) == 0) && ok;
  if (!ok) {
    std::remove(tmp.c_str());
    fatal({"Cannot write file " + path + ": the disk may be full", "It is named by OPTION save_H_inverse"});
  }
  if (std::rename(tmp.c_str(), path.c_str()) != 0) {
    std::remove(tmp.c_str());
    fatal({"Cannot replace file " + path + ": " + std::strerror(errno)});
  }
}

}  // namespace ventrel::genomic
