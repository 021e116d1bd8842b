// Line-level reading of the parameter file.
#include "parfile/keyword_line.hpp"

#include "common/fatal.hpp"

namespace ventrel::parfile {

namespace {

std::string_view left_adjusted(std::string_view line) {
  std::size_t i = line.find_first_not_of(' ');
  return i == std::string_view::npos ? std::string_view() : line.substr(i);
}

}  // namespace

void check_file_format(line_reader& file) {
  file.rewind();
  std::string_view first;
  const bool any = file.next(first);
  const std::string name = file.path();
  file.rewind();
  if (!any) return;
  // A CR-LF line end is taken as a newline; a carriage return anywhere else means the file uses
  // carriage returns alone and is read as one long record.
  first = first.substr(0, 50000);
  if (first.find('\r') != std::string_view::npos)
    fatal({" Mac old newline format detected in file: \"" + name + "\"",
           " Convert it to Unix newline format, e.g. \"flip -u <file>\""});
  if (first.find('\t') != std::string_view::npos)
    fatal({" TAB was found, Use spaces to separeate columns in file: \"" + name + "\"",
           " Convert to TAB to spaces, e.g. \"expand file > newfile\""});
}

int count_random_groups(line_reader& file) {
  file.rewind();
  int n = 0;
  std::string_view line;
  while (file.next(line)) {
    std::string_view s = left_adjusted(line);
    if (s.starts_with("OPTION")) break;
    if (s.starts_with("RANDOM_GROUP")) ++n;
  }
  file.rewind();
  return n;
}

void stop_on_tab(const line_reader& file, std::string_view text) {
  if (text.find('\t') != std::string_view::npos)
    fatal({" TAB was found, Use spaces to separeate columns in file: \"" + file.path() + "\"",
           at_line(file.path(), file.line_number()) + ": only blanks separate the words of this line",
           " Convert to TAB to spaces, e.g. \"expand file > newfile\""});
}

keyword_line read_keyword_line(line_reader& file) {
  std::string_view line;
  while (file.next(line)) {
    std::string_view s = left_adjusted(line);
    if (!s.empty() && s[0] == '#') continue;
    if (std::size_t c = s.find('#'); c != std::string_view::npos) s = s.substr(0, c);
    // OPTION lines belong to the OPTION store, which stops on their TABs when it reads them.
    if (!s.starts_with("OPTION")) stop_on_tab(file, s);
    keyword_line k = numsx(s, 70, at_line(file.path(), file.line_number()));
    k.line_no = file.line_number();
    return k;
  }
  keyword_line end;
  end.line_no = file.line_number();
  return end;
}

}  // namespace ventrel::parfile
