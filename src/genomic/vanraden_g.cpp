// G by symmetric rank-k updates over blocks of markers: on the integer genotypes in single
// precision (exact), or on Z in double precision.
#include "genomic/vanraden_g.hpp"

#include <cblas.h>
#include <omp.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "linalg/blas_threads.hpp"
#include "linalg/dense_products.hpp"

namespace ventrel::genomic {
namespace {

constexpr std::int32_t markers_per_block = 2048;         // columns of Z added by one dsyrk
constexpr std::int32_t markers_per_block_single = 4096;  // columns of M0 added by one ssyrk
constexpr std::int64_t max_markers_single = std::int64_t{1} << 22;  // 4 x markers < 2^24
constexpr std::int32_t tile_animals = 256;    // rows of a correction tile (with 4096 markers: 1 MiB)

linalg::dense_matrix g_double(const genotype_table& g, const qc_result& kept, int threads, double scale) {
  const std::int32_t na = static_cast<std::int32_t>(kept.animals.size());
  const std::int32_t nm = static_cast<std::int32_t>(kept.markers.size());
  linalg::dense_matrix gm(na, na);
  linalg::blas_threads blas(threads);
  const std::int32_t nblock = (nm + markers_per_block - 1) / markers_per_block;
  // zt holds Z' for a block of markers: markers by rows, one column per animal, so that every
  // animal's genotypes are gathered into contiguous memory.
  linalg::dense_matrix zt(std::min(nm, markers_per_block), na);
  progress shown("genomic relationships", nblock);
  for (std::int32_t b = 0; b < nblock; ++b) {
    const std::int32_t m0 = b * markers_per_block, m1 = std::min(nm, m0 + markers_per_block);
    const std::int32_t k = m1 - m0;
    if (k != zt.rows) zt = linalg::dense_matrix(k, na);
    const std::int32_t* mk = kept.markers.data() + m0;
    const double* p = kept.p.data() + m0;
#pragma omp parallel for schedule(static) num_threads(threads)
    for (std::int32_t a = 0; a < na; ++a) {
      const std::uint8_t* x = g.row(kept.animals[static_cast<std::size_t>(a)]);
      double* z = zt.a.data() + static_cast<std::size_t>(a) * static_cast<std::size_t>(k);
      for (std::int32_t j = 0; j < k; ++j) {
        const std::uint8_t v = x[mk[j]];
        z[j] = v == missing_genotype ? 0.0 : static_cast<double>(v) - 2.0 * p[j];
      }
    }
    linalg::syrk_lower_add(gm, zt, 1.0 / scale);
    shown.update(b + 1);
  }
  shown.finish();
  linalg::mirror_lower(gm);
  return gm;
}

// The first a.size() floats stored in a's memory become the doubles of a, same order. Halves
// from the top: doubles [lo, hi) are written over bytes [8 lo, 8 hi), at or beyond the floats
// [lo, hi) they come from (hi <= 2 lo), and the floats below lo are untouched; so each half is
// converted in parallel.
void widen_in_place(std::vector<double>& a, int threads) {
  unsigned char* bytes = reinterpret_cast<unsigned char*>(a.data());
  std::size_t hi = a.size();
  while (hi > 1) {
    const std::size_t lo = (hi + 1) / 2;
#pragma omp parallel for schedule(static) num_threads(threads)
    for (std::size_t i = lo; i < hi; ++i) {
      float f;
      std::memcpy(&f, bytes + 4 * i, sizeof f);
      const double d = f;
      std::memcpy(bytes + 8 * i, &d, sizeof d);
    }
    hi = lo;
  }
  if (hi == 1) {
    float f;
    std::memcpy(&f, bytes, sizeof f);
    const double d = f;
    std::memcpy(bytes, &d, sizeof d);
  }
}

std::int64_t count_missing(const genotype_table& g, const qc_result& kept, std::vector<std::int64_t>& start,
                           int threads) {
  const std::int32_t na = static_cast<std::int32_t>(kept.animals.size());
  const std::size_t nm = kept.markers.size();
  start.assign(static_cast<std::size_t>(na) + 1, 0);
#pragma omp parallel for schedule(static) num_threads(threads)
  for (std::int32_t a = 0; a < na; ++a) {
    const std::uint8_t* x = g.row(kept.animals[static_cast<std::size_t>(a)]);
    std::int64_t n = 0;
    for (std::size_t j = 0; j < nm; ++j) n += x[kept.markers[j]] == missing_genotype;
    start[static_cast<std::size_t>(a) + 1] = n;
  }
  for (std::size_t a = 0; a < static_cast<std::size_t>(na); ++a) start[a + 1] += start[a];
  return start.back();
}

// Z Z' from M0 M0' (exact, single precision) and corrections in double. With Z' = M0 - 2 1 p'
// (a missing call taking -2p) and E = Z' - Z (-2p_j at a missing call (k, j), 0 elsewhere),
// Z Z' = Z' Z'' - Z E' - E Z'' = Z' Z'' + W + W' where W = -(Z + Z') E' / 2, whose column k is
// the sum over k's missing markers j of p_j (2 M0[:, j] - 4 p_j + 2 p_j [animal missing j]).
linalg::dense_matrix g_single(const genotype_table& g, const qc_result& kept, int threads, double scale,
                              const std::vector<std::int64_t>& miss_start) {
  const std::int32_t na = static_cast<std::int32_t>(kept.animals.size());
  const std::int32_t nm = static_cast<std::int32_t>(kept.markers.size());
  const std::size_t n = static_cast<std::size_t>(na);
  const std::int64_t nmiss = miss_start.back();
  const std::int32_t nblock = (nm + markers_per_block_single - 1) / markers_per_block_single;
  progress shown("genomic relationships", nmiss > 0 ? 2 * nblock : nblock);

  // The products M0 M0' summed in single precision in G's own memory (its first half), with
  // u = M0 p alongside.
  linalg::dense_matrix gm(na, na);
  std::vector<double> u(n, 0.0);
  {
    linalg::blas_threads blas(threads);
    float* c = reinterpret_cast<float*>(gm.a.data());
    std::vector<float> mt(static_cast<std::size_t>(std::min(nm, markers_per_block_single)) * n);
    for (std::int32_t b = 0; b < nblock; ++b) {
      const std::int32_t m0 = b * markers_per_block_single, m1 = std::min(nm, m0 + markers_per_block_single);
      const std::int32_t k = m1 - m0;
      const std::int32_t* mk = kept.markers.data() + m0;
      const double* p = kept.p.data() + m0;
#pragma omp parallel for schedule(static) num_threads(threads)
      for (std::int32_t a = 0; a < na; ++a) {
        const std::uint8_t* x = g.row(kept.animals[static_cast<std::size_t>(a)]);
        float* z = mt.data() + static_cast<std::size_t>(a) * static_cast<std::size_t>(k);
        double s = 0.0;
        for (std::int32_t j = 0; j < k; ++j) {
          const std::uint8_t v = x[mk[j]];
          z[j] = v == missing_genotype ? 0.0f : static_cast<float>(v);
          s += p[j] * z[j];
        }
        u[static_cast<std::size_t>(a)] += s;
      }
      cblas_ssyrk(CblasColMajor, CblasLower, CblasTrans, na, k, 1.0f, mt.data(), k, 1.0f, c, na);
      shown.update(b + 1);
    }
  }
  widen_in_place(gm.a, threads);

  // The missing calls: markers of each animal (by animal, ascending) and animals of each marker.
  std::vector<double> q(n, 0.0);  // sum of p_j^2 over the animal's missing markers
  if (nmiss > 0) {
    std::vector<std::int32_t> miss_marker(static_cast<std::size_t>(nmiss));
#pragma omp parallel for schedule(static) num_threads(threads)
    for (std::int32_t a = 0; a < na; ++a) {
      const std::uint8_t* x = g.row(kept.animals[static_cast<std::size_t>(a)]);
      std::int64_t t = miss_start[static_cast<std::size_t>(a)];
      double s = 0.0;
      for (std::int32_t j = 0; j < nm; ++j)
        if (x[kept.markers[static_cast<std::size_t>(j)]] == missing_genotype) {
          miss_marker[static_cast<std::size_t>(t++)] = j;
          s += kept.p[static_cast<std::size_t>(j)] * kept.p[static_cast<std::size_t>(j)];
        }
      q[static_cast<std::size_t>(a)] = s;
    }
    std::vector<std::int64_t> by_marker(static_cast<std::size_t>(nm) + 1, 0);
    for (std::int32_t j : miss_marker) ++by_marker[static_cast<std::size_t>(j) + 1];
    for (std::size_t j = 0; j < static_cast<std::size_t>(nm); ++j) by_marker[j + 1] += by_marker[j];
    std::vector<std::int32_t> miss_animal(static_cast<std::size_t>(nmiss));
    {
      std::vector<std::int64_t> fill(by_marker.begin(), by_marker.end() - 1);
      for (std::int32_t a = 0; a < na; ++a)
        for (std::int64_t t = miss_start[static_cast<std::size_t>(a)]; t < miss_start[static_cast<std::size_t>(a) + 1];
             ++t)
          miss_animal[static_cast<std::size_t>(fill[static_cast<std::size_t>(miss_marker[static_cast<std::size_t>(t)])]++)] = a;
    }

    // W's terms 2 p_j M0[:, j], by tiles of animals x markers gathered by marker: a thread owns
    // the rows of its tile, all columns k.
    std::vector<std::int64_t> to(miss_start.begin(), miss_start.end() - 1), from(n);
    const std::int32_t ntiles = (na + tile_animals - 1) / tile_animals;
    for (std::int32_t b = 0; b < nblock; ++b) {
      const std::int32_t m0 = b * markers_per_block_single, m1 = std::min(nm, m0 + markers_per_block_single);
      const std::int32_t k = m1 - m0;
      for (std::size_t a = 0; a < n; ++a) {
        std::int64_t t = from[a] = to[a];
        while (t < miss_start[a + 1] && miss_marker[static_cast<std::size_t>(t)] < m1) ++t;
        to[a] = t;
      }
#pragma omp parallel num_threads(threads)
      {
        std::vector<std::uint8_t> tile(static_cast<std::size_t>(tile_animals) * static_cast<std::size_t>(k));
#pragma omp for schedule(dynamic, 1)
        for (std::int32_t r = 0; r < ntiles; ++r) {
          const std::int32_t r0 = r * tile_animals, rn = std::min(na, r0 + tile_animals) - r0;
          for (std::int32_t i = 0; i < rn; ++i) {
            const std::uint8_t* x = g.row(kept.animals[static_cast<std::size_t>(r0 + i)]);
            for (std::int32_t j = 0; j < k; ++j) {
              const std::uint8_t v = x[kept.markers[static_cast<std::size_t>(m0 + j)]];
              tile[static_cast<std::size_t>(i) + static_cast<std::size_t>(j) * tile_animals] =
                  v == missing_genotype ? 0 : v;
            }
          }
          for (std::size_t a = 0; a < n; ++a)
            for (std::int64_t t = from[a]; t < to[a]; ++t) {
              const std::int32_t j = miss_marker[static_cast<std::size_t>(t)];
              const double w = 2.0 * kept.p[static_cast<std::size_t>(j)];
              const std::uint8_t* col = tile.data() + static_cast<std::size_t>(j - m0) * tile_animals;
              double* dst = gm.a.data() + a * n + static_cast<std::size_t>(r0);
              for (std::int32_t i = 0; i < rn; ++i) dst[i] += w * col[i];
            }
        }
      }
      shown.update(nblock + b + 1);
    }

    // W's terms 2 p_j^2 for each other animal missing marker j: a thread owns column k.
#pragma omp parallel for schedule(dynamic, 64) num_threads(threads)
    for (std::int32_t a = 0; a < na; ++a) {
      double* dst = gm.a.data() + static_cast<std::size_t>(a) * n;
      for (std::int64_t t = miss_start[static_cast<std::size_t>(a)]; t < miss_start[static_cast<std::size_t>(a) + 1];
           ++t) {
        const std::int32_t j = miss_marker[static_cast<std::size_t>(t)];
        const double w = 2.0 * kept.p[static_cast<std::size_t>(j)] * kept.p[static_cast<std::size_t>(j)];
        for (std::int64_t s = by_marker[static_cast<std::size_t>(j)]; s < by_marker[static_cast<std::size_t>(j) + 1];
             ++s)
          if (miss_animal[static_cast<std::size_t>(s)] != a) dst[miss_animal[static_cast<std::size_t>(s)]] += w;
      }
    }
  }
  shown.finish();

  // G(i, k) = (M0 M0' + W + W')(i, k) - 4 q_i - 4 q_k - 2 u_i - 2 u_k + 4 p'p, over the scale;
  // W(k, k) = -2 q_k. The lower triangle holds M0 M0' + W, the strict upper one W'.
  double pp = 0.0;
  for (double v : kept.p) pp += v * v;
  const double inv = 1.0 / scale;
  constexpr int bs = 64;
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads)
  for (int jb = 0; jb < na; jb += bs)
    for (int ib = jb; ib < na; ib += bs)
      for (int j = jb; j < std::min(na, jb + bs); ++j) {
        const double cj = 4.0 * pp - 4.0 * q[static_cast<std::size_t>(j)] - 2.0 * u[static_cast<std::size_t>(j)];
        for (int i = std::max(ib, j); i < std::min(na, ib + bs); ++i) {
          double v;
          if (i == j) {
            v = gm(j, j) - 4.0 * q[static_cast<std::size_t>(j)] - 4.0 * u[static_cast<std::size_t>(j)] + 4.0 * pp;
          } else {
            v = gm(i, j) + gm(j, i) + cj - 4.0 * q[static_cast<std::size_t>(i)] - 2.0 * u[static_cast<std::size_t>(i)];
          }
          gm(i, j) = gm(j, i) = v * inv;
        }
      }
  return gm;
}

}  // namespace

