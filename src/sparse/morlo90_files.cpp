// morlo90 tasks that write or read files ("savem", "loadm", "savef", "loadf", "dump") and the
// statistics block. Files are Fortran unformatted sequential: every record framed by its
// length in bytes as a 4-byte integer before and after it.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "common/console.hpp"
#include "common/fatal.hpp"
#include "common/format.hpp"
#include "sparse/morlo90.hpp"
#include "sparse/morlo90_entry.hpp"

namespace ventrel::sparse {
namespace {

constexpr const char* ordering_file = "morlo90.ord";
constexpr const char* factor_file = "morlo90.fac";

class record_writer {
 public:
  explicit record_writer(const std::string& path) : path_(path), f_(std::fopen(path.c_str(), "wb")) {
    if (!f_) fatal("MORLO90: cannot write file " + path);
  }
  ~record_writer() {
    if (f_) std::fclose(f_);
  }
  record_writer(const record_writer&) = delete;
  record_writer& operator=(const record_writer&) = delete;

  void write(const void* data, std::size_t bytes) {
    if (bytes > 0x7fffffffu) fatal("MORLO90: record too long for file " + path_);
    const std::int32_t len = static_cast<std::int32_t>(bytes);
    bool ok = std::fwrite(&len, 4, 1, f_) == 1 && (bytes == 0 || std::fwrite(data, 1, bytes, f_) == bytes) &&
              std::fwrite(&len, 4, 1, f_) == 1;
    if (!ok) fatal("MORLO90: cannot write file " + path_);
  }
  template <class T>
  void write(const std::vector<T>& v) { write(v.data(), v.size() * sizeof(T)); }
  void close() {
    if (std::fclose(f_) != 0) fatal("MORLO90: cannot write file " + path_);
    f_ = nullptr;
  }

 private:
  std::string path_;
  std::FILE* f_;
};

class record_reader {
 public:
  explicit record_reader(const std::string& path) : path_(path), f_(std::fopen(path.c_str(), "rb")) {
    if (!f_) fatal("MORLO90: cannot open file " + path);
  }
  ~record_reader() { std::fclose(f_); }
  record_reader(const record_reader&) = delete;
  record_reader& operator=(const record_reader&) = delete;

  // Reads one record of exactly `bytes` bytes.
  void read(void* data, std::size_t bytes) {
    std::int32_t head = 0, tail = 0;
    bool ok = std::fread(&head, 4, 1, f_) == 1 && static_cast<std::size_t>(head) == bytes &&
              (bytes == 0 || std::fread(data, 1, bytes, f_) == bytes) && std::fread(&tail, 4, 1, f_) == 1 &&
              tail == head;
    if (!ok) fatal("MORLO90: file " + path_ + " is not a file of this matrix or is damaged");
  }
  template <class T>
  void read(std::vector<T>& v, std::size_t count) {
    v.resize(count);
    read(v.data(), count * sizeof(T));
  }

