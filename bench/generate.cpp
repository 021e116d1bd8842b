// Data generator of the national-scale benchmarks: writes a whole evaluation for ventrel into a
// folder (parameter file, pedigree, solution files of both evaluations, validation set, and as
// asked yhat_residual, ebv_pev files, an H-inverse file and the focal animals' values as a table
// for the R bootstrap), fast enough for solution files of 10^8 lines.
//   bench_generate dir=FOLDER [key=value ...]
// Keys (defaults in brackets):
//   animals [1000000]   generations [20]   sires [200]   traits [2]   seed [1]
//   dams [0]            dams per generation (0: any female)   overlap [1]  generations that
//                       parents come from   unknown_sire [0.02]   unknown_dam [0.05]
//   shape [generations] the pedigree's shape, a preset of the keys above (given keys win):
//                       generations  20 discrete generations, 200 sires each, any female a dam
//                       dairy        AI dairy: 40 overlapping generations (parents from the
//                                    last 3), 20 sires each, so every sire has very many progeny
//                       random       random mating: 20 overlapping generations (parents from the
//                                    last 3), 3,000 sires each, 5% unknown sires
//                       nucleus      a small closed nucleus: 50 discrete generations of 10 sires
//                                    and 200 dams, no unknown parents after the founders; F
//                                    reaches 0.3 and more
//   lines [0]           data lines per solution file; 0 = a model of contemporary groups and
//                       animals only; else four effects (contemporary group N/10, animal N,
//                       permanent environment N, herd-test-day the rest) fill lines/traits levels
//   focal [10000]       focal animals, drawn from the youngest generations
//   genotyped [0]       genotyped animals (half of the youngest generation, half of the one
//                       before): writes Hinv.txt (A-inverse plus 0.5 I + 0.01 J on the genotyped)
//                       and OPTION readHInverse; the focal animals are then the youngest genotyped
//   hinv_inbred [0]     1: the A-inverse of Hinv.txt with the parents' inbreeding (by Henderson's
//                       rules with the Mendelian variances 1 - (2 + F_s + F_d)/4); else without
//   hinv_digits [0]     significant digits of Hinv.txt's values; 0: as many as read back exactly
//   markers [0]         with genotyped: that many markers dropped through the pedigree, written
//                       as snp.txt (+ .xref) with OPTION SNP_file instead of Hinv.txt, and as
//                       snp.bed/.bim/.fam for PLINK; focal = the first `focal` of the youngest
//                       genotyped
//   pedigree [full]     full, or focal: only the focal animals' lines and their parents'
//   se [none]           none, boot or exact (exact writes the ebv_pev files)
//   nrepboot [10000]    predictive [0]   focal_var [inb] (or usr: the genetic variances)
//   inbreeding_method [0]  written as OPTION inbreeding_method when above 0
//   boot_table [0]      1: boot_table.txt, the focal animals' w, p, y per trait (bench/bootstrap.R)
//   only [all]          pedigree: write ped.txt and nothing else
// The folder gets the file .complete last, holding the arguments; run.sh reuses a folder whose
// .complete matches.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "generate_population.hpp"
#include "genotype_sim.hpp"
#include "pedigree/inbreeding.hpp"
#include "text_writer.hpp"

