// Banner and build identification.
#include "common/build_info.hpp"

#include "common/format.hpp"

namespace ventrel {

std::string banner_field() {
  std::string name(trim_right(pad_right(program_name, 16)));
  std::string version(trim_right(pad_right(program_version, 16)));
  return pad_right(name + " ver. " + version, 48);
}

std::string build_identification() {
  std::string date = __DATE__;  // "Nov  6 2024": the day is blank-padded
  if (date.size() > 4 && date[4] == ' ') date[4] = '0';
#if defined(__clang__)
  std::string compiler = std::string("clang version ") + __clang_version__;
#elif defined(__GNUC__)
  std::string compiler = std::string("GCC version ") + __VERSION__;
#else
  std::string compiler = "unknown compiler";
#endif
  return compiler + " Compiled on " + date + " " + __TIME__;
}

}  // namespace ventrel
