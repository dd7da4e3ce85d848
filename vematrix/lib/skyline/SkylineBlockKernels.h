// The inner loops of the blocked reduction, written for vectors of VEMATRIX_LANES doubles. Included once by
// each source file that is compiled for an instruction set, inside a namespace of its own; no include guard,
// and nothing of the standard library, which must not be compiled with these flags.
typedef double Vector __attribute__((vector_size(VEMATRIX_LANES * 8), may_alias));
typedef long long Mask __attribute__((vector_size(VEMATRIX_LANES * 8), may_alias));

const int kLanes = VEMATRIX_LANES;

#ifndef VEMATRIX_INLINE
#define VEMATRIX_INLINE inline __attribute__((always_inline))
#endif

VEMATRIX_INLINE int Larger(int a, int b) {
  return a > b ? a : b;
}
VEMATRIX_INLINE int Smaller(int a, int b) {
  return a < b ? a : b;
}

VEMATRIX_INLINE int TopOf(const int* end, int j) {
  return j - (end[j] - end[j - 1]) + 1;
}

VEMATRIX_INLINE int LastOf(const ColumnBlock& block) {
  return block.first + block.count - 1;
}

VEMATRIX_INLINE double* RowOf(const ColumnBlock& block, int i) {
  return block.w + static_cast<long>(LastOf(block) - i) * block.stride;
}

VEMATRIX_INLINE bool AnySet(const Mask& mask) {
  long long any = 0;
  for (int lane = 0; lane < kLanes; ++lane) any |= mask[lane];
  return any != 0;
}

/// Adds multiplier·row to the first N running sums until l reaches the end; l counts the rows from k upwards.
template <int N>
VEMATRIX_INLINE void AddRows(const double* multiplier, const double* row, long stride, int& l, int end,
                             Vector* sum) {
  for (; l <= end; ++l) {
    const Vector* w = reinterpret_cast<const Vector*>(row + l * stride);
    const double m = multiplier[l];
#pragma GCC unroll 8
    for (int g = 0; g < N; ++g) sum[g] += m * w[g];
  }
}

/// w(k, ·) −= Σ multiplier[l]·w(k−l, ·), l = 1..rows[g] for group g; rows[] never rises with g.
VEMATRIX_INLINE void SubtractRows(const double* multiplier, double* row, long stride, const int* rows) {
  Vector sum[8] = {};
  int l = 1;
  AddRows<8>(multiplier, row, stride, l, rows[7], sum);
  AddRows<7>(multiplier, row, stride, l, rows[6], sum);
  AddRows<6>(multiplier, row, stride, l, rows[5], sum);
  AddRows<5>(multiplier, row, stride, l, rows[4], sum);
  AddRows<4>(multiplier, row, stride, l, rows[3], sum);
  AddRows<3>(multiplier, row, stride, l, rows[2], sum);
  AddRows<2>(multiplier, row, stride, l, rows[1], sum);
  AddRows<1>(multiplier, row, stride, l, rows[0], sum);
  Vector* w = reinterpret_cast<Vector*>(row);
#pragma GCC unroll 8
  for (int g = 0; g < 8; ++g) {
    if (rows[g] > 0) w[g] -= sum[g];
  }
}

VEMATRIX_INLINE void ReduceRowOfBlock(const ColumnBlock& block, const double* value, const int* end, int k,
                                      int group) {
  const int offDiagonal = end[k] - end[k - 1] - 1;
  int rows[8];
#pragma GCC unroll 8
  for (int g = 0; g < 8; ++g) {
    const int source = group + g;
    rows[g] = source < block.groups ? Smaller(offDiagonal, k - block.groupTop[source]) : 0;
  }
  SubtractRows(value + end[k - 1], RowOf(block, k) + group * kLanes, block.stride, rows);
}

void ReduceRow(const ColumnBlock& block, const double* value, const int* end, int k, int group) {
  ReduceRowOfBlock(block, value, end, k, group);
}

void ReduceAbove(const ColumnBlock& block, const double* value, const int* end) {
  for (int k = block.top + 1; k < block.first; ++k) ReduceRowOfBlock(block, value, end, k, 0);
}

