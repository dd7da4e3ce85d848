// MUMPS, sequential, symmetric positive definite. Its own build may lack METIS, so the order is found here,
// as CHOLMOD finds it, and handed over; its time belongs to the analysis.
#include <dmumps_c.h>
#include <metis.h>

#include <cstring>

#include "Peer.h"

namespace {

class MumpsSolver : public bench::DirectSolver {
public:
  ~MumpsSolver() override { End(); }
  void Bind(const bench::SymmetricMatrix& a, int) override {
    m_a = &a;
    for (int j = 0; j < a.n; ++j)
      for (int t = a.start[j]; t < a.start[j + 1]; ++t) {
        m_row.push_back(a.row[t] + 1);
        m_column.push_back(j + 1);
      }
  }
  void Analyse() override {
    End();
    m_id = DMUMPS_STRUC_C();
    m_id.par = 1;
    m_id.sym = 1;
    m_id.comm_fortran = -987654;  // MPI_COMM_WORLD of the sequential build
    Call(-1);
    m_begun = true;
    for (int i = 0; i < 4; ++i) m_id.icntl[i] = i == 3 ? 0 : -1;  // no output
    Order();
    m_id.icntl[6] = 1;  // the order is given
    m_id.perm_in = m_order.data();
    m_id.icntl[26] = 32;  // right-hand sides taken together
    m_id.n = m_a->n;
    m_id.nnz = static_cast<MUMPS_INT8>(m_a->row.size());
    m_id.irn = m_row.data();
    m_id.jcn = m_column.data();
    m_id.a = const_cast<double*>(m_a->value.data());
    Call(1);
  }
  void Factorize() override { Call(2); }
  void Solve(const double* b, double* x, int count, bool) override {
    std::memcpy(x, b, sizeof(double) * static_cast<std::size_t>(m_a->n) * static_cast<std::size_t>(count));
    m_id.rhs = x;
    m_id.nrhs = count;
    m_id.lrhs = m_a->n;
    Call(3);
  }
  /// The estimates of the analysis; counts above 2³¹ are reported in millions with a minus sign.
  double FactorTerms() const override { return m_id.infog[2] < 0 ? -1e6 * m_id.infog[2] : m_id.infog[2]; }
  double Operations() const override { return m_id.rinfog[0]; }

private:
  /// Place of every dof in METIS' nested dissection of the graph of A, from 1.
  void Order() {
    std::vector<idx_t> start(static_cast<std::size_t>(m_a->n) + 1, 0), next, adjacent;
    for (std::size_t t = 0; t < m_row.size(); ++t)
      if (m_row[t] != m_column[t]) ++start[m_row[t]], ++start[m_column[t]];
    for (int i = 0; i < m_a->n; ++i) start[i + 1] += start[i];
    next.assign(start.begin(), start.end() - 1);
    adjacent.resize(static_cast<std::size_t>(start.back()));
    for (std::size_t t = 0; t < m_row.size(); ++t) {
      const int i = m_row[t] - 1, j = m_column[t] - 1;
      if (i != j) adjacent[next[i]++] = j, adjacent[next[j]++] = i;
    }
    std::vector<idx_t> order(static_cast<std::size_t>(m_a->n)), place(order.size());
    idx_t n = m_a->n;
    if (METIS_NodeND(&n, start.data(), adjacent.data(), nullptr, nullptr, order.data(), place.data()) !=
        METIS_OK)
      throw std::runtime_error("METIS failed");
    m_order.assign(place.begin(), place.end());
    for (int& p : m_order) ++p;
  }

  void Call(int job) {
    m_id.job = job;
    dmumps_c(&m_id);
    if (m_id.infog[0] < 0)
      throw std::runtime_error("MUMPS job " + std::to_string(job) + ": error " +
                               std::to_string(m_id.infog[0]));
  }
  void End() {
    if (!m_begun) return;
    m_begun = false;
    m_id.job = -2;
    dmumps_c(&m_id);
  }
  const bench::SymmetricMatrix* m_a = nullptr;
  std::vector<int> m_row, m_column, m_order;
  DMUMPS_STRUC_C m_id;
  bool m_begun = false;
};

}  // namespace

int main(int argc, char** argv) {
  MumpsSolver solver;
  return bench::RunPeer(argc, argv, solver);
}
