// Output files written whole or not at all.
#include "common/output_file.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/fatal.hpp"

namespace ventrel {

void write_file_atomically(const std::string& path, std::string_view content) {
  std::string tmp = path + ".tmp";
  std::FILE* f = std::fopen(tmp.c_str(), "wb");
  if (!f) fatal("Cannot write file " + tmp + ": " + std::strerror(errno));
  bool ok = std::fwrite(content.data(), 1, content.size(), f) == content.size();
  ok = (std::fclose(f) == 0) && ok;
  if (!ok) {
    std::remove(tmp.c_str());
    fatal("Cannot write file " + path + ": the disk may be full");
  }
  if (std::rename(tmp.c_str(), path.c_str()) != 0) {
    std::remove(tmp.c_str());
    fatal("Cannot replace file " + path + ": " + std::strerror(errno));
  }
}

}  // namespace ventrel
