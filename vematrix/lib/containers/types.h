#pragma once
#include <Eigen/Core>
#include <exception>
#include <string>
#if defined(_WIN32)
#ifdef VEMATRIX_BUILD
#define VEMATRIX_API __declspec(dllexport)
#else
#define VEMATRIX_API __declspec(dllimport)
#endif
#else
#define VEMATRIX_API __attribute__((visibility("default")))
#endif
// The build target must export EIGEN_MAX_ALIGN_BYTES=32 as a PUBLIC compile definition.
static_assert(EIGEN_DEFAULT_ALIGN_BYTES % 32 == 0, "compile with -DEIGEN_MAX_ALIGN_BYTES=32");

namespace Vessa {
namespace Matrix {

enum SolMethod : int { SolSkyline = 0, SolNone = 1, SolCompColumn = 4, SolPardiso = 6 };
enum Option : int { OptStiffness = 0, OptSturm = 1 };
enum Phase : int { PhaseHeights = 0, PhaseIndexed = 1, PhaseAssembled = 2, PhaseReduced = 3 };
enum PreConditioner : int {
  PreConditioner0 = 0,
  PreConditioner1 = 1,
  PreConditioner2 = 2
};  // values never read
// PARDISO's own code, unchanged (any other negative code is passed through by static_cast)
enum PardisoError : int {
  PardisoOk = 0,
  PardisoInconsistent = -1,
  PardisoMemory = -2,
  PardisoReordering = -3,
  PardisoZeroPivot = -4,
  PardisoInternal = -5
};

// Derived DIRECTLY from std::exception; only adds the message.
class VEMATRIX_API CMatrixError : public std::exception {
public:
  explicit CMatrixError(const std::string& msg);
  ~CMatrixError() noexcept override;
  const char* what() const noexcept override;

private:
  std::string m_msg;
};
}  // namespace Matrix
}  // namespace Vessa
