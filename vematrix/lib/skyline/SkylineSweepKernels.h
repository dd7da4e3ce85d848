// The sweeps of the skyline for vectors of VEMATRIX_LANES doubles. Included once by each source file that is
// compiled for an instruction set, inside a namespace of its own; no include guard, and nothing of the
// standard library, which must not be compiled with these flags.
typedef double Vector __attribute__((vector_size(VEMATRIX_LANES * 8), aligned(8), may_alias));

const int kLanes = VEMATRIX_LANES;
const int kParts = 8 / kLanes;  // vectors that make up eight partial sums

#ifndef VEMATRIX_INLINE
#define VEMATRIX_INLINE inline __attribute__((always_inline))
#endif

VEMATRIX_INLINE Vector Load(const double* p) {
  return *reinterpret_cast<const Vector*>(p);
}
VEMATRIX_INLINE void Store(double* p, Vector v) {
  *reinterpret_cast<Vector*>(p) = v;
}

#include "SkylineColumnReader.h"

/// ((0+4)+(2+6)) + ((1+5)+(3+7)) of eight partial sums.
template <class Number>
VEMATRIX_INLINE Number SumOfEight(const Number* s) {
  return ((s[0] + s[4]) + (s[2] + s[6])) + ((s[1] + s[5]) + (s[3] + s[7]));
}

/// Fetches the beginning of the column before: a sweep that goes down the columns meets a new one each time.
VEMATRIX_INLINE void PrefetchColumnBefore(const double* value, const int* end, int j) {
  const double* column = value + end[j > 8 ? j - 9 : 0];
  __builtin_prefetch(column, 0, 0);
  __builtin_prefetch(column + 8, 0, 0);
}

// One vector. `ahead` is where the terms needed next lie, in doubles from those at hand.

/// Where the terms are read in the order they are stored in, or in the opposite one.
const long kAhead = 1024;

/// The sweep up each column, from the last column to the first: the one before is as far away as it is tall,
/// about.
VEMATRIX_INLINE long OneColumnBack(int count) {
  return -(count > 512 ? count : 512L);
}

VEMATRIX_INLINE double Dot(const double* a, const double* u, int count, long ahead) {
  double sum = 0.0;
  int t = 0;
  if (count >= 8) {
    Vector part[kParts] = {};
    ColumnReader terms(a);
    terms.StartUp();
    for (; t + 16 <= count; t += 8) {
      __builtin_prefetch(a + t + ahead);
#pragma GCC unroll 4
      for (int k = 0; k < kParts; ++k) part[k] += terms.NextUp() * Load(u + t + k * kLanes);
    }
#pragma GCC unroll 4
    for (int k = 0; k < kParts; ++k) part[k] += Load(a + t + k * kLanes) * Load(u + t + k * kLanes);
    t += 8;
    double partial[8];
#pragma GCC unroll 4
    for (int k = 0; k < kParts; ++k) Store(partial + k * kLanes, part[k]);
    sum = SumOfEight(partial);
  }
  for (; t < count; ++t) sum += a[t] * u[t];
  return sum;
}

/// Elements of u before the first one that begins a cache line.
VEMATRIX_INLINE int HeadOf(const double* u) {
  return static_cast<int>(-(reinterpret_cast<unsigned long>(u) / 8) % 8);
}

/// u(t) += f·a(t) for eight neighbouring t.
VEMATRIX_INLINE void AddScaledLine(const double* a, double* u, double f) {
#pragma GCC unroll 4
  for (int k = 0; k < 8; k += kLanes) Store(u + k, Load(u + k) + f * Load(a + k));
}

/// u += f·a. Whole lines of u are updated: a store across two lines costs as much as several within one.
VEMATRIX_INLINE void AddScaled(const double* a, double* u, int count, double f) {
  const int head = HeadOf(u) < count ? HeadOf(u) : count;
  int t = 0;
  for (; t < head; ++t) u[t] += f * a[t];
  if (t + 16 <= count) {
    ColumnReader terms(a + t);
    terms.StartUp();
    for (; t + 16 <= count; t += 8) {
      __builtin_prefetch(a + t + kAhead);
#pragma GCC unroll 4
      for (int k = 0; k < 8; k += kLanes) Store(u + t + k, Load(u + t + k) + f * terms.NextUp());
    }
  }
  if (t + 8 <= count) {
    AddScaledLine(a + t, u + t, f);
    t += 8;
  }
  for (; t < count; ++t) u[t] += f * a[t];
}

