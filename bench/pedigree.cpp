// Benchmark of the pedigree phase on a simulated pedigree (default 1,000,000 animals over 20
// discrete generations, written to a temporary folder and removed afterwards):
//   read + renumber + inbreeding by method 1 (Meuwissen and Luo) and by method 6;
//   the mean number of ancestors per animal (what Meuwissen and Luo's cost follows);
//   every inbreeding method, the recursive tabular ones (4, 5, 7), whose cost grows much faster
//   than the pedigree, on its first generations until they pass a time limit;
//   A_focal for 5,000 animals of the youngest generation on all threads and on one;
//   the metafounder variants, the unknown parents replaced by metafounders.
// Usage: bench_pedigree [key=value ...] with keys
//   generations (20), per_generation (50000), sires (200: sires used per generation),
//   unknown_sire (0.02), unknown_dam (0.05), focal (5000), seed (1), threads (0 = default),
//   limit (60: seconds a recursive tabular method may take before larger prefixes are skipped),
//   methods (1234567: the inbreeding methods to time; method 1 alone takes minutes),
//   metafounders (4; 0 = no such part), write=<file> (only write the simulated pedigree and stop).
// Times are given as wall-clock and processor seconds, so that a run on a busy machine still
// shows what the work costs.
#include <omp.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <map>
#include <numeric>
#include <string>
#include <vector>

#include "common/fatal.hpp"
#include "pedigree/focal_relationships.hpp"
#include "pedigree/inbreeding.hpp"
#include "pedigree/read_pedigree.hpp"
#include "pedigree/renumber.hpp"

namespace {

using ventrel::pedigree::group_info;
using ventrel::pedigree::parents;
using ventrel::pedigree::pedigree_table;

struct rng {
  std::uint64_t s;
  explicit rng(std::uint64_t seed) : s(seed * 0x9E3779B97F4A7C15ull + 1) {}
  std::uint64_t next() {  // splitmix64
    std::uint64_t z = (s += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }
  std::int32_t below(std::int32_t k) {
    return static_cast<std::int32_t>(next() % static_cast<std::uint64_t>(k));
  }
};

struct sim_options {
  int generations = 20;
  int per_generation = 50000;
  int sires = 200;
  double unknown_sire = 0.02;
  double unknown_dam = 0.05;
  std::uint64_t seed = 1;
};

struct simulated {
  pedigree_table ped;                    // by file number (shuffled numbers)
  std::vector<std::int32_t> generation;  // by file number
};

// Discrete generations: the first are founders; in each later one every animal has a sire drawn
// from `sires` males of the previous generation and a dam drawn from all its females, each
// unknown with the given probabilities. Numbers are shuffled so that the file is not in
// parents-first order.
simulated simulate(const sim_options& o) {
  rng r(o.seed);
  const std::int32_t n = o.generations * o.per_generation;
  std::vector<std::int32_t> number(static_cast<std::size_t>(n));
  std::iota(number.begin(), number.end(), 1);
  for (std::int32_t i = n - 1; i > 0; --i)
    std::swap(number[static_cast<std::size_t>(i)], number[static_cast<std::size_t>(r.below(i + 1))]);
  simulated s;
  s.ped.assign(static_cast<std::size_t>(n) + 1, parents{});
  s.generation.assign(static_cast<std::size_t>(n) + 1, 0);
  std::vector<std::int32_t> males, females, prev_males, prev_females;
  for (int g = 0; g < o.generations; ++g) {
    std::vector<std::int32_t> sires;
    if (g > 0) {
      for (int k = 0; k < o.sires && !prev_males.empty(); ++k)
        sires.push_back(
            prev_males[static_cast<std::size_t>(r.below(static_cast<std::int32_t>(prev_males.size())))]);
    }
    males.clear();
    females.clear();
    for (int k = 0; k < o.per_generation; ++k) {
      const std::int32_t id = number[static_cast<std::size_t>(g * o.per_generation + k)];
      s.generation[static_cast<std::size_t>(id)] = g + 1;
      parents p;
      if (g > 0) {
        if (!sires.empty() && r.uniform() >= o.unknown_sire)
          p.sire = sires[static_cast<std::size_t>(r.below(static_cast<std::int32_t>(sires.size())))];
        if (!prev_females.empty() && r.uniform() >= o.unknown_dam)
          p.dam =
              prev_females[static_cast<std::size_t>(r.below(static_cast<std::int32_t>(prev_females.size())))];
      }
      s.ped[static_cast<std::size_t>(id)] = p;
      (r.uniform() < 0.5 ? males : females).push_back(id);
    }
    prev_males.swap(males);
    prev_females.swap(females);
  }
  return s;
}

void write_pedigree(const std::string& path, const pedigree_table& ped) {
  std::FILE* f = std::fopen(path.c_str(), "w");
  if (!f) {
    std::perror(path.c_str());
    std::exit(1);
  }
  for (std::size_t i = 1; i < ped.size(); ++i) std::fprintf(f, "%zu %d %d\n", i, ped[i].sire, ped[i].dam);
  std::fclose(f);
}

double seconds_since(std::chrono::steady_clock::time_point t0) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

// Wall-clock and processor time (all threads) since construction: on a machine shared with
// other work the processor time shows what the wall-clock time would be without it.
struct stopwatch {
  std::chrono::steady_clock::time_point wall0 = std::chrono::steady_clock::now();
  double cpu0 = cpu_now();
  static double cpu_now() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
  }
  double wall() const { return seconds_since(wall0); }
  double cpu() const { return cpu_now() - cpu0; }
};

double max_diff(const std::vector<double>& a, const std::vector<double>& b) {
  double m = 0.0;
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) m = std::max(m, std::fabs(a[i] - b[i]));
  return m;
}

