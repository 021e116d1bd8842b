// OPTION queries over the parameter file.
#include "parfile/option_store.hpp"

#include "common/fatal.hpp"
#include "common/format.hpp"
#include "parfile/keyword_line.hpp"

namespace ventrel::parfile {

namespace {
constexpr std::size_t max_line = 5000;   // longer OPTION lines are cut
constexpr std::size_t max_words = 1003;  // "OPTION", the name and at most 1001 values
}  // namespace

option_store::option_store(std::unique_ptr<line_reader> file) : file_(std::move(file)) {}

option_store::option_store(const std::string& path) : file_(std::make_unique<line_reader>(path)) {}

namespace {
// Whether a line (after its comment is dropped) begins with the word OPTION, blanks before it
// allowed: only such lines are split, so that a long line of numbers elsewhere in the file
// (a large (CO)VARIANCES block) costs nothing and never trips the word limit.
bool is_option_line(std::string_view line) {
  std::size_t i = line.find_first_not_of(' ');
  if (i == std::string_view::npos) return false;
  line.remove_prefix(i);
  return line.starts_with("OPTION") && (line.size() == 6 || line[6] == ' ' || line[6] == '\t');
}

// The next OPTION line of the file from its position, cut at max_line and at its comment;
// false at the end of the file.
bool next_option_line(line_reader& file, std::string_view& line) {
  while (file.next(line)) {
    line = line.substr(0, max_line);
    if (std::size_t c = line.find('#'); c != std::string_view::npos && c > 0) line = line.substr(0, c);
    if (!is_option_line(line)) continue;
    stop_on_tab(file, line);
    return true;
  }
  return false;
}
}  // namespace

option_values option_store::get_option(std::string_view name, bool continue_search) const {
  if (!continue_search) file_->rewind();
  const std::string wanted = to_lower(trim_right(name));
  asked_.insert(wanted);
  std::string_view line;
  while (next_option_line(*file_, line)) {
    option_values v = nums2(line, max_words, at_line(file_->path(), file_->line_number()));
    if (v.n < 2 || to_lower(v.xc[1]) != wanted) continue;
    v.xc.erase(v.xc.begin(), v.xc.begin() + 2);
    v.x.erase(v.x.begin(), v.x.begin() + 2);
    v.n -= 2;
    v.line_no = file_->line_number();
    return v;
  }
  return option_values{};
}

std::vector<std::string> option_store::unread_option_names() const {
  file_->rewind();
  std::vector<std::string> names;
  std::set<std::string> seen;
  std::string_view line;
  while (next_option_line(*file_, line)) {
    // The second word: the option's name.
    std::size_t b = line.find_first_not_of(' ', line.find_first_not_of(' ') + 6);
    if (b == std::string_view::npos) continue;
    const std::string name(line.substr(b, line.find(' ', b) - b));
    const std::string lower = to_lower(name);
    if (!asked_.contains(lower) && seen.insert(lower).second) names.push_back(name);
  }
  file_->rewind();
  return names;
}

option_values option_store::get_exclusive_options(std::string_view name1,
                                                  std::string_view name2) const {
  option_values a = get_option(name1);
  option_values b = get_option(name2);
  if (a.n >= 0 && b.n >= 0)
    fatal("Both options were set " + std::string(name1) + " and " + std::string(name2));
  return a.n >= 0 ? a : b;
}

}  // namespace ventrel::parfile
