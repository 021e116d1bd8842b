// The files of a simulated evaluation, in the formats ventrel reads: parameter file, data,
// pedigree, validation set, solution files, ebv_pev and pec files, yhat_residual, and the true
// breeding values.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "linalg/dense_matrix.hpp"
#include "simulate/evaluation.hpp"
#include "simulate/population.hpp"
#include "simulate/sim_options.hpp"

namespace ventrel::simulate {

// File names inside the output folder.
inline constexpr const char* parameter_file_name = "ventrel.par";
inline constexpr const char* data_file_name = "data.txt";               // all records
inline constexpr const char* partial_data_file_name = "data_partial.txt";  // partial records
inline constexpr const char* pedigree_file_name = "pedigree.txt";
inline constexpr const char* validation_file_name = "validation.txt";
inline constexpr const char* yhat_file_name = "yhat_residual";
inline constexpr const char* true_values_file_name = "true_bv.txt";
inline constexpr const char* genotype_file_name = "snp.txt";           // and snp.txt.xref

// "solutions_whole" / "solutions_partial"; "ebv_pev_<t>_1_<which>"; "pec_<t>_1_<which>".
std::string solutions_file_name(bool whole);
std::string ebv_pev_name(int trait, bool whole);
std::string pec_name(int trait, bool whole);

// The parameter file: DATAFILE data.txt, the traits in data columns 3.., effect 1 the herd
// (column 2), effect 2 the animal (column 1) with RANDOM_TYPE add_animal and FILE pedigree.txt,
// R0 and G0; then OPTION validation 2 validation.txt, OPTION predictive_ability and, unless
// opt.se is "none", OPTION se with its method; with opt.markers, OPTION SNP_file snp.txt.
std::string parameter_file_text(const simulation_options& opt, const population& pop,
                                const linalg::dense_matrix& g0, const linalg::dense_matrix& r0);

// Data lines "animal herd y_1 [y_2]" of the animals with has_record set.
std::string data_text(const population& pop, std::span<const char> has_record);

// Pedigree lines "animal sire dam", 0 for an unknown parent; parents before progeny.
std::string pedigree_text(const population& pop);

// One focal level a line.
std::string validation_text(std::span<const int> focal);

// Header "trait/effect level  solution" (with " acc" when acc), then "trait effect level
// solution [acc]" for every effect, level and trait in equation order. acc of an animal is
// sqrt(1 - PEV / ((1 + F) sigma_a^2)) clamped to [0, 1]; herds get 0. acc needs ev.pev.
std::string solutions_text(const population& pop, const evaluation& ev, bool acc,
                           const linalg::dense_matrix& g0);

// "level EBV PEV" for every animal, trait t (from 1). Needs ev.pev.
std::string ebv_pev_text(const evaluation& ev, int t);

// "level1 level2 covariance" for every pair of focal animals, trait t. Needs ev.pec.
std::string pec_text(const evaluation& ev, std::span<const int> focal, int t);

// One line per record of the whole data: "animal y_1 - b_herd,1 [y_2 - b_herd,2]", the
// phenotypes adjusted for the fixed effects of the whole evaluation.
std::string yhat_residual_text(const population& pop, std::span<const char> has_record,
                               const evaluation& whole);

// A header line starting with "#", then "animal sire dam generation sex herd inbreeding tbv_1
// [tbv_2]" for every animal (sex 1 = male, 2 = female).
std::string true_values_text(const population& pop);

}  // namespace ventrel::simulate
