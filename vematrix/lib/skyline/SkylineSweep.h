#pragma once
// The sweeps over a reduced or assembled skyline that solutions and products are made of.
//
// Sums over a column are taken in an order of their own, the same on every processor, for one vector and for
// many: the first ⌊count/8⌋·8 products go to eight partial sums in turn, which are added as
// ((0+4)+(2+6))+((1+5)+(3+7)); the products left over are added to that one by one. Updates of a vector by
// columns follow the columns. So a block of vectors gives bit for bit what its vectors give one by one.
namespace Vessa {
namespace Matrix {
namespace skyline {

/// Vectors side by side, row by row, and a last few that stand apart because they do not fill a group.
struct VectorBlock {
  double* x;  ///< row i (1-based) at x + (i − 1)·stride
  long stride;
  int groups;    ///< whole groups of `lanes` vectors
  double* rest;  ///< one more group, row i at rest + (i − 1)·lanes; null for none
};

/// One instruction set's sweeps over the columns of n dofs. `value` and `end` as everywhere in the skyline.
///
/// Of the single vectors dof i is at u[n − i]: backwards, as the columns are stored.
struct SweepKernels {
  const char* name;
  int lanes;
  /// u(j) −= Σ L(j, i)·u(i), j = 1..n.
  void (*forward)(const double* value, const int* end, int n, double* u);
  /// u(i) −= L(j, i)·u(j), j = n..2.
  void (*backward)(const double* value, const int* end, int n, double* u);
  /// y(j) += K(j, j)·x(j) + Σ K(i, j)·x(i) and y(i) += K(i, j)·x(j), j = 1..n. x and y begin at the same
  /// place of a cache line.
  void (*product)(const double* value, const int* end, int n, const double* x, double* y);
  /// y(i) += L(j, i)·x(j), j = 1..n.
  void (*spread)(const double* value, const int* end, int n, const double* x, double* y);
  /// u(j) += Σ L(j, i)·u(i), j = n..1.
  void (*gather)(const double* value, const int* end, int n, double* u);
  /// The same for blocks.
  void (*blockForward)(const double* value, const int* end, int n, const VectorBlock& u);
  void (*blockBackward)(const double* value, const int* end, int n, const VectorBlock& u);
  void (*blockProduct)(const double* value, const int* end, int n, const VectorBlock& x,
                       const VectorBlock& y);
  void (*blockSpread)(const double* value, const int* end, int n, const VectorBlock& x, const VectorBlock& y);
  void (*blockGather)(const double* value, const int* end, int n, const VectorBlock& u);
};

const SweepKernels& BaselineSweepKernels();
/// Null where the processor (or the build) does not have the instructions.
const SweepKernels* Avx2SweepKernels();
const SweepKernels* Avx512SweepKernels();
/// The widest this processor can run.
const SweepKernels& FastestSweepKernels();

/// x := K⁻¹·x with the factors in a store of one chunk; x[0] belongs to dof 1. Takes memory for one vector.
void Solve(const double* value, const int* end, int n, double* x, const SweepKernels& kernels);
/// The same for `count` vectors side by side, row i at x + (i − 1)·count.
void SolveBlock(const double* value, const int* end, int n, double* x, int count,
                const SweepKernels& kernels);
/// y := K·x, from the assembled terms or from the factors. Takes memory for two vectors.
void MultiplyAssembled(const double* value, const int* end, int n, const double* x, double* y,
                       const SweepKernels& kernels);
void MultiplyReduced(const double* value, const int* end, int n, const double* x, double* y,
                     const SweepKernels& kernels);
/// The same for blocks as in SolveBlock.
void MultiplyAssembledBlock(const double* value, const int* end, int n, const double* x, double* y, int count,
                            const SweepKernels& kernels);
void MultiplyReducedBlock(const double* value, const int* end, int n, const double* x, double* y, int count,
                          const SweepKernels& kernels);

}  // namespace skyline
}  // namespace Matrix
}  // namespace Vessa