/// The same from the top of the column down: columns taken from the last to the first are then read in one
/// sweep through the memory.
VEMATRIX_INLINE void AddScaledFromTop(const double* a, double* u, int count, double f) {
  const int head = HeadOf(u) < count ? HeadOf(u) : count;
  const int lines = head + (count - head) / 8 * 8;
  for (int t = count - 1; t >= lines; --t) u[t] += f * a[t];
  int t = lines - 8;
  if (t >= head) {
    AddScaledLine(a + t, u + t, f);
    t -= 8;
  }
  if (t >= head) {
    ColumnReader terms(a + t + 8 - kLanes);
    terms.StartDown();
    for (; t >= head; t -= 8) {
      __builtin_prefetch(a + t - kAhead);
#pragma GCC unroll 4
      for (int k = 8 - kLanes; k >= 0; k -= kLanes) Store(u + t + k, Load(u + t + k) + f * terms.NextDown());
    }
  }
  for (t = head - 1; t >= 0; --t) u[t] += f * a[t];
}

/// Element t of the column below: y(t) += f·a(t), sum += a(t)·x(t).
VEMATRIX_INLINE void DotAndAddScaledTerm(double a, double x, double& y, double f, double& sum) {
  sum += a * x;
  y += f * a;
}

VEMATRIX_INLINE void DotAndAddScaledTerms(Vector a, const double* x, double* y, int t, double f,
                                          Vector& sum) {
  sum += a * Load(x + t);
  Store(y + t, Load(y + t) + f * a);
}

/// y += f·a, and returns a·x. Whole lines of y are updated; x must begin at the same place of a line.
///
/// The vectors begin `head` elements down the column, so their lane l collects partial sum (head + l) mod 8.
VEMATRIX_INLINE double DotAndAddScaled(const double* a, const double* x, double* y, int count, double f) {
  const int head = HeadOf(y), whole = count / 8 * 8;
  double partial[16] = {};
  int t = 0;
  if (head + 8 <= whole) {
    for (; t < head; ++t) DotAndAddScaledTerm(a[t], x[t], y[t], f, partial[t]);
    for (int k = 0; k < 8; ++k) partial[8 + k] = partial[k];
    Vector part[kParts];
#pragma GCC unroll 4
    for (int k = 0; k < kParts; ++k) part[k] = Load(partial + head + k * kLanes);
    ColumnReader terms(a + t);
    terms.StartUp();
    for (; t + 16 <= count; t += 8) {
      __builtin_prefetch(a + t + kAhead);
#pragma GCC unroll 4
      for (int k = 0; k < kParts; ++k) DotAndAddScaledTerms(terms.NextUp(), x, y, t + k * kLanes, f, part[k]);
    }
    if (t + 8 <= whole) {
#pragma GCC unroll 4
      for (int k = 0; k < kParts; ++k)
        DotAndAddScaledTerms(Load(a + t + k * kLanes), x, y, t + k * kLanes, f, part[k]);
      t += 8;
    }
#pragma GCC unroll 4
    for (int k = 0; k < kParts; ++k) Store(partial + head + k * kLanes, part[k]);
    for (int k = 0; k < head; ++k) partial[k] = partial[8 + k];
  }
  for (; t < whole; ++t) DotAndAddScaledTerm(a[t], x[t], y[t], f, partial[t % 8]);
  double sum = whole > 0 ? SumOfEight(partial) : 0.0;
  for (; t < count; ++t) DotAndAddScaledTerm(a[t], x[t], y[t], f, sum);
  return sum;
}

void Forward(const double* value, const int* end, int n, double* u) {
  for (int j = 1; j <= n; ++j) {
    const int a = end[j - 1] + 1;
    u[n - j] -= Dot(value + a, u + n - j + 1, end[j] - a, kAhead);
  }
}

void Backward(const double* value, const int* end, int n, double* u) {
  for (int j = n; j >= 2; --j) {
    const int a = end[j - 1] + 1;
    AddScaledFromTop(value + a, u + n - j + 1, end[j] - a, -u[n - j]);
  }
}

void Product(const double* value, const int* end, int n, const double* x, double* y) {
  for (int j = 1; j <= n; ++j) {
    const int a = end[j - 1] + 1;
    const double f = x[n - j];
    y[n - j] += value[a - 1] * f;
    y[n - j] += DotAndAddScaled(value + a, x + n - j + 1, y + n - j + 1, end[j] - a, f);
  }
}

