#pragma once
#include <mkl_pardiso.h>

#include <stdexcept>

#include "Problem.h"

namespace bench {

/// MKL's PARDISO for the peers, at its fastest settings: positive definite, no refinement, parallel solve.
class PeerSolver {
public:
  explicit PeerSolver(const Sparse& K) : m_K(K) {
    m_iparm[0] = 1;
    m_iparm[1] = 3;
    m_iparm[9] = 13;
    m_iparm[23] = 1;
    m_iparm[34] = 1;
    call(11, 1, nullptr, nullptr);
    call(22, 1, nullptr, nullptr);
  }
  ~PeerSolver() { call(-1, 1, nullptr, nullptr); }
  PeerSolver(const PeerSolver&) = delete;
  PeerSolver& operator=(const PeerSolver&) = delete;

  void solve(int columns, const double* b, double* x) { call(33, columns, const_cast<double*>(b), x); }

private:
  void call(int phase, int columns, double* b, double* x) {
    const int one = 1, type = 2, silent = 0, n = int(m_K.cols());
    int error = 0, permutation = 0;
    double dummy = 0.0;
    pardiso(m_handle, &one, &one, &type, &phase, &n, m_K.valuePtr(), m_K.outerIndexPtr(), m_K.innerIndexPtr(),
            &permutation, &columns, m_iparm, &silent, b ? b : &dummy, x ? x : &dummy, &error);
    if (error != 0 && phase != -1) throw std::runtime_error("PARDISO error " + std::to_string(error));
  }

  const Sparse& m_K;
  void* m_handle[64] = {};
  int m_iparm[64] = {};
};

}  // namespace bench
