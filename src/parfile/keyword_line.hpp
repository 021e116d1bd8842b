// Line-level reading of the parameter file: the format check of its first record, the count of
// its random groups, and the reading of one keyword line.
#pragma once

#include "common/freeformat.hpp"
#include "parfile/split_words.hpp"

namespace ventrel::parfile {

// Stops the run when the first record of the file (its first 50,000 characters) holds a
// carriage return (a file with old Mac newlines) or a TAB. Only the first record is tested.
// The file is rewound before and after.
void check_file_format(line_reader& file);

// The number of lines whose first 12 characters, after leading blanks, are "RANDOM_GROUP",
// counted up to the end of the file or the first line that begins with "OPTION".
// The file is rewound before and after.
int count_random_groups(line_reader& file);

// Stops the run when text (from the line of file last read) holds a TAB: in a keyword or OPTION
// line only blanks separate words, so a TAB would silently glue two words into one. The message
// is the TAB message of check_file_format with the place of the line.
void stop_on_tab(const line_reader& file, std::string_view text);

// The next keyword line: leading blanks removed; a line whose first character is then "#" is a
// comment and is skipped; otherwise text from the first "#" on is dropped. Blank lines are not
// skipped (they give n = 0). Words are split by numsx (at most 70; more stop the run naming the
// line). A TAB in the kept text stops the run (stop_on_tab), except
// in an OPTION line, which the OPTION store checks when it reads it. n = -1 at the end of the file.
keyword_line read_keyword_line(line_reader& file);

}  // namespace ventrel::parfile
