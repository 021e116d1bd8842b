// Analytical standard errors: the sample moments, the variances of the statistics from the
// trace scalars (Gaussian quadratic forms and the delta method), the 95% limits and the warnings.
#include "statistics/analytical_se.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "statistics/ebv_pev_files.hpp"

namespace ventrel::statistics {
namespace {

double mean_of(std::span<const double> v) {
  double s = 0.0;
  for (double e : v) s += e;
  return s / static_cast<double>(v.size());
}

// Sets a negative variance to 0 and records the warning that names the statistic and the trait.
double non_negative(double v, const char* statistic, int trait,
                    std::vector<std::string>& warnings) {
  if (!(v < 0.0)) return v;
  warnings.push_back("Warning: negative sampling variance of the " + std::string(statistic) +
                     " for trait " + num(trait) + " set to 0");
  return 0.0;
}

std::string two_decimals(double v) {
  const std::string f = fmt_f(v, 12, 2);
  return f.substr(f.find_first_not_of(' '));
}

void say_all(const std::vector<std::string>& lines, std::size_t from) {
  for (std::size_t i = from; i < lines.size(); ++i) say(lines[i]);
}

}  // namespace

pec_matrix make_pec_matrix(int m, std::vector<pec_pair> pairs, pec_duplicate* duplicate) {
  for (pec_pair& q : pairs) {
    if (q.i < 0 || q.j < 0 || q.i >= m || q.j >= m || q.i == q.j)
      fatal("Prediction error covariances: pair of positions " + num(q.i) + ", " + num(q.j) +
            " outside the " + num(m) + " focal animals or on the diagonal");
    if (q.i < q.j) std::swap(q.i, q.j);  // row > column
  }
  std::sort(pairs.begin(), pairs.end(), [](const pec_pair& a, const pec_pair& b) {
    if (a.j != b.j) return a.j < b.j;
    if (a.i != b.i) return a.i < b.i;
    return a.tag < b.tag;
  });
  for (std::size_t e = 1; e < pairs.size(); ++e) {
    if (pairs[e].i != pairs[e - 1].i || pairs[e].j != pairs[e - 1].j) continue;
    pec_duplicate d{true, pairs[e - 1].tag, pairs[e].tag, pairs[e].i, pairs[e].j};
    if (duplicate) {
      *duplicate = d;
      return {};
    }
    fatal("Prediction error covariances: the pair of positions " + num(d.i) + ", " + num(d.j) +
          " is given twice");
  }
  pec_matrix c;
  c.m = m;
  c.col_start.assign(static_cast<std::size_t>(m) + 1, 0);
  c.row.resize(pairs.size());
  c.value.resize(pairs.size());
  for (std::size_t e = 0; e < pairs.size(); ++e) {
    ++c.col_start[pairs[e].j + 1];
    c.row[e] = pairs[e].i;
    c.value[e] = pairs[e].cov;
  }
  std::partial_sum(c.col_start.begin(), c.col_start.end(), c.col_start.begin());
  return c;
}

sample_moments observed_moments(const se_trait_input& in) {
  sample_moments s;
  const std::size_t n = in.p.size();
  s.m = static_cast<int>(n);
  const bool with_y = !in.y.empty();
  const double mp = mean_of(in.p), mw = mean_of(in.w);
  const double my = with_y ? mean_of(in.y) : 0.0;
  double pw = 0, pp = 0, ww = 0, py = 0, yy = 0, diff = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const double x = in.p[i] - mp, u = in.w[i] - mw;
    pw += x * u;
    pp += x * x;
    ww += u * u;
    diff += in.p[i] - in.w[i];
    if (with_y) {
      const double v = in.y[i] - my;
      py += x * v;
      yy += v * v;
    }
  }
  const double m = static_cast<double>(n);
  s.s_pw = pw / m;
  s.s_pp = pp / m;
  s.s_ww = ww / m;
  s.mean_diff = diff / m;
  if (with_y) {
    s.s_py = py / m;
    s.s_yy = yy / m;
  }
  return s;
}

double correlation_variance(double s_pw, double s_pp, double s_ww, double t_pp, double t_pw,
                            double t_ww, int m) {
  const double rho = s_pw / std::sqrt(s_pp * s_ww);
  const double g1 = 1.0 / std::sqrt(s_pp * s_ww);
  const double g2 = -rho / (2.0 * s_pp);
  const double g3 = -rho / (2.0 * s_ww);
  const double q = g1 * g1 * (t_pp + t_pw) + g2 * g2 * 2.0 * t_pp + g3 * g3 * 2.0 * t_ww +
                   2.0 * (g1 * g2 * 2.0 * t_pp + g1 * g3 * 2.0 * t_pw + g2 * g3 * 2.0 * t_pp);
  const double dm = static_cast<double>(m);
  return q / (dm * dm);
}

