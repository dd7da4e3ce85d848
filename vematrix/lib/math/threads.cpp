#include "threads.h"

#if defined(VEMATRIX_MATH_MKL)
#include <mkl_service.h>
#if defined(__linux__)
#include <link.h>
#include <sys/resource.h>

#include <cstring>
#include <initializer_list>
#include <limits>

#include "memory_limit.h"
#endif
#else
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>

#include "platform.h"
#endif

namespace Vessa {
namespace Matrix {
namespace math {

#if defined(VEMATRIX_MATH_MKL)

int GetMaxThreads() {
  return MKL_Get_Max_Threads();
}

void SetNumThreads(int count) {
  if (count >= 1) MKL_Set_Num_Threads(count);
}

void SetDynamic(bool on) {
  MKL_Set_Dynamic(on ? 1 : 0);
}

bool IsDynamic() {
  return MKL_Get_Dynamic() != 0;
}

LocalThreads::LocalThreads(int count) : m_before(0), m_set(count >= 1) {
  if (m_set) m_before = MKL_Set_Num_Threads_Local(count);
}

LocalThreads::~LocalThreads() {
  if (m_set) MKL_Set_Num_Threads_Local(m_before);
}

#if defined(__linux__)
namespace {

constexpr std::int64_t kLibraryBytes = 80000000;
constexpr std::int64_t kDefaultStack = 8 << 20;

/// Whether the part of MKL for this processor is loaded (its names are those of the instruction sets).
bool IsLoaded() {
  const auto look = [](dl_phdr_info* object, std::size_t, void*) {
    for (const char* part : {"libmkl_def.", "libmkl_mc", "libmkl_avx"}) {
      if (std::strstr(object->dlpi_name, part) != nullptr) return 1;
    }
    return 0;
  };
  return dl_iterate_phdr(look, nullptr) != 0;
}

}  // namespace

void RequireLibrary() {
  const std::int64_t space = AvailableAddressSpace();
  if (space == std::numeric_limits<std::int64_t>::max() || IsLoaded()) return;
  const std::int64_t wanted = LibraryAddressSpace(0);
  if (wanted > space) throw OutOfMemory(ShortageText("the math library", wanted, space));
}

std::int64_t LibraryAddressSpace(int threads) {
  rlimit stack;
  const bool limited = getrlimit(RLIMIT_STACK, &stack) == 0 && stack.rlim_cur != RLIM_INFINITY;
  const std::int64_t each = limited ? static_cast<std::int64_t>(stack.rlim_cur) : kDefaultStack;
  const int count = threads > 0 ? threads : GetMaxThreads();
  return (count - 1) * (each + (1 << 20)) + (IsLoaded() ? 0 : kLibraryBytes);
}
#else
std::int64_t LibraryAddressSpace(int) {
  return 0;
}
void RequireLibrary() {}
#endif

#else

std::int64_t LibraryAddressSpace(int) {
  return 0;
}

void RequireLibrary() {}

namespace {

int InitialThreads() {
  std::string text;
  if (GetEnvironment("OMP_NUM_THREADS", text)) {
    const long wanted = std::strtol(text.c_str(), nullptr, 10);
    if (wanted >= 1 && wanted <= 4096) return static_cast<int>(wanted);
  }
  return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}

std::atomic<int>& ProcessThreads() {
  static std::atomic<int> count(InitialThreads());
  return count;
}

std::atomic<bool> dynamicThreads(true);
thread_local int localThreads = 0;  // 0: the setting of the process

}  // namespace

int GetMaxThreads() {
  return localThreads > 0 ? localThreads : ProcessThreads().load();
}

void SetNumThreads(int count) {
  if (count >= 1) ProcessThreads() = count;
}

void SetDynamic(bool on) {
  dynamicThreads = on;
}

bool IsDynamic() {
  return dynamicThreads;
}

LocalThreads::LocalThreads(int count) : m_before(localThreads), m_set(count >= 1) {
  if (m_set) localThreads = count;
}

LocalThreads::~LocalThreads() {
  if (m_set) localThreads = m_before;
}

#endif

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
