#pragma once
#include <cstddef>
#include <vector>
/// Dense kernels of the sparse LDLᵀ factorisation and solution, on plain arrays.
///
/// All matrices are column-major doubles; of symmetric ones only the lower triangle is read or written. A
/// *panel* is the m × k array of one supernode: its first k rows hold the unit lower triangle of L (the
/// diagonal itself and what is above it are not read by the solve kernels), the m − k rows below hold the
/// rest of these columns.
///
/// Rounding. Every entry is summed in one fixed order, whatever the tiling into column ranges and whatever
/// the thread, so results have the same bits however the caller splits the work. They do depend on the
/// instruction set that is chosen at run time (KernelLevel): Avx2 and Avx512 use fused multiply-adds,
/// Baseline does not, and dot products over rows (Backward) are split over the lanes of a vector.
///
/// No kernel throws except for memory of its workspace; sizes of zero are allowed everywhere.
namespace Vessa {
namespace Matrix {
namespace kernels {

/// What to do with a pivot p of D, and which one ends the factorisation. NaN or infinity always ends it.
struct PivotRule {
  enum Mode {
    PositiveDefinite = 0,  ///< p ≤ 0 is a failure
    Stiffness =
        1,      ///< |p| < zeroStiff: suppressed, D = 1, row and column of L zero, index listed; any sign else
    Sturm = 2,  ///< any sign; a multiplier |L(i,j)| > 1e7 is a failure
    Indefinite = 3  ///< any sign, no test of growth; |p| < zeroStiff becomes ±zeroStiff with the sign of p
  };
  int mode = PositiveDefinite;
  double zeroStiff = 0.0;  ///< threshold of Stiffness and Indefinite, in units of the pivots
};

/// In the modes that allow any sign, a pivot of exactly zero becomes this value (and so counts as negative).
constexpr double zeroPivotReplacement = -1e-16;
/// Largest multiplier that PivotRule::Sturm lets pass.
constexpr double largestMultiplier = 1e7;

enum class PivotFailure { None = 0, NotPositive = 1, Growth = 2, NotFinite = 3 };

/// What was met on the diagonal. Indices are firstIndex (as given to FactorFront) + column.
struct PivotStats {
  double minPivot = 1e20;  ///< smallest pivot by value, suppressed and replaced ones left out
  double maxPivot = 0.0;   ///< largest pivot by value; the start values are those of an empty record
  int minIndex = -1;       ///< −1: none recorded
  int maxIndex = -1;
  int numNegative = 0;          ///< negative pivots, replaced ones included
  int numReplaced = 0;          ///< zeros made zeroPivotReplacement, pivots raised to the threshold
  std::vector<int> suppressed;  ///< Stiffness: indices of suppressed pivots, in the order met
  PivotFailure failure = PivotFailure::None;
  int failureIndex = -1;      ///< column whose pivot or multiplier failed: all columns before it are finished
  double failureValue = 0.0;  ///< that pivot, or the multiplier

