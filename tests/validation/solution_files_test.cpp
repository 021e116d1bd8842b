// Solution files: the header matrix, the streaming read and the focal records.
#include "validation/solution_files.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>

#include "common/fatal.hpp"

namespace ventrel::validation {
namespace {

const std::string h_orvane = "trait/effect level  solution";
const std::string h_tirvex = "trait/effect level      solution";
const std::string h_se = "trait/effect level  solution          s.e.";
const std::string h_acc = "trait/effect level  solution acc";

std::string write_temp(const std::string& name, const std::string& text) {
  std::string path = ::testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

template <class F>
std::vector<std::string> stop_of(F&& f) {
  try {
    f();
  } catch (const fatal_error& e) {
    return e.lines();
  }
  ADD_FAILURE() << "the run did not stop";
  return {};
}

focal_index index_of(std::vector<int> levels, int nlev) {
  std::vector<focal_set> sets(1);
  sets[0].levels = std::move(levels);
  return index_focal_levels(sets, nlev);
}

TEST(solution_headers, each_accepted_header_gives_its_layout) {
  EXPECT_EQ(layout_of_header(h_orvane), solution_layout::orvane);
  EXPECT_EQ(layout_of_header(h_tirvex), solution_layout::tirvex);
  EXPECT_EQ(layout_of_header(h_se), solution_layout::orvane_se);
  EXPECT_EQ(layout_of_header(h_acc), solution_layout::quodax);
  EXPECT_EQ(layout_of_header(h_acc + "   "), solution_layout::quodax);
  EXPECT_FALSE(layout_of_header(" " + h_orvane));
  EXPECT_FALSE(layout_of_header("trait/effect level solution"));
  EXPECT_FALSE(layout_of_header(""));
}

TEST(solution_headers, both_files_with_the_same_header_are_accepted) {
  for (const std::string& h : {h_orvane, h_tirvex, h_se, h_acc}) {
    const std::string w = write_temp("sh_w", h + "\n"), p = write_temp("sh_p", h + "\r\n");
    EXPECT_EQ(check_headers(w, p), layout_of_header(h));
  }
}

TEST(solution_headers, different_headers_stop) {
  const std::string w = write_temp("sh_w", h_acc + "\n1 1 1 1 1\n");
  const std::string p = write_temp("sh_p", h_orvane + "\n1 1 1 1\n");
  EXPECT_EQ(stop_of([&] { check_headers(w, p); }),
            (std::vector<std::string>{w + " and " + p + " are in different formats",
                                      "or have different headers"}));
}

TEST(solution_headers, unknown_header_stops_listing_the_valid_ones) {
  const std::vector<std::string> invalid_tail{
      "Valid headers | formats are: ",
      "trait/effect level  solution                | orvane+ solutions",
      "trait/effect level      solution            | tirvex solutions",
      "trait/effect level  solution          s.e.  | orvane+ solutions and s.e.",
      "trait/effect level  solution acc            | quodax solutions and accuracies"};
  const std::string bad = write_temp("sh_bad", "trait effect level solution\n");
  const std::string good = write_temp("sh_good", h_orvane + "\n");
  const std::string bad_line = "file " + bad + ", line 1: \"trait effect level solution\"";
  for (auto [w, p] : {std::pair{bad, bad}, std::pair{bad, good}, std::pair{good, bad}}) {
    auto lines = stop_of([&] { check_headers(w, p); });
    const std::size_t faulty = (w == bad) + (p == bad);
    ASSERT_EQ(lines.size(), 6u + faulty);
    EXPECT_EQ(lines[0], w + " and " + p + " have an invalid format or the header was modified.");
    EXPECT_EQ(std::vector<std::string>(lines.begin() + 1, lines.begin() + 6), invalid_tail);
    // Then the first line of each file at fault.
    for (std::size_t k = 6; k < lines.size(); ++k) EXPECT_EQ(lines[k], bad_line);
  }
  const std::string empty = write_temp("sh_empty", "");
  EXPECT_EQ(stop_of([&] { check_headers(good, empty); }).back(), "file " + empty + " is empty");
}

TEST(solution_file, keeps_only_focal_levels_of_the_validation_effect) {
  const std::string path = write_temp("sf1", h_orvane + "\n"
                                                        "1 1 4 100.5\n"
                                                        "1 2 4 1.25\n"
                                                        "2 2 4 -2.5\n"
                                                        "\n"
                                                        "1\t2,5 9.0\n"
                                                        "1 2 6 3e-1 extra ignored\n"
                                                        "2 3 6 NaN\n");
  const focal_solutions s = read_solution_file(path, solution_layout::orvane, 2, 2, index_of({6, 4}, 8));
  EXPECT_EQ(s.sol(0, 0), 0.3);
  EXPECT_TRUE(std::isnan(s.sol(0, 1)));
  EXPECT_EQ(s.sol(1, 0), 1.25);
  EXPECT_EQ(s.sol(1, 1), -2.5);
  EXPECT_EQ(s.extra.rows, 0);
}

TEST(solution_file, keeps_the_fifth_column_of_se_and_acc_layouts) {
  const std::string path = write_temp("sf2", h_acc + "\n1 2 4 1.5 0.75\n");
  const focal_solutions s = read_solution_file(path, solution_layout::quodax, 2, 1, index_of({4}, 8));
  EXPECT_EQ(s.sol(0, 0), 1.5);
  EXPECT_EQ(s.extra(0, 0), 0.75);
  const std::string short_line = write_temp("sf3", h_se + "\n1 2 4 1.5\n");
  EXPECT_EQ(stop_of([&] { read_solution_file(short_line, solution_layout::orvane_se, 2, 1, index_of({4}, 8)); }),
            (std::vector<std::string>{
                "Cannot read a solution line: trait, effect, level, solution, s.e. expected",
                "file " + short_line + ", line 2: \"1 2 4 1.5\"", "it holds 4 value(s)"}));
}

TEST(solution_file, an_effect_of_two_billion_levels_needs_no_table_over_them) {
  // The index holds the focal levels only: this runs in a few kilobytes.
  const std::string path = write_temp("sf_big", h_orvane + "\n1 2 2000000000 1.5\n1 2 2147483647 2.5\n1 2 7 3.5\n");
  const focal_solutions s =
      read_solution_file(path, solution_layout::orvane, 2, 1, index_of({2147483647, 2000000000}, 2147483647));
  EXPECT_EQ(s.sol(0, 0), 2.5);
  EXPECT_EQ(s.sol(1, 0), 1.5);
}

TEST(solution_file, stops_on_unreadable_lines_of_any_effect) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"1 1 x 0.5", "the level \"x\" is not a whole number from -2147483648 to 2147483647"},
      {"1 1 2", "it holds 3 value(s)"},
      {"1.0 1 2 0.5", "the trait \"1.0\" is not a whole number from -2147483648 to 2147483647"},
      {"1 1 2 abc", "the solution \"abc\" is not a number"},
      {"1 1 99999999999 0.5", "the level \"99999999999\" is not a whole number from -2147483648 to 2147483647"}};
  for (const auto& [bad, fault] : cases) {
    const std::string path = write_temp("sf4", h_orvane + "\n1 2 4 1\n" + bad + "\n");
    auto lines = stop_of([&] { read_solution_file(path, solution_layout::orvane, 2, 1, index_of({4}, 8)); });
    ASSERT_EQ(lines.size(), 3u) << bad;
    EXPECT_EQ(lines[0], "Cannot read a solution line: trait, effect, level, solution expected");
    EXPECT_EQ(lines[1], "file " + path + ", line 3: \"" + bad + "\"");
    EXPECT_EQ(lines[2], fault);
  }
}

