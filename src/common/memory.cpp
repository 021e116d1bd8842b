// Available memory from /proc/meminfo, the address-space limit and the control group's limit.
#include "common/memory.hpp"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
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

// A limit or usage file: one line, a whole number of bytes or "max" (no limit).
std::optional<std::uint64_t> read_bytes(const std::string& path) {
  std::ifstream in(path);
  std::string s;
  if (!std::getline(in, s)) return std::nullopt;
  while (!s.empty() && (s.back() == ' ' || s.back() == '\r')) s.pop_back();
  if (s == "max") return UINT64_MAX;
  std::uint64_t v = 0;
  const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (ec != std::errc() || end != s.data() + s.size()) return std::nullopt;
  return v;
}

// The value of `key` in a memory.stat file ("key value" lines); 0 when absent.
std::uint64_t stat_value(const std::string& path, const std::string& key) {
  std::ifstream in(path);
  std::string k;
  std::uint64_t v = 0;
  while (in >> k >> v)
    if (k == key) return v;
  return 0;
}

struct cgroup_files {
  const char* limit;
  const char* usage;
  const char* cache;  // the page cache's key in memory.stat
};

// What one group's limit leaves, if the group shows a limit (v1 writes "no limit" as a number
// near 2^63).
std::optional<std::uint64_t> group_left(const std::string& dir, const cgroup_files& f) {
  const std::optional<std::uint64_t> limit = read_bytes(dir + "/" + f.limit), usage = read_bytes(dir + "/" + f.usage);
  if (!limit || !usage || *limit >= (std::uint64_t{1} << 62)) return std::nullopt;
  const std::uint64_t cache = stat_value(dir + "/memory.stat", f.cache);
  const std::uint64_t used = *usage > cache ? *usage - cache : 0;
  return *limit > used ? *limit - used : 0;
}

}  // namespace

std::optional<std::uint64_t> cgroup_memory_left(const std::string& root) {
  std::ifstream in(root + "/proc/self/cgroup");
  std::optional<std::uint64_t> least;
  std::string line;
  while (std::getline(in, line)) {  // hierarchy:controllers:path
    const std::size_t a = line.find(':'), b = a == std::string::npos ? a : line.find(':', a + 1);
    if (b == std::string::npos) continue;
    const std::string controllers = "," + line.substr(a + 1, b - a - 1) + ",", path = line.substr(b + 1);
    const bool v2 = controllers == ",,";
    if (!v2 && controllers.find(",memory,") == std::string::npos) continue;
    const std::string mount = root + (v2 ? "/sys/fs/cgroup" : "/sys/fs/cgroup/memory");
    const cgroup_files f = v2 ? cgroup_files{"memory.max", "memory.current", "file"}
                              : cgroup_files{"memory.limit_in_bytes", "memory.usage_in_bytes", "total_cache"};
    for (std::string p = path;;) {  // the group, then its ancestors
      const std::optional<std::uint64_t> left = group_left(mount + (p == "/" ? "" : p), f);
      if (left && (!least || *left < *least)) least = left;
      if (p.empty() || p == "/") break;
      const std::size_t k = p.rfind('/');
      p = k == 0 || k == std::string::npos ? "/" : p.substr(0, k);
    }
  }
  return least;
}

std::optional<std::uint64_t> available_memory() {
  std::optional<std::uint64_t> least;
  for (const std::optional<std::uint64_t>& v : {meminfo_available(), address_space_left(), cgroup_memory_left()})
    if (v && (!least || *v < *least)) least = v;
  return least;
}

std::optional<std::string> lacking_memory(double need) {
  const std::optional<std::uint64_t> available = available_memory();
  if (!available || need <= static_cast<double>(*available)) return std::nullopt;
  return memory_size(need) + ", and " + memory_size(static_cast<double>(*available)) + " are available";
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