// The animals of the first g generations, renumbered 1..k in file order, with their pedigree.
pedigree_table prefix(const simulated& s, int g) {
  std::vector<std::int32_t> map(s.ped.size(), 0);
  std::int32_t k = 0;
  for (std::size_t i = 1; i < s.ped.size(); ++i)
    if (s.generation[i] <= g) map[i] = ++k;
  pedigree_table out(static_cast<std::size_t>(k) + 1);
  for (std::size_t i = 1; i < s.ped.size(); ++i)
    if (map[i])
      out[static_cast<std::size_t>(map[i])] =
          parents{map[static_cast<std::size_t>(s.ped[i].sire)], map[static_cast<std::size_t>(s.ped[i].dam)]};
  return out;
}

// Mean number of ancestors of a sample of animals (positions in parents-first order).
double mean_ancestors(const pedigree_table& sorted, std::int32_t n, const std::vector<std::int32_t>& sample) {
  std::vector<char> seen(static_cast<std::size_t>(n) + 1, 0);
  std::vector<std::int32_t> stack, touched;
  double total = 0.0;
  for (std::int32_t a : sample) {
    stack.assign(1, a);
    while (!stack.empty()) {
      const std::int32_t x = stack.back();
      stack.pop_back();
      for (std::int32_t p :
           {sorted[static_cast<std::size_t>(x)].sire, sorted[static_cast<std::size_t>(x)].dam})
        if (p >= 1 && p <= n && !seen[static_cast<std::size_t>(p)]) {
          seen[static_cast<std::size_t>(p)] = 1;
          touched.push_back(p);
          stack.push_back(p);
        }
    }
    total += static_cast<double>(touched.size());
    for (std::int32_t t : touched) seen[static_cast<std::size_t>(t)] = 0;
    touched.clear();
  }
  return total / static_cast<double>(sample.size());
}

struct timing {
  double wall = 0.0;
  double cpu = 0.0;
};

std::vector<double> timed_inbreeding(const pedigree_table& ped, int method, int threads, const group_info& g,
                                     const std::vector<std::int32_t>& perm, timing& t) {
  ventrel::pedigree::inbreeding_options opt;
  opt.method = method;
  opt.nthreads = threads;
  std::vector<double> f;
  const stopwatch w;
  ventrel::pedigree::compute_inbreeding(ped, f, opt, g, perm);
  t = {w.wall(), w.cpu()};
  return f;
}

