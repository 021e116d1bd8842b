// Inbreeding by the recursive tabular method, with selfing generations and metafounders.
#include <cmath>
#include <cstdint>
#include <vector>

#include "common/console.hpp"
#include "pedigree/inbreeding_kernels.hpp"

namespace ventrel::pedigree::detail {
namespace {

// Open-addressing table of computed relationships, keyed by the pair of codes (older, younger).
class pair_table {
 public:
  explicit pair_table(std::size_t capacity = 1u << 16) { reset(capacity); }
  std::size_t size() const { return used_; }
  void clear() { reset(1u << 16); }
  const double* find(std::uint64_t key) const {
    for (std::size_t h = slot(key);; h = (h + 1) & mask_) {
      if (keys_[h] == key) return &vals_[h];
      if (keys_[h] == 0) return nullptr;
    }
  }
  void insert(std::uint64_t key, double v) {
    if (2 * (used_ + 1) > keys_.size()) grow();
    std::size_t h = slot(key);
    while (keys_[h] != 0 && keys_[h] != key) h = (h + 1) & mask_;
    if (keys_[h] == 0) ++used_;
    keys_[h] = key;
    vals_[h] = v;
  }

 private:
  std::size_t slot(std::uint64_t key) const {
    return static_cast<std::size_t>((key * 0x9E3779B97F4A7C15ull) >> 20) & mask_;
  }
  void reset(std::size_t capacity) {
    keys_.assign(capacity, 0);
    vals_.assign(capacity, 0.0);
    mask_ = capacity - 1;
    used_ = 0;
  }
  void grow() {
    std::vector<std::uint64_t> k = std::move(keys_);
    std::vector<double> v = std::move(vals_);
    reset(k.size() * 2);
    for (std::size_t i = 0; i < k.size(); ++i)
      if (k[i] != 0) insert(k[i], v[i]);
  }
  std::vector<std::uint64_t> keys_;
  std::vector<double> vals_;
  std::size_t mask_ = 0;
  std::size_t used_ = 0;
};

// Relationships are kept between animal-table clears up to this many pairs.
constexpr std::size_t kept_pairs = std::size_t{1} << 24;

}  // namespace

// The tabular rules applied recursively, computing only the elements that are asked for:
// F(i) = A(s,d)/2, A(x,x) = 1 + F(x), and for x older than y (metafounders are older than every
// animal) A(x,y) = (A(x,s(y)) + A(x,d(y)))/2, A(x,unknown) = 0, A between metafounders = Gamma.
// Computed elements are remembered (up to kept_pairs between animals) and the recursion runs on
// an explicit stack, so deep pedigrees cannot overflow the call stack.
// Selfing: an animal with s generations of selfing after its birth from parents with A(s,d) has
// F = 1 - (1 - A(s,d)/2) / 2^s; its relationships with other animals are those before selfing,
// which the recursion gives unchanged, and its own 1 + F enters its progeny's relationships.
// Cost: the number of distinct elements the recursion reaches, which grows fast with the depth
// of the pedigree.
void inbreeding_recursive_tabular(const pedigree_table& ped, index_t n, const group_info& groups,
                                  const std::vector<index_t>& selfing, std::vector<double>& f) {
  const std::size_t un = static_cast<std::size_t>(n);
  f.assign(un + static_cast<std::size_t>(groups.nupg) + 1, 0.0);
  pair_table memo;
  // Codes ordered by age: metafounders first (rank below every animal), then positions.
  auto older = [n](index_t a, index_t b) {  // whether a is older than b (both known)
    const bool ma = a > n, mb = b > n;
    if (ma != mb) return ma;
    return a < b;
  };
  auto key = [](index_t o, index_t y) {
    return (static_cast<std::uint64_t>(o) << 32) | static_cast<std::uint32_t>(y);
  };
  // The value when it needs no recursion or is remembered; false otherwise. (o, y) normalised.
  auto known = [&](index_t a, index_t b, double& v) -> bool {
    if (a == 0 || b == 0) {
      v = 0.0;
      return true;
    }
    if (a > n && b > n) {
      v = gamma_of(groups, n, a, b);
      return true;
    }
    if (a == b) {
      v = 1.0 + f[static_cast<std::size_t>(a)];
      return true;
    }
    const index_t o = older(a, b) ? a : b, y = older(a, b) ? b : a;
    if (const double* p = memo.find(key(o, y))) {
      v = *p;
      return true;
    }
    return false;
  };
  struct frame {
    index_t o, y;
  };
  std::vector<frame> stack;
  auto relationship = [&](index_t a, index_t b) -> double {
    double v = 0.0;
    if (known(a, b, v)) return v;
    stack.push_back(older(a, b) ? frame{a, b} : frame{b, a});
    while (!stack.empty()) {
      const frame fr = stack.back();
      const parents& py = ped[static_cast<std::size_t>(fr.y)];
      double v1 = 0.0, v2 = 0.0;
      const bool k1 = known(fr.o, py.sire, v1);
      const bool k2 = known(fr.o, py.dam, v2);
      if (k1 && k2) {
        v = 0.5 * (v1 + v2);
        memo.insert(key(fr.o, fr.y), v);
        stack.pop_back();
        continue;
      }
      if (!k1) stack.push_back(older(fr.o, py.sire) ? frame{fr.o, py.sire} : frame{py.sire, fr.o});
      if (!k2) stack.push_back(older(fr.o, py.dam) ? frame{fr.o, py.dam} : frame{py.dam, fr.o});
    }
    return v;
  };
  progress shown("inbreeding (recursive tabular)", n);
  for (index_t i = 1; i <= n; ++i) {
    if ((i & 1023) == 0) shown.update(i);
    const parents& p = ped[static_cast<std::size_t>(i)];
    double fi = 0.5 * relationship(p.sire, p.dam);
    if (!selfing.empty()) {
      const index_t s = selfing[static_cast<std::size_t>(i)];
      if (s > 0) fi = 1.0 - (1.0 - fi) * std::ldexp(1.0, -s);
    }
    f[static_cast<std::size_t>(i)] = fi;
    if (memo.size() > kept_pairs) memo.clear();
  }
}

}  // namespace ventrel::pedigree::detail
