#include <stdexcept>

#include "Problem.h"

namespace bench {

bool havePeers() {
  return false;
}
Outcome runArpack(const Problem&, int, double) {
  throw std::logic_error("built without ARPACK and MKL");
}
Outcome runTextbookSubspace(const Problem&, int, double) {
  throw std::logic_error("built without ARPACK and MKL");
}

}  // namespace bench
