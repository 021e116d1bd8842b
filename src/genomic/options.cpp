// The genomic library's OPTION lines.
#include "genomic/options.hpp"

#include <cmath>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"

namespace ventrel::genomic {

genomic_options read_genomic_options(const parfile::option_store& options) {
  genomic_options g;
  parfile::option_values snp = options.get_option("SNP_file");
  parfile::option_values hinv = options.get_option("readHInverse");
  parfile::option_values mf = options.get_option("metafounders_gamma");
  if (mf.n >= 1) g.metafounders_gamma_file = mf.xc[0];
  if (snp.n < 0 && hinv.n < 0) return g;
  g.read = true;
  g.snp_file_given = snp.n >= 0;
  if (snp.n >= 1) g.snp_file = snp.xc[0];
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
  return g;
}

bool uses_inverse_relationships(const genomic_options& g) {
  return g.h_method == 3 || g.h_method == 4 || g.h_method == 5 || g.h_method == 7;
}

}  // namespace ventrel::genomic
