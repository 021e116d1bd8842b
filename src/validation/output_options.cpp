// Reading of the output OPTIONs.
#include "validation/output_options.hpp"

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/freeformat.hpp"

namespace ventrel::validation {

output_options read_output_options(const parfile::option_store& store) {
  output_options o;
  if (parfile::option_values v = store.get_option("validation_groups"); v.n >= 0) {
    if (v.n == 0)
      fatal({"OPTION validation_groups needs a file name: lines of a focal level and its group",
             at_line(store.path(), v.line_no)});
    o.validation_groups = v.xc[0];
    say("* Validation groups read from " + o.validation_groups);
  }
  if (store.get_option("print_groups").n >= 0) {
    o.print_groups = true;
    if (o.validation_groups.empty())
      say("Warning: OPTION print_groups without OPTION validation_groups: there are no groups to print");
    else
      say("* Statistics of the validation groups printed after the report");
  }
  if (store.get_option("plots").n >= 0) {
    o.plots = true;
    say("* Plots written as SVG files");
  }
  if (parfile::option_values v = store.get_option("cutoffs"); v.n >= 0) {
    const std::string where = at_line(store.path(), v.line_no);
    if (v.n == 0) fatal({"OPTION cutoffs needs the prefixes of the partial solution files, e.g. OPTION cutoffs cut2019 cut2020", where});
    o.cutoffs.assign(v.xc.begin(), v.xc.begin() + v.n);
    std::string names;
    for (const std::string& p : o.cutoffs) {
      if (!file_exists(p + "_partial") || is_directory(p + "_partial"))
        fatal({"OPTION cutoffs: the partial solution file " + p + "_partial of cut-off " + p + " does not exist", where});
      names += " " + p;
    }
    say("* Cut-offs compared with the whole evaluation:" + names);
  }
  return o;
}

}  // namespace ventrel::validation
