// Drives Pardiso with every engine of the build through arbitrary call orders, well and badly formed
// matrices, values and right-hand sides beside a dense model.
#include <exception>
#include <memory>

#include "CallOrders.h"
#include "solution/Pardiso.h"

namespace {

using namespace Vessa::Matrix;
using namespace fuzz;
using Sparse = Eigen::SparseMatrix<double, 0, int>;

class Session {
public:
  explicit Session(Choices& choices) : m_choices(choices) { restart(); }

  void step() {
    switch (m_choices.below(10)) {
      case 0:
        return restart();
      case 1:
        matrix();
        m_factors = m_factors == Factors::None ? Factors::None : Factors::Stale;
        return;
      case 2:
      case 3:
        return factorise();
      case 4:
        m_solver->disposeFactors();
        m_factors = Factors::None;
        if (m_solver->isFactorized() || m_solver->lastError() != PardisoOk) contradiction("disposed factors");
        return;
      case 5:
        return settings();
      case 6:
        return copy();
      default:  // the refinement within a solve reads the matrix, so that it must be that of the factors
        if (m_factors == Factors::Stale) return;
        return m_choices.oneIn(4) ? solveBlock() : solve();
    }
  }

private:
  int n() const { return m_model.order(); }

  void restart() {
    m_copy.reset();
    m_solver.reset();
    matrix();
    m_solver = std::make_unique<Pardiso>(m_matrix, m_choices.below(4));
    const PardisoEngine engine = m_choices.oneIn(2) ? EngineOwn : EngineMkl;
    if (m_solver->SetEngine(engine) != Pardiso::HasEngine(engine)) contradiction("the engines of the build");
    m_factors = Factors::None;
    m_writesToLoad = false;
  }

  /// Other contents of the bound matrix.
  void matrix() {
    const int n = m_choices.order();
    m_model = SymmetricModel(n);
    std::vector<test_support::Term> terms;
    if (m_choices.oneIn(2)) terms = drawDominantTerms(m_choices, n);
    for (int i = 1; i <= n; ++i) terms.push_back({i, i, 0.0});
    for (int k = n == 0 ? 0 : m_choices.below(48); k > 0; --k) {
      const int i = 1 + m_choices.below(n), j = i + m_choices.below(n - i + 1);
      terms.push_back({i, j, m_choices.value()});
    }
    m_wellFormed = n > 0;
    if (n > 0 && m_choices.oneIn(16)) malform(n, terms);
    m_matrix = test_support::LowerTriangle(n, terms);
    for (const auto& t : terms) m_model.add(std::min(t.i, t.j), std::max(t.i, t.j), t.value);
    if (m_choices.oneIn(16) && n > 0) {
      m_matrix.uncompress();
      m_wellFormed = false;
    }
  }

  /// What the solver must refuse: a missing diagonal term, an entry above the diagonal.
  void malform(int n, std::vector<test_support::Term>& terms) {
    const int dof = 1 + m_choices.below(n);
    if (m_choices.oneIn(2) && dof > 1) {
      terms.push_back({dof, dof - 1, 1.0});
    } else {
      for (std::size_t k = terms.size(); k-- > 0;)
        if (terms[k].i == dof && terms[k].j == dof) terms.erase(terms.begin() + std::ptrdiff_t(k));
    }
    m_wellFormed = false;
  }

  void settings() {
    m_solver->SetPlainSolves(m_choices.oneIn(2));
    m_solver->SetNumThreads(static_cast<unsigned>(m_choices.below(4)));
  }

