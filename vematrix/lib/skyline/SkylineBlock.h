#pragma once
// The skyline reduction on many columns at once.
//
// The sum for a term must be taken product by product from the nearest row upwards, so one sum cannot be
// split; but neighbouring columns can be reduced side by side, one per lane of a vector, each lane keeping
// its order. A block of columns is packed row by row, w(row, lane), and every row k above the block subtracts
// Σ L(k, k−l)·w(k−l, ·), l rising, from w(k, ·) for all lanes. The rows inside the block finish one by one:
// row j gives U(j, ·) to the later lanes and, in its own lane, D(j), because Σ L(j, j−l)·U(j−l, j) is the
// same sum.
//
// A lane shorter than the block reads zeros above its top. They change no bit as long as every multiplier is
// finite: the running sum starts at +0.0 and stays what it is when ±0.0 is added. So when anything in a block
// turns out not to be finite, the block is put back and done again by the plain loops; likewise when a
// multiplier exceeds its limit, whose state is theirs to leave.
#include "SkylineLimits.h"

namespace Vessa {
namespace Matrix {
namespace skyline {

struct Pivots;

/// Vectors side by side in one row of a block: as many running sums as keep the adders busy.
const int kMostGroups = 8;

/// A block of `count` columns from column `first` on (1-based), `lanes` columns to a group. Row i of the
/// block (top ≤ i < first + count) starts at w + (first + count − 1 − i)·stride, so that the
/// addresses rise where the rows fall; group g fills `lanes` doubles of it and
/// holds something from row groupTop[g] on. groupTop never falls with g.
struct ColumnBlock {
  int first;
  int count;
  int groups;
  int stride;
  int top;
  int groupTop[kMostGroups];
  double* w;
};

/// What one pass over a block has met.
struct BlockTrouble {
  bool notFinite;
  bool growth;  ///< a multiplier above kLargestMultiplier; looked for in the Sturm mode only
};

/// The inner loops for one instruction set. `value` and `end` as everywhere in the skyline; `pivot` holds
/// D(i) at i − 1, or 1.0 throughout when the reduction does not divide.
struct BlockKernels {
  const char* name;
  int lanes;
  /// Copies the columns of the block into w, zeros elsewhere.
  void (*pack)(const ColumnBlock& block, const double* value, const int* end);
  /// U(k, ·) for all rows k above the block.
  void (*reduceAbove)(const ColumnBlock& block, const double* value, const int* end);
  /// Row k of the block from group `group` on, with the multipliers of column k in `value`.
  void (*reduceRow)(const ColumnBlock& block, const double* value, const int* end, int k, int group);
  /// Writes L(·, i) = U(i, ·)/D(i) of all rows i above the block into the columns.
  BlockTrouble (*storeAbove)(const ColumnBlock& block, double* value, const int* end, const double* pivot);
  /// row[lane] = w(k, lane)/divisor for all groups from `group` on; false when w(k, ·) is not finite.
  bool (*divideRow)(const ColumnBlock& block, int k, int group, double divisor, double* row);
};

const BlockKernels& BaselineBlockKernels();
/// Null where the processor (or the build) does not have the instructions.
const BlockKernels* Avx2BlockKernels();
const BlockKernels* Avx512BlockKernels();
/// The widest this processor can run.
const BlockKernels& FastestBlockKernels();

/// Reduces all n columns of a store in one chunk; results, state left and return value as
/// plain::ReduceColumns(value, end, 1, n, pivots), bit for bit, whatever the kernels. Needs memory for up to
/// two blocks (a column's height times 64 doubles each); without it the plain loops do everything.
bool ReduceInBlocks(double* value, const int* end, int n, Pivots& pivots, const BlockKernels& kernels);

}  // namespace skyline
}  // namespace Matrix
}  // namespace Vessa
