// The OPTION store: answers queries for the OPTION lines of the open parameter file by searching
// the file again on every query. No table of options is kept.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "common/freeformat.hpp"
#include "parfile/split_words.hpp"

namespace ventrel::parfile {

class option_store {
 public:
  // Takes over the open parameter file (where the model reader left it).
  explicit option_store(std::unique_ptr<line_reader> file);
  // Opens the file at path.
  explicit option_store(const std::string& path);

  // The values of the OPTION line of name: a line whose first word is "OPTION" and whose second
  // word equals name regardless of case. Lines are cut at 5000 characters, and text from a "#"
  // after the first column on is dropped. n = -1 when no line is found, else the number of words
  // after the name (at most 1001); line_no is the line found, for messages. Without
  // continue_search the file is searched from its start and the first matching line answers;
  // with it the search goes on after the line the previous query stopped at, so repeated lines
  // of one option can be collected. A query moves only the
  // file position, which is why it is const. Only lines that begin with the word OPTION are
  // split; an OPTION line that holds a TAB (which would glue two words into one) or more than
  // 1003 words stops the run naming its line.
  option_values get_option(std::string_view name, bool continue_search = false) const;

  // Looks up both names; when both are present stops with "Both options were set " name1 " and "
  // name2, otherwise returns the values of the one present (n = -1 when neither is).
  option_values get_exclusive_options(std::string_view name1, std::string_view name2) const;

  const std::string& path() const { return file_->path(); }

  // The names of the file's OPTION lines that no query has asked for so far, as written, each
  // once, in the order of the file: options of other programs of the family, or misspelled
  // names. Meaningful once every part of the run has made its queries.
  std::vector<std::string> unread_option_names() const;

 private:
  std::unique_ptr<line_reader> file_;  // the parameter file; its position is the search position
  mutable std::set<std::string> asked_;  // every name queried, in lower case
};

}  // namespace ventrel::parfile
