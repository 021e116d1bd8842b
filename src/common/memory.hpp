// How much memory the run may still take, so that a phase can refuse a size that cannot fit
// before it allocates instead of ending in an allocation failure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ventrel {

// Bytes the process may still allocate: the smallest of the system's available memory
// (MemAvailable of /proc/meminfo), what the address-space limit (ulimit -v) leaves beside the
// process's present size, and what the memory limit of the process's control group leaves (a
// batch scheduler's limit, as SLURM's --mem sets). Empty when none is known.
std::optional<std::uint64_t> available_memory();

// What the memory limits of the process's control group and of its ancestors leave: the
// smallest limit less usage, the usage without the page cache (which the kernel reclaims before
// it stops a process). cgroup v2 (memory.max, memory.current, "file" of memory.stat) and v1
// (memory.limit_in_bytes, memory.usage_in_bytes, "total_cache" of memory.stat), read under
// `root` + /proc/self/cgroup and `root` + /sys/fs/cgroup (root "": the system's own; tests give
// a folder). A group that the mount does not show (in a container, whose mount is its own
// group) is looked for up its path. Empty when no group has a limit.
std::optional<std::uint64_t> cgroup_memory_left(const std::string& root = {});

// When `need` bytes do not fit in available_memory(): "<need>, and <available> are available",
// the end of a stop's message. Empty when they fit or nothing is known.
std::optional<std::string> lacking_memory(double need);

// A byte count for messages: "512 KiB", "3.4 MiB", "1862.6 GiB".
std::string memory_size(double bytes);

}  // namespace ventrel
