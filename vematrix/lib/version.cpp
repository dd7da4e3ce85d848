#include "version.h"

namespace Vessa {
namespace Matrix {

const char* Version() noexcept {
  return VEMATRIX_VERSION;
}

}  // namespace Matrix
}  // namespace Vessa
