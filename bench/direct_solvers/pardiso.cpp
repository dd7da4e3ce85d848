// MKL PARDISO, positive definite (mtype 2), parallel nested dissection.
#include <mkl.h>

#include <cstring>

#include "Peer.h"

namespace {

class PardisoSolver : public bench::DirectSolver {
public:
  ~PardisoSolver() override { Release(); }
  void Bind(const bench::SymmetricMatrix& a, int threads) override {
    m_a = &a;
    mkl_set_dynamic(0);
    mkl_set_num_threads(threads);
  }
  void Analyse() override {
    Release();
    std::memset(m_iparm, 0, sizeof m_iparm);
    m_iparm[0] = 1;    // the values below count
    m_iparm[1] = 3;    // parallel nested dissection
    m_iparm[9] = 13;   // pivot perturbation
    m_iparm[10] = 1;   // scaling
    m_iparm[17] = -1;  // report the non-zeros
    m_iparm[18] = -1;  // report the operations
    m_iparm[23] = 1;   // two-level parallel factorisation
    m_iparm[34] = 1;   // indices from zero
    m_held = true;
    Call(11, 1, nullptr, nullptr);
    m_terms = m_iparm[17];
    m_operations = m_iparm[18] * 1e6;
  }
  void Factorize() override { Call(22, 1, nullptr, nullptr); }
  /// Refined as the Pardiso wrapper asks: two steps, [24] = 1; otherwise the fastest: no step, parallel
  /// solve.
  void Solve(const double* b, double* x, int count, bool refine) override {
    m_iparm[7] = refine ? 2 : 0;
    m_iparm[24] = refine ? 1 : 0;
    Call(33, count, const_cast<double*>(b), x);
  }
  bool CanRefine() const override { return true; }
  double FactorTerms() const override { return m_terms; }
  double Operations() const override { return m_operations; }

private:
  void Call(int phase, int count, double* b, double* x) {
    int maxfct = 1, mnum = 1, mtype = 2, n = m_a->n, perm = 0, msglvl = 0, error = 0;
    double none = 0.0;
    pardiso(m_pt, &maxfct, &mnum, &mtype, &phase, &n, const_cast<double*>(m_a->value.data()),
            const_cast<int*>(m_a->start.data()), const_cast<int*>(m_a->row.data()), &perm, &count, m_iparm,
            &msglvl, b ? b : &none, x ? x : &none, &error);
    if (error)
      throw std::runtime_error("PARDISO phase " + std::to_string(phase) + ": error " + std::to_string(error));
  }
  void Release() {
    if (!m_held) return;
    m_held = false;
    Call(-1, 1, nullptr, nullptr);
  }

  const bench::SymmetricMatrix* m_a = nullptr;
  void* m_pt[64] = {};
  int m_iparm[64] = {};
  bool m_held = false;
  double m_terms = 0.0, m_operations = 0.0;
};

}  // namespace

int main(int argc, char** argv) {
  PardisoSolver solver;
  return bench::RunPeer(argc, argv, solver);
}
