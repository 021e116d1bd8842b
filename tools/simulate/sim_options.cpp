// Command line of ventrel-simulate and the (co)variance matrices it implies.
#include "simulate/sim_options.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string_view>

#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"

namespace ventrel::simulate {

namespace {

[[noreturn]] void bad(const std::string& what) { fatal("ventrel-simulate: " + what); }

std::int64_t to_int(const std::string& name, std::string_view text) {
  std::int64_t v = 0;
  if (!parse_int(text, v)) bad("option --" + name + " needs a whole number, not \"" + std::string(text) + "\"");
  return v;
}

int to_int32(const std::string& name, std::string_view text) {
  std::int64_t v = to_int(name, text);
  if (v < -2147483647 || v > 2147483647) bad("option --" + name + " is out of range: " + std::string(text));
  return static_cast<int>(v);
}

double to_real(const std::string& name, std::string_view text) {
  double v = 0;
  if (!parse_real(text, v) || !std::isfinite(v)) {
    bad("option --" + name + " needs a number, not \"" + std::string(text) + "\"");
  }
  return v;
}

// "a,b" -> {a, b}: one or more numbers separated by commas.
std::vector<double> to_reals(const std::string& name, std::string_view text) {
  std::vector<double> v;
  std::size_t start = 0;
  for (;;) {
    std::size_t comma = text.find(',', start);
    v.push_back(to_real(name, text.substr(start, comma == std::string_view::npos ? comma : comma - start)));
    if (comma == std::string_view::npos) break;
    start = comma + 1;
  }
  return v;
}

// A per-trait vector: one value serves every trait; otherwise one value per trait.
void per_trait(std::vector<double>& v, int ntrait, const std::string& name) {
  if (v.size() == 1) v.assign(static_cast<std::size_t>(ntrait), v[0]);
  if (static_cast<int>(v.size()) != ntrait) {
    bad("option --" + name + " needs 1 or " + num(ntrait) + " values, not " + num(static_cast<int>(v.size())));
  }
}

}  // namespace

parsed_command_line parse_command_line(const std::vector<std::string>& args) {
  parsed_command_line r;
  simulation_options& o = r.options;
  for (std::size_t k = 0; k < args.size(); ++k) {
    std::string arg = args[k];
    if (arg.rfind("--", 0) != 0) bad("unexpected argument \"" + arg + "\" (options begin with --)");
    std::string name = arg.substr(2);
    std::string value;
    bool has_value = false;
    if (std::size_t eq = name.find('='); eq != std::string::npos) {
      value = name.substr(eq + 1);
      name = name.substr(0, eq);
      has_value = true;
    }
    // Flags take no value.
    if (name == "help") { r.help = true; continue; }
    if (name == "acc") { o.acc = true; continue; }
    if (name == "no-pev") { o.pev = false; continue; }
    if (name == "quiet") { o.verbosity = 0; continue; }
    if (name == "no-sire-genotypes") { o.genotype_sires = false; continue; }
    static const char* const valued[] = {
        "seed", "generations", "size", "founders", "animals", "sires", "dams", "overlap",
        "traits", "h2", "vp", "rg", "re", "herds", "herd-share", "mean", "select",
        "partial-generations", "pec-max", "se", "solver", "ordering", "out", "markers", "recombination",
        "founder-haplotypes", "snp-missing", "genotyped-generations", "genotyped-share", "marker-variance"};
    if (std::find(std::begin(valued), std::end(valued), name) == std::end(valued)) {
      bad("unknown option --" + name + " (see --help)");
    }
    if (!has_value) {
      if (k + 1 >= args.size()) bad("option --" + name + " needs a value");
      value = args[++k];
    }
    if (name == "seed") {
      std::int64_t v = to_int(name, value);
      o.seed = static_cast<std::uint64_t>(v);
    } else if (name == "generations") o.generations = to_int32(name, value);
    else if (name == "size") o.size = to_int32(name, value);
    else if (name == "founders") o.founders = to_int32(name, value);
    else if (name == "animals") o.animals = to_int(name, value);
    else if (name == "sires") o.sires = to_int32(name, value);
    else if (name == "dams") o.dams = to_int32(name, value);
    else if (name == "overlap") o.overlap = to_int32(name, value);
    else if (name == "traits") o.traits = to_int32(name, value);
    else if (name == "h2") o.h2 = to_reals(name, value);
    else if (name == "vp") o.vp = to_reals(name, value);
    else if (name == "rg") o.rg = to_real(name, value);
    else if (name == "re") o.re = to_real(name, value);
    else if (name == "herds") o.herds = to_int32(name, value);
    else if (name == "herd-share") o.herd_share = to_real(name, value);
    else if (name == "mean") o.mean = to_reals(name, value);
    else if (name == "select") {
      if (value == "none" || value == "random") o.select = selection::random;
      else if (value == "phenotype") o.select = selection::phenotype;
      else if (value == "ebv") o.select = selection::ebv;
      else bad("option --select takes none, phenotype or ebv, not \"" + value + "\"");
    } else if (name == "partial-generations") o.partial_generations = to_int32(name, value);
    else if (name == "pec-max") o.pec_max = to_int32(name, value);
    else if (name == "se") {
      if (value != "exact" && value != "approx" && value != "boot" && value != "none") {
        bad("option --se takes exact, approx, boot or none, not \"" + value + "\"");
      }
      o.se = value;
    } else if (name == "solver") {
      if (value == "auto") o.solver = solver_engine::automatic;
      else if (value == "dense") o.solver = solver_engine::dense;
      else if (value == "sparse") o.solver = solver_engine::sparse;
      else bad("option --solver takes auto, dense or sparse, not \"" + value + "\"");
    } else if (name == "ordering") {
      if (value == "amd") o.ordering = fill_ordering::amd;
      else if (value == "metis") o.ordering = fill_ordering::metis;
      else bad("option --ordering takes amd or metis, not \"" + value + "\"");
    } else if (name == "out") o.out = value;
    else if (name == "markers") o.markers = to_int32(name, value);
    else if (name == "recombination") o.recombination = to_real(name, value);
    else if (name == "founder-haplotypes") o.founder_haplotypes = to_int32(name, value);
    else if (name == "snp-missing") o.snp_missing = to_real(name, value);
    else if (name == "genotyped-generations") o.genotyped_generations = to_int32(name, value);
    else if (name == "genotyped-share") o.genotyped_share = to_real(name, value);
    else if (name == "marker-variance") o.marker_variance = to_real(name, value);
  }
  if (!r.help) check_options(o);
  return r;
}

void check_options(simulation_options& o) {
  if (o.traits < 1 || o.traits > 2) bad("--traits must be 1 or 2");
  if (o.generations < 1) bad("--generations must be at least 1");
  if (o.animals > 0) {
    std::int64_t per = o.animals / (o.generations + 1);
    if (per < 1) bad("--animals must be at least --generations + 1");
    if (o.animals > 2000000000) bad("--animals must be below 2,000,000,000");
    o.size = static_cast<int>(per);
    o.founders = static_cast<int>(o.animals - per * o.generations);
  }
  if (o.size < 1) bad("--size must be at least 1");
  if (o.founders == 0) o.founders = o.size;
  if (o.founders < 2) bad("--founders must be at least 2");
  if (o.dams == 0) o.dams = o.size / 2 > 0 ? o.size / 2 : 1;
  if (o.sires < 1 || o.dams < 1) bad("--sires and --dams must be at least 1");
  if (o.overlap < 1) bad("--overlap must be at least 1");
  if (o.herds < 1) bad("--herds must be at least 1");
  if (o.partial_generations < 1 || o.partial_generations > o.generations) {
    bad("--partial-generations must lie in 1.." + num(o.generations));
  }
  if (o.pec_max < 0) bad("--pec-max must not be negative");
  if (o.se == "approx") o.acc = true;  // se approx reads the accuracies of the solution files
  per_trait(o.h2, o.traits, "h2");
  per_trait(o.vp, o.traits, "vp");
  per_trait(o.mean, o.traits, "mean");
  for (double h : o.h2) if (!(h > 0.0 && h < 1.0)) bad("--h2 must lie strictly between 0 and 1");
  for (double v : o.vp) if (!(v > 0.0)) bad("--vp must be positive");
  if (!(o.rg > -1.0 && o.rg < 1.0) || !(o.re > -1.0 && o.re < 1.0)) {
    bad("--rg and --re must lie strictly between -1 and 1");
  }
  if (!(o.herd_share >= 0.0)) bad("--herd-share must not be negative");
  std::int64_t total = static_cast<std::int64_t>(o.founders) +
                       static_cast<std::int64_t>(o.size) * o.generations;
  if (total > 2000000000) bad("too many animals: " + num(total));
  if (o.markers < 0) bad("--markers must not be negative");
  if (o.markers > 0) {
    if (o.select != selection::random) bad("--markers needs --select none (the marker values are added after the pedigree is made)");
    if (!(o.recombination >= 0.0 && o.recombination <= 0.5)) bad("--recombination must lie in 0..0.5");
    if (o.founder_haplotypes < 0) bad("--founder-haplotypes must not be negative");
    if (!(o.snp_missing >= 0.0 && o.snp_missing < 0.1)) bad("--snp-missing must lie in 0..0.1");
    if (o.genotyped_generations < 0 || o.genotyped_generations > o.generations + 1)
      bad("--genotyped-generations must lie in 0.." + num(o.generations + 1));
    if (!(o.genotyped_share > 0.0 && o.genotyped_share <= 1.0)) bad("--genotyped-share must lie in (0, 1]");
    if (!(o.marker_variance >= 0.0 && o.marker_variance <= 1.0)) bad("--marker-variance must lie in 0..1");
    if (!o.genotype_sires && o.genotyped_generations == 0)
      bad("--markers needs genotyped animals: --genotyped-generations 0 with --no-sire-genotypes genotypes none");
  }
}

std::string help_text() {
  return
      "ventrel-simulate: a simulated population with a whole and a partial BLUP evaluation,\n"
      "written as every input file of ventrel.\n"
      "\n"
      "Population\n"
      "  --seed N                 seed of the random numbers (1)\n"
      "  --generations G          generations born after the founders (5)\n"
      "  --size N                 animals born per generation (1000)\n"
      "  --founders N             animals of generation 0 (= size)\n"
      "  --animals N              total animals: size = N/(G+1), founders take the rest\n"
      "  --sires S                sires mated per generation (20)\n"
      "  --dams D                 dams mated per generation (size/2)\n"
      "  --overlap L              parents come from the latest L generations (2)\n"
      "  --select none|phenotype|ebv   truncation selection of the parents on trait 1 (none)\n"
      "  --herds H                herds, a fixed effect; progeny stay in the dam's herd (50)\n"
      "Genetic model\n"
      "  --traits T               1 or 2 (1)\n"
      "  --h2 a[,b]               heritabilities (0.3)\n"
      "  --vp a[,b]               genetic + residual variances (1)\n"
      "  --rg r, --re r           genetic and residual correlations of 2 traits (0.5, 0.2)\n"
      "  --herd-share s           variance of herd effects as a share of vp (0.2)\n"
      "  --mean a[,b]             overall means (100)\n"
      "Evaluation and output\n"
      "  --partial-generations P  youngest generations without records in the partial data (1)\n"
      "  --acc                    solution files with an accuracy column\n"
      "  --no-pev                 no prediction error variances (no ebv_pev and pec files)\n"
      "  --pec-max M              pec files only up to M focal animals (2000)\n"
      "  --se exact|approx|boot|none   OPTION se of the parameter file (exact); approx implies --acc\n"
      "  --solver auto|dense|sparse    engine for the mixed-model equations (auto)\n"
      "  --ordering amd|metis     fill-reducing ordering of the sparse engine (amd)\n"
      "  --out DIR                output folder (sim)\n"
      "Genotypes and single-step evaluations (with --markers)\n"
      "  --markers M              markers genotyped; the evaluations become single-step (0: none)\n"
      "  --recombination r        crossover probability between neighbouring markers (0.001)\n"
      "  --founder-haplotypes K   haplotypes per chromosome of 1024 markers the founders draw\n"
      "                           from; 0 = no disequilibrium in the founders (100)\n"
      "  --snp-missing s          share of calls written as missing (0)\n"
      "  --genotyped-generations N  youngest generations genotyped (1)\n"
      "  --genotyped-share s      share of their animals genotyped, at random (1)\n"
      "  --no-sire-genotypes      sires are not genotyped unless in those generations\n"
      "  --marker-variance q      share of the genetic (co)variance due to the markers (0.95)\n"
      "  --quiet                  no console summary\n";
}

linalg::dense_matrix genetic_covariance(const simulation_options& o) {
  linalg::dense_matrix g(o.traits, o.traits);
  for (int t = 0; t < o.traits; ++t) g(t, t) = o.h2[t] * o.vp[t];
  if (o.traits == 2) g(0, 1) = g(1, 0) = o.rg * std::sqrt(g(0, 0) * g(1, 1));
  return g;
}

linalg::dense_matrix residual_covariance(const simulation_options& o) {
  linalg::dense_matrix r(o.traits, o.traits);
  for (int t = 0; t < o.traits; ++t) r(t, t) = (1.0 - o.h2[t]) * o.vp[t];
  if (o.traits == 2) r(0, 1) = r(1, 0) = o.re * std::sqrt(r(0, 0) * r(1, 1));
  return r;
}

}  // namespace ventrel::simulate