  void factorise() {
    const bool positive = m_choices.oneIn(2);
    const int negative = m_model.negativePivots();
    const bool done = m_solver->factorize(positive);
    if (done != (m_solver->lastError() == PardisoOk)) contradiction("error %d", m_solver->lastError());
    if (!m_wellFormed && (done || m_solver->lastError() != PardisoInconsistent))
      contradiction("a badly formed matrix was not refused: error %d", m_solver->lastError());
    if (done && !m_solver->isFactorized()) contradiction("factors that are not held");
    if (m_wellFormed && !done && (negative == 0 || (negative > 0 && !positive)))
      contradiction("a regular matrix of order %d: error %d", n(), m_solver->lastError());
    if (m_wellFormed && done && positive && negative > 0)
      contradiction("an indefinite matrix passes for positive definite");
    if (done && !positive && negative >= 0 && m_solver->negative_evals() != negative)
      contradiction("%d negative eigenvalues, expected %d", m_solver->negative_evals(), negative);
    m_factors = done ? Factors::Good : m_factors == Factors::None ? Factors::None : Factors::Lost;
    m_known = done && negative >= 0;
  }

  /// A copy shares the factors: they are gone when either lets go of them, and kept when it only dies.
  void copy() {
    if (m_choices.oneIn(3)) {
      m_copy.reset();
    } else if (!m_copy || m_choices.oneIn(2)) {
      m_copy = std::make_unique<Pardiso>(*m_solver);
      if (m_copy->isFactorized() != m_solver->isFactorized()) contradiction("a copy without its factors");
      if (m_choices.oneIn(2)) m_solver.swap(m_copy);
    } else {
      m_copy->disposeFactors();
      m_copy.reset();
      m_factors = m_factors == Factors::None ? Factors::None : Factors::Lost;
    }
  }

  void checkOutcome(bool done, bool rightSize, const double* x, const double* f, bool known) {
    if (done != (m_solver->lastError() == PardisoOk))
      contradiction("error %d of a solve", m_solver->lastError());
    if (m_factors == Factors::None && done) contradiction("a solution without factors");
    if (m_factors != Factors::Good) return;
    if (done != rightSize) contradiction("a solve: %d, size right: %d", done, rightSize);
    if (done && known) m_model.checkSolution(x, f, "a solve");
  }

  void solve() {
    const bool rightSize = !m_choices.oneIn(16);
    const int size = rightSize ? n() : n() + 1;
    const std::vector<double> f = drawLoads(m_choices, size);
    const Eigen::VectorXd b = Eigen::Map<const Eigen::VectorXd>(f.data(), size);
    if (m_choices.oneIn(3)) {
      CVector x(b);
      const bool done = m_solver->solve(x);
      checkOutcome(done, rightSize, x.Array(), f.data(), m_known);
      m_writesToLoad = true;
    } else if (m_choices.oneIn(2)) {
      Eigen::VectorXd x(size);
      const bool done = m_solver->SolveX(b, x);
      checkOutcome(done, rightSize, x.data(), f.data(), m_known);
    } else {
      try {
        const Eigen::VectorXd x = m_solver->solve(b);
        checkOutcome(true, rightSize, x.data(), f.data(), m_known && !m_writesToLoad);
      } catch (const std::exception&) {
        checkOutcome(false, rightSize, nullptr, nullptr, false);
      }
    }
  }

  void solveBlock() {
    const int columns = 1 + m_choices.below(5);
    Eigen::MatrixXd B(n(), columns), X(n(), columns);
    for (int c = 0; c < columns; ++c)
      for (int i = 0; i < n(); ++i) B(i, c) = m_choices.load();
    const bool done = SolveMulti(*m_solver, B, X);
    for (int c = 0; c < columns; ++c)
      checkOutcome(done, true, X.data() + c * n(), B.data() + c * n(), m_known);
  }

  /// Stale: of a matrix that has changed since. Lost: released through a copy, or by a failed factorisation.
  enum class Factors { None, Good, Stale, Lost };

  Choices& m_choices;
  Sparse m_matrix;
  SymmetricModel m_model;
  std::unique_ptr<Pardiso> m_solver, m_copy;
  Factors m_factors = Factors::None;
  bool m_wellFormed = true;
  bool m_known = false;         // the factors are those of a regular matrix
  bool m_writesToLoad = false;  // solve(VectorXd) then returns work space
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz::runSession<Session>(data, size, 200);
}
