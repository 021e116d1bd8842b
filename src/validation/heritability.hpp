// Heritabilities and the genetic variance of the validated effect, from the parameter file.
#pragma once

#include <vector>

#include "parfile/model_parameters.hpp"

namespace ventrel::validation {

// The (co)variance matrix position of effect k for trait i (both from 1) inside its random
// group's matrix: effects in group order, traits within each effect.
int group_position(const parfile::random_group& g, int effect, int trait, int ntrait);

// Genetic variance of the validated effect for every trait (trait t at t-1): the diagonal
// element of its group's matrix. Stops when the effect is in no random group. A variance that is
// not positive is returned as it is (the statistics that divide by it come out non-finite).
std::vector<double> genetic_variances(const parfile::model_parameters& m, int effect);

// h2 of every trait: the genetic variance of the validated effect over the sum of the diagonal
// (trait i) elements of every effect of every random group plus the residual variance. Stops
// when that sum is not a finite number. Zero or negative variances are not stopped: the matrix
// was reported when the parameters were printed, and h2 outside (0, 1] is printed as it is.
std::vector<double> get_h2(const parfile::model_parameters& m, int effect);

}  // namespace ventrel::validation
