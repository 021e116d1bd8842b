// Fixed-width output fields as Fortran edit descriptors produce them (I, F, E, G, A), and the
// plain number text used inside messages. A value that does not fit its width gives a field of
// asterisks of that width; NaN and infinities come out right-justified as NaN, Infinity,
// -Infinity (Inf, -Inf where the field is narrower).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ventrel {

std::string fmt_i(std::int64_t v, int w);               // Iw
std::string fmt_f(double v, int w, int d);              // Fw.d
std::string fmt_e(double v, int w, int d);              // Ew.d (two exponent digits, Fortran's rules past 99)
std::string fmt_g(double v, int w, int d);              // Gw.d: F form plus four blanks, or E form
std::string fmt_a(std::string_view s, int w);           // Aw: cut to the leftmost w, or right-justified
std::string pad_right(std::string_view s, std::size_t w);  // a blank-padded CHARACTER(w) field

// A Fortran format "(ngw.d)" applied to a sequence: up to n fields per line, lines joined by '\n'.
std::string fmt_g_lines(const double* v, std::size_t count, int per_line, int w, int d);

// Number text for messages: integers as they are, reals in the shortest form that reads back
// to the same value.
std::string num(std::int64_t v);
std::string num(double v);
inline std::string num(int v) { return num(static_cast<std::int64_t>(v)); }

// Full double precision for files that programs read back: 17 significant digits ("%.17g"),
// so that the text reads back to the same double; "NaN", "Inf" and "-Inf" for non-finite values.
std::string fmt_full(double v);

// Trailing blanks removed (Fortran's trim).
std::string_view trim_right(std::string_view s);

}  // namespace ventrel