/// One step of the transposition: exchanges the off-diagonal S × S blocks of every 2S × 2S block.
#if VEMATRIX_LANES == 8
#define VEMATRIX_EXCHANGE_1(a, b)                                \
  lo = __builtin_shufflevector(a, b, 0, 8, 2, 10, 4, 12, 6, 14), \
  hi = __builtin_shufflevector(a, b, 1, 9, 3, 11, 5, 13, 7, 15)
#define VEMATRIX_EXCHANGE_2(a, b)                               \
  lo = __builtin_shufflevector(a, b, 0, 1, 8, 9, 4, 5, 12, 13), \
  hi = __builtin_shufflevector(a, b, 2, 3, 10, 11, 6, 7, 14, 15)
#define VEMATRIX_EXCHANGE_4(a, b)                               \
  lo = __builtin_shufflevector(a, b, 0, 1, 2, 3, 8, 9, 10, 11), \
  hi = __builtin_shufflevector(a, b, 4, 5, 6, 7, 12, 13, 14, 15)
#elif VEMATRIX_LANES == 4
#define VEMATRIX_EXCHANGE_1(a, b) \
  lo = __builtin_shufflevector(a, b, 0, 4, 2, 6), hi = __builtin_shufflevector(a, b, 1, 5, 3, 7)
#define VEMATRIX_EXCHANGE_2(a, b) \
  lo = __builtin_shufflevector(a, b, 0, 1, 4, 5), hi = __builtin_shufflevector(a, b, 2, 3, 6, 7)
#else
#define VEMATRIX_EXCHANGE_1(a, b) \
  lo = __builtin_shufflevector(a, b, 0, 2), hi = __builtin_shufflevector(a, b, 1, 3)
#endif

#define VEMATRIX_EXCHANGE(S)                     \
  for (int i = 0; i < kLanes; ++i) {             \
    if (i & S) continue;                         \
    Vector lo, hi;                               \
    VEMATRIX_EXCHANGE_##S(tile[i], tile[i + S]); \
    tile[i] = lo;                                \
    tile[i + S] = hi;                            \
  }

/// Turns rows into columns.
VEMATRIX_INLINE void Transpose(Vector* tile) {
#pragma GCC unroll 8
  VEMATRIX_EXCHANGE(1)
#if VEMATRIX_LANES >= 4
#pragma GCC unroll 8
  VEMATRIX_EXCHANGE(2)
#endif
#if VEMATRIX_LANES >= 8
#pragma GCC unroll 8
  VEMATRIX_EXCHANGE(4)
#endif
}

/// The columns of one group: where the terms of each lie, which rows each holds and which rows all hold. Row
/// i of lane c is at column[c][-i].
struct Group {
  int lanes;
  int lowest;  ///< first row that every lane holds; beyond every row when lanes are missing
  double* w;   ///< lane 0 of the block's last row
  const double* column[kLanes];
  int top[kLanes];
  int bottom[kLanes];  ///< row of the diagonal
};

VEMATRIX_INLINE Group GroupOf(const ColumnBlock& block, const double* value, const int* end, int g) {
  Group group;
  group.lanes = Smaller(kLanes, block.count - g * kLanes);
  group.lowest = group.lanes < kLanes ? LastOf(block) + 1 : 1;
  group.w = block.w + g * kLanes;
  for (int lane = 0; lane < group.lanes; ++lane) {
    const int j = block.first + g * kLanes + lane;
    group.column[lane] = value + end[j - 1] + j;
    group.top[lane] = TopOf(end, j);
    group.bottom[lane] = j;
    group.lowest = Larger(group.lowest, group.top[lane]);
  }
  return group;
}

