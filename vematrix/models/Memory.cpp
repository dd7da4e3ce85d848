#include "models/Memory.h"

#include <unistd.h>

namespace vematrix {
namespace models {

double physicalMemory() {
  const long pages = sysconf(_SC_PHYS_PAGES), size = sysconf(_SC_PAGE_SIZE);
  return pages > 0 && size > 0 ? double(pages) * double(size) : 1e300;
}

}  // namespace models
}  // namespace vematrix
