#pragma once
// One solver as a process of its own, driven line by line through its standard input and output.
#include <string>
#include <vector>

#include "Matrix.h"

namespace bench {

/// A direct solver under test. Every call does one phase completely; errors are exceptions.
class DirectSolver {
public:
  virtual ~DirectSolver() = default;
  /// Called once, before anything is timed.
  virtual void Bind(const SymmetricMatrix& a, int threads) = 0;
  /// From the pattern alone; called again, it starts from nothing.
  virtual void Analyse() = 0;
  virtual void Factorize() = 0;
  /// X = A⁻¹·B for count columns of n values. refine: with the refinement steps that hosts ask for by
  /// default.
  virtual void Solve(const double* b, double* x, int count, bool refine) = 0;
  virtual bool CanRefine() const { return false; }
  /// Non-zeros of L and operations of the factorisation (Σ of squared column counts), as the solver counts
  /// them.
  virtual double FactorTerms() const = 0;
  virtual double Operations() const = 0;
};

/// Answers the commands of the driver: "analyse", "factor", "solve N", "refine N", "facts", "quit". Each
/// answer is one line, "ok …" or "error …". Arguments: matrix file, number of threads. @return the exit
/// status
int RunPeer(int argc, char** argv, DirectSolver& solver);

}  // namespace bench
