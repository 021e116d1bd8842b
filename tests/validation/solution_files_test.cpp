// Solution files: the header matrix, the streaming read and the focal records.
#include "validation/solution_files.hpp"

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <sstream>

#include "support/test_support.hpp"

namespace ventrel::validation {
namespace {

using test_support::captured_stdout;
using test_support::lines;
using test_support::stop_lines;
using test_support::write_temp;

const std::string h_solution = "trait/effect level  solution";
const std::string h_spaced = "trait/effect level      solution";
const std::string h_se = "trait/effect level  solution          s.e.";
const std::string h_acc = "trait/effect level  solution acc";

focal_index index_of(std::vector<int> levels, int nlev) {
  std::vector<focal_set> sets(1);
  sets[0].levels = std::move(levels);
  return index_focal_levels(sets, nlev);
}

TEST(solution_headers, each_accepted_header_gives_its_layout_in_both_files) {
  const std::vector<std::pair<std::string, solution_layout>> rows{{h_solution, solution_layout::solution},
      {h_spaced, solution_layout::solution_spaced}, {h_se, solution_layout::solution_se}, {h_acc, solution_layout::solution_acc}};
  for (const auto& [h, layout] : rows) {
    EXPECT_EQ(layout_of_header(h + "   "), layout);
    EXPECT_EQ(check_headers(write_temp("sh_w", h + "\n"), write_temp("sh_p", h + "\r\n")), layout);
  }
  for (const std::string& h : {" " + h_solution, std::string("trait/effect level solution"), std::string()})
    EXPECT_FALSE(layout_of_header(h)) << h;
}

TEST(solution_file, keeps_only_focal_levels_of_the_validation_effect) {
  const std::string path = write_temp("sf1", h_solution + "\n1 1 4 100.5\n1 2 4 1.25\n2 2 4 -2.5\n\n1\t2,5 inf\n"
                                                        "1 2 6 3e-1 extra ignored\n9 3 6 NaN\n");
  const focal_solutions s = read_solution_file(path, solution_layout::solution, 2, 2, index_of({6, 4}, 8), 1);
  EXPECT_EQ(s.sol(0, 0), 0.3);
  EXPECT_TRUE(std::isnan(s.sol(0, 1)));
  EXPECT_EQ(s.sol(1, 0), 1.25);
  EXPECT_EQ(s.sol(1, 1), -2.5);
  EXPECT_EQ(s.extra.rows, 0);
}

// The layouts with a fifth column want it, and only the validation effect's lines must name a
// trait of the model (the other stops are checked end to end).
TEST(solution_file, stops_on_a_missing_fifth_column_or_a_trait_beyond_the_model) {
  auto first_line = [](solution_layout layout, const std::string& header, const std::string& bad) {
    const std::string path = write_temp("sf_bad", header + "\n1 1 4 1 0.5\n" + bad + "\n");
    return stop_lines([&] { read_solution_file(path, layout, 2, 2, index_of({4}, 8), 2); })[0];
  };
  const std::string cannot = "Cannot read a solution line: trait, effect, level, solution";
  EXPECT_EQ(first_line(solution_layout::solution_se, h_se, "1 1 4 1.5"), cannot + ", s.e. expected");
  EXPECT_EQ(first_line(solution_layout::solution_acc, h_acc, "1 1 4 1.5 x"), cannot + ", acc expected");
  EXPECT_EQ(first_line(solution_layout::solution_acc, h_acc, "3 2 4 1 1"), "Trait 3 of a solution line is outside 1 to 2");
  EXPECT_EQ(first_line(solution_layout::solution_acc, h_acc, "3 1 4 1 1"), "no stop");
}

// A random file of several effects and traits in shuffled order, read back and compared with
// the values that generated it.
TEST(solution_file, agrees_with_the_generated_values_on_a_shuffled_file) {
  std::mt19937 rng(42);
  const int nlev = 500, ntrait = 3;
  std::vector<std::string> file_lines;
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
        file_lines.push_back(os.str());
        if (e == 2) truth[{l, t}] = v;
      }
  std::shuffle(file_lines.begin(), file_lines.end(), rng);
  std::string text = h_solution + "\n";
  for (const std::string& l : file_lines) text += l + "\n";
  std::vector<int> focal;
  for (int l = nlev; l >= 1; l -= 3) focal.push_back(l);
  const focal_solutions s =
      read_solution_file(write_temp("sf_random", text), solution_layout::solution, 2, ntrait, index_of(focal, nlev), 3);
  for (std::size_t d = 0; d < focal.size(); ++d)
    for (int t = 1; t <= ntrait; ++t) {
      auto it = truth.find({focal[d], t});
      if (it == truth.end()) EXPECT_TRUE(std::isnan(s.sol(d, t - 1)));
      else EXPECT_EQ(s.sol(d, t - 1), it->second);
    }
}

// The lines are parsed in pieces on several threads: whatever the number of threads, a file
// with faults in it (a value given twice, an unreadable line, a level or trait outside the
// model, a NaN) stops at its first fault with the same message, and a file without gives the
// same values.
TEST(solution_file, any_number_of_threads_stops_at_the_first_fault_or_gives_the_same_values) {
  std::mt19937 rng(7);
  const int nlev = 300;
  const std::vector<std::string> faults{"1 2 5 1.0", "1 2 x 1.0", "1 2 301 1.0", "3 2 5 1.0", "1 2 9 nan", "1 2"};
  std::vector<int> focal;
  for (int l = 1; l <= nlev; l += 4) focal.push_back(l);
  for (int trial = 0; trial < 60; ++trial) {
    std::vector<std::string> body;
    for (int e = 1; e <= 2; ++e)
      for (int l = 1; l <= nlev; ++l)
        for (int t = 1; t <= 2; ++t) body.push_back(std::to_string(t) + " " + std::to_string(e) + " " + std::to_string(l) + " " + std::to_string(l * 0.5 + t));
    std::shuffle(body.begin(), body.end(), rng);
    const int nfault = trial % 4;  // 0 to 3 faults, anywhere
    for (int k = 0; k < nfault; ++k)
      body.insert(body.begin() + std::uniform_int_distribution<std::size_t>(0, body.size())(rng),
                  faults[std::uniform_int_distribution<std::size_t>(0, faults.size() - 1)(rng)]);
    std::string text = h_solution + "\n";
    for (const std::string& l : body) text += l + (rng() % 5 == 0 ? "\r\n" : "\n");
    const std::string path = write_temp("sf_threads", text);
    auto read = [&](int threads, std::vector<std::string>& stop) {
      focal_solutions s;
      stop = stop_lines([&] { s = read_solution_file(path, solution_layout::solution, 2, 2, index_of(focal, nlev), threads); });
      return s;
    };
    std::vector<std::string> stop1;
    const focal_solutions one = read(1, stop1);
    if (nfault == 0) {
      EXPECT_EQ(stop1[0], "no stop");
    }
    for (int threads : {2, 3, 5}) {
      std::vector<std::string> stop;
      const focal_solutions s = read(threads, stop);
      EXPECT_EQ(stop, stop1) << "trial " << trial << ", " << threads << " threads";
      if (stop1[0] == "no stop") {
        EXPECT_EQ(s.sol.a, one.sol.a) << "trial " << trial;
      }
    }
  }
}

// read_focal_sets in a folder of its own: two traits, a validation file per trait, effect 2 of
// 20 levels validated.
class focal_sets_test : public ::testing::Test {
 protected:
  focal_sets_test() {
    model.ntrait = 2;
    model.neff = 2;
    model.nlev = {3, 20};
    opt.focal_effect = 2;
    opt.validation_files = {"set1.txt", "set2.txt"};
    write("set1.txt", "12\n5\n");
    write("set2.txt", "5\n7\n3\n");
  }
  static void write(const std::string& name, const std::string& text) { std::ofstream(name) << text; }

