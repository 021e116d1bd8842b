// Per-effect lookups in the model record.
#include "parfile/model_parameters.hpp"

#include <algorithm>

namespace ventrel::parfile {

const random_group* group_of(const model_parameters& m, int k) {
  for (const random_group& g : m.groups)
    if (std::find(g.effects.begin(), g.effects.end(), k) != g.effects.end()) return &g;
  return nullptr;
}

random_type randomtype(const model_parameters& m, int k) {
  const random_group* g = group_of(m, k);
  return g ? g->type : random_type::none;
}

const std::string& randomfile(const model_parameters& m, int k) {
  static const std::string none;
  const random_group* g = group_of(m, k);
  return g ? g->file : none;
}

}  // namespace ventrel::parfile
