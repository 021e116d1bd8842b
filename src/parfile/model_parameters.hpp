// The model record of a parameter file: the data layout, the effects, the residual and the
// random (co)variances. Filled once by read_parameter_file and then only read.
#pragma once

#include <string>
#include <vector>

#include "linalg/dense_matrix.hpp"
#include "parfile/random_type.hpp"

namespace ventrel::parfile {

// Numeric values are the family's effect type codes.
enum class effect_type {
  cross_classified = 0,  // type word beginning "cro"
  covariable = 1,        // type word beginning "cov"
};

// One RANDOM_GROUP section: correlated effects sharing a type, a file and a (co)variance matrix.
struct random_group {
  std::vector<int> effects;               // effect numbers (from 1), consecutive; the first leads
  int ncorr = 0;                          // number of correlated effects
  random_type type = random_type::none;   // from RANDOM_TYPE
  std::string file;                       // from FILE (pedigree or user matrix); empty when none
  linalg::dense_matrix g;                 // (co)variances of order ntrait*ncorr, element (i, j)
                                          // being the j-th number of the i-th row in the file
};

// Vectors indexed by effect or trait hold effect k at [k-1] and trait t at [t-1]; the numbers
// stored in them (columns, effect numbers) are counted from 1 as in the file.
struct model_parameters {
  std::string parfile;                       // name of the parameter file
  std::string datafile;                      // name of the data file (checked to exist)
  int ntrait = 0;                            // number of traits
  int neff = 0;                              // number of effects
  std::vector<int> pos_y;                    // [trait] data column of the observation
  std::vector<int> pos_weight;               // [trait] data column of the weight; 0 = no weight
  std::vector<std::vector<int>> pos_eff;     // [effect][trait] column of the level; 0 = missing
  std::vector<int> nlev;                     // [effect] number of levels
  std::vector<effect_type> effecttype;       // [effect] cross-classified or covariable
  std::vector<std::vector<int>> nestedcov;   // [effect][trait] column of the factor a covariable
                                             // is nested within; 0 = not nested
  linalg::dense_matrix r;                    // residual (co)variances, ntrait x ntrait
  int nrgroup_expected = 0;                  // RANDOM_GROUP lines before the first OPTION line
  std::vector<random_group> groups;          // the random groups in file order

  int nrgroup() const { return static_cast<int>(groups.size()); }
};

// The group that holds effect k (from 1), or nullptr for a fixed effect.
const random_group* group_of(const model_parameters& m, int k);
// The random type of effect k; random_type::none for a fixed effect.
random_type randomtype(const model_parameters& m, int k);
// The FILE of effect k's group; empty when none or for a fixed effect.
const std::string& randomfile(const model_parameters& m, int k);

}  // namespace ventrel::parfile
