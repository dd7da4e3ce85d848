#include "threads.h"

#if defined(VEMATRIX_MATH_MKL)
#include <mkl_service.h>
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

#else

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