TEST(solution_file, stops_on_bad_values_of_the_validation_effect) {
  auto first = [](const std::string& line, const std::string& name) {
    const std::string path = write_temp(name, h_orvane + "\n" + line + "\n");
    auto lines = stop_of([&] { read_solution_file(path, solution_layout::orvane, 2, 2, index_of({4}, 8)); });
    return lines.empty() ? std::string() : lines[0] + " | " + lines[1];
  };
  const std::string d = ::testing::TempDir();
  EXPECT_EQ(first("1 2 4 inf", "sf5"),
            "A solution line holds a value that is not a finite number | file " + d + "sf5, line 2: \"1 2 4 inf\"");
  EXPECT_EQ(first("3 2 4 1", "sf6"), "Trait 3 of a solution line is outside 1 to 2 | file " + d + "sf6, line 2");
  EXPECT_EQ(first("1 2 9 1", "sf7"),
            "Level 9 of a solution line is outside the levels 1 to 8 of effect 2 | file " + d + "sf7, line 2");
  EXPECT_EQ(first("1 2 4 1\n1 2 4 2", "sf8"),
            "The solution of trait 1 for level 4 is given twice | file " + d + "sf8, line 3");
}

// A random file of several effects and traits in shuffled order, read back and compared with
// the values that generated it.
TEST(solution_file, agrees_with_the_generated_values_on_a_shuffled_file) {
  std::mt19937 rng(42);
  const int nlev = 500, ntrait = 3;
  std::vector<std::string> lines;
  std::map<std::pair<int, int>, double> truth;  // (level, trait) -> solution of effect 2
  std::uniform_real_distribution<double> u(-10, 10);
  for (int e = 1; e <= 3; ++e)
    for (int l = 1; l <= nlev; ++l)
      for (int t = 1; t <= ntrait; ++t) {
        if (e == 2 && l % 7 == 0 && t == 3) continue;  // some cells have no line
        const double v = std::round(u(rng) * 1e6) / 1e6;
        std::ostringstream os;
        os.precision(17);
        os << t << " " << e << " " << l << " " << v;
        lines.push_back(os.str());
        if (e == 2) truth[{l, t}] = v;
      }
  std::shuffle(lines.begin(), lines.end(), rng);
  std::string text = h_orvane + "\n";
  for (const std::string& l : lines) text += l + "\n";
  const std::string path = write_temp("sf_random", text);
  std::vector<int> focal;
  for (int l = nlev; l >= 1; l -= 3) focal.push_back(l);
  const focal_index idx = index_of(focal, nlev);
  const focal_solutions s = read_solution_file(path, solution_layout::orvane, 2, ntrait, idx);
  for (std::size_t d = 0; d < focal.size(); ++d)
    for (int t = 1; t <= ntrait; ++t) {
      auto it = truth.find({focal[d], t});
      if (it == truth.end()) EXPECT_TRUE(std::isnan(s.sol(d, t - 1)));
      else EXPECT_EQ(s.sol(d, t - 1), it->second);
    }
}

