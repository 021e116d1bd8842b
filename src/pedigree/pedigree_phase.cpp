// The pedigree phase: pedigree, renumbering and inbreeding.
#include "pedigree/pedigree_phase.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"
#include "linalg/cholesky.hpp"
#include "pedigree/focal_relationships.hpp"
#include "pedigree/inbreeding.hpp"
#include "pedigree/read_pedigree.hpp"
#include "pedigree/renumber.hpp"

namespace ventrel::pedigree {
namespace {

// ranolt.inb: identifier (not used), coefficient, renumbered animal; read to its end or to the
// first line that cannot be read so (with a warning). A later line for the same animal replaces an
// earlier one. A coefficient that is not a number from 0 to 1 (NaN, Inf) stops the run.
void read_ranolt_inb(const std::string& path, std::int32_t n, std::vector<double>& inb) {
  if (!file_exists(path))
    fatal({path + " does not exist",
           "The inbreeding coefficients of OPTION ReadExternalInbreeding are read from " + path});
  line_reader file(path);
  std::string_view line;
  std::array<std::string_view, 3> f;
  while (file.next(line)) {
    const std::size_t k = split_fields(line, f);
    if (k == 0 && line.find('/') == std::string_view::npos) continue;  // empty record
    double v = 0.0;
    std::int32_t a = 0;
    if (k < 3 || !parse_real(f[1], v) || !parse_int(f[2], a)) {
      warn(path + " is read up to line " + num(file.line_number() - 1) + ": line " + num(file.line_number()) +
           " is not an identifier, a coefficient and an animal number: \"" + excerpt(line, 60) + "\"");
      break;
    }
    if (!(v >= 0.0 && v <= 1.0))  // also NaN
      fatal({"The inbreeding coefficient of animal " + num(a) + " is not a number from 0 to 1: " +
                 std::string(f[1]),
             at_line(path, file.line_number())});
    if (a < 1 || a > n)
      fatal({"Animal " + num(a) + " of the inbreeding file is not in the pedigree (animals 1 to " + num(n) +
                 ")",
             at_line(path, file.line_number())});
    inb[static_cast<std::size_t>(a)] = v;
  }
}

// Where the reading of the pedigree file ended early (count.stop_line > 0), as messages say it.
std::string early_end(std::int32_t stop_line) {
  return "read up to line " + num(stop_line - 1) + ": line " + num(stop_line) +
         " is not three whole numbers (animal, sire, dam)";
}

void sort_inbreeding(pedigree_phase_result& r) {
  std::fill(r.inb_sorted.begin(), r.inb_sorted.begin() + r.n + 1, 0.0);
  for (std::int32_t i = 1; i <= r.n; ++i)
    r.inb_sorted[static_cast<std::size_t>(r.perm[static_cast<std::size_t>(i)])] =
        r.inb[static_cast<std::size_t>(i)];
  for (std::int32_t k = r.n + 1; k <= r.n + r.nupg; ++k)
    r.inb_sorted[static_cast<std::size_t>(k)] = r.inb[static_cast<std::size_t>(k)];
}

}  // namespace

pedigree_phase_result read_pedigree_phase(const pedigree_phase_input& in) {
  pedigree_phase_result r;
  const std::string pedfile(trim_right(in.pedigree_file));
  r.file = pedfile;
  // 1. Start.
  say("Reading and renumbering pedigree");

  // 2. Size of the pedigree and its groups.
  if (!file_exists(pedfile)) fatal("There is no such pedigree file: " + pedfile);
  line_reader file(pedfile);
  {
    std::string_view first;
    if (file.next(first) && !byte_order_mark(first).empty())
      fatal({"The pedigree file " + pedfile + " starts with a " + std::string(byte_order_mark(first)) +
                 " byte-order mark: \"" + visible(first, 60) + "\"",
             "Expected: animal, sire and dam as whole numbers, one animal a line, in plain text; save the file "
             "without the mark",
             at_line(pedfile, 1)});
  }
  const pedigree_count count = count_pedigree(file, in.nthreads);
  if (count.n < 1 && count.lines == 0 && count.stop_line > 0)
    fatal({"The pedigree file " + pedfile + " holds no animals: line " + num(count.stop_line) +
               " is not three whole numbers: \"" + count.stop_text + "\"",
           "Expected: animal, sire and dam as whole numbers, one animal a line, with no header line",
           at_line(pedfile, count.stop_line)});
  if (count.n < 1) fatal("The pedigree file " + pedfile + " holds no animals");
  if (in.effect_levels > 0 && count.n > in.effect_levels)
    fatal({"The pedigree file " + pedfile + " numbers animals up to " + num(count.n) + ", beyond the " +
               num(in.effect_levels) + " levels of the validated effect",
           at_line(pedfile, count.n_line) + "; the pedigree must be numbered as the levels of the effect (the "
                                            "renumbered pedigree), not with the original identifiers"});
  r.n = count.n;
  r.stop_line = count.stop_line;
  const bool metafounders = in.gamma.rows > 0;
  const bool groups = in.groups_allowed || metafounders;
  r.nupg = groups ? std::max(0, count.maxid - count.n) : 0;
  // Arrays of n+nupg elements are allocated from the largest numbers alone: numbers far beyond
  // the lines of the file are not a renumbered pedigree, and would take the machine's memory.
  const std::int64_t most = 10 * count.lines + 10'000'000;
  if (count.n > most)
    fatal({"The largest animal number in the pedigree file is " + num(count.n) + ", far more than its " +
               num(count.lines) + " lines",
           at_line(pedfile, count.n_line) + "; the animals must be numbered from 1 to their number"});
  if (groups && count.maxid > most)
    fatal({"The largest parent code in the pedigree file is " + num(count.maxid) + ", far more than its " +
               num(count.lines) + " lines",
           at_line(pedfile, count.maxid_line) + "; groups must be numbered from n+1 to n+nupg"});
  if (metafounders) {
    if (in.gamma.cols != in.gamma.rows) fatal("The metafounders' relationship matrix Gamma is not square");
    for (int k = 0; k < in.gamma.rows; ++k)
      for (int l = 0; l < k; ++l)
        if (std::abs(in.gamma(k, l) - in.gamma(l, k)) >
            1e-12 * (std::abs(in.gamma(k, l)) + std::abs(in.gamma(l, k))))
          fatal("The metafounders' relationship matrix Gamma is not symmetric: element (" + num(k + 1) + "," +
                num(l + 1) + ") differs from (" + num(l + 1) + "," + num(k + 1) + ")");
    if (!linalg::is_positive_definite(in.gamma))
      fatal("The metafounders' relationship matrix Gamma is not positive definite");
    if (in.gamma.rows < r.nupg)
      fatal({"The pedigree file " + pedfile + " uses group codes up to " + num(count.maxid) + " (" +
                 num(r.nupg) + " metafounders after its " + num(r.n) + " animals)",
             "but the metafounders' relationship matrix Gamma is of order " + num(in.gamma.rows)});
    r.nupg = in.gamma.rows;  // metafounders without progeny may follow the last one used
    r.gamma = in.gamma.a;
  }
  const std::size_t total = static_cast<std::size_t>(r.n) + static_cast<std::size_t>(r.nupg) + 1;
  r.inb.assign(total, 0.0);
  r.inb_sorted.assign(total, 0.0);

  // 3, 4. Read and renumber.
  pedigree_repeats repeats;
  read_pedigree(file, r.n, groups, r.ped, &repeats, in.nthreads);
  // Both cases are read as the family's programs read them; the user still hears of them.
  if (count.stop_line > 0)
    warn("the pedigree file " + pedfile + " is " + early_end(count.stop_line) + ": \"" + count.stop_text +
         "\"; animals without a line have unknown parents");
  if (repeats.count > 0)
    warn("the pedigree file " + pedfile + " gives animal " + num(repeats.first) + " on lines " +
         num(repeats.first_line) + " and " + num(repeats.repeat_line) + " with different parents (" +
         num(repeats.count) + " such line(s)); the later line is used");
  renumber_pedigree(r.ped, r.nupg, r.perm, in.verbosity, 3);
  r.ped_sorted = sorted_pedigree(r.ped, r.perm, r.nupg);
  say("Done");

  // 5, 6. Inbreeding, when anything needs it: with groups always computed; without them read
  // from ranolt.inb under ReadExternalInbreeding, else computed.
  if (!in.inbreeding_needed) return r;
  inbreeding_options opt;
  opt.method = in.inbreeding_method;
  opt.verbosity = in.verbosity;
  opt.nthreads = in.nthreads;
  opt.self_generations_file = in.self_generations_file;
  opt.inb_mf_file = in.inb_mf_file;
  auto compute = [&](bool with_groups) {
    compute_inbreeding(r.ped, r.inb, opt, with_groups ? r.groups() : group_info{}, r.perm);
    r.inbreeding_known = true;
  };
  if (r.nupg > 0) {
    compute(true);
  } else if (!in.read_external_inbreeding) {
    compute(false);
  } else {
    const std::string named(trim_right(in.external_inbreeding_file));
    if (!file_exists(named)) {
      say(named + " does not exist");
      say("Genetic variance of focal animals assumed equal to the genetic variance");
      r.external_inbreeding_missing = true;
      if (in.relationships_needed) compute(false);
    } else {
      say("Genetic variance of focal animals calculated as genetic variance * (1-mean(f))");
      r.inb[0] = 0.0;
      read_ranolt_inb(in.ranolt_inb, r.n, r.inb);
      r.inbreeding_known = true;
    }
  }
  sort_inbreeding(r);
  return r;
}

void check_focal_animals(const pedigree_phase_result& ped, std::span<const std::int32_t> focal) {
  for (std::int32_t a : focal)
    if (a < 1 || a > ped.n) {
      std::vector<std::string> lines = {"Focal animal " + num(a) + " is not in the pedigree file " + ped.file +
                                        " (animals 1 to " + num(ped.n) + ")"};
      if (ped.stop_line > 0) lines.push_back("The file is " + early_end(ped.stop_line));
      fatal(lines);
    }
}

linalg::dense_matrix focal_relationships(const pedigree_phase_result& ped,
                                         std::span<const std::int32_t> focal, int nthreads) {
  return focal_relationships(ped.n, ped.ped_sorted, ped.inb_sorted, ped.perm, ped.groups(), focal, nthreads);
}

linalg::symmetric_columns focal_relationship_columns(const pedigree_phase_result& ped,
                                                     std::span<const std::int32_t> focal, int nthreads) {
  return focal_relationship_columns(ped.n, ped.ped_sorted, ped.inb_sorted, ped.perm, ped.groups(), focal, nthreads);
}

}  // namespace ventrel::pedigree
