// Quality control on a crafted genotype file: the counts removed at each step, the frequencies
// of the markers kept, and the parent-progeny pairs with opposing homozygotes.
#include "genomic/genotype_qc.hpp"

#include <gtest/gtest.h>

#include "support/test_support.hpp"

namespace ventrel::genomic {
namespace {

using namespace test_support;

TEST(genotype_qc, removes_markers_and_animals_in_order_and_counts_them) {
  // Ten animals, eight markers:
  //  m1 missing in 2 of 10 (call rate 0.8 < 0.9): removed for call rate;
  //  m2 missing in 1 of 10: kept (a call rate of 0.9 is not below 0.9);
  //  animal j misses m2..m5, 4 of the 7 markers left: removed for its call rate;
  //  among the other nine, m6 is all 1 and m8 all 2 (monomorphic once j is gone), m7 has one 1
  //  in 18 alleles (minor allele frequency 0.056, kept).
  temp_dir d;
  const genotype_table g = read_genotypes(d.file("g.txt",
                                                 "a 50000102\n"
                                                 "b 51010112\n"
                                                 "c 02021102\n"
                                                 "d 01012102\n"
                                                 "e 02120102\n"
                                                 "f 01012102\n"
                                                 "g 12021102\n"
                                                 "h 02121102\n"
                                                 "i 12002102\n"
                                                 "j 05555100\n"));
  for (int threads : {1, 3}) {
    const qc_result r = quality_control(g, {}, threads);
    EXPECT_EQ(r.markers_callrate, 1);
    EXPECT_EQ(r.animals_callrate, 1);
    EXPECT_EQ(r.markers_monomorphic, 2);
    EXPECT_EQ(r.markers_maf, 0);
    EXPECT_EQ(r.animals, (std::vector<std::int32_t>{0, 1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(r.markers, (std::vector<std::int32_t>{1, 2, 3, 4, 6}));
    ASSERT_EQ(r.p.size(), 5u);
    EXPECT_DOUBLE_EQ(r.p[0], 13.0 / 18.0);  // m2 over the nine animals left
    EXPECT_DOUBLE_EQ(r.p[4], 1.0 / 18.0);
  }
  // A stricter minor allele frequency removes m7; looser call rates keep m1 and animal j (and
  // then m8 is no longer monomorphic).
  qc_settings s;
  s.min_maf = 0.06;
  EXPECT_EQ(quality_control(g, s, 2).markers_maf, 1);
  s = qc_settings{0.5, 0.5, 0.0};
  const qc_result loose = quality_control(g, s, 2);
  EXPECT_EQ(loose.markers_callrate + loose.animals_callrate, 0);
  EXPECT_EQ(loose.markers_monomorphic, 1);
  const std::string out = captured_stdout([&] { print_quality_control(loose, s); });
  EXPECT_EQ(out,
            " Markers removed, call rate below 0.500:                       0\n"
            " Animals removed, call rate below 0.500:                       0\n"
            " Markers removed, monomorphic:                                 1\n"
            " Markers removed, minor allele frequency below 0.000:          0\n"
            " Genotypes kept: 10 animals, 7 markers\n");
}

TEST(genotype_qc, parent_progeny_pairs_with_opposing_homozygotes_are_found) {
  temp_dir d;
  // Levels 1 (sire), 2 (dam), 3 (their progeny). Markers 2 and 5 are monomorphic and removed;
  // on markers 1, 3, 4 the progeny opposes the sire at 1 (marker 1) and the dam at 2 (3, 4).
  const genotype_table g = read_genotypes(d.file("g.txt", "s 21021\nm 01201\np 01021\n"));
  const qc_result r = quality_control(g, qc_settings{0, 0, 0}, 1);
  const std::vector<std::int32_t> level{1, 2, 3};
  const pedigree::pedigree_table ped{{0, 0}, {0, 0}, {0, 0}, {1, 2}};
  const std::vector<parent_conflict> c = parent_progeny_conflicts(g, r, level, ped);
  ASSERT_EQ(c.size(), 2u);
  EXPECT_EQ(c[0].progeny, 2);
  EXPECT_EQ(c[0].parent, 0);
  EXPECT_TRUE(c[0].sire);
  EXPECT_EQ(c[0].opposing, 1);
  EXPECT_EQ(c[0].compared, 3);
  EXPECT_EQ(c[1].parent, 1);
  EXPECT_FALSE(c[1].sire);
  EXPECT_EQ(c[1].opposing, 2);
  // Above a share of one half only the dam is reported; a progeny without genotyped parents
  // gives nothing.
  const std::vector<parent_conflict> half = parent_progeny_conflicts(g, r, level, ped, 0.5);
  ASSERT_EQ(half.size(), 1u);
  EXPECT_FALSE(half[0].sire);
  EXPECT_TRUE(parent_progeny_conflicts(g, r, level, {{0, 0}, {0, 0}, {0, 0}, {0, 0}}).empty());
}

}  // namespace
}  // namespace ventrel::genomic
