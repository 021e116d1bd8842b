// Fuzz target: the parameter-file reader, its OPTION store and the option readers built on it
// (validation and genomic options), then the printout of the model.
#include <omp.h>

#include "common/fatal.hpp"
#include "fuzz_input.hpp"
#include "genomic/options.hpp"
#include "parfile/print_parameters.hpp"
#include "parfile/read_parameter_file.hpp"
#include "validation/heritability.hpp"
#include "validation/options.hpp"

namespace {

using namespace ventrel;

const char* const keys[] = {"validation", "predictive_ability", "prefix", "focal_var", "se",
                            "readHInverse", "inbreeding_method", "use_kelp", "msg_MORLO",
                            "num_threads_kelp", "ReadExternalInbreeding", "nrepboot", "nthreads",
                            "SNP_file", "whichH", "metafounders_gamma", "", "OPTION", "a"};

void query_options(const parfile::option_store& store) {
  for (const char* key : keys) {
    parfile::option_values v = store.get_option(key);
    VENTREL_FUZZ_CHECK(v.n >= -1 && v.n <= 1001);
    VENTREL_FUZZ_CHECK(v.n < 0 || (v.xc.size() == static_cast<std::size_t>(v.n) && v.x.size() == v.xc.size()));
    // Every further line of the same option, as a repeated option is collected.
    for (int k = 0; k < 8 && store.get_option(key, true).n >= 0; ++k) {
    }
  }
  try {
    store.get_exclusive_options("se", "nrepboot");
  } catch (const fatal_error&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::silence_console();
  omp_set_num_threads(1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string path = fuzz::write_input("parfile", data, size);
  try {
    const parfile::parameter_file pf = parfile::read_parameter_file(path, 0);
    const parfile::model_parameters& m = pf.model;
    VENTREL_FUZZ_CHECK(m.ntrait >= 1 && m.neff >= 1);
    VENTREL_FUZZ_CHECK(static_cast<int>(m.nlev.size()) == m.neff && m.r.rows == m.ntrait);
    query_options(pf.options);
    try {
      parfile::print_parameters(m);
    } catch (const fatal_error&) {
    }
    try {
      const validation::validation_options opt = validation::read_validation_options(pf.options, m);
      // Zero or negative variances give odd or non-finite heritabilities, printed as they are.
      const std::vector<double> h2 = validation::get_h2(m, opt.focal_effect);
      VENTREL_FUZZ_CHECK(h2.size() == static_cast<std::size_t>(m.ntrait));
    } catch (const fatal_error&) {
    }
    genomic::read_genomic_options(pf.options);
  } catch (const fatal_error&) {
    // A stop is a valid outcome for a bad file.
  }
  return 0;
}