namespace {

using ventrel::bench::population;
using ventrel::bench::splitmix;
using ventrel::bench::text_writer;

struct options {
  std::string dir;
  ventrel::bench::population_options pop;
  std::int64_t lines = 0;
  std::int64_t focal = 10000;
  std::int64_t genotyped = 0;
  std::int32_t markers = 0;
  bool hinv_inbred = false;
  int hinv_digits = 0;
  std::string pedigree = "full";
  std::string se = "none";
  int nrepboot = 10000;
  int inbreeding_method = 0;  // 0: no OPTION inbreeding_method (the program's default, 1)
  bool predictive = false;
  std::string focal_var = "inb";
  bool boot_table = false;
  std::string only = "all";
};

// The model: effects with their numbers of levels; the animal effect is number 2.
struct model {
  std::vector<std::int64_t> nlev;
  std::vector<double> g, pe, r;  // genetic, permanent-environment and residual variances per trait
  bool with_pe() const { return nlev.size() == 4; }
  double h2(int t) const {
    const std::size_t u = static_cast<std::size_t>(t);
    return g[u] / (g[u] + r[u] + (with_pe() ? pe[u] : 0.0));
  }
};

double seconds_since(std::chrono::steady_clock::time_point t0) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

[[noreturn]] void usage(const std::string& why) {
  std::fprintf(stderr, "bench_generate: %s\n", why.c_str());
  std::exit(2);
}

options parse(int argc, char** argv) {
  std::map<std::string, std::string> kv;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    const auto eq = a.find('=');
    if (eq == std::string::npos) usage("arguments are key=value: " + a);
    kv[a.substr(0, eq)] = a.substr(eq + 1);
  }
  options o;
  auto take = [&](const char* k, auto& v) {
    auto it = kv.find(k);
    if (it == kv.end()) return;
    using T = std::decay_t<decltype(v)>;
    if constexpr (std::is_same_v<T, std::string>) v = it->second;
    else if constexpr (std::is_same_v<T, bool>) v = it->second == "1";
    else if constexpr (std::is_floating_point_v<T>) v = std::atof(it->second.c_str());
    else v = static_cast<T>(std::atoll(it->second.c_str()));
    kv.erase(it);
  };
  o.pop.traits = 2;
  take("dir", o.dir);
  take("animals", o.pop.animals);
  std::string shape = "generations";
  take("shape", shape);
  if (shape == "dairy") {
    o.pop.generations = 40;
    o.pop.sires = 20;
    o.pop.overlap = 3;
  } else if (shape == "random") {
    o.pop.sires = 3000;
    o.pop.overlap = 3;
    o.pop.unknown_sire = 0.05;
  } else if (shape == "nucleus") {
    o.pop.generations = 50;
    o.pop.sires = 10;
    o.pop.dams = 200;
    o.pop.unknown_sire = o.pop.unknown_dam = 0.0;
  } else if (shape != "generations") {
    usage("shape must be generations, dairy, random or nucleus");
  }
  take("generations", o.pop.generations);
  take("sires", o.pop.sires);
  take("dams", o.pop.dams);
  take("overlap", o.pop.overlap);
  take("unknown_sire", o.pop.unknown_sire);
  take("unknown_dam", o.pop.unknown_dam);
  take("traits", o.pop.traits);
  take("seed", o.pop.seed);
  take("lines", o.lines);
  take("focal", o.focal);
  take("genotyped", o.genotyped);
  take("markers", o.markers);
  take("hinv_inbred", o.hinv_inbred);
  take("hinv_digits", o.hinv_digits);
  take("pedigree", o.pedigree);
  take("se", o.se);
  take("nrepboot", o.nrepboot);
  take("inbreeding_method", o.inbreeding_method);
  take("predictive", o.predictive);
  take("focal_var", o.focal_var);
  take("boot_table", o.boot_table);
  take("only", o.only);
  if (!kv.empty()) usage("unknown key " + kv.begin()->first);
  if (o.dir.empty()) usage("dir= is required");
  if (o.pop.traits < 1 || o.pop.traits > 4) usage("traits must be 1 to 4");
  if (o.pop.animals < 2L * o.pop.generations || o.pop.animals > 2'000'000'000L) usage("animals out of range");
  return o;
}

model make_model(const options& o) {
  const double g[4] = {1.0, 0.4, 2.5, 0.8}, pe[4] = {0.5, 0.3, 1.0, 0.4}, r[4] = {3.0, 2.0, 5.0, 1.5};
  model m;
  const std::int64_t n = o.pop.animals;
  m.nlev = {std::max<std::int64_t>(1, n / 10), n};
  if (o.lines > 0) {
    const std::int64_t per_trait = o.lines / o.pop.traits;
    const std::int64_t rest = per_trait - m.nlev[0] - 2 * n;
    if (rest < 1) usage("lines too few for the animals: need more than traits * 2.1 * animals");
    m.nlev.push_back(n);
    m.nlev.push_back(rest);
  }
  for (int t = 0; t < o.pop.traits; ++t) {
    m.g.push_back(g[t]);
    m.pe.push_back(pe[t]);
    m.r.push_back(r[t]);
  }
  return m;
}

// Row-wise matrix with the variances v on the diagonal and correlation rho off it.
void matrix_lines(text_writer& w, const std::vector<double>& v, double rho) {
  for (std::size_t i = 0; i < v.size(); ++i) {
    for (std::size_t j = 0; j < v.size(); ++j) w.x(i == j ? v[i] : rho * std::sqrt(v[i] * v[j]));
    w.end();
  }
}

void write_parameter_file(const options& o, const model& m) {
  const int nt = o.pop.traits;
  const int ne = static_cast<int>(m.nlev.size());
  text_writer w(o.dir + "/parameters.txt");
  w.line("DATAFILE").line("data.txt").line("NUMBER_OF_TRAITS").i(nt).end();
  w.line("NUMBER_OF_EFFECTS").i(ne).end().line("OBSERVATION(S)");
  for (int t = 1; t <= nt; ++t) w.i(ne + t);
  w.end().line("WEIGHT(S)").line("");
  w.line("EFFECTS: POSITIONS_IN_DATAFILE NUMBER_OF_LEVELS TYPE_OF_EFFECT[EFFECT NESTED]");
  for (int e = 1; e <= ne; ++e) {
    for (int t = 1; t <= nt; ++t) w.i(e);
    w.i(m.nlev[static_cast<std::size_t>(e - 1)]).text(" cross").end();
  }
  w.line("RANDOM_RESIDUAL VALUES");
  matrix_lines(w, m.r, 0.1);
  w.line("RANDOM_GROUP").line("2").line("RANDOM_TYPE").line("add_animal").line("FILE").line("ped.txt");
  w.line("(CO)VARIANCES");
  matrix_lines(w, m.g, 0.2);
  if (m.with_pe()) {
    w.line("RANDOM_GROUP").line("3").line("RANDOM_TYPE").line("diagonal").line("FILE").line("");
    w.line("(CO)VARIANCES");
    matrix_lines(w, m.pe, 0.0);
  }
  w.line("OPTION validation 2 valid.txt");
  if (o.predictive) w.line("OPTION predictive_ability");
  if (o.focal_var == "usr") {
    w.text("OPTION focal_var usr");
    for (double v : m.g) w.x(v);
    w.end();
  }
  if (o.se != "none") w.text("OPTION se ").line(o.se);
  if (o.genotyped > 0 && o.markers > 0)
    w.line("OPTION SNP_file snp.txt");
  else if (o.genotyped > 0)
    w.line("OPTION readHInverse Hinv.txt");
  if (o.nrepboot != 10000) w.text("OPTION nrepboot").i(o.nrepboot).end();
  if (o.inbreeding_method > 0) w.text("OPTION inbreeding_method").i(o.inbreeding_method).end();
  text_writer d(o.dir + "/data.txt");  // only its existence is checked
  for (int k = 1; k <= ne + nt; ++k) d.i(1);
  d.end();
}

void write_pedigree(const options& o, const population& p, const std::vector<std::int32_t>& focal) {
  text_writer w(o.dir + "/ped.txt");
  if (o.pedigree == "focal") {  // the focal animals and their parents, the parents as founders
    std::vector<std::int32_t> parents;
    for (std::int32_t a : focal) {
      w.i(a).i(p.sire[static_cast<std::size_t>(a)]).i(p.dam[static_cast<std::size_t>(a)]).end();
      for (std::int32_t q : {p.sire[static_cast<std::size_t>(a)], p.dam[static_cast<std::size_t>(a)]})
        if (q > 0) parents.push_back(q);
    }
    std::sort(parents.begin(), parents.end());
    parents.erase(std::unique(parents.begin(), parents.end()), parents.end());
    for (std::int32_t q : parents) w.i(q).i(0).i(0).end();
    return;
  }
  for (std::int64_t a = 1; a <= p.n; ++a)
    w.i(a).i(p.sire[static_cast<std::size_t>(a)]).i(p.dam[static_cast<std::size_t>(a)]).end();
}

// Solutions of the effects other than the animal: a value per (effect, level, trait) from a
// hash, the partial evaluation's a little off the whole one's.
double other_solution(int e, std::int64_t level, int t, bool whole) {
  const std::uint64_t key = (static_cast<std::uint64_t>(e) << 56) ^ (static_cast<std::uint64_t>(t) << 48) ^
                            static_cast<std::uint64_t>(level);
  const std::uint64_t h = splitmix::mix(key * 0x9E3779B97F4A7C15ull + 17);
  double v = (static_cast<double>(h >> 11) * 0x1.0p-53 - 0.5) * 8.0;
  if (!whole) v += (static_cast<double>(splitmix::mix(h) >> 11) * 0x1.0p-53 - 0.5) * 0.5;
  return ventrel::bench::round8(v);
}

// Fixed-width columns (4, 4, 10, 20 characters; 8 decimals), effect by effect, level by level,
// the traits of a level together.
std::int64_t write_solutions(const options& o, const model& m, const population& p, bool whole) {
  text_writer w(o.dir + (whole ? "/solutions_whole" : "/solutions_partial"));
  w.line("trait/effect level  solution");
  std::int64_t lines = 0;
  for (std::size_t e = 0; e < m.nlev.size(); ++e)
    for (std::int64_t l = 1; l <= m.nlev[e]; ++l)
      for (int t = 0; t < o.pop.traits; ++t) {
        const double v = e == 1 ? p.at(whole ? p.whole : p.partial, l, t)
                                : other_solution(static_cast<int>(e) + 1, l, t, whole);
        w.i(t + 1, 4).i(static_cast<long long>(e) + 1, 4).i(l, 10).f(v, 8, 20).end();
        ++lines;
      }
  return lines;
}

// Adjusted phenotype of every animal: true value plus a residual for the trait's heritability.
std::vector<double> phenotypes(const options& o, const model& m, const population& p) {
  const std::size_t nt = static_cast<std::size_t>(o.pop.traits);
  std::vector<double> y((static_cast<std::size_t>(p.n) + 1) * nt, 0.0);
  splitmix r(o.pop.seed + 101);
  for (std::int64_t a = 1; a <= p.n; ++a)
    for (std::size_t t = 0; t < nt; ++t) {
      const double h2 = m.h2(static_cast<int>(t));
      const double v = p.at(p.tbv, a, static_cast<int>(t)) + std::sqrt(m.g[t] * (1 - h2) / h2) * r.normal();
      y[static_cast<std::size_t>(a) * nt + t] = std::nearbyint(v * 1e6) / 1e6;
    }
  return y;
}

void write_yhat_residual(const options& o, const population& p, const std::vector<double>& y) {
  const std::size_t nt = static_cast<std::size_t>(o.pop.traits);
  text_writer w(o.dir + "/yhat_residual");
  for (std::int64_t a = 1; a <= p.n; ++a) {
    w.i(a);
    for (std::size_t t = 0; t < nt; ++t) w.f(y[static_cast<std::size_t>(a) * nt + t], 6);
    w.end();
  }
}

void write_ebv_pev(const options& o, const model& m, const population& p) {
  for (int t = 0; t < o.pop.traits; ++t)
    for (bool whole : {true, false}) {
      const std::string name = "/ebv_pev_" + std::to_string(t + 1) + (whole ? "_1_whole" : "_1_partial");
      const double pev = m.g[static_cast<std::size_t>(t)] * (1 - (whole ? o.pop.rel_whole : o.pop.rel_partial));
      text_writer w(o.dir + name);
      for (std::int64_t a = 1; a <= p.n; ++a) w.i(a).f(p.at(whole ? p.whole : p.partial, a, t), 8).f(pev, 6).end();
    }
}

void write_boot_table(const options& o, const population& p, const std::vector<double>& y,
                      const std::vector<std::int32_t>& focal) {
  const std::size_t nt = static_cast<std::size_t>(o.pop.traits);
  text_writer w(o.dir + "/boot_table.txt");
  for (std::size_t t = 1; t <= nt; ++t)
    w.text(t == 1 ? "" : " ").text("w" + std::to_string(t) + " p" + std::to_string(t) + " y" + std::to_string(t));
  w.end();
  for (std::int32_t a : focal) {
    for (std::size_t t = 0; t < nt; ++t)
      w.f(p.at(p.whole, a, static_cast<int>(t)), 8).f(p.at(p.partial, a, static_cast<int>(t)), 8)
          .f(y[static_cast<std::size_t>(a) * nt + t], 6);
    w.end();
  }
}

// H-inverse: A-inverse by Henderson's rules (the inbreeding of the parents neglected unless
// hinv_inbred), each element once, then 0.5 I + 0.01 J over the genotyped animals (pairs that
// A-inverse also holds are given twice; the reader sums them). Returns the number of lines.
std::int64_t write_hinverse(const options& o, const population& p, std::vector<std::int32_t> genotyped) {
  struct element {
    std::int32_t i, j;
    double v;
  };
  std::vector<double> f(static_cast<std::size_t>(p.n) + 1, 0.0);
  if (o.hinv_inbred) {
    ventrel::pedigree::pedigree_table ped(static_cast<std::size_t>(p.n) + 1);
    for (std::int64_t a = 1; a <= p.n; ++a)
      ped[static_cast<std::size_t>(a)] = {p.sire[static_cast<std::size_t>(a)], p.dam[static_cast<std::size_t>(a)]};
    ventrel::pedigree::inbreeding_options io;
    io.method = 6;
    ventrel::pedigree::compute_inbreeding(ped, f, io);
  }
  const auto self = [&](std::int32_t q) { return q > 0 ? 1.0 + f[static_cast<std::size_t>(q)] : 0.0; };
  std::vector<element> c;
  c.reserve(static_cast<std::size_t>(p.n) * 6);
  for (std::int64_t a = 1; a <= p.n; ++a) {
    const std::int32_t s = p.sire[static_cast<std::size_t>(a)], d = p.dam[static_cast<std::size_t>(a)];
    const double alpha = 1.0 / ventrel::pedigree::mendelian_variance(self(s), self(d));
    const std::int32_t ai = static_cast<std::int32_t>(a);
    c.push_back({ai, ai, alpha});
    for (std::int32_t q : {s, d}) {
      if (q == 0) continue;
      c.push_back({std::min(ai, q), std::max(ai, q), -alpha / 2});
      c.push_back({q, q, alpha / 4});
    }
    if (s > 0 && d > 0) c.push_back({std::min(s, d), std::max(s, d), alpha / 4});
  }
  std::sort(c.begin(), c.end(), [](const element& x, const element& y) { return x.i != y.i ? x.i < y.i : x.j < y.j; });
  text_writer w(o.dir + "/Hinv.txt");
  std::int64_t lines = 0;
  for (std::size_t k = 0; k < c.size();) {
    double v = 0.0;
    std::size_t e = k;
    for (; e < c.size() && c[e].i == c[k].i && c[e].j == c[k].j; ++e) v += c[e].v;
    w.i(c[k].i).i(c[k].j);
    if (o.hinv_digits > 0) w.g(v, o.hinv_digits).end();
    else w.x(v).end();
    ++lines;
    k = e;
  }
  std::sort(genotyped.begin(), genotyped.end());
  for (std::size_t a = 0; a < genotyped.size(); ++a)
    for (std::size_t b = a; b < genotyped.size(); ++b) {
      w.i(genotyped[a]).i(genotyped[b]).x(a == b ? 0.51 : 0.01).end();
      ++lines;
    }
  return lines;
}

}  // namespace

