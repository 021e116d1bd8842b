// Fuzz target: the free-format number parser, field splitter and line reader
// (src/common/freeformat.hpp), each checked against an obvious reference.
#include <cerrno>
#include <cinttypes>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "common/fatal.hpp"
#include "common/freeformat.hpp"
#include "fuzz_input.hpp"

namespace {

using namespace ventrel;

// [+-]?[0-9]+ : the text parse_int must accept (when the value fits).
bool is_integer_text(const std::string& s) {
  std::size_t i = (!s.empty() && (s[0] == '+' || s[0] == '-')) ? 1 : 0;
  if (i == s.size()) return false;
  for (; i < s.size(); ++i)
    if (s[i] < '0' || s[i] > '9') return false;
  return true;
}

void check_integers(const std::string& s) {
  std::int64_t v64 = 0;
  std::int32_t v32 = 0;
  const bool ok64 = parse_int(s, v64);
  const bool ok32 = parse_int(s, v32);
  if (!is_integer_text(s) || s.find('\0') != std::string::npos) {
    VENTREL_FUZZ_CHECK(!ok64 && !ok32);
    return;
  }
  errno = 0;
  char* end = nullptr;
  const long long ref = std::strtoll(s.c_str(), &end, 10);
  const bool fits64 = errno != ERANGE;
  VENTREL_FUZZ_CHECK(ok64 == fits64);
  if (ok64) VENTREL_FUZZ_CHECK(v64 == ref);
  const bool fits32 = fits64 && ref >= INT32_MIN && ref <= INT32_MAX;
  VENTREL_FUZZ_CHECK(ok32 == fits32);
  if (ok32) VENTREL_FUZZ_CHECK(v32 == ref);
}

void check_real(const std::string& s) {
  double v = 0;
  if (!parse_real(s, v)) return;
  // Whatever parse_real accepts strtod reads whole, to the same value (after Fortran's D
  // exponent is written as E).
  std::string t = s;
  for (char& c : t)
    if (c == 'd' || c == 'D') c = 'e';
  VENTREL_FUZZ_CHECK(t.find('\0') == std::string::npos);
  char* end = nullptr;
  const double ref = std::strtod(t.c_str(), &end);
  VENTREL_FUZZ_CHECK(end == t.c_str() + t.size());
  if (std::isnan(ref)) {
    VENTREL_FUZZ_CHECK(std::isnan(v));
  } else {
    VENTREL_FUZZ_CHECK(std::memcmp(&v, &ref, sizeof v) == 0 || v == ref);
  }
}

// split_fields against a plain scan; a small output span gives the same count and a prefix.
void check_split(std::string_view line) {
  std::vector<std::string> ref;
  std::string cur;
  bool in = false;
  for (char c : line) {
    if (c == '/') break;
    if (c == ' ' || c == '\t' || c == ',' || c == '\r') {
      if (in) ref.push_back(cur), cur.clear(), in = false;
    } else {
      cur += c;
      in = true;
    }
  }
  if (in) ref.push_back(cur);
  std::vector<std::string_view> big(ref.size() + 1);
  std::array<std::string_view, 3> small;
  VENTREL_FUZZ_CHECK(split_fields(line, big) == ref.size());
  VENTREL_FUZZ_CHECK(split_fields(line, small) == ref.size());
  for (std::size_t i = 0; i < ref.size(); ++i) {
    VENTREL_FUZZ_CHECK(big[i] == ref[i]);
    if (i < small.size()) VENTREL_FUZZ_CHECK(small[i] == ref[i]);
    check_integers(ref[i]);
    check_real(ref[i]);
  }
}

// The lines that line_reader hands out, joined again, give back the file (a CR before each
// newline removed; no line after a final newline).
void check_lines(const std::uint8_t* data, std::size_t size) {
  const std::string path = fuzz::write_input("freeformat", data, size);
  std::string want(reinterpret_cast<const char*>(data), size);
  std::string got;
  // A buffer of 1 to 16 bytes, so that short inputs go through the refills and the growth.
  line_reader r(path, false, size > 0 ? 1 + data[0] % 16 : 1);
  std::string_view line;
  std::int64_t n = 0;
  while (r.next(line)) {
    VENTREL_FUZZ_CHECK(r.line_number() == ++n);
    got.append(line);
    got += '\n';
    check_split(line);
  }
  // Expected: every line of want, its CR before the newline dropped, each ended by a newline.
  std::string ref;
  std::size_t start = 0;
  while (start < want.size()) {
    std::size_t nl = want.find('\n', start);
    std::size_t end = nl == std::string::npos ? want.size() : nl;
    std::size_t len = end - start;
    if (len > 0 && want[end - 1] == '\r') --len;
    ref.append(want, start, len);
    ref += '\n';
    start = nl == std::string::npos ? want.size() : nl + 1;
  }
  VENTREL_FUZZ_CHECK(got == ref);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string s(reinterpret_cast<const char*>(data), size);
  try {
    check_integers(s);
    check_real(s);
    check_lines(data, size);
    (void)excerpt(s, 7);
  } catch (const fatal_error&) {
    // A stop (a file that cannot be read) is a valid outcome.
  }
  return 0;
}
