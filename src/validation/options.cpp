// Reading, echo and checks of the validation OPTIONs.
#include "validation/options.hpp"

#include <algorithm>
#include <climits>
#include <cmath>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "common/freeformat.hpp"
#include "statistics/ebv_pev_files.hpp"
#include "validation/yhat_residual.hpp"

namespace ventrel::validation {

namespace {

using parfile::option_values;

// An echo line: the fixed text, then the item, a blank between them unless the text ends in one.
void echo(std::string_view text, std::string_view item) {
  std::string line(text);
  if (!line.empty() && line.back() != ' ') line += ' ';
  say(line + std::string(item));
}

// Bounds of counts that size memory or threads, so that no number in the file can make the run
// allocate without bound: replicates take 40 bytes each (10^7 of them 400 MB), and a thread
// count far beyond any machine would only fail inside the thread runtime.
constexpr int max_nrepboot = 10000000;
constexpr int max_threads = 1024;

// Where an OPTION line is, for the last line of its messages.
std::string place(const parfile::option_store& store, const option_values& v) {
  return at_line(store.path(), v.line_no);
}

// The first value of an option as a whole number from min to max; stops otherwise.
int whole_number(const parfile::option_store& store, const option_values& v, std::string_view key,
                 int min = INT_MIN, int max = INT_MAX) {
  const std::string opt = "OPTION " + std::string(key);
  const std::string where = place(store, v);
  if (v.n < 1) fatal({opt + " needs a value", where});
  int k = 0;
  if (!parse_int(v.xc[0], k)) fatal({opt + " needs a whole number, found: " + excerpt(v.xc[0]), where});
  if (k < min) fatal({opt + " must be at least " + num(min) + ", found: " + v.xc[0], where});
  if (k > max) fatal({opt + " must be at most " + num(max) + ", found: " + v.xc[0], where});
  return k;
}

void read_validation(const parfile::option_store& store, const parfile::model_parameters& model,
                     validation_options& o) {
  const option_values v = store.get_option("validation");
  if (v.n < 0)
    fatal(std::vector<std::string>{"OPTION validation is needed: the effect of the focal individuals and the file(s) of "
           "their levels,",
           "e.g. OPTION validation 2 validation_set.txt", "file " + store.path()});
  if (v.n < 1)
    fatal(std::vector<std::string>{"OPTION validation is needed: the effect of the focal individuals and the file(s) of "
           "their levels,",
           "e.g. OPTION validation 2 validation_set.txt", place(store, v)});
  if (!parse_int(v.xc[0], o.focal_effect) || o.focal_effect < 1 || o.focal_effect > model.neff)
    fatal({"The effect in OPTION validation must be a number from 1 to " + num(model.neff) +
               ", found: " + excerpt(v.xc[0]),
           place(store, v)});
  echo("* Validation for individuals in effect: ", num(o.focal_effect));
  const int nfiles = v.n - 1;
  if (nfiles != 1 && nfiles != model.ntrait)
    fatal({"* Number of files in OPTION validation should be 1 or ntrait: " + num(nfiles), place(store, v)});
  o.validation_files.assign(v.xc.begin() + 1, v.xc.end());
  std::string names;
  for (const std::string& f : o.validation_files) names += (names.empty() ? "" : " ") + f;
  echo("* File(s) containing validation set ids: ", names);
}

void read_focal_var(const parfile::option_store& store, const option_values& v, int ntrait,
                    validation_options& o) {
  if (v.n < 0) return;
  if (v.n == 0) fatal({"OPTION focal_var needs a value: usr followed by the variances, or inb", place(store, v)});
  o.focal_var = v.xc[0].substr(0, 3);
  if (o.focal_var == "inb") return;
  if (o.focal_var != "usr") {
    // The family's programs take any other word and leave the focal variance unset.
    say("Warning: OPTION focal_var " + excerpt(v.xc[0]) +
        " is neither inb nor usr: the genetic variance of the focal animals is taken as 0, and the"
        " reliability is not defined");
    say("         use OPTION focal_var inb (the default) or OPTION focal_var usr with one variance per trait");
    return;
  }
  if (v.n - 1 < ntrait)
    fatal({"OPTION focal_var usr needs " + num(ntrait) + " genetic variance(s), one per trait; found " +
               num(v.n - 1),
           place(store, v)});
  for (int t = 1; t <= ntrait; ++t) {
    double x = 0;
    if (!parse_real(v.xc[t], x) || !(x > 0) || !std::isfinite(x))
      fatal({"OPTION focal_var usr: the genetic variance of trait " + num(t) +
                 " must be a positive number, found: " + excerpt(v.xc[t]),
             place(store, v)});
    o.focal_var_usr.push_back(x);
  }
  say("* Genetic variance of focal animals provided by the user");
}

void read_se(const parfile::option_store& store, const option_values& v, validation_options& o) {
  if (v.n < 0) return;
  if (v.n == 0)
    fatal({"OPTION se needs a second argument:", "  OPTION se exact for exact standard errors",
           "  OPTION se approx for approximated standard errors", "  OPTION se boot for bootstrapping",
           place(store, v)});
  const std::string& m = v.xc[0];
  if (m == "exact") o.se = se_method::exact;
  else if (m == "approx") o.se = se_method::approx;
  else if (m == "boot") o.se = se_method::boot;
  else fatal({"Wrong argument OPTION se", place(store, v) + ": " + excerpt(m)});
  echo("* Method to calculate confidence intervals for statistics: ", m);
  if (o.se == se_method::approx)
    say("    Warning: this option is usually coupled with OPTION prefix sol_and_acc");
}

// The checks made once every key is read, in their fixed order.
void check_files(const validation_options& o, int ntrait) {
  for (const std::string* f : {&o.sol_whole, &o.sol_partial})
    if (!file_exists(*f)) fatal(*f + " must be present");
  if (o.predictive_ability && !file_exists(yhat_residual_file))
    fatal(std::string(yhat_residual_file) + " file must be present");
  if (o.se == se_method::exact)
    for (int t = 1; t <= ntrait; ++t)
      for (statistics::evaluation e : {statistics::evaluation::whole, statistics::evaluation::partial}) {
        const std::string name = statistics::ebv_pev_file_name(t, e);
        if (!file_exists(name))
          fatal({"File " + name + " does not exist",
                 "It is necessary to obtain analytical confidence intervals"});
      }
  if (o.se == se_method::boot && !o.boot_clusters.empty() && o.boot_clusters != "sire" &&
      o.boot_clusters != "dam" && !file_exists(o.boot_clusters))
    fatal({"File " + o.boot_clusters + " of OPTION boot_clusters does not exist",
           "Give sire, dam or a file of lines: level cluster"});
  if (o.se == se_method::approx) {
    if (!file_exists(o.sol_whole))
      say("Warning: usually sol_and_acc_whole should be present when using OPTION se approx");
    if (!file_exists(o.sol_partial))
      say("Warning: usually sol_and_acc_partial should be present when using OPTION se approx");
  }
}

}  // namespace

const char* se_method_name(se_method m) {
  switch (m) {
    case se_method::exact: return "exact";
    case se_method::approx: return "approx";
    case se_method::boot: return "boot";
    case se_method::none: break;
  }
  return "";
}

validation_options read_validation_options(const parfile::option_store& store,
                                           const parfile::model_parameters& model) {
  validation_options o;
  read_validation(store, model, o);

  if (store.get_option("predictive_ability").n >= 0) {
    o.predictive_ability = true;
    say("* Calculate predictive ability from yhat_residual");
  }

  if (option_values v = store.get_option("prefix"); v.n >= 0) {
    if (v.n == 0) fatal({"OPTION prefix needs a name", place(store, v)});
    o.sol_whole = v.xc[0] + "_whole";
    o.sol_partial = v.xc[0] + "_partial";
    say("* Solutions read from " + o.sol_whole + " and " + o.sol_partial);
  }

  read_focal_var(store, store.get_option("focal_var"), model.ntrait, o);
  read_se(store, store.get_option("se"), o);

  if (option_values v = store.get_option("readHInverse"); v.n >= 0) {
    o.read_hinverse = true;
    if (v.n > 0) o.hinverse_file = v.xc[0];
    echo("* Read H inverse from file:", o.hinverse_file);
  }
  if (option_values v = store.get_option("inbreeding_method"); v.n >= 0) {
    o.inbreeding_method = whole_number(store, v, "inbreeding_method");
    echo(" * Inbreeding method (default 1)", num(o.inbreeding_method));
  }
  if (store.get_option("use_kelp").n >= 0) {
    say("* sparse package: KELP");
  }
  if (option_values v = store.get_option("msg_MORLO"); v.n >= 0) {
    o.msg_morlo = whole_number(store, v, "msg_MORLO");
    echo("* message level in MORLO/KELP (default:0)", num(o.msg_morlo));
  }
  if (option_values v = store.get_option("num_threads_kelp"); v.n >= 0) {
    const int k = whole_number(store, v, "num_threads_kelp", INT_MIN, max_threads);
    o.num_threads_kelp = std::max(k, 1);
    echo(" * number of threads for KELP: ", num(k));
  }
  if (option_values v = store.get_option("ReadExternalInbreeding"); v.n >= 0) {
    o.read_external_inbreeding = true;
    if (v.n > 0) o.inbreeding_file = v.xc[0];
    say("* Read external ibreeding file (default=.false.)");
    echo(" * Inbreeding coefficients file: ", o.inbreeding_file);
  }
  if (option_values v = store.get_option("nrepboot"); v.n >= 0) {
    o.nrepboot = whole_number(store, v, "nrepboot", 1, max_nrepboot);
    echo("* Number of bootstrap replicates (default:10000)", num(o.nrepboot));
  }
  if (option_values v = store.get_option("nthreads"); v.n >= 0) {
    o.nthreads = whole_number(store, v, "nthreads", 1, max_threads);
    echo(" * Set number of threads calculations: ", num(o.nthreads));
  }
  if (option_values v = store.get_option("self_generations"); v.n >= 1) o.self_generations_file = v.xc[0];

  if (option_values v = store.get_option("boot_clusters"); v.n >= 0) {
    if (v.n == 0)
      fatal({"OPTION boot_clusters needs sire, dam or the name of a file of lines: level cluster",
             place(store, v)});
    o.boot_clusters = v.xc[0];
    echo("* Bootstrap resamples clusters of focal animals:", o.boot_clusters);
    if (o.se != se_method::boot) say("Warning: OPTION boot_clusters is used only with OPTION se boot");
  }

  check_files(o, model.ntrait);
  return o;
}

}  // namespace ventrel::validation