 private:
  std::string path_;
  std::FILE* f_;
};

struct file_header {
  char magic[16] = {};
  std::int64_t n = 0;
  std::int64_t nnz = 0;
};

file_header header_of(const char* magic, std::int64_t n, std::int64_t nnz) {
  file_header h;
  std::memcpy(h.magic, magic, std::strlen(magic));
  h.n = n;
  h.nnz = nnz;
  return h;
}

void read_header(record_reader& r, const char* magic, const std::string& path, std::int64_t n, std::int64_t nnz) {
  file_header h;
  r.read(&h, sizeof h);
  if (std::strncmp(h.magic, magic, sizeof h.magic) != 0)
    fatal("MORLO90: file " + path + " is not a file of this matrix or is damaged");
  if (h.n != n || h.nnz != nnz) fatal("ERR_PARAM: n/=neq.or.nnz/=ia(n+1)-1");
}

}  // namespace

void morlo90::statistics() const {
  if (step_ == morlo_step::not_ready) {
    say("NOTE: The sparse matrix is not loaded to the internal storage.");
    return;
  }
  const bool numeric_done = step_ == morlo_step::numeric;
  std::int64_t lnz = 0, storage = 0;
  if (simplicial()) {
    if (step_ >= morlo_step::symbolic) lnz = ldl_factor_nnz(ldl_);
    storage = morlo_storage_;
  } else if (kelp_) {
    lnz = kelp_->factor_nnz();
    storage = kelp_->storage();
  }
  auto line = [](const char* label, std::int64_t v) { say(label + fmt_i(v, 12)); };
  say("SPARSE STATISTICS");
  line("DIMENSION OF MATRIX     =", neq_);
  line("RANK                    =", numeric_done ? neq_ : 0);
  line("STORAGE AVAILABLE       =", storage);
  line("MAXIMUM NEEDED          =", lnz);
  line("NZE IN UPPER TRIANGULAR =", nnz_);
  line("NZE IN FACTOR           =", lnz);
  line("NO. OF CALLS NUM FACT   =", calls_numeric_);
  line("NO. OF CALLS SOLVE      =", calls_solve_);
}

// morlo90.ord: header, then the permutation (from 0, 64-bit).
void morlo90::save_ordering(const entry& e) const {
  std::vector<std::int64_t> perm = simplicial() ? ldl_.perm : kelp_->permutation();
  record_writer w(ordering_file);
  file_header h = header_of("MORLO90 ORD", e.view.n, e.view.nnz);
  w.write(&h, sizeof h);
  w.write(perm);
  w.close();
}

void morlo90::load_ordering(entry& e) {
  if (step_ >= morlo_step::ordered) fatal("ERR_STEP: status>STAT_ORD");
  record_reader r(ordering_file);
  read_header(r, "MORLO90 ORD", ordering_file, e.view.n, e.view.nnz);
  std::vector<std::int64_t> perm;
  r.read(perm, static_cast<std::size_t>(e.view.n));
  simplicial_factor check;
  if (!set_permutation(check, perm)) fatal(std::string("MORLO90: file ") + ordering_file + " is not a file of this matrix or is damaged");
  if (simplicial()) {
    ldl_ = std::move(check);
  } else {
    if (!kelp_) kelp_ = std::make_unique<kelp_factor>();
    kelp_->set_permutation(std::move(perm));
  }
  neq_ = e.view.n;
  nnz_ = e.view.nnz;
  step_ = morlo_step::ordered;
}

// morlo90.fac: header, the permutation, then U = F' in IJA form (ia 64-bit, ja, a): the same
// for both engines, so that either can take it back.
void morlo90::save_factor(const entry& e) const {
  std::vector<std::int64_t> perm = simplicial() ? ldl_.perm : kelp_->permutation();
  ija8_matrix u;
  morlo90_args args;
  args.factija = &u;
  export_fact(e, args);
  record_writer w(factor_file);
  file_header h = header_of("MORLO90 FAC", e.view.n, e.view.nnz);
  w.write(&h, sizeof h);
  w.write(perm);
  std::int64_t nz = u.nnz();
  w.write(&nz, sizeof nz);
  w.write(u.ia);
  w.write(u.ja);
  w.write(u.a);
  w.close();
}

// A factor read back is held as the simplicial one: F's column k gives d_k = F_kk^2 and
// l_ik = F_ik / F_kk.
void morlo90::load_factor(entry& e) {
  record_reader r(factor_file);
  read_header(r, "MORLO90 FAC", factor_file, e.view.n, e.view.nnz);
  const std::size_t n = static_cast<std::size_t>(e.view.n);
  std::vector<std::int64_t> perm;
  r.read(perm, n);
  std::int64_t nz = 0;
  r.read(&nz, sizeof nz);
  ija8_matrix u;
  u.n = e.view.n;
  r.read(u.ia, n + 1);
  r.read(u.ja, static_cast<std::size_t>(nz));
  r.read(u.a, static_cast<std::size_t>(nz));
  const std::string damaged = std::string("MORLO90: file ") + factor_file + " is not a file of this matrix or is damaged";
  reset();
  if (!set_permutation(ldl_, perm) || u.ia[0] != 1 || u.ia[n] != nz + 1) fatal(damaged);
  ldl_.lp.assign(n + 1, 0);
  ldl_.d.assign(n, 0.0);
  ldl_.li.clear();
  ldl_.lx.clear();
  ldl_.parent.assign(n, -1);
  for (std::size_t k = 0; k < n; ++k) {
    const std::int64_t b = u.ia[k] - 1, end = u.ia[k + 1] - 1;
    if (b >= end || u.ja[b] != static_cast<int>(k) + 1 || !(u.a[b] > 0.0)) fatal(damaged);
    const double fkk = u.a[b];
    ldl_.d[k] = fkk * fkk;
    for (std::int64_t p = b + 1; p < end; ++p) {
      if (u.ja[p] <= u.ja[p - 1] || u.ja[p] > static_cast<int>(n)) fatal(damaged);
      ldl_.li.push_back(u.ja[p] - 1);
      ldl_.lx.push_back(u.a[p] / fkk);
    }
    if (end > b + 1) ldl_.parent[k] = u.ja[b + 1] - 1;
    ldl_.lp[k + 1] = static_cast<std::int64_t>(ldl_.li.size());
  }
  ldl_.numeric = true;
  loaded_from_file_ = true;
  neq_ = e.view.n;
  nnz_ = e.view.nnz;
  step_ = morlo_step::numeric;
}

// "xx_ija4.bin" (or "xx_ija8.bin"): n and nnz, then ia, ja and a as the caller holds them.
void morlo90::dump(const entry& e) const {
  const std::string path = e.ia8 ? "xx_ija8.bin" : "xx_ija4.bin";
  const std::int64_t n = e.view.n, nnz = e.view.nnz;
  record_writer w(path);
  if (e.ia8) {
    std::int64_t head[2] = {n, nnz};
    w.write(head, sizeof head);
    w.write(e.view.ia, static_cast<std::size_t>(n + 1) * sizeof(std::int64_t));
  } else {
    std::int32_t head[2] = {static_cast<std::int32_t>(n), static_cast<std::int32_t>(nnz)};
    w.write(head, sizeof head);
    std::vector<std::int32_t> ia(e.view.ia, e.view.ia + n + 1);
    w.write(ia);
  }
  w.write(e.view.ja, static_cast<std::size_t>(nnz) * sizeof(int));
  w.write(e.view.a, static_cast<std::size_t>(nnz) * sizeof(double));
  w.close();
  say(path + " nnz= " + num(nnz) + " size(ija%ia)= " + num(n + 1));
}

}  // namespace ventrel::sparse