void Spread(const double* value, const int* end, int n, const double* x, double* y) {
  for (int j = 1; j <= n; ++j) {
    const int a = end[j - 1] + 1;
    AddScaled(value + a, y + n - j + 1, end[j] - a, x[n - j]);
  }
}

void Gather(const double* value, const int* end, int n, double* u) {
  for (int j = n; j >= 1; --j) {
    const int a = end[j - 1] + 1;
    u[n - j] += Dot(value + a, u + n - j + 1, end[j] - a, OneColumnBack(end[j] - a));
  }
}

// A group of vectors, one to a lane; `row` is the row above the diagonal, the next row is `stride` before it.

VEMATRIX_INLINE Vector Dot(const double* a, const double* row, long stride, int count) {
  Vector sum = {};
  int t = 0;
  if (count >= 8) {
    Vector part[8] = {};
    for (; t + 8 <= count; t += 8) {
#pragma GCC unroll 8
      for (int k = 0; k < 8; ++k) part[k] += a[t + k] * Load(row - (t + k) * stride);
    }
    sum = SumOfEight(part);
  }
  for (; t < count; ++t) sum += a[t] * Load(row - t * stride);
  return sum;
}

VEMATRIX_INLINE void AddScaled(const double* a, double* row, long stride, int count, Vector f) {
  for (int t = 0; t < count; ++t) {
    double* u = row - t * stride;
    Store(u, Load(u) + f * a[t]);
  }
}

VEMATRIX_INLINE int GroupsOf(const VectorBlock& block) {
  return block.groups + (block.rest ? 1 : 0);
}

VEMATRIX_INLINE long StrideOf(const VectorBlock& block, int g) {
  return g < block.groups ? block.stride : kLanes;
}

VEMATRIX_INLINE double* RowOf(const VectorBlock& block, int g, int j) {
  return g < block.groups ? block.x + (j - 1) * block.stride + g * kLanes
                          : block.rest + (j - 1) * static_cast<long>(kLanes);
}

void BlockForward(const double* value, const int* end, int n, const VectorBlock& block) {
  for (int j = 2; j <= n; ++j) {
    const int a = end[j - 1] + 1;
    for (int g = 0; g < GroupsOf(block); ++g) {
      double* u = RowOf(block, g, j);
      const long stride = StrideOf(block, g);
      Store(u, Load(u) - Dot(value + a, u - stride, stride, end[j] - a));
    }
  }
}

void BlockBackward(const double* value, const int* end, int n, const VectorBlock& block) {
  for (int j = n; j >= 2; --j) {
    const int a = end[j - 1] + 1;
    PrefetchColumnBefore(value, end, j);
    for (int g = 0; g < GroupsOf(block); ++g) {
      double* u = RowOf(block, g, j);
      const long stride = StrideOf(block, g);
      AddScaled(value + a, u - stride, stride, end[j] - a, -Load(u));
    }
  }
}

void BlockProduct(const double* value, const int* end, int n, const VectorBlock& x, const VectorBlock& y) {
  for (int j = 1; j <= n; ++j) {
    const int a = end[j - 1] + 1;
    for (int g = 0; g < GroupsOf(y); ++g) {
      const double* u = RowOf(x, g, j);
      double* result = RowOf(y, g, j);
      const long stride = StrideOf(y, g);
      const Vector f = Load(u);
      const Vector sum = Load(result) + value[a - 1] * f;
      Store(result, sum + Dot(value + a, u - stride, stride, end[j] - a));
      AddScaled(value + a, result - stride, stride, end[j] - a, f);
    }
  }
}

void BlockSpread(const double* value, const int* end, int n, const VectorBlock& x, const VectorBlock& y) {
  for (int j = 2; j <= n; ++j) {
    const int a = end[j - 1] + 1;
    for (int g = 0; g < GroupsOf(y); ++g) {
      const long stride = StrideOf(y, g);
      AddScaled(value + a, RowOf(y, g, j) - stride, stride, end[j] - a, Load(RowOf(x, g, j)));
    }
  }
}

void BlockGather(const double* value, const int* end, int n, const VectorBlock& block) {
  for (int j = n; j >= 2; --j) {
    const int a = end[j - 1] + 1;
    PrefetchColumnBefore(value, end, j);
    for (int g = 0; g < GroupsOf(block); ++g) {
      double* u = RowOf(block, g, j);
      const long stride = StrideOf(block, g);
      Store(u, Load(u) + Dot(value + a, u - stride, stride, end[j] - a));
    }
  }
}
