// OPTION queries: matching, comments, continued searches and exclusive options (the stops on
// long or TAB-holding OPTION lines are checked end to end).
#include "parfile/option_store.hpp"

#include "support/test_support.hpp"

namespace ventrel::parfile {
namespace {

using test_support::lines;
using test_support::stop_lines;
using test_support::write_temp;

// One file for the queries that find or miss a line (line numbers on the right).
std::string query_file() {
  std::string numbers;  // a large (CO)VARIANCES block on one line: no OPTION line, never split
  for (int i = 0; i < 2000; ++i) numbers += "1 ";
  return "DATAFILE\n"                                    // 1
         "\n"                                            // 2
         "OPTION  SE  exact\n"                           // 3
         "option low 1\n"                                // 4
         "X OPTION low 2\n"                              // 5
         "OPTIONlow low 3\n"                             // 6
         "  OPTION nthreads 4\n"                         // 7
         "OPTION a 1 # comment\n"                        // 8
         "#OPTION c 2\n"                                 // 9
         "OPTION focal_var usr 1.5e0 7 abc\n"            // 10
         "OPTION b # x\n"                                // 11
         "OPTION a 2\n"                                  // 12
         "1.0\t2.0\n"                                    // 13
         "OPTION tabbed exact # a\tb\n" +                // 14
         numbers + "\n"                                  // 15
         "OPTION long " + std::string(4988, 'x') + " tail\n";  // 16: cut after the x's
}

TEST(option_store, finds_the_first_OPTION_line_of_a_name_or_the_next_one) {
  const option_store s(write_temp("opt_query.txt", query_file()));
  struct row {
    std::string name;
    bool continued;
    int n;
    lines xc;
    std::int64_t line_no;
  };
  const std::vector<row> rows{
      {"se", false, 1, {"exact"}, 3},  // the name regardless of case, the value as written
      {"Se", false, 1, {"exact"}, 3},
      {"se   ", false, 1, {"exact"}, 3},
      {"low", false, -1, {}, 0},  // OPTION in capitals, the first word, followed by a blank
      {"nthreads", false, 1, {"4"}, 7},
      {"a", false, 1, {"1"}, 8},
      {"a", true, 1, {"2"}, 12},
      {"a", true, -1, {}, 0},
      {"a", false, 1, {"1"}, 8},  // a plain query starts again from the top
      {"c", false, -1, {}, 0},
      {"b", false, 0, {}, 11},
      {"tabbed", false, 1, {"exact"}, 14},
      {"long", false, 1, {std::string(4988, 'x')}, 16},
      {"zz", false, -1, {}, 0},
  };
  for (const row& r : rows) {
    SCOPED_TRACE(r.name + (r.continued ? " continued" : ""));
    const option_values v = s.get_option(r.name, r.continued);
    EXPECT_EQ(v.n, r.n);
    EXPECT_EQ(v.xc, r.xc);
    EXPECT_EQ(v.line_no, r.line_no);
  }
  const option_values v = s.get_option("focal_var");
  EXPECT_EQ(v.xc, (lines{"usr", "1.5e0", "7", "abc"}));
  EXPECT_EQ(v.x, (std::vector<double>{0, 1.5, 7, 0}));
  // Exclusive options: the one present, or none; both present stop.
  EXPECT_EQ(s.get_exclusive_options("focal_var", "zz").n, 4);
  EXPECT_EQ(s.get_exclusive_options("zz", "nthreads").xc, lines{"4"});
  EXPECT_EQ(s.get_exclusive_options("zz", "yy").n, -1);
  EXPECT_EQ(stop_lines([&] { s.get_exclusive_options("a", "b"); }), lines{"Both options were set a and b"});
}

// The names that no query asked for, as written and once each, whatever their case; lines that
// are not OPTION lines (comments, "option" in lower case) name nothing.
TEST(option_store, lists_the_OPTION_names_no_query_asked_for) {
  const option_store s(write_temp("opt_unread.txt", "DATAFILE\n"
                                                    "OPTION se exact\n"
                                                    "OPTION nrepbot 100\n"
                                                    "option lower 1\n"
                                                    "#OPTION commented 2\n"
                                                    "  OPTION Predictiv_Ability # typo\n"
                                                    "OPTION NREPBOT 5\n"
                                                    "OPTION\n"
                                                    "OPTION SE boot\n"));
  EXPECT_EQ(s.unread_option_names(), (lines{"se", "nrepbot", "Predictiv_Ability"}));
  s.get_option("SE");
  s.get_option("absent");
  EXPECT_EQ(s.unread_option_names(), (lines{"nrepbot", "Predictiv_Ability"}));
  s.get_option("predictiv_ability");
  EXPECT_EQ(s.unread_option_names(), lines{"nrepbot"});
}

}  // namespace
}  // namespace ventrel::parfile
