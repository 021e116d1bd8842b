// The control group's memory limit, read from folders laid out as /proc and /sys/fs/cgroup are.
#include "common/memory.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/test_support.hpp"

namespace ventrel {
namespace {

using test_support::temp_dir;

// Writes root/relative, making its folders.
void put(const temp_dir& root, const std::string& relative, const std::string& text) {
  const std::filesystem::path p = root.path / relative;
  std::filesystem::create_directories(p.parent_path());
  std::ofstream(p) << text;
}

constexpr std::uint64_t mib = std::uint64_t{1} << 20;

// A group's folder (under root/sys/fs/cgroup): its limit and usage files, and the page cache in
// memory.stat under `cache_key` when cache is given. Limits and usages in MiB, or as text.
void group(const temp_dir& root, const std::string& dir, bool v2, const std::string& limit, const std::string& usage,
           const std::string& cache_key = {}, std::uint64_t cache = 0) {
  const std::string d = "sys/fs/cgroup/" + dir + (dir.empty() ? "" : "/");
  put(root, d + (v2 ? "memory.max" : "memory.limit_in_bytes"), limit + "\n");
  put(root, d + (v2 ? "memory.current" : "memory.usage_in_bytes"), usage + "\n");
  if (!cache_key.empty()) put(root, d + "memory.stat", "anon 5\n" + cache_key + " " + std::to_string(cache * mib) + "\nshmem 0\n");
}
std::string in_mib(std::uint64_t m) { return std::to_string(m * mib); }

TEST(cgroup_memory_left, v2_takes_the_tightest_of_the_group_and_its_ancestors_less_usage_without_cache) {
  temp_dir root;
  put(root, "proc/self/cgroup", "0::/slurm/job_7/step_0\n");
  // the job's limit (1000 MiB, 300 used of which 100 are page cache) is tighter than the step's
  group(root, "slurm/job_7", true, in_mib(1000), in_mib(300), "file", 100);
  group(root, "slurm/job_7/step_0", true, "max", in_mib(290));
  group(root, "slurm", true, in_mib(4000), in_mib(3500));
  EXPECT_EQ(cgroup_memory_left(root.path.string()), 500 * mib);  // the slurm group leaves 500, the job 800
}

TEST(cgroup_memory_left, v1_reads_the_memory_hierarchy_and_a_container_sees_its_group_at_the_mount) {
  temp_dir root;
  // The path names a group that the container's mount does not show: its root is the group.
  put(root, "proc/self/cgroup", "5:cpu,cpuacct:/docker/abc\n4:memory:/docker/abc\n1:name=systemd:/\n");
  group(root, "memory", false, in_mib(2048), in_mib(1000), "total_cache", 200);
  EXPECT_EQ(cgroup_memory_left(root.path.string()), 1248 * mib);
  // A usage above the limit leaves nothing.
  group(root, "memory", false, in_mib(2048), in_mib(4000), "total_cache", 200);
  EXPECT_EQ(cgroup_memory_left(root.path.string()), std::uint64_t{0});
}

TEST(cgroup_memory_left, no_limit_no_group_or_unreadable_files_give_nothing) {
  temp_dir root;
  EXPECT_FALSE(cgroup_memory_left(root.path.string()).has_value()) << "no /proc/self/cgroup";
  put(root, "proc/self/cgroup", "4:memory:/\n0::/user.slice\n");
  group(root, "memory", false, "9223372036854771712", "113442816");  // v1's "no limit"
  group(root, "user.slice", true, "max", "1000");
  EXPECT_FALSE(cgroup_memory_left(root.path.string()).has_value());
  group(root, "user.slice", true, "12 GB", "1000");
  EXPECT_FALSE(cgroup_memory_left(root.path.string()).has_value()) << "a limit that is not a number is not one";
}

}  // namespace
}  // namespace ventrel
