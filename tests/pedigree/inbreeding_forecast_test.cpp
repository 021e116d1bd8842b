// Tests of forecast_inbreeding and advised_inbreeding_method: the work counted on a pedigree whose
// ancestries and column passes are known by hand, and which method the advice names.
#include <gtest/gtest.h>

#include "pedigree/inbreeding.hpp"

using namespace ventrel::pedigree;

TEST(inbreeding_forecast, counts_the_ancestors_and_the_rows_of_the_column_passes) {
  // Parents first: 3 and its full sib 4 of founders 1 x 2; 5 with an unknown dam; 6 of 3 x 4;
  // 7 of 1 x 6, the sire 1 mated twice. Rows of the parents: 1, 2, 3, 4 and 6 as rows 1..5.
  const pedigree_table ped = {{0, 0}, {0, 0}, {0, 0}, {1, 2}, {1, 2}, {3, 0}, {3, 4}, {1, 6}};
  const inbreeding_forecast fc = forecast_inbreeding(ped, 7, 1);
  // Rows of L: 3 (ancestors 1, 2), 6 (3, 4, 1, 2) and 7 (1, 6, 3, 4, 2); 4 is a full sib of 3.
  EXPECT_EQ(fc.traced_visits, 2 + 4 + 5);
  // Sire columns: 1 from row 1 to its youngest mate 6 (row 5), 3 from its oldest ancestor (row 1)
  // to its mate 4 (row 4).
  EXPECT_EQ(fc.sire_rows, 5 + 4);
  // The hybrid traces every family: no parent has more than two mates.
  EXPECT_EQ(fc.hybrid_rows, 0);
  EXPECT_DOUBLE_EQ(fc.hybrid_visits, 11);
  // Predicted seconds: proportional to the work, shared by the threads but for method 3.
  const inbreeding_forecast two = forecast_inbreeding(ped, 7, 2);
  EXPECT_DOUBLE_EQ(two.meuwissen_luo_seconds, fc.meuwissen_luo_seconds / 2);
  EXPECT_DOUBLE_EQ(two.sire_columns_seconds, fc.sire_columns_seconds);
  EXPECT_DOUBLE_EQ(two.sargolzaei_iwaisaki_seconds, fc.sargolzaei_iwaisaki_seconds);
  // Method 2 visits the same ancestors as method 1, more slowly and on one thread.
  EXPECT_GT(fc.sargolzaei_iwaisaki_seconds, fc.meuwissen_luo_seconds);
}

TEST(inbreeding_forecast, advice_names_a_method_only_when_it_saves_most_of_a_long_run) {
  const double t = advice_threshold_seconds;
  auto fc = [](double ml, double sire, double hybrid) {
    inbreeding_forecast f;
    f.meuwissen_luo_seconds = ml;
    f.sargolzaei_iwaisaki_seconds = 3 * ml;
    f.sire_columns_seconds = sire;
    f.hybrid_seconds = hybrid;
    return f;
  };
  using m = inbreeding_method;
  // A deep pedigree of few sires: the columns win.
  EXPECT_EQ(advised_inbreeding_method(m::meuwissen_luo, fc(10 * t, 2 * t, t)), 6);
  EXPECT_EQ(advised_inbreeding_method(m::sargolzaei_iwaisaki, fc(10 * t, t, 2 * t)), 3);
  // Method 2 traces on one thread: method 1, which shares the work, saves most of a long run.
  EXPECT_EQ(advised_inbreeding_method(m::sargolzaei_iwaisaki, fc(0.5 * t, 20 * t, 8 * t)), 1);
  EXPECT_DOUBLE_EQ(forecast_seconds(m::sargolzaei_iwaisaki, fc(t, t, t)), 3 * t);
  // Random mating over many sires: tracing wins, and the column methods are told so.
  EXPECT_EQ(advised_inbreeding_method(m::meuwissen_luo, fc(2 * t, 20 * t, 8 * t)), 0);
  EXPECT_EQ(advised_inbreeding_method(m::hybrid_parallel, fc(2 * t, 20 * t, 8 * t)), 1);
  // Not when the gain is less than half, nor on a short run.
  EXPECT_EQ(advised_inbreeding_method(m::meuwissen_luo, fc(2 * t, 3 * t, 1.2 * t)), 0);
  EXPECT_EQ(advised_inbreeding_method(m::meuwissen_luo, fc(0.9 * t, 0.1, 0.1)), 0);
  // The tabular methods are slower than method 1 on a large pedigree.
  EXPECT_EQ(advised_inbreeding_method(m::recursive_tabular, fc(t, 20 * t, 8 * t)), 1);
  // Nothing is forecast for reading the coefficients from a file.
  EXPECT_EQ(advised_inbreeding_method(m::metafounder_file, fc(t, t, t)), 0);
}
