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

TEST(cgroup_memory_left, v2_takes_the_tightest_of_the_group_and_its_ancestors_less_usage_without_cache) {
  temp_dir root;
  put(root, "proc/self/cgroup", "0::/slurm/job_7/step_0\n");
  // the job's limit (1000 MiB, 300 used of which 100 are page cache) is tighter than the step's
  put(root, "sys/fs/cgroup/slurm/job_7/memory.max", std::to_string(1000 * mib) + "\n");
  put(root, "sys/fs/cgroup/slurm/job_7/memory.current", std::to_string(300 * mib) + "\n");
  put(root, "sys/fs/cgroup/slurm/job_7/memory.stat", "anon 200\nfile " + std::to_string(100 * mib) + "\nshmem 0\n");
  put(root, "sys/fs/cgroup/slurm/job_7/step_0/memory.max", "max\n");
  put(root, "sys/fs/cgroup/slurm/job_7/step_0/memory.current", std::to_string(290 * mib) + "\n");
  put(root, "sys/fs/cgroup/slurm/memory.max", std::to_string(4000 * mib) + "\n");
  put(root, "sys/fs/cgroup/slurm/memory.current", std::to_string(3500 * mib) + "\n");
  EXPECT_EQ(cgroup_memory_left(root.path.string()), 500 * mib);  // the slurm group leaves 500, the job 800
}

TEST(cgroup_memory_left, v1_reads_the_memory_hierarchy_and_a_container_sees_its_group_at_the_mount) {
  temp_dir root;
  // The path names a group that the container's mount does not show: its root is the group.
  put(root, "proc/self/cgroup", "5:cpu,cpuacct:/docker/abc\n4:memory:/docker/abc\n1:name=systemd:/\n");
  put(root, "sys/fs/cgroup/memory/memory.limit_in_bytes", std::to_string(2048 * mib) + "\n");
  put(root, "sys/fs/cgroup/memory/memory.usage_in_bytes", std::to_string(1000 * mib) + "\n");
  put(root, "sys/fs/cgroup/memory/memory.stat", "cache 5\ntotal_cache " + std::to_string(200 * mib) + "\n");
  EXPECT_EQ(cgroup_memory_left(root.path.string()), 1248 * mib);
  // A usage above the limit leaves nothing.
  put(root, "sys/fs/cgroup/memory/memory.usage_in_bytes", std::to_string(4000 * mib) + "\n");
  EXPECT_EQ(cgroup_memory_left(root.path.string()), std::uint64_t{0});
}

TEST(cgroup_memory_left, no_limit_no_group_or_unreadable_files_give_nothing) {
  temp_dir root;
  EXPECT_FALSE(cgroup_memory_left(root.path.string()).has_value()) << "no /proc/self/cgroup";
  put(root, "proc/self/cgroup", "4:memory:/\n0::/user.slice\n");
  put(root, "sys/fs/cgroup/memory/memory.limit_in_bytes", "9223372036854771712\n");  // v1's "no limit"
  put(root, "sys/fs/cgroup/memory/memory.usage_in_bytes", "113442816\n");
  put(root, "sys/fs/cgroup/user.slice/memory.max", "max\n");
  put(root, "sys/fs/cgroup/user.slice/memory.current", "1000\n");
  EXPECT_FALSE(cgroup_memory_left(root.path.string()).has_value());
  put(root, "sys/fs/cgroup/user.slice/memory.max", "12 GB\n");
  EXPECT_FALSE(cgroup_memory_left(root.path.string()).has_value()) << "a limit that is not a number is not one";
}

}  // namespace
}  // namespace ventrel
