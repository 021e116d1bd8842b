// Analytical standard errors of the LR statistics (OPTION se exact and OPTION se approx): the
// sampling variances and 95% limits of bias, dispersion, reliability, ratio of accuracies and
// predictive ability under the model Var(w) = Vw, Var(p) = Cov(w, p) = Vp, from the relationships
// among the focal animals and their prediction error (co)variances.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "linalg/symmetric_columns.hpp"
#include "statistics/lr_results.hpp"

namespace ventrel::statistics {

// Prediction error covariances among the focal animals of one set for one trait and evaluation:
// the off-diagonal elements only (the diagonal, the PEVs, comes from the ebv_pev files), stored
// once per pair as the strict lower triangle by columns. Positions count from 0 in the focal
// set's order. Pairs not stored are 0.
struct pec_matrix {
  int m = 0;                            // number of focal animals
  std::vector<std::int64_t> col_start;  // m + 1 offsets: column j at [col_start[j], col_start[j+1])
  std::vector<int> row;                 // row position of each entry, > its column, ascending
  std::vector<double> value;            // the covariance of the pair
};

// One pair as read: two positions (in either order, different) and their covariance.
struct pec_pair {
  int i = 0;             // position of one animal
  int j = 0;             // position of the other
  double cov = 0.0;      // prediction error covariance
  std::int64_t tag = 0;  // caller's mark (the reader's line number), reported for duplicates
};

// A pair that occurs twice: the tags of both occurrences and the two positions.
struct pec_duplicate {
  bool found = false;
  std::int64_t first_tag = 0;   // tag of the occurrence that comes first by tag
  std::int64_t second_tag = 0;  // tag of the other occurrence
  int i = 0, j = 0;             // positions of the pair, i > j
};

// Builds the column storage from pairs in any order. Cost O(k log k) for k pairs. A pair given
// twice (in either order) is reported in *duplicate when the caller passes one (the matrix is
// then incomplete and must not be used); without it a duplicate stops the run.
pec_matrix make_pec_matrix(int m, std::vector<pec_pair> pairs, pec_duplicate* duplicate = nullptr);

// What the statistics of one focal set and one trait are computed from.
struct se_trait_input {
  int trait = 1;              // trait number, for the warnings
  std::span<const double> w;  // whole EBVs of the m focal animals (focal record column)
  std::span<const double> p;  // partial EBVs, same order
  std::span<const double> y;  // adjusted phenotypes, same order; empty: no predictive ability
  double genetic_variance = 0.0;  // of the validated effect (parameter file); s2 in the formulas
  double gvar_focal = 0.0;    // genetic variance of the focal animals
  double h2 = 0.0;            // heritability (predictive ability only)
};

// se exact: the relationships among the focal animals and the prediction errors of both
// evaluations.
struct se_exact_model {
  std::span<const double> a_focal;  // A_focal, m x m column-major; only the lower triangle is read
                                    // (not read by the functions given linalg::symmetric_columns)
  std::span<const double> pev_w;    // PEV of the whole evaluation (ebv_pev file), length m
  std::span<const double> pev_p;    // PEV of the partial evaluation, length m
  const pec_matrix* pec_w = nullptr;  // covariances of the whole evaluation, or none
  const pec_matrix* pec_p = nullptr;  // covariances of the partial evaluation, or none
  std::span<const int> family = {};   // family 0, 1, ... of each focal animal (by sire), or empty
};

// se approx: unrelated animals with their accuracies.
struct se_approx_model {
  std::span<const double> diag_a;  // a_ii = 1 + F_i of the focal animals, length m
  std::span<const double> r_w;     // accuracy r_i of the whole EBVs, in [0, 1]
  std::span<const double> r_p;     // accuracy r_i of the partial EBVs
};

// The scalars every variance is built from. P = J Vp J, W = J Vw J, Y = J Vy J with
// J = I - 11'/m; D = Vw - Vp; x = J p.
struct trace_scalars {
  double t_pp = 0.0;   // sum_ij P_ij^2
  double t_pw = 0.0;   // sum_ij P_ij W_ij
  double t_ww = 0.0;   // sum_ij W_ij^2
  double t_py = 0.0;   // sum_ij P_ij Y_ij (predictive ability only, else 0)
  double t_yy = 0.0;   // sum_ij Y_ij^2 (predictive ability only, else 0)
  double d_sum = 0.0;  // 1'D1
  double x_d_x = 0.0;  // x'Dx
  double trace_p = 0.0;  // tr(P): m times the variance of the partial EBVs the model expects
  double trace_w = 0.0;  // tr(W): the same for the whole EBVs
  double trace_y = 0.0;  // tr(Y): the same for the phenotypes (predictive ability only, else 0)
};

// The model scaled to the observed variance of the partial EBVs (se exact does so when k < 0.5): with k = S_pp / (tr(P) / m),
// Vp -> k Vp, Vw -> k Vp + D, Vy -> k Vp + (Vy - Vp), that is the variance of what the partial
// evaluation predicts scaled by k and the prediction errors (D, C_p) and residuals kept, as
// selection on EBVs does (it narrows the spread of the EBVs, not their prediction errors).
// From the traces alone: tPP' = k^2 tPP, tPW' = k^2 tPP + k (tPW - tPP),
// tWW' = k^2 tPP + 2k (tPW - tPP) + (tWW - 2 tPW + tPP), and the same for Y. 1'D1 and x'Dx stay.
trace_scalars scaled_traces(const trace_scalars& t, double k);

// The between- and within-family parts of the centred model, for scaling them apart. Pf is the
// projection on the family means (Pf_ij = 1/n_f when i and j are both in family f of n_f focal
// animals, else 0), P = J Vp J, E = W - P = J D J, E_y = Y - P = J (Vy - Vp) J and x = J p.
// Pf J = J Pf, so Pf P is the between-family part of P and (I - Pf) P the within-family part.
struct family_traces {
  int families = 0;             // number of families
  bool with_y = false;          // the E_y products are there (predictive ability)
  double trace_between = 0.0;   // tr(Pf P): the between-family part of tr(P)
  double x_between = 0.0;       // x' Pf x: the observed between-family sum of squares
  double pfp_pfp = 0.0;         // tr(Pf P Pf P)
  double pfp_p = 0.0;           // tr(Pf P P)
  double pfp_pfe = 0.0;         // tr(Pf P Pf E)
  double pfp_e = 0.0;           // tr(Pf P E)
  double pfp_pfey = 0.0;        // tr(Pf P Pf E_y) (predictive ability only, else 0)
  double pfp_ey = 0.0;          // tr(Pf P E_y) (predictive ability only, else 0)
};

// se exact scales the families apart when there are min_families to max_families of them.
inline constexpr int min_families = 10;
inline constexpr int max_families = 2000;

// The family parts of se exact's model for one trait (model.family gives the families, the
// covariances as in exact_trace_scalars). A_focal's products with the F family indicators (and,
// without covariance matrices, with the indicators weighted by r_w and r_p), 32 at a time, then
// O(m F) memory and O(m F + F^2) work on the centred products of P, E and E_y with the
// indicators. The result does not depend on the number of threads.
family_traces exact_family_traces(const se_trait_input& in, const se_exact_model& model,
                                  const linalg::symmetric_columns& a);

// The model with the between-family and within-family parts of the predictable variance scaled
// apart: P -> S P S with S = sqrt(kb) Pf + sqrt(kw) (I - Pf) (positive semidefinite as P is;
// the cross terms carry sqrt(kb kw)), W -> S P S + E, Y -> S P S + E_y. With a = tr(Pf P Pf P),
// b = tr(Pf P P), c = tr(Pf P Pf E), d = tr(Pf P E), e = tr(P E) = tPW - tPP:
//   tPP' = kb^2 a + kw^2 (tPP - 2b + a) + 2 kb kw (b - a),
//   tr(S P S E) = kb c + kw (e - 2d + c) + 2 sqrt(kb kw) (d - c),
//   tPW' = tPP' + tr(S P S E),  tWW' = tPP' + 2 tr(S P S E) + (tWW - 2 tPW + tPP),
// the same for Y; tr(P') = kb tr(Pf P) + kw (tr P - tr(Pf P)). 1'D1 and x'Dx stay. With
// kb = kw = k this is scaled_traces(t, k).
trace_scalars family_scaled_traces(const trace_scalars& t, const family_traces& f, double kb,
                                   double kw);

// The observed sample moments (divisor m) and the point statistics they give.
struct sample_moments {
  int m = 0;
  double s_pw = 0.0, s_pp = 0.0, s_ww = 0.0;  // x'w/m, x'x/m, (Jw)'(Jw)/m
  double s_py = 0.0, s_yy = 0.0;              // x'y/m, (Jy)'(Jy)/m (predictive ability only)
  double mean_diff = 0.0;                     // mean(p) - mean(w)
};

// What a standard-error computation leaves: the table rows, the warnings it printed, and the
// intermediate figures (for the log of a careful user and for tests).
struct se_result {
  lr_intervals intervals;  // variance (report prints its square root) and limits
  lr_values values;        // point values recomputed from the same moments
  trace_scalars traces;
  sample_moments moments;
  std::vector<std::string> warnings;  // the "Warning: " lines printed, in order
  double scale = 1.0;  // se exact: observed S_pp over the one the model expects (see scaled_traces)
  double scale_between = 0.0;  // se exact scaled by families: kb and kw (family_scaled_traces),
  double scale_within = 0.0;   // else 0
};

// The trace scalars of se exact for several traits of one focal set, from one sweep over the
// columns of A_focal (a: dense, or computed a block at a time and never stored). Two passes:
// A_focal times 1 (and times r_w, r_p of each trait without covariances) for the row means,
// then every column once for the centred products, each trait's sums formed from the column
// while it is at hand. O(m^2) time per trait, O(m) memory per trait beside what the sweep holds
// (P, W and Y are never formed), plus O(k) for k stored covariances. Without covariance
// matrices, D gets the off-diagonal elements s2 a_ij (r_w,i r_w,j - r_p,i r_p,j) with
// r_i^2 = 1 - PEV_i / (a_ii s2) clamped to [0, 1] (a_ii from a.diagonal); with one or both,
// missing pairs (or a missing matrix) count as 0. The column sums are added in the order of
// the sweep's steps, so results do not depend on the thread count.
std::vector<trace_scalars> exact_trace_scalars(std::span<const se_trait_input> in,
                                               std::span<const se_exact_model> model,
                                               const linalg::symmetric_columns& a);

// The same for one trait from the dense model.a_focal.
trace_scalars exact_trace_scalars(const se_trait_input& in, const se_exact_model& model);

// The trace scalars of se approx: diagonal Vw = s2 a_ii r_w^2, Vp = s2 a_ii r_p^2. O(m).
trace_scalars approx_trace_scalars(const se_trait_input& in, const se_approx_model& model);

// Observed moments of the trait's vectors (two passes, means first).
sample_moments observed_moments(const se_trait_input& in);

// Where the delta method takes the gradient of the correlations (ratio of accuracies, predictive
// ability). moments::model: at the moments the model expects, S_pp = S_pw = tr(P)/m and
// S_ww = tr(W)/m (S_yy = tr(Y)/m), where Omega is taken too (se exact, whose model is scaled to
// the observed spread under selection). With the observed moments the gradient's 1/S_pp and
// 1/S_ww, taken where a sum of squares on few degrees of freedom happened to fall, inflate the
// variance on average (by 1/S having a larger mean than 1/E S: the coverage study measured the
// ratio of accuracies' SD 1.07 of the empirical one with 15 sire families, 0.98 at the model's
// moments). moments::observed: at the observed ones (se approx, whose model of unrelated animals
// is far off the observed spread of related ones; also the trace scalars without tr(W)).
enum class moments { observed, model };

// Variances and limits from the trace scalars and the observed moments: bias and dispersion
// value -/+ 1.96 SD; the correlations by Fisher's z; the reliability symmetric, clipped to
// [0, 1]. A negative variance is set to 0 with a warning line in result.warnings (not printed
// here).
se_result intervals_from_traces(const se_trait_input& in, const trace_scalars& t,
                                moments gradient_at = moments::observed);

// se exact for one focal set and trait. When the partial EBVs vary less than half as much as the
// model expects (k = S_pp / (tr(P)/m) < 0.5, as under selection on EBVs) a warning says so and
// the model is scaled: with model.family splitting the focal animals into min_families to
// max_families families (and at least two animals more than families), the between-family part
// by kb = x'Pf x / tr(Pf P) and the within-family part by kw = x'(I - Pf)x / tr((I - Pf) P)
// (family_scaled_traces; the warning gives both), else all of it by k (scaled_traces). Without covariance matrices D's off-diagonal comes from
// the accuracies and one warning says which SDs are conservative and which may be narrow. With
// only one of the two the trait is computed as without either (a missing evaluation's
// covariances are never taken as 0): a warning names the missing file and the one not used,
// then the same warning. Further, a warning for each variance set to 0.
se_result se_exact(const se_trait_input& in, const se_exact_model& model);

// se exact for several traits of one focal set from one sweep over the columns of A_focal:
// as above for each trait (warnings printed trait after trait once all traces are known).
std::vector<se_result> se_exact(std::span<const se_trait_input> in, std::span<const se_exact_model> model,
                                const linalg::symmetric_columns& a);

// se approx for one focal set and trait; prints the warnings of negative variances.
se_result se_approx(const se_trait_input& in, const se_approx_model& model);

// Accuracy from a prediction error variance: r = sqrt(1 - pev / (a_ii s2)) clamped to [0, 1].
double accuracy_from_pev(double pev, double a_ii, double s2);

// Which column of the solution files carries the accuracies for se approx.
enum class accuracy_column { none, acc, se };

// Accuracies of the focal animals for se approx from the solution-file column: "acc" gives r
// (clamped to [0, 1]), "s.e." gives PEV = se^2 and r as in accuracy_from_pev. With none the run
// stops naming the headers of the solution files that carry one of the two columns.
std::vector<double> approx_accuracies(accuracy_column column, std::span<const double> values,
                                      std::span<const double> diag_a, double s2);

// Delta-method variance of rho = s_pw / sqrt(s_pp s_ww) for the moments of x = J p and a second
// vector (w, or y for predictive ability, with t_pw, t_ww the matching traces):
// g' Omega g with g = (1/sqrt(s_pp s_ww), -rho/(2 s_pp), -rho/(2 s_ww)) and Omega the covariance
// matrix of (S_pw, S_pp, S_ww) as Gaussian quadratic forms, m^2 Omega =
//   [[tPP + tPW, 2 tPP, 2 tPW], [2 tPP, 2 tPP, 2 tPP], [2 tPW, 2 tPP, 2 tWW]].
double correlation_variance(double s_pw, double s_pp, double s_ww, double t_pp, double t_pw,
                            double t_ww, int m);

// 97.5% point of the standard normal: the 95% limits' multiplier.
inline constexpr double z975 = 1.959964;

// The 95% limits from a statistic's value and variance, with q the multiplier of the SD
// (z975, or a t point). The returned row carries the variance as given.
// Symmetric: value -/+ q SD.
interval normal_interval(double value, double variance, double q = z975);
// Fisher's z for a correlation rho: z = atanh(rho), SD_z = SD / (1 - rho^2), limits
// tanh(z -/+ q SD_z); |rho| >= 1 gives rho twice.
interval fisher_z_interval(double rho, double variance, double q = z975);
// A statistic that lies in [0, 1] (the reliability of se exact and se approx): the symmetric
// limits clipped to [0, 1].
interval unit_interval(double value, double variance, double q = z975);
// A squared correlation R (the reliability of the family bootstrap): Fisher's z on r = sqrt(R)
// with SD_r = SD / (2 r); lower = max(0, tanh(z - q SD_z))^2, upper = tanh(z + q SD_z)^2, both in
// [0, 1]. A value outside (0, 1) gets unit_interval.
interval squared_correlation_interval(double value, double variance, double q = z975);

}  // namespace ventrel::statistics
