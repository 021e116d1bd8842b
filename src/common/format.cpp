// Fortran edit descriptors I, F, E, G and A, written to match what gfortran prints.
#include "common/format.hpp"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace ventrel {
namespace {

std::string stars(int w) { return std::string(static_cast<std::size_t>(w < 0 ? 0 : w), '*'); }

std::string right(const std::string& s, int w) {
  if (static_cast<int>(s.size()) > w) return stars(w);
  return std::string(static_cast<std::size_t>(w) - s.size(), ' ') + s;
}

// NaN and infinities: gfortran writes NaN, Infinity/Inf with a minus for negative infinity.
std::string non_finite(double v, int w) {
  if (std::isnan(v)) return w < 3 ? stars(w) : right("NaN", w);
  bool neg = v < 0;
  if (neg) {
    if (w >= 9) return right("-Infinity", w);
    if (w >= 4) return right("-Inf", w);
    return stars(w);
  }
  if (w >= 8) return right("Infinity", w);
  if (w >= 3) return right("Inf", w);
  return stars(w);
}

// Places the sign and the optional leading zero of "0.ddd" in a field of width w.
std::string place(bool neg, std::string body, int w) {
  std::string s = (neg ? "-" : "") + body;
  if (static_cast<int>(s.size()) <= w) return right(s, w);
  if (body.size() > 1 && body[0] == '0' && body[1] == '.') {
    s = (neg ? "-" : "") + body.substr(1);
    if (static_cast<int>(s.size()) <= w) return right(s, w);
  }
  return stars(w);
}

// Decimal significand of |v| with `digits` significant digits and the exponent k such that
// |v| = 0.d1d2...d_digits x 10^k (k = 0 for zero).
void significand(double v, int digits, std::string& out, int& k) {
  if (v == 0.0) {
    out.assign(static_cast<std::size_t>(digits), '0');
    k = 0;
    return;
  }
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*e", digits - 1, std::fabs(v));
  out.clear();
  const char* p = buf;
  for (; *p && *p != 'e'; ++p)
    if (*p != '.') out += *p;
  k = std::atoi(p + 1) + 1;
}

}  // namespace

std::string fmt_i(std::int64_t v, int w) { return right(std::to_string(v), w); }

std::string fmt_f(double v, int w, int d) {
  if (!std::isfinite(v)) return non_finite(v, w);
  char buf[400];
  std::snprintf(buf, sizeof buf, "%.*f", d, std::fabs(v));
  std::string body(buf);
  if (d == 0) body += '.';
  return place(std::signbit(v), body, w);
}

std::string fmt_e(double v, int w, int d) {
  if (!std::isfinite(v)) return non_finite(v, w);
  std::string digits;
  int k = 0;
  significand(v, d, digits, k);
  int ak = std::abs(k);
  if (ak > 999) return stars(w);
  char ex[8];
  if (ak <= 99)
    std::snprintf(ex, sizeof ex, "E%c%02d", k < 0 ? '-' : '+', ak);
  else
    std::snprintf(ex, sizeof ex, "%c%03d", k < 0 ? '-' : '+', ak);
  return place(std::signbit(v), "0." + digits + ex, w);
}

std::string fmt_g(double v, int w, int d) {
  if (!std::isfinite(v)) return non_finite(v, w);
  if (v == 0.0) return fmt_f(v, w - 4, d - 1) + "    ";
  std::string digits;
  int k = 0;
  significand(v, d, digits, k);
  if (k >= 0 && k <= d) return fmt_f(v, w - 4, d - k) + "    ";
  return fmt_e(v, w, d);
}

std::string fmt_a(std::string_view s, int w) {
  if (static_cast<int>(s.size()) >= w) return std::string(s.substr(0, static_cast<std::size_t>(w)));
  return std::string(static_cast<std::size_t>(w) - s.size(), ' ') + std::string(s);
}

std::string pad_right(std::string_view s, std::size_t w) {
  std::string out(s.substr(0, w));
  out.resize(w, ' ');
  return out;
}

std::string fmt_g_lines(const double* v, std::size_t count, int per_line, int w, int d) {
  std::string out;
  for (std::size_t i = 0; i < count; ++i) {
    if (i && i % static_cast<std::size_t>(per_line) == 0) out += '\n';
    out += fmt_g(v[i], w, d);
  }
  return out;
}

std::string num(std::int64_t v) { return std::to_string(v); }

std::string num(double v) {
  if (std::isnan(v)) return "NaN";
  if (std::isinf(v)) return v < 0 ? "-Infinity" : "Infinity";
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, v);
  return std::string(buf, r.ptr);
}

std::string fmt_full(double v) {
  if (std::isnan(v)) return "NaN";
  if (std::isinf(v)) return v < 0 ? "-Inf" : "Inf";
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.17g", v);
  return buf;
}

std::string_view trim_right(std::string_view s) {
  std::size_t e = s.find_last_not_of(' ');
  return e == std::string_view::npos ? std::string_view() : s.substr(0, e + 1);
}

}  // namespace ventrel
