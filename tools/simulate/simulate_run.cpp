// The run of ventrel-simulate, phase by phase.
#include "simulate/simulate_run.hpp"

#include <omp.h>

#include <cstdio>
#include <filesystem>
#include <numeric>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/output_file.hpp"
#include "simulate/genotype_drop.hpp"
#include "simulate/mme_solver.hpp"
#include "simulate/output_files.hpp"

namespace ventrel::simulate {

std::vector<double> ebv_for_selection(const population& pop, int last,
                                      const simulation_options& opt,
                                      std::vector<double>& solution) {
  std::vector<char> rec(static_cast<std::size_t>(last) + 1, 1);
  rec[0] = 0;
  const mme_system sys = build_mme(pop, last, rec, genetic_covariance(opt), residual_covariance(opt));
  const mme_layout& lay = sys.layout;
  const int nt = lay.ntrait;
  // Equation numbers of herds and of earlier animals do not depend on the number of animals,
  // so the previous solution is the start of this one; new animals start at their parent
  // average.
  const int known = solution.empty() ? 0 : static_cast<int>(solution.size()) / nt - lay.nherd;
  solution.resize(static_cast<std::size_t>(lay.neq()), 0.0);
  auto at = [&](int a, int t) -> double& { return solution[static_cast<std::size_t>(lay.animal_eq(a, t) - 1)]; };
  for (int a = known + 1; a <= last; ++a) {
    const std::size_t ua = static_cast<std::size_t>(a);
    for (int t = 1; t <= nt; ++t) {
      at(a, t) = 0.5 * ((pop.sire[ua] > 0 ? at(pop.sire[ua], t) : 0.0) + (pop.dam[ua] > 0 ? at(pop.dam[ua], t) : 0.0));
    }
  }
  solve_mme_pcg(sys, solution);
  std::vector<double> e(static_cast<std::size_t>(last) + 1, 0.0);
  for (int a = 1; a <= last; ++a) e[static_cast<std::size_t>(a)] = at(a, 1);
  return e;
}

namespace {

void write(const std::string& dir, const std::string& name, const std::string& content) {
  write_file_atomically((std::filesystem::path(dir) / name).string(), content);
}

std::string fixed(double v, int decimals) {
  char b[64];
  std::snprintf(b, sizeof b, "%.*f", decimals, v);
  return b;
}

std::string seconds(double s) { return fixed(s, 2) + " s"; }

void print_summary(const simulation_options& opt, const simulation_result& r) {
  const population& p = r.pop;
  auto records = [](const std::vector<char>& v) {
    return std::accumulate(v.begin(), v.end(), std::int64_t{0});
  };
  say("ventrel-simulate: " + num(p.n) + " animals, " + num(p.generations) +
      " generations after " + num(opt.founders) + " founders, " + num(p.ntrait) + " trait(s), " +
      num(p.nherd) + " herds");
  const int g = p.generations;
  const int first = p.first_of_generation[static_cast<std::size_t>(g)];
  double f = 0.0, u0 = 0.0, ug = 0.0;
  for (int a = first; a <= p.n; ++a) {
    f += p.inb[static_cast<std::size_t>(a)];
    ug += p.tbv[static_cast<std::size_t>(a) * static_cast<std::size_t>(p.ntrait)];
  }
  for (int a = 1; a < p.first_of_generation[1]; ++a) u0 += p.tbv[static_cast<std::size_t>(a) * static_cast<std::size_t>(p.ntrait)];
  const double m = static_cast<double>(p.n - first + 1);
  say("  youngest generation: mean inbreeding " + fixed(f / m, 4) + ", mean true value (trait 1) " +
      fixed(ug / m, 4) + " against " + fixed(u0 / (p.first_of_generation[1] - 1), 4) + " in the founders");
  say("  records: " + num(records(r.record_whole)) + " whole, " + num(records(r.record_partial)) +
      " partial; focal animals: " + num(static_cast<int>(r.focal.size())));
  if (opt.markers > 0)
    say("  single-step evaluations: " + num(static_cast<int>(r.genotypes.typed.size())) + " animals genotyped (" +
        num(r.genotyped_kept) + " kept by quality control), " + num(opt.markers) + " markers; genotypes and H-inverse " +
        seconds(r.seconds_genomic));
  say("  population " + seconds(r.seconds_population) + "; whole evaluation: " +
      num(r.whole.layout.neq()) + " equations, build " + seconds(r.whole.seconds_build) + ", solve " +
      seconds(r.whole.seconds_solve) + "; partial: build " + seconds(r.partial.seconds_build) +
      ", solve " + seconds(r.partial.seconds_solve) + "; files " + seconds(r.seconds_files));
  if (opt.pev && !r.pec_written) {
    say("  no pec files: " + num(static_cast<int>(r.focal.size())) + " focal animals exceed --pec-max " +
        num(opt.pec_max));
  }
  say("  files written to " + opt.out);
}

}  // namespace

simulation_result run_simulation(const simulation_options& opt) {
  if (opt.acc && !opt.pev) fatal("ventrel-simulate: --acc needs the prediction error variances (drop --no-pev)");
  simulation_result r;
  std::error_code ec;
  std::filesystem::create_directories(opt.out, ec);
  if (ec) fatal("ventrel-simulate: cannot create the folder " + opt.out + ": " + ec.message());

  double t0 = omp_get_wtime();
  std::vector<double> selection_solution;  // carried from one generation to the next
  r.pop = simulate_population(opt, [&opt, &selection_solution](const population& p, int last) {
    return ebv_for_selection(p, last, opt, selection_solution);
  });
  r.seconds_population = omp_get_wtime() - t0;
  const population& p = r.pop;
  const std::size_t n1 = static_cast<std::size_t>(p.n) + 1;

  // Whole data: every animal; partial: without the latest generations; focal: the youngest.
  const int cut = p.generations - opt.partial_generations;
  r.record_whole.assign(n1, 1);
  r.record_whole[0] = 0;
  r.record_partial.assign(n1, 0);
  for (int a = 1; a <= p.n; ++a) {
    r.record_partial[static_cast<std::size_t>(a)] = p.generation[static_cast<std::size_t>(a)] <= cut ? 1 : 0;
    if (p.generation[static_cast<std::size_t>(a)] == p.generations) r.focal.push_back(a);
  }

  const linalg::dense_matrix g0 = genetic_covariance(opt), r0 = residual_covariance(opt);
  evaluation_request req;
  req.engine = opt.solver;
  req.ordering = opt.ordering;
  req.pev = opt.pev;
  r.pec_written = opt.pev && static_cast<int>(r.focal.size()) <= opt.pec_max;
  genomic::genomic_block block;
  if (opt.markers > 0) {
    t0 = omp_get_wtime();
    r.genotypes = add_genotypes(r.pop, opt);
    block = hinverse_genomic_block(p, r.genotypes, 0);
    r.genotyped_kept = static_cast<int>(block.levels.size());
    req.genomic = &block;
    r.seconds_genomic = omp_get_wtime() - t0;
  }
  if (r.pec_written) req.pec_animals = r.focal;
  r.whole = evaluate(p, p.n, r.record_whole, g0, r0, req);
  r.partial = evaluate(p, p.n, r.record_partial, g0, r0, req);

  t0 = omp_get_wtime();
  const std::string& d = opt.out;
  write(d, parameter_file_name, parameter_file_text(opt, p, g0, r0));
  write(d, data_file_name, data_text(p, r.record_whole));
  write(d, partial_data_file_name, data_text(p, r.record_partial));
  write(d, pedigree_file_name, pedigree_text(p));
  write(d, validation_file_name, validation_text(r.focal));
  write(d, true_values_file_name, true_values_text(p));
  write(d, yhat_file_name, yhat_residual_text(p, r.record_whole, r.whole));
  if (opt.markers > 0)
    write_genotype_files((std::filesystem::path(d) / genotype_file_name).string(), r.genotypes.typed, opt.markers,
                         r.genotypes.codes);
  for (bool whole : {true, false}) {
    const evaluation& ev = whole ? r.whole : r.partial;
    write(d, solutions_file_name(whole), solutions_text(p, ev, opt.acc, g0));
    for (int t = 1; t <= p.ntrait; ++t) {
      if (opt.pev) write(d, ebv_pev_name(t, whole), ebv_pev_text(ev, t));
      if (r.pec_written) write(d, pec_name(t, whole), pec_text(ev, r.focal, t));
    }
  }
  r.seconds_files = omp_get_wtime() - t0;
  if (opt.verbosity > 0) print_summary(opt, r);
  return r;
}

}  // namespace ventrel::simulate
