// What every fuzz target shares: the input written to a file (the readers take file names), the
// console silenced, and the rule that a fatal stop is a valid outcome.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace ventrel::fuzz {

// A file of this process for the input named `name` (in /dev/shm when there is one, so that
// writing it costs no disk), rewritten with the given bytes.
inline std::string write_input(std::string_view name, const std::uint8_t* data, std::size_t size) {
  static const std::string dir = [] {
    if (::access("/dev/shm", W_OK) == 0) return std::string("/dev/shm/");
    const char* t = std::getenv("TMPDIR");
    return std::string(t && *t ? t : "/tmp") + "/";
  }();
  std::string path = dir + "ventrel-fuzz-" + std::to_string(::getpid()) + "-" + std::string(name);
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) std::abort();
  if (size > 0 && std::fwrite(data, 1, size, f) != size) std::abort();
  std::fclose(f);
  return path;
}

// The program's console lines go to /dev/null: a fuzz run prints nothing but libFuzzer's own.
inline void silence_console() {
  if (!std::freopen("/dev/null", "w", stdout)) std::abort();
}

// A failed check of a target's own oracle: a crash that libFuzzer reports with the input.
#define VENTREL_FUZZ_CHECK(cond)                                            \
  do {                                                                      \
    if (!(cond)) {                                                          \
      std::fprintf(stderr, "fuzz check failed: %s (%s:%d)\n", #cond, __FILE__, __LINE__); \
      std::abort();                                                         \
    }                                                                       \
  } while (0)

}  // namespace ventrel::fuzz
