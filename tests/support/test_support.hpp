// Helpers shared by the unit tests of every folder: temporary files and folders, the lines of a
// fatal stop (one at a time or a table of them), what a call prints on standard output, and
// OpenMP's thread count for the length of a call.
#pragma once

#include <gtest/gtest.h>
#include <omp.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "common/fatal.hpp"

namespace ventrel::test_support {

using lines = std::vector<std::string>;

// Writes text (bytes as given: CR, TAB and NUL stay) to a file of the test's temporary folder
// and returns its path.
inline std::string write_temp(const std::string& name, const std::string& text) {
  const std::string path = ::testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

// A fresh folder of its own, removed with everything in it when the object goes.
struct temp_dir {
  std::filesystem::path path;
  temp_dir() {
    std::string t = (std::filesystem::path(::testing::TempDir()) / "ventrel_XXXXXX").string();
    path = ::mkdtemp(t.data());
  }
  temp_dir(const temp_dir&) = delete;
  temp_dir& operator=(const temp_dir&) = delete;
  ~temp_dir() {
    std::error_code ec;
    std::filesystem::remove_all(path, ec);
  }
  std::string file(const std::string& name, const std::string& text) const {
    const std::string p = (path / name).string();
    std::ofstream(p, std::ios::binary) << text;
    return p;
  }
  std::string name(const std::string& name) const { return (path / name).string(); }
};

// A fresh empty folder as the working directory while the object lives.
struct scoped_work_dir {
  std::filesystem::path old = std::filesystem::current_path();
  temp_dir dir;
  scoped_work_dir() { std::filesystem::current_path(dir.path); }
  scoped_work_dir(const scoped_work_dir&) = delete;
  scoped_work_dir& operator=(const scoped_work_dir&) = delete;
  ~scoped_work_dir() { std::filesystem::current_path(old); }
};

// The message lines of the fatal stop that f raises, or {"no stop"}.
inline lines stop_lines(const std::function<void()>& f) {
  try {
    f();
  } catch (const fatal_error& e) {
    return e.lines();
  }
  return {"no stop"};
}

// One row of a table of fatal stops: what is done, and the lines of its stop ({} = no stop).
// An expected line ending in "*" matches any line that begins with the text before the "*".
struct stop_case {
  std::string name;
  std::function<void()> action;
  lines message;
};

inline void expect_stops(const std::vector<stop_case>& cases) {
  for (const stop_case& c : cases) {
    SCOPED_TRACE(c.name);
    lines got;
    try {
      c.action();
    } catch (const fatal_error& e) {
      got = e.lines();
    }
    ASSERT_EQ(got.size(), c.message.size()) << (got.empty() ? "no stop" : got[0]);
    for (std::size_t k = 0; k < got.size(); ++k) {
      const std::string& want = c.message[k];
      const bool prefix = !want.empty() && want.back() == '*';
      EXPECT_EQ(prefix ? got[k].substr(0, want.size() - 1) : got[k],
                prefix ? want.substr(0, want.size() - 1) : want);
    }
  }
}

// What f prints on standard output (a stop that f raises goes on, the capture ended).
inline std::string captured_stdout(const std::function<void()>& f) {
  ::testing::internal::CaptureStdout();
  try {
    f();
  } catch (...) {
    ::testing::internal::GetCapturedStdout();
    throw;
  }
  return ::testing::internal::GetCapturedStdout();
}

// f() with OpenMP's default thread count set to `threads`, restored afterwards.
template <class F>
auto with_threads(int threads, F f) {
  const int saved = omp_get_max_threads();
  omp_set_num_threads(threads);
  struct restore {
    int n;
    ~restore() { omp_set_num_threads(n); }
  } r{saved};
  return f();
}

}  // namespace ventrel::test_support