interval normal_interval(double value, double variance, double q) {
  const double h = q * std::sqrt(variance);
  return {variance, value - h, value + h};
}

interval fisher_z_interval(double rho, double variance, double q) {
  if (std::fabs(rho) >= 1.0) return {variance, rho, rho};
  const double z = std::atanh(rho);
  const double sd_z = std::sqrt(variance) / (1.0 - rho * rho);
  return {variance, std::tanh(z - q * sd_z), std::tanh(z + q * sd_z)};
}

interval unit_interval(double value, double variance, double q) {
  const interval n = normal_interval(value, variance, q);
  return {variance, std::clamp(n.lower, 0.0, 1.0), std::clamp(n.upper, 0.0, 1.0)};
}

interval squared_correlation_interval(double value, double variance, double q) {
  if (!(value > 0.0 && value < 1.0)) return unit_interval(value, variance, q);
  const interval z = fisher_z_interval(std::sqrt(value), variance / (4.0 * value), q);
  return {variance, z.lower > 0.0 ? z.lower * z.lower : 0.0, z.upper * z.upper};
}

namespace {

// tr(W) and tr(Y) of a scaled model: its tr(P) plus the unscaled errors' traces tr(E), tr(E_y).
void keep_error_traces(trace_scalars& s, const trace_scalars& t) {
  s.trace_w = s.trace_p + (t.trace_w - t.trace_p);
  if (t.trace_y != 0.0) s.trace_y = s.trace_p + (t.trace_y - t.trace_p);
}

}  // namespace

trace_scalars scaled_traces(const trace_scalars& t, double k) {
  trace_scalars s = t;
  const double k2pp = k * k * t.t_pp;
  s.t_pp = k2pp;
  s.t_pw = k2pp + k * (t.t_pw - t.t_pp);
  s.t_ww = k2pp + 2.0 * k * (t.t_pw - t.t_pp) + (t.t_ww - 2.0 * t.t_pw + t.t_pp);
  s.t_py = k2pp + k * (t.t_py - t.t_pp);
  s.t_yy = k2pp + 2.0 * k * (t.t_py - t.t_pp) + (t.t_yy - 2.0 * t.t_py + t.t_pp);
  s.trace_p = k * t.trace_p;
  keep_error_traces(s, t);
  return s;
}

trace_scalars family_scaled_traces(const trace_scalars& t, const family_traces& f, double kb,
                                   double kw) {
  trace_scalars s = t;
  const double a = f.pfp_pfp, b = f.pfp_p;
  const double kbw = std::sqrt(kb * kw);
  s.t_pp = kb * kb * a + kw * kw * (t.t_pp - 2.0 * b + a) + 2.0 * kb * kw * (b - a);
  // tr(S P S E) from e = tr(P E), c = tr(Pf P Pf E), d = tr(Pf P E).
  const auto with_errors = [&](double e, double c, double d) {
    return kb * c + kw * (e - 2.0 * d + c) + 2.0 * kbw * (d - c);
  };
  const double pe = with_errors(t.t_pw - t.t_pp, f.pfp_pfe, f.pfp_e);
  s.t_pw = s.t_pp + pe;
  s.t_ww = s.t_pp + 2.0 * pe + (t.t_ww - 2.0 * t.t_pw + t.t_pp);
  if (f.with_y) {
    const double py = with_errors(t.t_py - t.t_pp, f.pfp_pfey, f.pfp_ey);
    s.t_py = s.t_pp + py;
    s.t_yy = s.t_pp + 2.0 * py + (t.t_yy - 2.0 * t.t_py + t.t_pp);
  }
  s.trace_p = kb * f.trace_between + kw * (t.trace_p - f.trace_between);
  keep_error_traces(s, t);
  return s;
}

