#include "Pardiso.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "DirectEngine.h"

namespace Vessa {
namespace Matrix {

namespace {

// Control words, 0-based, that are set to something other than 0 or read.
enum Control : int {
  ControlSupplied = 0,
  ControlOrdering = 1,
  ControlSolutionInB = 5,
  ControlRefinementSteps = 7,
  ControlPivotPerturbation = 9,
  ControlScaling = 10,
  ControlPerturbedPivots = 13,
  ControlNegativePivots = 22,
  ControlTwoLevelFactorisation = 23,
  ControlParallelSolve = 24,
  ControlZeroBased = 34
};

std::vector<int> InitialControls() {
  std::vector<int> controls(64, 0);
  controls[ControlSupplied] = 1;
  controls[ControlOrdering] = 3;            // parallel nested dissection
  controls[ControlRefinementSteps] = 2;     // at most
  controls[ControlPivotPerturbation] = 13;  // 1e-13
  controls[ControlScaling] = 1;
  controls[ControlTwoLevelFactorisation] = 1;
  controls[ControlParallelSolve] = 1;
  controls[ControlZeroBased] = 1;
  return controls;
}

PardisoEngine Resolve(PardisoEngine engine) {
  if (engine != EngineDefault) return engine;
  return MakeMklEngine() != nullptr ? EngineMkl : EngineOwn;
}

std::shared_ptr<DirectEngine> MakeEngine(PardisoEngine engine) {
  switch (Resolve(engine)) {
    case EngineMkl:
      return MakeMklEngine();
    case EngineOwn:
      return MakeOwnEngine();
    default:
      return nullptr;
  }
}

SymmetricArrays ArraysOf(const Eigen::SparseMatrix<double, 0, int>& matrix) {
  return SymmetricArrays{static_cast<int>(matrix.rows()), matrix.outerIndexPtr(), matrix.innerIndexPtr(),
                         matrix.valuePtr()};
}

// Every row starts with its diagonal, goes on ascending and ends inside the matrix.
bool IsUpperTriangleByRows(const SymmetricArrays& matrix) {
  if (matrix.start[0] != 0) return false;
  for (int i = 0; i < matrix.n; ++i) {
    const int first = matrix.start[i], end = matrix.start[i + 1];
    if (end <= first || matrix.index[first] != i || matrix.index[end - 1] >= matrix.n) return false;
    int descents = 0;
    for (int k = first + 1; k < end; ++k) descents += matrix.index[k] <= matrix.index[k - 1];
    if (descents != 0) return false;
  }
  return true;
}

// Whether a pivot of a positive definite factorisation is no larger than what rounding adds to it: the sum of
// elimination's roundings grows like ε·√n. Such a pivot has a random sign, and no digit of a solution is
// right.
bool IsRoundingOnly(DirectEngine& engine, const SymmetricArrays& matrix) {
  constexpr double epsilon = std::numeric_limits<double>::epsilon();
  return engine.SmallestPivotRatio(matrix) < 10.0 * epsilon * std::sqrt(static_cast<double>(matrix.n));
}

}  // namespace

// What copies share. A CSolnMatrix's copy has a handle of its own on the same engine, so that it can let go
// of the factors without taking them from the other.
struct Pardiso::Handle {
  std::shared_ptr<DirectEngine> engine;
  bool hasFactors = false;  // the engine can solve
  bool disposed = false;    // by this object or a copy, since the last factorize
  int n = 0;                // rows of the factorised matrix
};

Pardiso::Pardiso(Eigen::SparseMatrix<double, 0, int>& A, unsigned int nrhs)
    : m_mtype(-2),
      m_iparm(InitialControls()),
      m_error(0),
      m_nrhs(static_cast<int>(nrhs)),
      m_pt(std::make_shared<Handle>()),
      m_matrix(&A),
      m_factorized(false),
      m_engine(EngineDefault),
      m_threads(0),
      m_plainSolves(false),
      m_checked{nullptr, nullptr, 0, 0} {}

Pardiso::Pardiso(const Pardiso&) = default;

Pardiso::~Pardiso() = default;

void Pardiso::rebind(Eigen::SparseMatrix<double, 0, int>& A) {
  m_pt = std::make_shared<Handle>(*m_pt);
  m_matrix = &A;
  m_checked = Checked{nullptr, nullptr, 0, 0};
}

// Whether the solver would read the bound matrix as it is meant. Arrays that have passed once are not looked
// at again until they move or change their length.
bool Pardiso::accepts() {
  const Eigen::SparseMatrix<double, 0, int>& A = *m_matrix;
  if (A.rows() == 0 || A.rows() != A.cols() || !A.isCompressed()) return false;
  const SymmetricArrays arrays = ArraysOf(A);
  const int terms = arrays.start[arrays.n];
  if (m_checked.start == arrays.start && m_checked.index == arrays.index && m_checked.n == arrays.n &&
      m_checked.terms == terms)
    return true;
  if (!IsUpperTriangleByRows(arrays)) return false;
  m_checked = Checked{arrays.start, arrays.index, arrays.n, terms};
  return true;
}

bool Pardiso::fails(const char* step) {
  if (m_error == 0) return false;
  if (m_error == PardisoMemory) {
    m_shortage = m_pt->engine->Shortage();
    if (!m_shortage.empty()) std::printf("Pardiso: %s\n", m_shortage.c_str());
  }
  std::printf("ERROR during %s factorization: %d\n", step, m_error);
  std::fflush(stdout);
  return true;
}

bool Pardiso::factorize(bool positiveDefinite) {
  m_mtype = 4 * static_cast<int>(positiveDefinite) - 2;
  m_shortage.clear();
  m_checked = Checked{nullptr, nullptr, 0, 0};
  const bool shared = m_pt.use_count() > 1 || m_pt->engine.use_count() > 1;
  if (shared) m_pt = std::make_shared<Handle>();
  Handle& handle = *m_pt;
  handle.hasFactors = false;

  const bool otherKind = handle.engine != nullptr && handle.engine->IsMkl() != (Engine() == EngineMkl);
  if (handle.engine == nullptr || otherKind) handle.engine = MakeEngine(m_engine);
  if (handle.engine == nullptr || !accepts()) {
    m_error = PardisoInconsistent;
    return !fails("symbolic");
  }

  const SymmetricArrays arrays = ArraysOf(*m_matrix);
  const EngineCall call{m_mtype, m_threads, &m_iparm};
  m_error = handle.engine->Analyse(arrays, call);
  const bool analysed = !fails("symbolic");
  if (analysed) m_error = handle.engine->Factorise(arrays, call);
  if (analysed && m_error == 0 && positiveDefinite && !m_plainSolves &&
      IsRoundingOnly(*handle.engine, arrays))
    m_error = PardisoZeroPivot;
  if (!analysed || fails("numerical")) {
    handle.engine->DropFactors();
    return false;
  }

  handle.n = arrays.n;
  handle.hasFactors = true;
  handle.disposed = false;
  m_factorized = true;
  return true;
}

void Pardiso::disposeFactors() {
  m_pt->engine.reset();
  m_pt->hasFactors = false;
  m_pt->disposed = true;
  m_factorized = false;
  m_error = 0;
}

void Pardiso::dropFactors() {
  const std::shared_ptr<DirectEngine> engine = m_pt->engine;
  const bool alone = m_pt.use_count() == 1 && engine.use_count() == 2;  // the handle's and ours
  disposeFactors();
  if (!alone || engine == nullptr) return;
  engine->DropFactors();
  m_pt->engine = engine;
}

bool Pardiso::isFactorized() const {
  return m_factorized && !m_pt->disposed;
}

// One solve phase on checked sizes; the factors must exist and belong to a matrix of this size. MKL 2020.4
// crashes where it should report, so everything is looked at here first.
bool Pardiso::runSolve(int nrhs, long long sizeB, long long sizeX, double* b, double* x) {
  m_nrhs = nrhs;
  const bool refined = !m_plainSolves || m_iparm[ControlPerturbedPivots] != 0;
  m_iparm[ControlRefinementSteps] = refined ? 2 : 0;
  m_iparm[ControlParallelSolve] = m_plainSolves ? 0 : 1;  // MKL's numbering: 1 is the sequential algorithm
  const long long terms = static_cast<long long>(m_pt->n) * nrhs;
  const bool usable = isFactorized() && m_pt->hasFactors && sizeB == terms && sizeX == terms &&
                      m_matrix->rows() == m_pt->n && accepts();
  if (!usable) {
    m_error = PardisoInconsistent;
  } else if (nrhs > 0) {
    m_error = m_pt->engine->Solve(ArraysOf(*m_matrix), EngineCall{m_mtype, m_threads, &m_iparm}, nrhs, b, x);
  } else {
    m_error = 0;
  }
  return m_error == 0;
}

bool Pardiso::solve(CVector& b) {
  m_iparm[ControlSolutionInB] = 1;
  Eigen::VectorXd work(b.Size());
  if (runSolve(1, b.Size(), work.size(), b.Array(), work.data())) return true;
  std::printf("\nPardiso: error in the solve phase: ");
  return false;
}

Eigen::VectorXd Pardiso::solve(Eigen::VectorXd b) {
  Eigen::VectorXd x = Eigen::VectorXd::Zero(b.size());
  if (!runSolve(1, b.size(), x.size(), b.data(), x.data()))
    throw CMatrixError("Pardiso: error in the solve phase: " + std::to_string(m_error));
  return x;
}

namespace {

// For its lifetime the solver writes to x; then the mode is what it was.
class SolutionInX {
public:
  explicit SolutionInX(std::vector<int>& controls) : m_mode(controls[ControlSolutionInB]), m_before(m_mode) {
    m_mode = 0;
  }
  ~SolutionInX() { m_mode = m_before; }
  SolutionInX(const SolutionInX&) = delete;
  SolutionInX& operator=(const SolutionInX&) = delete;

private:
  int& m_mode;
  int m_before;
};

}  // namespace

bool Pardiso::SolveX(Eigen::VectorXd b, Eigen::VectorXd& x) {
  const SolutionInX mode(m_iparm);
  if (runSolve(1, b.size(), x.size(), b.data(), x.data())) return true;
  std::printf("\nPardiso: error in the solve phase: %d", m_error);
  return false;
}

bool SolveMulti(Pardiso& solver, const Eigen::MatrixXd& B, Eigen::MatrixXd& X) {
  const SolutionInX mode(solver.m_iparm);
  const bool sameShape =
      B.rows() == X.rows() && B.cols() == X.cols() && B.cols() <= std::numeric_limits<int>::max();
  Eigen::MatrixXd copy;
  if (B.data() == X.data()) copy = B;
  const double* b = copy.size() != 0 ? copy.data() : B.data();
  // The mode above keeps the solver from writing to b.
  if (solver.runSolve(sameShape ? static_cast<int>(B.cols()) : 1, B.size(), sameShape ? X.size() : -1,
                      const_cast<double*>(b), X.data()))
    return true;
  std::printf("\nPardiso: error in the solve phase: %d", solver.m_error);
  return false;
}

bool SolveColumns(Pardiso& solver, int columns, const double* B, double* X) {
  const SolutionInX mode(solver.m_iparm);
  const long long size = static_cast<long long>(solver.m_matrix->rows()) * columns;
  if (solver.runSolve(columns, size, size, const_cast<double*>(B), X)) return true;
  std::printf("\nPardiso: error in the solve phase: %d", solver.m_error);
  return false;
}

int Pardiso::numPerturbedPivots() const {
  return m_iparm[ControlPerturbedPivots];
}

int Pardiso::negative_evals() const {
  return m_iparm[ControlNegativePivots];
}

PardisoError Pardiso::lastError() const {
  return static_cast<PardisoError>(m_error);
}

const std::string& Pardiso::shortage() const {
  return m_shortage;
}

bool Pardiso::HasEngine(PardisoEngine engine) {
  return MakeEngine(engine) != nullptr;
}

bool Pardiso::SetEngine(PardisoEngine engine) {
  if (!HasEngine(engine)) return false;
  m_engine = engine;
  return true;
}

PardisoEngine Pardiso::Engine() const {
  return Resolve(m_engine);
}

void Pardiso::SetPlainSolves(bool on) {
  m_plainSolves = on;
}

void Pardiso::SetNumThreads(unsigned int n) {
  m_threads = static_cast<int>(std::min(n, 4096u));
}

}  // namespace Matrix
}  // namespace Vessa
