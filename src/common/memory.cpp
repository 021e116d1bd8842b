// Available memory from /proc/meminfo and the address-space limit.
#include "common/memory.hpp"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>

namespace ventrel {
namespace {

std::optional<std::uint64_t> meminfo_available() {
  std::ifstream in("/proc/meminfo");
  std::string key;
  std::uint64_t kb = 0;
  std::string unit;
  while (in >> key >> kb) {
    std::getline(in, unit);
    if (key == "MemAvailable:") return kb * 1024;
  }
  return std::nullopt;
}

// Left of the address-space limit: the limit less the process's present virtual size.
std::optional<std::uint64_t> address_space_left() {
  rlimit r{};
  if (::getrlimit(RLIMIT_AS, &r) != 0 || r.rlim_cur == RLIM_INFINITY) return std::nullopt;
  std::ifstream in("/proc/self/statm");
  std::uint64_t pages = 0;
  if (!(in >> pages)) return std::nullopt;
  const std::uint64_t used = pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
  const std::uint64_t limit = static_cast<std::uint64_t>(r.rlim_cur);
  return limit > used ? limit - used : 0;
}

}  // namespace

std::optional<std::uint64_t> available_memory() {
  const std::optional<std::uint64_t> a = meminfo_available(), b = address_space_left();
  if (a && b) return std::min(*a, *b);
  return a ? a : b;
}

std::string memory_size(double bytes) {
  const char* units[] = {"bytes", "KiB", "MiB", "GiB", "TiB"};
  int u = 0;
  while (bytes >= 1024.0 && u < 4) {
    bytes /= 1024.0;
    ++u;
  }
  char buf[64];
  if (u == 0) std::snprintf(buf, sizeof buf, "%.0f bytes", bytes);
  else std::snprintf(buf, sizeof buf, "%.1f %s", bytes, units[u]);
  return buf;
}

}  // namespace ventrel