std::vector<double> sorted_values(const std::vector<double>& inb, const std::vector<std::int32_t>& perm) {
  std::vector<double> out(inb.size(), 0.0);
  const std::size_t n = perm.size() - 1;
  for (std::size_t i = 1; i <= n; ++i) out[static_cast<std::size_t>(perm[i])] = inb[i];
  for (std::size_t k = n + 1; k < inb.size(); ++k) out[k] = inb[k];
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  std::map<std::string, std::string> arg;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    const auto eq = a.find('=');
    if (eq == std::string::npos) {
      std::fprintf(stderr, "arguments are key=value\n");
      return 2;
    }
    arg[a.substr(0, eq)] = a.substr(eq + 1);
  }
  auto num = [&](const char* k, double d) { return arg.count(k) ? std::atof(arg[k].c_str()) : d; };
  sim_options o;
  o.generations = static_cast<int>(num("generations", 20));
  o.per_generation = static_cast<int>(num("per_generation", 50000));
  o.sires = static_cast<int>(num("sires", 200));
  o.unknown_sire = num("unknown_sire", 0.02);
  o.unknown_dam = num("unknown_dam", 0.05);
  o.seed = static_cast<std::uint64_t>(num("seed", 1));
  const int nfocal = static_cast<int>(num("focal", 5000));
  const int threads =
      static_cast<int>(num("threads", 0)) > 0 ? static_cast<int>(num("threads", 0)) : omp_get_max_threads();
  const double limit = num("limit", 60);
  const std::string methods = arg.count("methods") ? arg["methods"] : "1234567";
  const std::int32_t nmf = static_cast<std::int32_t>(num("metafounders", 4));
  auto wanted = [&](int m) { return methods.find(static_cast<char>('0' + m)) != std::string::npos; };

  try {
    const simulated sim = simulate(o);
    if (arg.count("write")) {
      write_pedigree(arg["write"], sim.ped);
      return 0;
    }
    const std::int32_t n = static_cast<std::int32_t>(sim.ped.size()) - 1;
    std::printf(
        "Simulated pedigree: %d animals, %d generations of %d, %d sires per generation, "
        "unknown sire %.3f, unknown dam %.3f, seed %llu; %d threads\n\n",
        n, o.generations, o.per_generation, o.sires, o.unknown_sire, o.unknown_dam,
        static_cast<unsigned long long>(o.seed), threads);
    char dir_template[] = "/tmp/ventrel_bench_pedigree_XXXXXX";
    const char* dir = mkdtemp(dir_template);
    if (!dir) {
      std::perror("mkdtemp");
      return 1;
    }
    const std::string path = std::string(dir) + "/pedigree.txt";
    write_pedigree(path, sim.ped);

    // 1. The phase's steps: read, renumber, inbreeding.
    stopwatch w;
    const ventrel::pedigree::pedigree_count c = ventrel::pedigree::count_pedigree(path);
    pedigree_table ped;
    ventrel::pedigree::read_pedigree(path, c.n, false, ped);
    const timing t_read{w.wall(), w.cpu()};
    std::filesystem::remove_all(dir);
    w = stopwatch();
    std::vector<std::int32_t> perm;
    ventrel::pedigree::renumber_pedigree(ped, 0, perm);
    const timing t_renumber{w.wall(), w.cpu()};
    timing t6, t1;
    const std::vector<double> f6 = timed_inbreeding(ped, 6, threads, {}, perm, t6);
    std::vector<double> f1;
    if (wanted(1)) f1 = timed_inbreeding(ped, 1, threads, {}, perm, t1);
    double fmean = 0.0, fmax = 0.0;
    for (std::int32_t i = 1; i <= n; ++i) {
      fmean += f6[static_cast<std::size_t>(i)];
      fmax = std::max(fmax, f6[static_cast<std::size_t>(i)]);
    }
    const pedigree_table ped_sorted = ventrel::pedigree::sorted_pedigree(ped, perm, 0);
    rng r(o.seed + 7);
    std::vector<std::int32_t> sample, young_sample;
    for (int k = 0; k < 2000; ++k) sample.push_back(1 + r.below(n));
    for (int k = 0; k < 2000; ++k) young_sample.push_back(n - r.below(o.per_generation));
    std::printf("Mean F %.5f, largest F %.5f; mean number of ancestors %.0f (youngest generation %.0f)\n\n",
                fmean / n, fmax, mean_ancestors(ped_sorted, n, sample),
                mean_ancestors(ped_sorted, n, young_sample));
    auto row = [](const char* what, timing t) { std::printf("| %s | %.3f | %.3f |\n", what, t.wall, t.cpu); };
    auto sum = [](timing a, timing b, timing c) {
      return timing{a.wall + b.wall + c.wall, a.cpu + b.cpu + c.cpu};
    };
    std::printf("| step | wall seconds | processor seconds |\n|---|---|---|\n");
    row("read (count_pedigree + read_pedigree)", t_read);
    row("renumber_pedigree (method 3)", t_renumber);
    if (wanted(1)) {
      row("compute_inbreeding method 1 (Meuwissen and Luo)", t1);
      row("read + renumber + method 1", sum(t_read, t_renumber, t1));
    }
    row("compute_inbreeding method 6 (hybrid parallel)", t6);
    row("read + renumber + method 6", sum(t_read, t_renumber, t6));
    std::printf("\n");
    std::fflush(stdout);

    // 2. Every method; the recursive tabular ones on growing prefixes of the generations.
    std::printf(
        "| method | animals | wall seconds | processor seconds | max abs difference from method 6 |\n"
        "|---|---|---|---|---|\n");
    for (int m = 1; m <= 7; ++m) {
      if (!wanted(m)) continue;
      const bool slow = m == 4 || m == 5 || m == 7;
      for (int g = slow ? 2 : o.generations; g <= o.generations; g += 2) {
        const bool whole = g == o.generations;
        const pedigree_table sub = whole ? ped : prefix(sim, g);
        std::vector<std::int32_t> sub_perm;
        ventrel::pedigree::renumber_pedigree(sub, 0, sub_perm);
        timing t, t_ref;
        const std::vector<double> ref = whole ? f6 : timed_inbreeding(sub, 6, threads, {}, sub_perm, t_ref);
        std::vector<double> f;
        try {
          if (m == 1 && whole) {
            f = f1;
            t = t1;
          } else if (m == 6 && whole) {
            f = f6;
            t = t6;
          } else {
            f = timed_inbreeding(sub, m, threads, {}, sub_perm, t);
          }
        } catch (const ventrel::fatal_error& e) {
          std::printf("| %d | %zu | stopped: %s | | |\n", m, sub.size() - 1, e.lines().front().c_str());
          break;
        }
        std::printf("| %d | %zu | %.3f | %.3f | %.1e |\n", m, sub.size() - 1, t.wall, t.cpu,
                    max_diff(f, ref));
        std::fflush(stdout);
        if (t.wall > limit / 8) break;  // a larger prefix would pass the limit
      }
    }

    // 3. A_focal for animals of the youngest generation.
    std::vector<std::int32_t> young;
    for (std::int32_t i = 1; i <= n; ++i)
      if (sim.generation[static_cast<std::size_t>(i)] == o.generations) young.push_back(i);
    for (std::size_t k = young.size() - 1; k > 0; --k)
      std::swap(young[k], young[static_cast<std::size_t>(r.below(static_cast<std::int32_t>(k) + 1))]);
    young.resize(std::min<std::size_t>(young.size(), static_cast<std::size_t>(nfocal)));
    const std::vector<double> inb_sorted = sorted_values(f6, perm);
    std::printf(
        "\n| A_focal, %zu focal animals of the youngest generation | wall seconds | processor seconds |\n"
        "|---|---|---|\n",
        young.size());
    ventrel::linalg::dense_matrix a_first;
    for (int th : {threads, 1}) {
      w = stopwatch();
      ventrel::linalg::dense_matrix a =
          ventrel::pedigree::focal_relationships(n, ped_sorted, inb_sorted, perm, {}, young, th);
      std::printf("| %d thread(s) | %.3f | %.3f |\n", th, w.wall(), w.cpu());
      if (a_first.rows == 0) {
        double worst = 0.0;  // the diagonal must be 1 + F
        for (std::size_t k = 0; k < young.size(); ++k)
          worst = std::max(worst, std::fabs(a(static_cast<int>(k), static_cast<int>(k)) - 1.0 -
                                            f6[static_cast<std::size_t>(young[k])]));
        std::printf("(largest |A_focal(k,k) - 1 - F| = %.1e)\n", worst);
        a_first = std::move(a);
      } else {
        std::printf("(matrices on %d and 1 threads %s)\n", threads,
                    a.a == a_first.a ? "identical" : "DIFFER");
      }
    }

    // 4. Metafounders: the unknown sires of generation g become metafounder 1 + g % (k/2), the
    // unknown dams metafounder k/2 + 1 + g % (k - k/2).
    if (nmf >= 2) {
      pedigree_table mped = ped;
      for (std::int32_t i = 1; i <= n; ++i) {
        const std::int32_t g = sim.generation[static_cast<std::size_t>(i)];
        parents& p = mped[static_cast<std::size_t>(i)];
        if (p.sire == 0) p.sire = n + 1 + g % (nmf / 2);
        if (p.dam == 0) p.dam = n + 1 + nmf / 2 + g % (nmf - nmf / 2);
      }
      std::vector<double> gamma(static_cast<std::size_t>(nmf * nmf));
      for (std::int32_t k = 0; k < nmf; ++k)
        for (std::int32_t l = 0; l < nmf; ++l)
          gamma[static_cast<std::size_t>(k + l * nmf)] = k == l ? 0.6 : 0.3 - 0.02 * std::abs(k - l);
      const group_info g{nmf, gamma};
      std::vector<std::int32_t> mperm;
      ventrel::pedigree::renumber_pedigree(mped, nmf, mperm);
      std::printf(
          "\n| metafounders (%d), method | wall seconds | processor seconds | max abs difference from method "
          "6 "
          "|\n|---|---|---|---|\n",
          nmf);
      timing tm6;
      const std::vector<double> m6 = timed_inbreeding(mped, 6, threads, g, mperm, tm6);
      std::printf("| 6 | %.3f | %.3f | |\n", tm6.wall, tm6.cpu);
      for (int m : {8, 1}) {
        if (m == 1 && !wanted(1)) continue;
        timing t;
        const std::vector<double> f = timed_inbreeding(mped, m, threads, g, mperm, t);
        std::printf("| %d | %.3f | %.3f | %.1e |\n", m, t.wall, t.cpu, max_diff(f, m6));
        std::fflush(stdout);
      }
      const pedigree_table msorted = ventrel::pedigree::sorted_pedigree(mped, mperm, nmf);
      w = stopwatch();
      const ventrel::linalg::dense_matrix a = ventrel::pedigree::focal_relationships(
          n, msorted, sorted_values(m6, mperm), mperm, g, young, threads);
      std::printf("| A_focal with metafounders, %d thread(s) | %.3f | %.3f | |\n", threads, w.wall(),
                  w.cpu());
      double worst = 0.0;
      for (std::size_t k = 0; k < young.size(); ++k)
        worst = std::max(worst, std::fabs(a(static_cast<int>(k), static_cast<int>(k)) - 1.0 -
                                          m6[static_cast<std::size_t>(young[k])]));
      std::printf("(largest |A_focal(k,k) - 1 - F| = %.1e)\n", worst);
    }
  } catch (const ventrel::fatal_error& e) {
    for (const auto& l : e.lines()) std::printf("%s\n", l.c_str());
    return 1;
  }
  return 0;
}
