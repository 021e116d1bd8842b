// Inside morlo90: the call in hand, with its entry's name for messages and the matrix view.
#pragma once

#include <string>
#include <vector>

#include "sparse/morlo90.hpp"
#include "sparse/upper_csr.hpp"

namespace ventrel::sparse {

struct morlo90::entry {
  std::string name;                     // "MORLO90" or "MORLO90_IA8"
  bool ia8 = false;                     // 64-bit row pointers
  upper_csr view;                       // the matrix
  std::vector<std::int64_t> pointers;   // 64-bit copy of 32-bit row pointers
  bool consistent = false;              // sizes agree: ia has n+1, ja and a have ia(n+1)-1

  template <class Ptr>
  entry(basic_ija<Ptr>& m, bool wide) : name(wide ? "MORLO90_IA8" : "MORLO90"), ia8(wide) {
    consistent = m.n >= 1 && m.ia.size() == static_cast<std::size_t>(m.n) + 1 &&
                 m.a.size() == m.ja.size() &&
                 static_cast<std::int64_t>(m.ia.back()) - 1 == static_cast<std::int64_t>(m.ja.size());
    if (m.n >= 1 && m.ia.size() == static_cast<std::size_t>(m.n) + 1) {
      view = view_of(m, pointers);
    } else {
      view.n = m.n;  // not usable: the checks stop before it is read
    }
  }
};

}  // namespace ventrel::sparse