  /// Takes in the record of another front. Extremes: on equal values the lower index stays, so the result
  /// does not depend on the order of merging; of two failures the one with the lower index stays; suppressed
  /// is kept sorted.
  void Merge(const PivotStats& other);
};

/// Scratch memory of one thread, 64-byte aligned, growing as needed and kept between calls.
class Workspace {
public:
  Workspace() = default;
  ~Workspace();
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;
  /// At least count doubles; what an earlier call returned is lost. Throws std::bad_alloc.
  double* Need(std::size_t count);
  std::size_t Bytes() const { return m_count * sizeof(double); }

private:
  double* m_data = nullptr;
  std::size_t m_count = 0;
};

/// Factors the first k columns of a front, A = L·D·Lᵀ, in place.
/// @param F           m × k panel, leading dimension ldf ≥ m; lower trapezoid on entry, L on return (its
/// diagonal 1.0).
///                    What is above the diagonal of the first k rows is neither read nor written.
/// @param D           k pivots on return
/// @param firstIndex  added to the column numbers recorded in stats
/// @param stats       taken further, not reset: one record can collect several fronts of one thread
/// @return true when all k columns are finished; false leaves F and D undefined and stats.failure set
/// The (m−k) × (m−k) trailing part is not touched: see UpdateTrailing.
/// A row or column that is suppressed is zero in L (the part of its row that earlier fronts hold is the
/// caller's). Work: k²(m − k/3) operations (multiply and add counted).
[[nodiscard]] bool FactorFront(double* F, std::ptrdiff_t ldf, int m, int k, double* D, const PivotRule& rule,
                               int firstIndex, PivotStats& stats, Workspace& work);

/// What UpdateTrailing and SubtractProduct find in C on entry.
enum class Target {
  Filled,  ///< C −= product
  Fresh    ///< C = −product; C need not be initialised
};

/// C −= L·D·Lᵀ, lower triangle, columns c0 ≤ j < c1 only (rows j … m−1 of each).
/// @param L  m × k rows of the panel below its diagonal block (F + k of FactorFront), leading dimension ldl
/// @param D  k pivots
/// @param C  m × m, leading dimension ldc; its address is that of entry (0,0) whatever c0 is
/// Splitting 0..m into column ranges gives the same bits as one call.
/// Work: k·(c1−c0)·(2m−c0−c1+1) operations.
void UpdateTrailing(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* C,
                    std::ptrdiff_t ldc, int c0, int c1, Workspace& work, Target target = Target::Filled);

/// C −= A·diag(D)·Bᵀ, full rectangle; D may be null (all ones).
/// @param C  m × n, leading dimension ldc;  A  m × k;  B  n × k
/// The same bits as UpdateTrailing gives for the same rows and columns.
void SubtractProduct(const double* A, std::ptrdiff_t lda, const double* B, std::ptrdiff_t ldb,
                     const double* D, int m, int n, int k, double* C, std::ptrdiff_t ldc, Workspace& work,
                     Target target = Target::Filled);

/// Forward substitution with one panel and one vector: x ← L₁₁⁻¹·x, y ← L₂₁·x (to be subtracted by the
/// caller).
/// @param x  k values, in place;  @param y  m − k values, overwritten
void Forward(const double* L, std::ptrdiff_t ldl, int m, int k, double* x, double* y);

/// Backward substitution with one panel and one vector: x ← L₁₁⁻ᵀ·(D⁻¹·x − L₂₁ᵀ·y); D may be null (no
/// division).
/// @param x  k values, in place;  @param y  m − k values of the rows below, read
void Backward(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* x, const double* y);

/// Right-hand sides of the block kernels lie in lanes: row i of X is X[i·ldx … i·ldx + lanes), lanes a
/// multiple of 8. Unused lanes are computed like the others (fill them with zeros). Rows of 64-byte alignment
/// are fastest.
constexpr int laneGroup = 8;

/// Forward for a block: X ← L₁₁⁻¹·X (k rows), then Y(rows[i],:) −= (L₂₁·X)(i,:) for the m − k rows below.
/// @param rows  row numbers of Y, all different; null: i itself
void ForwardBlock(const double* L, std::ptrdiff_t ldl, int m, int k, double* X, std::ptrdiff_t ldx, double* Y,
                  std::ptrdiff_t ldy, const int* rows, int lanes);

/// Backward for a block: X ← L₁₁⁻ᵀ·(D⁻¹·X − L₂₁ᵀ·Y(rows,:)); D may be null (no division). Y is read only.
void BackwardBlock(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* X,
                   std::ptrdiff_t ldx, const double* Y, std::ptrdiff_t ldy, const int* rows, int lanes);

/// Instruction sets the kernels are compiled for, in rising order.
enum class KernelLevel { Baseline = 0, Avx2 = 1, Avx512 = 2 };

/// The best level this processor and operating system support.
KernelLevel BestKernelLevel();
/// The level in use: the best one, unless changed.
KernelLevel ActiveKernelLevel();
/// For tests and comparisons: use another level (at most the best one; false and no change otherwise).
/// Not to be called while kernels run in other threads.
bool SetKernelLevel(KernelLevel level);

/// The same contracts written straight from the formulas: never tuned, the definition of what the kernels
/// compute.
namespace reference {
[[nodiscard]] bool FactorFront(double* F, std::ptrdiff_t ldf, int m, int k, double* D, const PivotRule& rule,
                               int firstIndex, PivotStats& stats);
void UpdateTrailing(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* C,
                    std::ptrdiff_t ldc, int c0, int c1, Target target = Target::Filled);
void SubtractProduct(const double* A, std::ptrdiff_t lda, const double* B, std::ptrdiff_t ldb,
                     const double* D, int m, int n, int k, double* C, std::ptrdiff_t ldc,
                     Target target = Target::Filled);
void Forward(const double* L, std::ptrdiff_t ldl, int m, int k, double* x, double* y);
void Backward(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* x, const double* y);
void ForwardBlock(const double* L, std::ptrdiff_t ldl, int m, int k, double* X, std::ptrdiff_t ldx, double* Y,
                  std::ptrdiff_t ldy, const int* rows, int lanes);
void BackwardBlock(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* X,
                   std::ptrdiff_t ldx, const double* Y, std::ptrdiff_t ldy, const int* rows, int lanes);
}  // namespace reference
}  // namespace kernels
}  // namespace Matrix
}  // namespace Vessa
