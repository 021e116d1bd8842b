// Word splitting of parameter-file lines.
#include "parfile/split_words.hpp"

#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"

namespace ventrel::parfile {

namespace {

// Calls emit(word, rest) for every blank-separated word of text, rest being the text from the
// word's start to the end.
template <class F>
void for_each_word(std::string_view text, F&& emit) {
  std::size_t i = 0;
  const std::size_t len = text.size();
  while (i < len) {
    if (text[i] == ' ') {
      ++i;
      continue;
    }
    std::size_t j = text.find(' ', i);
    if (j == std::string_view::npos) j = len;
    emit(text.substr(i, j - i), text.substr(i));
    i = j;
  }
}

[[noreturn]] void too_many_words(std::string_view routine, std::string_view rest, std::size_t m,
                                 std::string_view where) {
  std::vector<std::string> lines = {"Error in " + std::string(routine) + " splitting string starting: " + excerpt(rest),
                                    "into m: " + num(static_cast<std::int64_t>(m)) + " items"};
  if (!where.empty()) lines.emplace_back(where);
  fatal(std::move(lines));
}

}  // namespace

option_values nums2(std::string_view text, std::size_t max_words, std::string_view where) {
  option_values v;
  v.n = 0;
  for_each_word(text, [&](std::string_view word, std::string_view rest) {
    if (v.xc.size() == max_words) too_many_words("nums2", rest, max_words, where);
    double x = 0;
    if (!parse_real(word, x)) x = 0;
    v.xc.emplace_back(word);
    v.x.push_back(x);
    ++v.n;
  });
  return v;
}

keyword_line numsx(std::string_view text, std::size_t max_words, std::string_view where) {
  keyword_line k;
  k.n = 0;
  for_each_word(text, [&](std::string_view word, std::string_view rest) {
    if (k.words.size() == max_words) too_many_words("numsx", rest, max_words, where);
    std::int32_t v = 0;
    if (!parse_int(word, v)) v = 0;
    k.words.emplace_back(word);
    k.numbers.push_back(v);
    ++k.n;
  });
  return k;
}

std::string to_lower(std::string_view text) {
  std::string out(text);
  for (char& c : out)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return out;
}

}  // namespace ventrel::parfile
