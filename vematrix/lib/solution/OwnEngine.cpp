#include "DirectEngine.h"

namespace Vessa {
namespace Matrix {

std::shared_ptr<DirectEngine> MakeOwnEngine() {
  return nullptr;
}

}  // namespace Matrix
}  // namespace Vessa