g_products g_products_for(std::int64_t animals, std::int64_t markers, std::int64_t missing) {
  if (markers >= max_markers_single) return g_products::double_precision;
  if (static_cast<double>(missing) > max_missing_share_single * static_cast<double>(animals) * static_cast<double>(markers))
    return g_products::double_precision;
  return g_products::integer_single;
}

linalg::dense_matrix vanraden_g(const genotype_table& g, const qc_result& kept, int nthreads, g_products way) {
  const std::int32_t na = static_cast<std::int32_t>(kept.animals.size());
  const std::int32_t nm = static_cast<std::int32_t>(kept.markers.size());
  if (na == 0 || nm == 0) fatal({"G needs at least one animal and one marker after quality control"});
  const int threads = nthreads > 0 ? nthreads : omp_get_max_threads();
  double scale = 0.0;
  for (double p : kept.p) scale += 2.0 * p * (1.0 - p);
  if (way == g_products::double_precision) return g_double(g, kept, threads, scale);
  std::vector<std::int64_t> miss_start;
  const std::int64_t nmiss = count_missing(g, kept, miss_start, threads);
  if (way == g_products::automatic) way = g_products_for(na, nm, nmiss);
  if (way == g_products::integer_single && nm < max_markers_single)
    return g_single(g, kept, threads, scale, miss_start);
  return g_double(g, kept, threads, scale);
}

}  // namespace ventrel::genomic
