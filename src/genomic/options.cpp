// The genomic library's OPTION lines.
#include "genomic/options.hpp"

#include <cmath>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"

namespace ventrel::genomic {
namespace {

// The values of an OPTION that takes `count` numbers in lo..hi (when given at all), echoed.
bool numbers(const parfile::option_store& options, const char* key, std::size_t count, double lo, double hi,
             std::vector<double>& out) {
  parfile::option_values v = options.get_option(key);
  if (v.n < 0) return false;
  const std::string want = count == 1 ? "a number" : num(static_cast<std::int64_t>(count)) + " numbers";
  const std::string range = " from " + num(lo) + " to " + num(hi);
  out.assign(count, 0.0);
  bool ok = v.xc.size() >= count;
  for (std::size_t k = 0; ok && k < count; ++k) {
    double x = 0;
    ok = parse_real(v.xc[k], x) && std::isfinite(x) && x >= lo && x <= hi;
    out[k] = x;
  }
  if (!ok) {
    std::string given;
    for (const std::string& w : v.xc) given += (given.empty() ? "" : " ") + w;
    fatal({"OPTION " + std::string(key) + " needs " + want + range + ": " + excerpt(given.empty() ? "(none)" : given),
           at_line(options.path(), v.line_no)});
  }
  return true;
}

std::string file_name(const parfile::option_store& options, const char* key) {
  parfile::option_values v = options.get_option(key);
  if (v.n < 0) return {};
  if (v.n < 1) fatal({"OPTION " + std::string(key) + " needs a file name", at_line(options.path(), v.line_no)});
  return v.xc[0];
}

void read_single_step(const parfile::option_store& options, single_step_settings& s) {
  std::vector<double> x;
  say("* SNP file: " + s.snp_file);
  s.xref_file = file_name(options, "SNP_xref");
  if (!s.xref_file.empty()) say("* Cross-reference file of the genotyped animals: " + s.xref_file);
  if (numbers(options, "marker_callrate", 1, 0.0, 1.0, x)) {
    s.qc.marker_callrate = x[0];
    say("* Minimum call rate of a marker (default 0.90): " + num(x[0]));
  }
  if (numbers(options, "animal_callrate", 1, 0.0, 1.0, x)) {
    s.qc.animal_callrate = x[0];
    say("* Minimum call rate of an animal (default 0.90): " + num(x[0]));
  }
  if (numbers(options, "min_maf", 1, 0.0, 0.5, x)) {
    s.qc.min_maf = x[0];
    say("* Minimum minor allele frequency (default 0.05): " + num(x[0]));
  }
  if (numbers(options, "tune_G", 1, 0.0, 1.0, x)) {
    if (x[0] != 0.0 && x[0] != 1.0)
      fatal({"OPTION tune_G needs 0 (off) or 1 (on): " + num(x[0]),
             at_line(options.path(), options.get_option("tune_G").line_no)});
    s.tune = x[0] == 1.0;
    say("* Tuning of G to A22 (default 1): " + num(x[0]));
  }
  if (numbers(options, "blend_G", 2, 0.0, 1.0, x)) {
    if (x[0] == 0.0)
      fatal({"OPTION blend_G needs a weight of G above 0: " + num(x[0]) + " " + num(x[1]),
             at_line(options.path(), options.get_option("blend_G").line_no)});
    s.alpha = x[0];
    s.beta = x[1];
    say("* Blending of G (default 0.95 G + 0.05 A22): " + num(x[0]) + " G + " + num(x[1]) + " A22");
  }
  if (numbers(options, "H_weights", 2, 0.0, 100.0, x)) {
    s.weights = {x[0], x[1]};
    say("* Weights of G-inverse and A22-inverse in H-inverse (default 1 1): " + num(x[0]) + " " + num(x[1]));
  }
  s.save_file = file_name(options, "save_H_inverse");
  if (!s.save_file.empty()) say("* Write H-inverse to file: " + s.save_file);
  parfile::option_values way = options.get_option("H_focal");
  if (way.n >= 0) {
    const std::string w = way.n >= 1 ? way.xc[0] : "";
    if (w == "closed")
      s.way = h_focal_way::closed_form;
    else if (w == "inverse")
      s.way = h_focal_way::inverse;
    else
      fatal({"OPTION H_focal needs closed or inverse: " + excerpt(w.empty() ? "(none)" : w),
             at_line(options.path(), way.line_no)});
    say("* H among focal animals (default closed): " + w);
  }
}

}  // namespace

genomic_options read_genomic_options(const parfile::option_store& options) {
  genomic_options g;
  parfile::option_values snp = options.get_option("SNP_file");
  parfile::option_values hinv = options.get_option("readHInverse");
  parfile::option_values mf = options.get_option("metafounders_gamma");
  if (mf.n >= 1) g.metafounders_gamma_file = mf.xc[0];
  if (snp.n < 0 && hinv.n < 0) return g;
  g.snp_file_given = snp.n >= 0;
  if (snp.n >= 1) g.snp_file = snp.xc[0];
  if (g.snp_file_given && g.snp_file.empty())
    fatal({"OPTION SNP_file needs a file name", at_line(options.path(), snp.line_no)});
  say("the genomic options are read");
  g.h_method = 3;
  parfile::option_values which = options.get_option("whichH");
  if (which.n >= 1) {
    double v = which.x[0];
    if (v != std::floor(v) || std::fabs(v) > 1e6)
      fatal({"OPTION whichH needs a whole number: " + excerpt(which.xc[0]), at_line(options.path(), which.line_no)});
    g.h_method = static_cast<int>(v);
  }
  say("* H Genomic Relationship method (WhichH= " + num(g.h_method) + ")");
  if (g.snp_file_given && hinv.n >= 0)
    say("Warning: OPTION readHInverse is given: H-inverse is read from its file, and the genotypes of OPTION "
        "SNP_file are not used");
  if (g.snp_file_given && hinv.n < 0) {
    g.single_step.snp_file = g.snp_file;
    read_single_step(options, g.single_step);
  }
  return g;
}

bool uses_inverse_relationships(const genomic_options& g) {
  return g.h_method == 3 || g.h_method == 4 || g.h_method == 5 || g.h_method == 7;
}

}  // namespace ventrel::genomic
