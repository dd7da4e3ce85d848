// The library's own engine. One thread is what method 4 (CCompColumn) runs, two what stands behind Pardiso.
#include <cstring>

#include "Peer.h"
#include "sparse/SymmetricLdlt.h"

namespace {
using namespace Vessa::Matrix::sparse;

class OwnSolver : public bench::DirectSolver {
public:
  void Bind(const bench::SymmetricMatrix& a, int threads) override {
    m_a = &a;
    m_threads = threads;
  }
  void Analyse() override {
    m_solver.Clear();
    Check(m_solver.Analyse(m_a->n, m_a->start.data(), m_a->row.data(), Triangle::Lower, m_threads));
  }
  void Factorize() override {
    Check(m_solver.Factorize(m_a->value.data(), PivotMode::PositiveDefinite, 0.0, m_threads));
  }
  void Solve(const double* b, double* x, int count, bool refine) override {
    if (refine) {
      Check(m_solver.SolveRefined(m_a->value.data(), b, x, count, m_a->n, 2, m_threads));
      return;
    }
    std::memcpy(x, b, sizeof(double) * static_cast<std::size_t>(m_a->n) * static_cast<std::size_t>(count));
    Check(m_solver.Solve(x, count, m_a->n, m_threads));
  }
  bool CanRefine() const override { return true; }
  double FactorTerms() const override { return static_cast<double>(m_solver.Prediction().storedTerms); }
  double Operations() const override { return m_solver.Prediction().operations; }

private:
  void Check(LdltStatus status) const {
    if (status != LdltStatus::Ok) throw std::runtime_error(m_solver.Message());
  }
  const bench::SymmetricMatrix* m_a = nullptr;
  int m_threads = 1;
  SymmetricLdlt m_solver;
};

}  // namespace

int main(int argc, char** argv) {
  OwnSolver solver;
  return bench::RunPeer(argc, argv, solver);
}
