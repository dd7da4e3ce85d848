#include "SkylineSweep.h"

#include <algorithm>
#include <vector>

#include "../math/large_memory.h"

namespace Vessa {
namespace Matrix {
namespace skyline {

namespace {

/// The vectors of a row-major n × count array as the block sweeps want them, the last few copied out.
class Grouped {
public:
  Grouped(double* x, int n, int count, int lanes)
      : m_x(x), m_n(n), m_count(count), m_lanes(lanes), m_whole(count / lanes) {
    if (count % lanes != 0) m_rest.assign(static_cast<std::size_t>(n) * lanes, 0.0);
    CopyRest([](double& rest, double& element) { rest = element; });
  }
  VectorBlock View() { return {m_x, m_count, m_whole, m_rest.empty() ? nullptr : m_rest.data()}; }
  void PutBack() {
    CopyRest([](double& rest, double& element) { element = rest; });
  }

private:
  template <class Copy>
  void CopyRest(Copy copy) {
    for (int i = 0; i < m_n; ++i)
      for (int c = m_whole * m_lanes; c < m_count; ++c)
        copy(m_rest[static_cast<std::size_t>(i) * m_lanes + (c - m_whole * m_lanes)],
             m_x[static_cast<std::size_t>(i) * m_count + c]);
  }

  double* m_x;
  int m_n, m_count, m_lanes, m_whole;
  std::vector<double> m_rest;
};

/// Row j of a block divided by, or multiplied with, the diagonal of column j.
template <class Operation>
void ForDiagonal(const double* value, const int* end, int n, double* x, int count, Operation operation) {
  for (int j = 1; j <= n; ++j) {
    const double diagonal = value[end[j - 1]];
    double* row = x + static_cast<std::size_t>(j - 1) * count;
    for (int c = 0; c < count; ++c) row[c] = operation(row[c], diagonal);
  }
}

double Divide(double x, double d) {
  return x / d;
}
double Times(double x, double d) {
  return x * d;
}

}  // namespace

void Solve(const double* value, const int* end, int n, double* x, const SweepKernels& kernels) {
  std::vector<double> u(x, x + n);
  std::reverse(u.begin(), u.end());
  kernels.forward(value, end, n, u.data());
  for (int j = 1; j <= n; ++j) u[n - j] /= value[end[j - 1]];
  kernels.backward(value, end, n, u.data());
  std::reverse_copy(u.begin(), u.end(), x);
}

void SolveBlock(const double* value, const int* end, int n, double* x, int count,
                const SweepKernels& kernels) {
  Grouped u(x, n, count, kernels.lanes);
  kernels.blockForward(value, end, n, u.View());
  u.PutBack();
  ForDiagonal(value, end, n, x, count, Divide);
  Grouped scaled(x, n, count, kernels.lanes);
  kernels.blockBackward(value, end, n, scaled.View());
  scaled.PutBack();
}

void MultiplyAssembled(const double* value, const int* end, int n, const double* x, double* y,
                       const SweepKernels& kernels) {
  math::LargeArray u(n), v(n);  // both begin a cache line
  std::reverse_copy(x, x + n, u.Data());
  std::fill_n(v.Data(), n, 0.0);
  kernels.product(value, end, n, u.Data(), v.Data());
  std::reverse_copy(v.Data(), v.Data() + n, y);
}

void MultiplyReduced(const double* value, const int* end, int n, const double* x, double* y,
                     const SweepKernels& kernels) {
  std::vector<double> u(x, x + n);
  std::reverse(u.begin(), u.end());
  std::vector<double> v(u);
  kernels.spread(value, end, n, u.data(), v.data());
  for (int j = 1; j <= n; ++j) v[n - j] *= value[end[j - 1]];
  kernels.gather(value, end, n, v.data());
  std::reverse_copy(v.begin(), v.end(), y);
}

void MultiplyAssembledBlock(const double* value, const int* end, int n, const double* x, double* y, int count,
                            const SweepKernels& kernels) {
  std::fill_n(y, static_cast<std::size_t>(n) * count, 0.0);
  Grouped from(const_cast<double*>(x), n, count, kernels.lanes);
  Grouped to(y, n, count, kernels.lanes);
  kernels.blockProduct(value, end, n, from.View(), to.View());
  to.PutBack();
}

void MultiplyReducedBlock(const double* value, const int* end, int n, const double* x, double* y, int count,
                          const SweepKernels& kernels) {
  std::copy_n(x, static_cast<std::size_t>(n) * count, y);
  Grouped from(const_cast<double*>(x), n, count, kernels.lanes);
  Grouped to(y, n, count, kernels.lanes);
  kernels.blockSpread(value, end, n, from.View(), to.View());
  to.PutBack();
  ForDiagonal(value, end, n, y, count, Times);
  Grouped scaled(y, n, count, kernels.lanes);
  kernels.blockGather(value, end, n, scaled.View());
  scaled.PutBack();
}

}  // namespace skyline
}  // namespace Matrix
}  // namespace Vessa
