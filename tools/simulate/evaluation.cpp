// BLUP of the simulated data and the prediction error (co)variances read from the inverse.
#include "simulate/evaluation.hpp"

#include <omp.h>

#include "common/fatal.hpp"
#include "simulate/mme_solver.hpp"

namespace ventrel::simulate {

evaluation evaluate(const population& pop, int nanimal, std::span<const char> has_record,
                    const linalg::dense_matrix& g0, const linalg::dense_matrix& r0,
                    const evaluation_request& request) {
  evaluation ev;
  const double t0 = omp_get_wtime();
  mme_system sys = build_mme(pop, nanimal, has_record, g0, r0, request.pec_animals, request.genomic);
  ev.layout = sys.layout;
  const double t1 = omp_get_wtime();
  const bool inverse = request.pev || request.pec_animals.size() > 1;
  ev.sol = solve_mme(sys, inverse, request.engine, request.ordering);
  ev.seconds_build = t1 - t0;
  ev.seconds_solve = omp_get_wtime() - t1;
  const int nt = pop.ntrait;
  const mme_layout& lay = ev.layout;

  // An element (e1, e2) of the inverse, e1 <= e2, from the pattern.
  auto inverse_at = [&](int e1, int e2) {
    if (e1 > e2) std::swap(e1, e2);
    std::int64_t p = sparse::ija_position(sys.lhs, e1, e2);
    if (p < 0) fatal("ventrel-simulate: element of the inverse outside the pattern");
    return sys.lhs.a[static_cast<std::size_t>(p)];
  };
  if (request.pev) {
    ev.pev.resize(static_cast<std::size_t>(nanimal) * static_cast<std::size_t>(nt));
    for (int a = 1; a <= nanimal; ++a) {
      for (int t = 1; t <= nt; ++t) {
        const int e = lay.animal_eq(a, t);
        ev.pev[static_cast<std::size_t>(a - 1) * static_cast<std::size_t>(nt) + static_cast<std::size_t>(t - 1)] =
            sys.lhs.a[static_cast<std::size_t>(sys.lhs.ia[static_cast<std::size_t>(e - 1)] - 1)];
      }
    }
  }
  const std::size_t m = request.pec_animals.size();
  if (m > 1) {
    ev.pec.assign(static_cast<std::size_t>(nt), std::vector<double>(m * (m - 1) / 2));
    for (int t = 1; t <= nt; ++t) {
      std::vector<double>& out = ev.pec[static_cast<std::size_t>(t - 1)];
      std::size_t k = 0;
      for (std::size_t a = 0; a < m; ++a)
        for (std::size_t b = a + 1; b < m; ++b)
          out[k++] = inverse_at(lay.animal_eq(request.pec_animals[a], t), lay.animal_eq(request.pec_animals[b], t));
    }
  }
  return ev;
}

}  // namespace ventrel::simulate
