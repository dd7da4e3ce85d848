#pragma once
#include <Eigen/SparseCore>
#include <memory>
#include <string>

#include "../math/resize.h"
#include "../si/Stopwatch.h"
#include "../si/SubspaceSteps.h"
#include "../si/si_types.h"
#include "../solution/Pardiso.h"

namespace si {

/// The direct solver of one solve, bound to a matrix that may change between two factorisations: each takes
/// it as it stands then. A matrix that the solver would not take as it is stored is copied into the form it
/// takes.
class Factors {
public:
  using Sparse = Eigen::SparseMatrix<double, 0, int>;

  Factors(Sparse& matrix, int columns, Vessa::Matrix::PardisoEngine engine, SolveTimes& spent,
          std::string& shortage)
      : m_matrix(matrix), m_columns(columns), m_engine(engine), m_spent(spent), m_shortage(shortage) {}

  /// Indefinite factorisation L·D·Lᵀ; false when it fails.
  bool factorize() {
    const Stopwatch time(m_spent.factor);
    ++m_spent.factorizations;
    bind(solverForm(m_matrix, m_own));
    const bool done = m_solver->factorize(false);
    m_shortage = m_solver->shortage();
    return done;
  }

  /// X ← matrix⁻¹·B, X being resized; false when the solver fails.
  bool solve(const Eigen::MatrixXd& B, Eigen::MatrixXd& X) {
    const Stopwatch time(m_spent.solve);
    Vessa::Matrix::math::Resize(X, B.rows(), B.cols());
    return SolveMulti(*m_solver, B, X);
  }

  /// The same for `columns` columns of larger blocks, one behind the other in each.
  bool solve(int columns, const double* B, double* X) {
    const Stopwatch time(m_spent.solve);
    return SolveColumns(*m_solver, columns, B, X);
  }

  /// Negative eigenvalues of the matrix as it was factorised last.
  int negative() const { return m_solver->negative_evals(); }

private:
  void bind(Sparse& form) {
    if (m_bound == &form) return;
    m_bound = &form;
    m_solver = std::make_unique<Vessa::Matrix::Pardiso>(form, unsigned(m_columns));
    m_solver->SetEngine(m_engine);
    m_solver->SetPlainSolves(true);
  }

  Sparse& m_matrix;
  int m_columns;
  Vessa::Matrix::PardisoEngine m_engine;
  SolveTimes& m_spent;
  std::string& m_shortage;  // why the last factorisation found too little memory
  Sparse m_own;             // the solver's form of the matrix, where the matrix itself has another
  Sparse* m_bound = nullptr;
  std::unique_ptr<Vessa::Matrix::Pardiso> m_solver;
};

}  // namespace si