  // Solution lines of effect 2: whole = level + trait/10, partial = level - trait/10; with acc,
  // the accuracy 0.<level>.
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

  test_support::scoped_work_dir work;
  parfile::model_parameters model;
  validation_options opt;
};

TEST_F(focal_sets_test, rows_follow_each_set_in_its_own_order_with_accuracies_and_phenotypes) {
  write_solutions(h_acc, true);
  opt.predictive_ability = true;
  write("yhat_residual", "7 1 2\n5 3 4\n12 5 6\n3 7 8\n5 5 6\n");
  const std::vector<focal_set> sets = read_focal_sets(opt, model);
  ASSERT_EQ(sets.size(), 2u);
  EXPECT_EQ(sets[1].levels, (std::vector<int>{5, 7, 3}));
  EXPECT_EQ(sets[0].traits, std::vector<int>{1});
  EXPECT_EQ(sets[1].traits, std::vector<int>{2});
  for (const focal_set& s : sets)
    for (int i = 0; i < s.n; ++i)
      for (int t = 1; t <= 2; ++t) {
        EXPECT_DOUBLE_EQ(s.whole(i, t - 1), s.levels[i] + t / 10.0);
        EXPECT_DOUBLE_EQ(s.partial(i, t - 1), s.levels[i] - t / 10.0);
      }
  EXPECT_EQ(sets[0].extra, extra_column::acc);
  EXPECT_DOUBLE_EQ(sets[0].whole_extra(0, 0), 0.12);
  EXPECT_DOUBLE_EQ(sets[1].partial_extra(2, 1), 0.3);
  EXPECT_EQ(sets[1].phenotype(0, 0), 4);  // level 5: mean of (3,4) and (5,6)
  EXPECT_EQ(sets[1].phenotype(0, 1), 5);
  EXPECT_EQ(sets[1].phenotype(2, 1), 8);  // level 3
  EXPECT_EQ(sets[0].phenotype(0, 0), 5);  // level 12
}

TEST_F(focal_sets_test, a_set_validates_its_own_trait_or_every_trait_and_one_individual_is_warned_of) {
  write_solutions(h_spaced, false);
  // Set 1 validates trait 1 only: a level without trait-2 solutions is accepted there.
  for (const char* f : {"solutions_whole", "solutions_partial"}) std::ofstream(f, std::ios::app) << "1 2 9 4.0\n";
  write("set1.txt", "9\n");
  std::vector<focal_set> sets;
  EXPECT_EQ(captured_stdout([&] { sets = read_focal_sets(opt, model); }),
            "* Number of focal individuals in set1.txt: 1\n"
            "Warning: validation set file set1.txt holds a single focal individual: only the bias is defined (the "
            "reliability comes out as 0, as its covariance is 0; the other statistics as NaN)\n"
            "* Number of focal individuals in set2.txt: 3\n");
  EXPECT_EQ(sets[0].whole(0, 0), 4.0);
  EXPECT_TRUE(std::isnan(sets[0].whole(0, 1)));
  for (double y : sets[0].phenotype.a) EXPECT_TRUE(std::isnan(y));  // no predictive ability
  EXPECT_EQ(sets[0].extra, extra_column::none);
  EXPECT_EQ(sets[0].whole_extra.rows, 0);
  opt.validation_files = {"set2.txt"};
  sets = read_focal_sets(opt, model);
  ASSERT_EQ(sets.size(), 1u);
  EXPECT_EQ(sets[0].traits, (std::vector<int>{1, 2}));
  // A set for every trait needs the trait-2 solution of level 9 as well.
  write("set2.txt", "5\n9\n");
  EXPECT_EQ(stop_lines([&] { read_focal_sets(opt, model); }),
            (lines{"Focal individual 9 (validation set file set2.txt) has no solution for trait 2",
                   "in solution file solutions_whole"}));
}

}  // namespace
}  // namespace ventrel::validation