int main(int argc, char** argv) {
  const options o = parse(argc, argv);
  const auto t0 = std::chrono::steady_clock::now();
  std::filesystem::create_directories(o.dir);
  std::filesystem::remove(o.dir + "/.complete");
  const model m = make_model(o);
  ventrel::bench::population_options po = o.pop;
  po.sigma2 = m.g;
  const population p = simulate_population(po);
  std::printf("bench_generate: %lld animals simulated in %.1f s\n", static_cast<long long>(p.n), seconds_since(t0));

  std::vector<std::int32_t> focal, genotyped;
  if (o.genotyped > 0) {
    const int last = o.pop.generations;
    focal = ventrel::bench::sample_generation(p, last, o.genotyped / 2, o.pop.seed + 5);
    genotyped = focal;
    const std::vector<std::int32_t> older =
        ventrel::bench::sample_generation(p, last - 1, o.genotyped - o.genotyped / 2, o.pop.seed + 6);
    genotyped.insert(genotyped.end(), older.begin(), older.end());
    if (o.markers > 0 && static_cast<std::int64_t>(focal.size()) > o.focal) focal.resize(static_cast<std::size_t>(o.focal));
  } else {
    focal = ventrel::bench::young_animals(p, o.focal, o.pop.seed + 5);
  }

  std::string info;
  auto note = [&](const std::string& k, long long v) { info += k + "=" + std::to_string(v) + "\n"; };
  if (o.only == "pedigree") {
    write_pedigree(o, p, focal);
  } else {
    write_parameter_file(o, m);
    write_pedigree(o, p, focal);
    {
      text_writer w(o.dir + "/valid.txt");
      for (std::int32_t a : focal) w.i(a).end();
    }
    note("lines", write_solutions(o, m, p, true));
    write_solutions(o, m, p, false);
    std::vector<double> y;
    if (o.predictive || o.boot_table) y = phenotypes(o, m, p);
    if (o.predictive) write_yhat_residual(o, p, y);
    if (o.se == "exact") write_ebv_pev(o, m, p);
    if (o.boot_table) write_boot_table(o, p, y, focal);
    if (o.genotyped > 0 && o.markers > 0) {
      const auto tg = std::chrono::steady_clock::now();
      ventrel::bench::write_genotypes(o.dir, genotyped, o.markers,
                                      ventrel::bench::drop_genotypes(p, genotyped, o.markers, o.pop.seed + 7));
      std::printf("bench_generate: genotypes written in %.1f s\n", seconds_since(tg));
      note("markers", o.markers);
    } else if (o.genotyped > 0) {
      note("hinv_lines", write_hinverse(o, p, genotyped));
    }
    std::string h2;
    for (int t = 0; t < o.pop.traits; ++t) h2 += (t ? "," : "") + std::to_string(m.h2(t));
    info += "h2=" + h2 + "\n";
    std::string g;
    for (int t = 0; t < o.pop.traits; ++t) g += (t ? "," : "") + std::to_string(m.g[static_cast<std::size_t>(t)]);
    info += "gvar=" + g + "\n";
  }
  note("animals", p.n);
  note("focal", static_cast<long long>(focal.size()));
  note("genotyped", static_cast<long long>(genotyped.size()));
  {
    text_writer w(o.dir + "/info.txt");
    w.text(info);
  }
  std::string args;
  for (int i = 1; i < argc; ++i) args += std::string(i > 1 ? " " : "") + argv[i];
  text_writer stamp(o.dir + "/.complete");
  stamp.line(args);
  stamp.close();
  std::printf("bench_generate: %s written in %.1f s\n", o.dir.c_str(), seconds_since(t0));
  return 0;
}
