// How much memory the run may still take, so that a phase can refuse a size that cannot fit
// before it allocates instead of ending in an allocation failure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ventrel {

// Bytes the process may still allocate: the smaller of the system's available memory
// (MemAvailable of /proc/meminfo) and what the address-space limit (ulimit -v) leaves beside the
// process's present size. Empty when neither is known.
std::optional<std::uint64_t> available_memory();

// A byte count for messages: "512 KiB", "3.4 MiB", "1862.6 GiB".
std::string memory_size(double bytes);

}  // namespace ventrel