/// Rows [i0, i1] of a group: what there is of each lane, zeros elsewhere.
VEMATRIX_INLINE void PackEdge(const ColumnBlock& block, const Group& group, int i0, int i1) {
  for (int i = i0; i <= i1; ++i)
    *reinterpret_cast<Vector*>(group.w + (LastOf(block) - i) * static_cast<long>(block.stride)) = Vector{};
  for (int lane = 0; lane < group.lanes; ++lane) {
    const int stop = Smaller(i1, group.bottom[lane]);
    double* w = group.w + lane;
    for (int i = Larger(i0, group.top[lane]); i <= stop; ++i) {
      w[(LastOf(block) - i) * static_cast<long>(block.stride)] = group.column[lane][-i];
    }
  }
}

void Pack(const ColumnBlock& block, const double* value, const int* end) {
  for (int g = 0; g < block.groups; ++g) {
    const Group group = GroupOf(block, value, end, g);
    const int firstColumn = block.first + g * kLanes;
    int i = LastOf(block);  // downwards in rows, upwards in addresses
    const int inside = Smaller(i, firstColumn);
    PackEdge(block, group, inside + 1, i);
    for (i = inside; i - kLanes + 1 >= group.lowest; i -= kLanes) {
      Vector tile[kLanes];
#pragma GCC unroll 8
      for (int c = 0; c < kLanes; ++c) __builtin_memcpy(&tile[c], group.column[c] - i, sizeof(Vector));
      Transpose(tile);
      double* w = group.w + (LastOf(block) - i) * static_cast<long>(block.stride);
#pragma GCC unroll 8
      for (int r = 0; r < kLanes; ++r)
        *reinterpret_cast<Vector*>(w + r * static_cast<long>(block.stride)) = tile[r];
    }
    PackEdge(block, group, block.groupTop[g], i);
  }
}

/// What the multipliers of a block have shown: x − x is 0.0 unless x is infinite or NaN.
struct Findings {
  Vector strange;
  Mask growth;
};

/// Multipliers of row i of a group.
VEMATRIX_INLINE Vector Multipliers(const ColumnBlock& block, const Group& group, const double* pivot, int i,
                                   Findings& findings) {
  const Vector u =
      *reinterpret_cast<const Vector*>(group.w + (LastOf(block) - i) * static_cast<long>(block.stride));
  const Vector m = u / pivot[i - 1];
  findings.strange += u - u;
  findings.growth |= (m > kLargestMultiplier) | (m < -kLargestMultiplier);
  return m;
}

VEMATRIX_INLINE void StoreEdge(const ColumnBlock& block, const Group& group, const double* pivot, int i0,
                               int i1, Findings& findings) {
  for (int i = i0; i <= i1; ++i) {
    const Vector m = Multipliers(block, group, pivot, i, findings);
    for (int lane = 0; lane < group.lanes; ++lane) {
      if (i >= group.top[lane]) const_cast<double*>(group.column[lane])[-i] = m[lane];
    }
  }
}

BlockTrouble StoreAbove(const ColumnBlock& block, double* value, const int* end, const double* pivot) {
  Findings findings = {Vector{}, Mask{}};
  for (int g = 0; g < block.groups; ++g) {
    const Group group = GroupOf(block, value, end, g);
    int i = block.first - 1;
    for (; i - kLanes + 1 >= group.lowest; i -= kLanes) {
      Vector tile[kLanes];
#pragma GCC unroll 8
      for (int r = 0; r < kLanes; ++r) tile[r] = Multipliers(block, group, pivot, i - r, findings);
      Transpose(tile);
#pragma GCC unroll 8
      for (int c = 0; c < kLanes; ++c)
        __builtin_memcpy(const_cast<double*>(group.column[c]) - i, &tile[c], sizeof(Vector));
    }
    StoreEdge(block, group, pivot, block.groupTop[g], i, findings);
  }
  return BlockTrouble{AnySet(findings.strange != Vector{}), AnySet(findings.growth)};
}

bool DivideRow(const ColumnBlock& block, int k, int group, double divisor, double* row) {
  const Vector* u = reinterpret_cast<const Vector*>(RowOf(block, k));
  Vector* m = reinterpret_cast<Vector*>(row);
  Vector strange = {};
  for (int g = group; g < block.groups; ++g) {
    strange += u[g] - u[g];
    m[g] = u[g] / divisor;
  }
  return !AnySet(strange != Vector{});
}
