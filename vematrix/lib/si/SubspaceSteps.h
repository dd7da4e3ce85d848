#pragma once
#include <Eigen/Core>
#include <Eigen/SparseCore>
#include <vector>

/// \file
/// Steps of a subspace iteration that the eigensolvers share. Blocks are n × p, one vector per column; Ritz
/// values are in vectors of p doubles, entry j belonging to column j.
namespace si {

/// Vectors to iterate when the caller does not say: min(2·nev, nev + 50, n).
int defaultSubspace(int nev, int n);

/// Fills column after column with rand()·2/32767 − 1; the caller seeds. With `redraw` a column whose
/// largest absolute entry is below 1e-5 is drawn again.
void drawStartVectors(Eigen::MatrixXd& X, bool redraw);

/// Replaces Y (m × k) by the Q factor of its Householder QR decomposition. False when LAPACK reports an error
/// (a NaN, m < k); Y is then undefined.
bool householderQ(Eigen::MatrixXd& Y);

/// Replaces Y by an orthonormal basis of its columns' span, columns spanning the same nested spaces as those
/// of householderQ (they may differ in sign). Cholesky QR made twice, several times faster on tall blocks,
/// wherever the first pass proves accurate enough; else householderQ. `work` is overwritten. Source:
/// Yamamoto, Nakatsukasa, Yanagisawa, Fukaya, ETNA 44 (2015) 306-326.
/// @param enough  ‖YᵀY − I‖ after the first pass at which there is no second
bool orthonormalBasis(Eigen::MatrixXd& Y, Eigen::MatrixXd& work, double enough = 0.0);

/// What is enough for a projection onto Y that is a pencil, (YᵀAY, YᵀBY): its pairs do not depend on the
/// basis, their rounding errors only on its condition.
constexpr double kEnoughForPencils = 1e-6;

/// The largest column sum of absolute values over the stored entries; 0 without columns.
double exactOneNorm(const Eigen::SparseMatrix<double, 0, int>& M);

/// How often the operator may be applied between two orthonormalisations.
struct MultiplyBudget {
  double
      cond;  ///< ratio of the largest to the smallest |Ritz value − shift|; 1e16 when the smallest vanishes
  int limit;  ///< as printed: the most negative int where the quotient is no int
};

/// Ratio of the largest (at least 2.2e-16) to the smallest distance of a Ritz value from `shift`; 1e16 when
/// the smallest is at most 2.2e-15, 0 when there is no Ritz value.
double spreadOfRitzValues(const std::vector<double>& ritz, double shift);

/// floor(value) as an int; infinite, NaN and out-of-range values become the most negative int.
int floorToInt(double value);

/// Repetitions that an iteration makes at most, whatever the budget says: Ritz values that agree to two
/// digits would otherwise ask for thousands before anything is looked at again.
constexpr int kMostRepetitions = 1000;

/// The spread may be amplified by `digits` decimal digits: limit = floor(digits / log10(cond)).
MultiplyBudget multiplyBudget(const std::vector<double>& ritz, double shift, double digits);

/// Prints "cond: %g, mult_limit: %d".
void print(const MultiplyBudget& budget);

/// The power of two that brings a length into [½, 1) when it is multiplied by it (which is exact); 1 for
/// lengths that are zero or not finite; the largest there is, 2¹⁰²³, for those below its reciprocal.
double powerOfTwoFor(double length);

/// Multiplies each column of Y by the power of two for its largest absolute entry.
void scaleByLargestEntries(Eigen::MatrixXd& Y);

/// The lower triangle of H (p × p, resized) ← XᵀT, which is known to be symmetric.
void project(const Eigen::MatrixXd& X, const Eigen::MatrixXd& T, Eigen::MatrixXd& H);

/// Whether a Gram matrix (its lower triangle is read) is positive definite and, scaled to a unit diagonal,
/// has eigenvalues whose reciprocals add up to at most `most`, so that none is below 1/most.
bool isFarFromDependent(const Eigen::MatrixXd& gram, double most);

/// The order of the pairs by rising |ritz − reference|, falling where `falling`; NaN last. Ties by index.
std::vector<int> orderByDistance(const std::vector<double>& ritz, double reference, bool falling);

/// values[i] ← values[order[i]], column i of V ← column order[i] of V.
void permutePairs(const std::vector<int>& order, std::vector<double>& values, Eigen::MatrixXd& V);

/// result ← X·Q; result is another matrix than X.
void multiply(const Eigen::MatrixXd& X, const Eigen::MatrixXd& Q, Eigen::MatrixXd& result);

/// The first `columns` columns of result ← those of X·Q; result (resized to the shape of X) is another
/// matrix.
void multiply(const Eigen::MatrixXd& X, const Eigen::MatrixXd& Q, int columns, Eigen::MatrixXd& result);

/// The columns of X from `first` on ← those of X·Q; `work` takes the old X, the columns before are undefined.
void rotateFrom(int first, Eigen::MatrixXd& X, const Eigen::MatrixXd& Q, Eigen::MatrixXd& work);

/// X ← X·Q; `work` takes the old X.
void rotate(Eigen::MatrixXd& X, const Eigen::MatrixXd& Q, Eigen::MatrixXd& work);

/// A ← A − s·B, in compressed form, its pattern the union of both. A's arrays stay where they are when B
/// brings no new entry.
void subtractScaled(Eigen::SparseMatrix<double, 0, int>& A, double s,
                    const Eigen::SparseMatrix<double, 0, int>& B);

/// The matrix in the form the direct solver takes: compressed, its lower triangle only, every diagonal entry
/// stored. That is A itself, compressed in place, when it has that form, else a copy made in `own`.
Eigen::SparseMatrix<double, 0, int>& solverForm(Eigen::SparseMatrix<double, 0, int>& A,
                                                Eigen::SparseMatrix<double, 0, int>& own);

}  // namespace si