se_result intervals_from_traces(const se_trait_input& in, const trace_scalars& t, moments gradient_at) {
  se_result r;
  r.traces = t;
  r.moments = observed_moments(in);
  const sample_moments& s = r.moments;
  const double m = static_cast<double>(s.m);
  const int trait = in.trait;
  const bool with_y = !in.y.empty();

  r.values.bias = s.mean_diff;
  r.values.dispersion = s.s_pw / s.s_pp;
  r.values.ratio_acc = s.s_pw / std::sqrt(s.s_pp * s.s_ww);
  r.values.reliability = s.s_pw / in.gvar_focal;

  // bias: 1'D1 / m^2; dispersion: x'Dx / (x'x)^2 given the partial EBVs;
  // reliability: Var(S_pw) / gvar_focal^2.
  const double xx = m * s.s_pp;
  const double v_bias = non_negative(t.d_sum / (m * m), "absolute bias", trait, r.warnings);
  const double v_disp = non_negative(t.x_d_x / (xx * xx), "dispersion", trait, r.warnings);
  // The correlations' variance at the moments of the model (Cov(w, p) = Var(p)), where Omega is
  // taken, when the model fits the observed moments (within a factor 2 for S_pp and S_ww, or
  // S_yy), else at the observed ones; see moments in the header. At the model's moments it is
  // carried to the observed value on Fisher's z scale, where a correlation's variance hardly
  // depends on the correlation: var_z = var / (1 - rho_model^2)^2, and the variance reported is
  // var_z (1 - rho^2)^2, so that the limits are tanh(atanh(rho) -/+ 1.96 sqrt(var_z)).
  const double mp = t.trace_p / m;
  const auto fits = [](double observed, double model) {
    return model > 0.0 && observed >= 0.5 * model && observed <= 2.0 * model;
  };
  auto correlation = [&](double s_pq, double s_qq, double t_pq, double t_qq, double model_qq, double rho) {
    // A model correlation of 1 or more (D = 0, or not positive semi-definite) has no z scale.
    if (gradient_at != moments::model || !fits(s.s_pp, mp) || !fits(s_qq, model_qq) || std::fabs(rho) >= 1.0 ||
        !(mp < model_qq))
      return correlation_variance(s_pq, s.s_pp, s_qq, t.t_pp, t_pq, t_qq, s.m);
    const double rho_model = std::sqrt(mp / model_qq);
    const double to_value = (1.0 - rho * rho) / (1.0 - rho_model * rho_model);
    return correlation_variance(mp, mp, model_qq, t.t_pp, t_pq, t_qq, s.m) * to_value * to_value;
  };
  const double v_ratio = non_negative(correlation(s.s_pw, s.s_ww, t.t_pw, t.t_ww, t.trace_w / m, r.values.ratio_acc),
                                      "ratio of accuracies", trait, r.warnings);
  const double v_rel = non_negative((t.t_pp + t.t_pw) / (m * m * in.gvar_focal * in.gvar_focal),
                                    "reliability", trait, r.warnings);
  r.intervals.bias = normal_interval(r.values.bias, v_bias);
  r.intervals.dispersion = normal_interval(r.values.dispersion, v_disp);
  r.intervals.ratio_acc = fisher_z_interval(r.values.ratio_acc, v_ratio);
  // Symmetric: Fisher's z on its square root covered 98% with 15 selected sires (docs/validation.md).
  r.intervals.reliability = unit_interval(r.values.reliability, v_rel);

  if (with_y) {
    // As the ratio of accuracies with W replaced by Y = J Vy J, then scaled by 1/sqrt(h2).
    const double rho_y = s.s_py / std::sqrt(s.s_pp * s.s_yy);
    const double sh = std::sqrt(in.h2);
    r.values.pred_ability = rho_y / sh;
    const double v_y = non_negative(correlation(s.s_py, s.s_yy, t.t_py, t.t_yy, t.trace_y / m, rho_y),
                                    "predictive ability", trait, r.warnings);
    const interval z = fisher_z_interval(rho_y, v_y);
    r.intervals.pred_ability = {v_y / in.h2, z.lower / sh, z.upper / sh};
  }
  return r;
}