// read_focal_sets in a folder of its own: two traits, a validation file per trait.
class focal_sets_test : public ::testing::Test {
 protected:
  void SetUp() override {
    old_ = std::filesystem::current_path();
    dir_ = std::filesystem::path(::testing::TempDir()) /
           ("fs_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
    std::filesystem::current_path(dir_);
    model_.ntrait = 2;
    model_.neff = 2;
    model_.nlev = {3, 20};
    opt_.focal_effect = 2;
    opt_.validation_files = {"set1.txt", "set2.txt"};
    write("set1.txt", "12\n5\n");
    write("set2.txt", "5\n7\n3\n");
  }
  void TearDown() override { std::filesystem::current_path(old_); }
  static void write(const std::string& name, const std::string& text) { std::ofstream(name) << text; }

  // Solution lines of effect 2: whole = level + trait/10, partial = level - trait/10.
  static void write_solutions(const std::string& header, bool acc) {
    const std::string fixed = acc ? " 0.5\n" : "\n";
    std::string w = header + "\n1 1 1 99" + fixed, p = header + "\n1 1 1 98" + fixed;
    for (int l : {3, 5, 7, 12})
      for (int t = 1; t <= 2; ++t) {
        const std::string head = std::to_string(t) + " 2 " + std::to_string(l) + " ";
        const std::string fifth = acc ? " 0." + std::to_string(l) : "";
        w += head + std::to_string(l + t / 10.0) + fifth + "\n";
        p += head + std::to_string(l - t / 10.0) + fifth + "\n";
      }
    write("solutions_whole", w);
    write("solutions_partial", p);
  }

  std::filesystem::path old_, dir_;
  parfile::model_parameters model_;
  validation_options opt_;
};

TEST_F(focal_sets_test, rows_follow_each_set_in_its_own_order) {
  write_solutions(h_orvane, false);
  const std::vector<focal_set> sets = read_focal_sets(opt_, model_);
  ASSERT_EQ(sets.size(), 2u);
  EXPECT_EQ(sets[1].file, "set2.txt");
  EXPECT_EQ(sets[1].n, 3);
  EXPECT_EQ(sets[1].levels, (std::vector<int>{5, 7, 3}));
  EXPECT_EQ(sets[0].traits, std::vector<int>{1});
  EXPECT_EQ(sets[1].traits, std::vector<int>{2});
  EXPECT_EQ(sets[1].inb, (std::vector<double>{0, 0, 0}));
  for (const focal_set& s : sets)
    for (int i = 0; i < s.n; ++i)
      for (int t = 1; t <= 2; ++t) {
        EXPECT_DOUBLE_EQ(s.whole(i, t - 1), s.levels[i] + t / 10.0);
        EXPECT_DOUBLE_EQ(s.partial(i, t - 1), s.levels[i] - t / 10.0);
        EXPECT_TRUE(std::isnan(s.phenotype(i, t - 1)));
      }
  EXPECT_EQ(sets[0].extra, extra_column::none);
  EXPECT_EQ(sets[0].whole_extra.rows, 0);
}

TEST_F(focal_sets_test, accuracies_are_kept_per_animal_and_trait) {
  write_solutions(h_acc, true);
  const std::vector<focal_set> sets = read_focal_sets(opt_, model_);
  EXPECT_EQ(sets[0].extra, extra_column::acc);
  EXPECT_DOUBLE_EQ(sets[0].whole_extra(0, 0), 0.12);
  EXPECT_DOUBLE_EQ(sets[1].partial_extra(2, 1), 0.3);
}

TEST_F(focal_sets_test, a_missing_solution_of_a_validated_trait_stops) {
  write_solutions(h_orvane, false);
  write("set2.txt", "5\n9\n");
  EXPECT_EQ(stop_of([&] { read_focal_sets(opt_, model_); }),
            (std::vector<std::string>{
                "Focal individual 9 (validation set file set2.txt) has no solution for trait 2",
                "in solution file solutions_whole"}));
  // Set 1 validates trait 1 only: a level without trait-2 solutions is accepted there.
  std::ofstream("solutions_whole", std::ios::app) << "1 2 9 4.0\n";
  std::ofstream("solutions_partial", std::ios::app) << "1 2 9 4.0\n";
  write("set2.txt", "5\n");
  write("set1.txt", "9\n");
  const std::vector<focal_set> sets = read_focal_sets(opt_, model_);
  EXPECT_EQ(sets[0].whole(0, 0), 4.0);
  EXPECT_TRUE(std::isnan(sets[0].whole(0, 1)));
}

TEST_F(focal_sets_test, one_validation_file_validates_every_trait) {
  write_solutions(h_tirvex, false);
  opt_.validation_files = {"set1.txt"};
  const std::vector<focal_set> sets = read_focal_sets(opt_, model_);
  ASSERT_EQ(sets.size(), 1u);
  EXPECT_EQ(sets[0].traits, (std::vector<int>{1, 2}));
}

TEST_F(focal_sets_test, predictive_ability_reads_yhat_residual_in_set_order) {
  write_solutions(h_orvane, false);
  opt_.predictive_ability = true;
  write("yhat_residual", "7 1 2\n5 3 4\n12 5 6\n3 7 8\n5 5 6\n");
  const std::vector<focal_set> sets = read_focal_sets(opt_, model_);
  EXPECT_EQ(sets[1].phenotype(0, 0), 4);  // level 5: mean of (3,4) and (5,6)
  EXPECT_EQ(sets[1].phenotype(0, 1), 5);
  EXPECT_EQ(sets[1].phenotype(2, 1), 8);  // level 3
  EXPECT_EQ(sets[0].phenotype(0, 0), 5);  // level 12
}

}  // namespace
}  // namespace ventrel::validation
