// CHOLMOD, supernodal LLᵀ with METIS; a program of its own because that module is under the GPL.
#include <cholmod.h>

#include <cstring>

#include "Peer.h"

namespace {

class CholmodSolver : public bench::DirectSolver {
public:
  CholmodSolver() {
    cholmod_start(&m_common);
    m_common.nmethods = 1;
    m_common.method[0].ordering = CHOLMOD_METIS;
    m_common.supernodal = CHOLMOD_SUPERNODAL;
    m_common.print = 0;
  }
  ~CholmodSolver() override {
    cholmod_free_factor(&m_factor, &m_common);
    cholmod_finish(&m_common);
  }
  void Bind(const bench::SymmetricMatrix& a, int) override {
    m_a = cholmod_sparse();
    m_a.nrow = m_a.ncol = static_cast<std::size_t>(a.n);
    m_a.nzmax = a.row.size();
    m_a.p = const_cast<int*>(a.start.data());
    m_a.i = const_cast<int*>(a.row.data());
    m_a.x = const_cast<double*>(a.value.data());
    m_a.stype = -1;
    m_a.itype = CHOLMOD_INT;
    m_a.xtype = CHOLMOD_REAL;
    m_a.dtype = CHOLMOD_DOUBLE;
    m_a.sorted = m_a.packed = 1;
  }
  void Analyse() override {
    cholmod_free_factor(&m_factor, &m_common);
    m_factor = cholmod_analyze(&m_a, &m_common);
    Check("analysis");
    m_terms = m_common.lnz;
    m_operations = m_common.fl;
  }
  void Factorize() override {
    cholmod_factorize(&m_a, m_factor, &m_common);
    Check("factorisation");
  }
  void Solve(const double* b, double* x, int count, bool) override {
    cholmod_dense rhs = cholmod_dense();
    rhs.nrow = rhs.d = m_a.nrow;
    rhs.ncol = static_cast<std::size_t>(count);
    rhs.nzmax = rhs.nrow * rhs.ncol;
    rhs.x = const_cast<double*>(b);
    rhs.xtype = CHOLMOD_REAL;
    rhs.dtype = CHOLMOD_DOUBLE;
    cholmod_solve2(CHOLMOD_A, m_factor, &rhs, nullptr, &m_x, nullptr, &m_y, &m_e, &m_common);
    Check("solution");
    std::memcpy(x, m_x->x, sizeof(double) * rhs.nzmax);
  }
  double FactorTerms() const override { return m_terms; }
  double Operations() const override { return m_operations; }

private:
  void Check(const char* phase) const {
    if (m_common.status != CHOLMOD_OK)
      throw std::runtime_error(std::string("CHOLMOD ") + phase + ": status " +
                               std::to_string(m_common.status));
  }
  mutable cholmod_common m_common;
  cholmod_sparse m_a;
  cholmod_factor* m_factor = nullptr;
  cholmod_dense *m_x = nullptr, *m_y = nullptr, *m_e = nullptr;
  double m_terms = 0.0, m_operations = 0.0;
};

}  // namespace

int main(int argc, char** argv) {
  CholmodSolver solver;
  return bench::RunPeer(argc, argv, solver);
}