namespace {

// The model se exact uses for one trait, and the warnings that say so: with only one of the two
// covariance matrices neither is used.
se_exact_model model_used(const se_trait_input& in, const se_exact_model& model, std::vector<std::string>& first) {
  se_exact_model used = model;
  if (!model.pec_w != !model.pec_p) {
    // One evaluation's covariances alone would pair true covariances with approximated ones;
    // the accuracy-based D of both evaluations is what the study measured (see the warning).
    const evaluation missing = model.pec_w ? evaluation::partial : evaluation::whole;
    const evaluation present = model.pec_w ? evaluation::whole : evaluation::partial;
    first.push_back("Warning: no file " + pec_file_name(in.trait, missing) + "; " +
                    pec_file_name(in.trait, present) +
                    " is not used and both evaluations' covariances come from the accuracies");
    used.pec_w = used.pec_p = nullptr;
  }
  if (!used.pec_w && !used.pec_p)
    first.push_back("Warning: no prediction error covariances for trait " + num(in.trait) +
                    "; SDs of bias, ratio of accuracies, reliability and predictive ability are "
                    "conservative, that of the dispersion may be narrow with large families");
  return used;
}

// The families split the focal animals usefully: min_families to max_families families (with
// fewer the between-family spread, on F - 1 degrees of freedom, is too uncertain to scale on;
// more take too much memory, O(m F)) and two or more animals beyond one per family (a
// within-family part to measure).
bool family_scaling_applies(std::span<const int> family, int m) {
  if (family.empty()) return false;
  const int nf = *std::max_element(family.begin(), family.end()) + 1;
  return nf >= min_families && nf <= max_families && m - nf >= 2;
}

// The intervals from the model's traces, scaled to the observed variance of the partial EBVs
// when it is clearly below the model's (between and within families apart when the model's
// families allow it, from A_focal's products); prints the warnings.
se_result exact_from_traces(const se_trait_input& in, const se_exact_model& used, const linalg::symmetric_columns& a,
                            const trace_scalars& model_traces, std::vector<std::string> first) {
  const sample_moments s = observed_moments(in);
  const double k = s.s_pp / (model_traces.trace_p / static_cast<double>(s.m));
  // Scaled only when the data contradict the model clearly: without selection k scatters about
  // 1 and a plug-in scale would narrow the intervals of low values (measured in the coverage
  // study); under selection on EBVs k is about 0.2. A non-positive k means a broken model.
  const bool scale = k > 0.0 && k < 0.5;
  if (scale)
    first.push_back("Warning: the partial EBVs of trait " + num(in.trait) + " vary " +
                    two_decimals(k) +
                    " times as much as relationships and PEVs imply (selected parents or focal "
                    "animals?); the model is scaled to them");
  trace_scalars used_traces = scale ? scaled_traces(model_traces, k) : model_traces;
  double kb = 0.0, kw = 0.0;
  if (scale && family_scaling_applies(used.family, s.m)) {
    // Selection of few parents narrows the spread between their families more than within them:
    // each part scaled to its own observed spread.
    const family_traces f = exact_family_traces(in, used, a);
    const double ss = static_cast<double>(s.m) * s.s_pp;
    kb = f.x_between / f.trace_between;
    kw = (ss - f.x_between) / (model_traces.trace_p - f.trace_between);
    if (kb > 0.0 && kw > 0.0 && std::isfinite(kb) && std::isfinite(kw)) {
      used_traces = family_scaled_traces(model_traces, f, kb, kw);
      first.back() += " (between " + num(f.families) + " sire families " + two_decimals(kb) +
                      ", within them " + two_decimals(kw) + ")";
    } else {
      kb = kw = 0.0;
    }
  }
  se_result r = intervals_from_traces(in, used_traces, moments::model);
  r.scale = k;
  r.scale_between = kb;
  r.scale_within = kw;
  r.warnings.insert(r.warnings.begin(), first.begin(), first.end());
  say_all(r.warnings, 0);
  return r;
}

}  // namespace

se_result se_exact(const se_trait_input& in, const se_exact_model& model) {
  std::vector<std::string> first;
  const se_exact_model used = model_used(in, model, first);
  const trace_scalars traces = exact_trace_scalars(in, used);
  const linalg::symmetric_columns a = linalg::dense_symmetric_columns(model.a_focal, static_cast<int>(in.p.size()));
  return exact_from_traces(in, used, a, traces, std::move(first));
}

std::vector<se_result> se_exact(std::span<const se_trait_input> in, std::span<const se_exact_model> model,
                                const linalg::symmetric_columns& a) {
  std::vector<std::vector<std::string>> first(in.size());
  std::vector<se_exact_model> used;
  for (std::size_t t = 0; t < in.size() && t < model.size(); ++t) used.push_back(model_used(in[t], model[t], first[t]));
  const std::vector<trace_scalars> traces = exact_trace_scalars(in, used, a);
  std::vector<se_result> out;
  for (std::size_t t = 0; t < in.size(); ++t)
    out.push_back(exact_from_traces(in[t], used[t], a, traces[t], std::move(first[t])));
  return out;
}

se_result se_approx(const se_trait_input& in, const se_approx_model& model) {
  se_result r = intervals_from_traces(in, approx_trace_scalars(in, model));
  say_all(r.warnings, 0);
  return r;
}

double accuracy_from_pev(double pev, double a_ii, double s2) {
  const double r2 = 1.0 - pev / (a_ii * s2);
  return std::sqrt(std::clamp(r2, 0.0, 1.0));
}

std::vector<double> approx_accuracies(accuracy_column column, std::span<const double> values,
                                      std::span<const double> diag_a, double s2) {
  if (column == accuracy_column::none)
    fatal({"OPTION se approx needs accuracies or standard errors in the solution files,",
           "that is solution files with one of the headers", "trait/effect level  solution acc",
           "trait/effect level  solution          s.e."});
  if (column == accuracy_column::se && diag_a.size() != values.size())
    fatal("Analytical standard errors: the diagonal of A has " +
          num(static_cast<std::int64_t>(diag_a.size())) + " elements, " +
          num(static_cast<std::int64_t>(values.size())) + " expected");
  std::vector<double> r(values.size());
  for (std::size_t i = 0; i < values.size(); ++i)
    r[i] = column == accuracy_column::acc ? std::clamp(values[i], 0.0, 1.0)
                                          : accuracy_from_pev(values[i] * values[i], diag_a[i], s2);
  return r;
}

}  // namespace ventrel::statistics
