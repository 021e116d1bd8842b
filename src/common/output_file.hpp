// Output files written whole or not at all: the text goes to a temporary name beside the file
// and is renamed over it at the end, so that a run stopped half-way never leaves a truncated
// file nor destroys the previous one.
#pragma once

#include <string>
#include <string_view>

namespace ventrel {

void write_file_atomically(const std::string& path, std::string_view content);

}  // namespace ventrel
