#pragma once
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

#include "support/Terms.h"

/// Slow dense computations in long double, written straight from the formulas: what the library's results are
/// held against. Everything here is 0-based; cost is O(n³), meant for n up to a few hundred.
namespace test_support {

using Real = long double;

/// Square matrix, row-major.
struct Dense {
  int n = 0;
  std::vector<Real> a;

  explicit Dense(int size = 0) : n(size), a(static_cast<std::size_t>(size) * size, 0.0L) {}
  Real& operator()(int i, int j) { return a[static_cast<std::size_t>(i) * n + j]; }
  const Real& operator()(int i, int j) const { return a[static_cast<std::size_t>(i) * n + j]; }
};

/// Full symmetric matrix of upper-triangle terms.
inline Dense DenseOf(int n, const std::vector<Term>& terms) {
  Dense m(n);
  for (const Term& t : terms) {
    m(t.i - 1, t.j - 1) += t.value;
    if (t.i != t.j) m(t.j - 1, t.i - 1) += t.value;
  }
  return m;
}

/// A - s·B.
inline Dense Shifted(const Dense& a, Real s, const Dense& b) {
  Dense m(a);
  for (std::size_t k = 0; k < m.a.size(); ++k) m.a[k] -= s * b.a[k];
  return m;
}

inline Dense Identity(int n) {
  Dense m(n);
  for (int i = 0; i < n; ++i) m(i, i) = 1.0L;
  return m;
}

template <class Vector>
std::vector<Real> Multiply(const Dense& a, const Vector& x) {
  std::vector<Real> y(a.n, 0.0L);
  for (int i = 0; i < a.n; ++i)
    for (int j = 0; j < a.n; ++j) y[i] += a(i, j) * static_cast<Real>(x[j]);
  return y;
}

/// Largest column sum of absolute values.
inline Real OneNorm(const Dense& a) {
  Real norm = 0.0L;
  for (int j = 0; j < a.n; ++j) {
    Real sum = 0.0L;
    for (int i = 0; i < a.n; ++i) sum += std::fabs(a(i, j));
    norm = std::max(norm, sum);
  }
  return norm;
}

/// A = L·D·Lᵀ without pivoting: L unit lower triangular, D diagonal. ok is false when a pivot was exactly
/// zero, and the factorisation then stops there.
struct Ldlt {
  Dense l;
  std::vector<Real> d;
  bool ok = true;
};

inline Ldlt FactorWithoutPivoting(const Dense& a) {
  Ldlt f{Dense(a.n), std::vector<Real>(a.n, 0.0L), true};
  for (int j = 0; j < a.n; ++j) {
    Real pivot = a(j, j);
    for (int k = 0; k < j; ++k) pivot -= f.l(j, k) * f.l(j, k) * f.d[k];
    f.d[j] = pivot;
    f.l(j, j) = 1.0L;
    if (pivot == 0.0L) {
      f.ok = false;
      return f;
    }
    for (int i = j + 1; i < a.n; ++i) {
      Real sum = a(i, j);
      for (int k = 0; k < j; ++k) sum -= f.l(i, k) * f.d[k] * f.l(j, k);
      f.l(i, j) = sum / pivot;
    }
  }
  return f;
}

/// Solution of A·x = b by Gaussian elimination with partial pivoting; NaN throughout when A is exactly
/// singular.
template <class Vector>
std::vector<Real> Solve(Dense a, const Vector& b) {
  const int n = a.n;
  std::vector<Real> x(n);
  for (int i = 0; i < n; ++i) x[i] = static_cast<Real>(b[i]);
  for (int k = 0; k < n; ++k) {
    int p = k;
    for (int i = k + 1; i < n; ++i)
      if (std::fabs(a(i, k)) > std::fabs(a(p, k))) p = i;
    if (a(p, k) == 0.0L) return std::vector<Real>(n, std::numeric_limits<Real>::quiet_NaN());
    if (p != k) {
      for (int j = k; j < n; ++j) std::swap(a(p, j), a(k, j));
      std::swap(x[p], x[k]);
    }
    for (int i = k + 1; i < n; ++i) {
      const Real m = a(i, k) / a(k, k);
      if (m == 0.0L) continue;
      for (int j = k; j < n; ++j) a(i, j) -= m * a(k, j);
      x[i] -= m * x[k];
    }
  }
  for (int i = n - 1; i >= 0; --i) {
    for (int j = i + 1; j < n; ++j) x[i] -= a(i, j) * x[j];
    x[i] /= a(i, i);
  }
  return x;
}

/// Explicit inverse by Gauss-Jordan elimination with partial pivoting; NaN throughout when A is exactly
/// singular.
inline Dense Inverse(Dense a) {
  const int n = a.n;
  Dense x = Identity(n);
  for (int k = 0; k < n; ++k) {
    int p = k;
    for (int i = k + 1; i < n; ++i)
      if (std::fabs(a(i, k)) > std::fabs(a(p, k))) p = i;
    if (a(p, k) == 0.0L) {
      std::fill(x.a.begin(), x.a.end(), std::numeric_limits<Real>::quiet_NaN());
      return x;
    }
    for (int j = 0; j < n; ++j) {
      std::swap(a(p, j), a(k, j));
      std::swap(x(p, j), x(k, j));
    }
    const Real pivot = a(k, k);
    for (int j = 0; j < n; ++j) {
      a(k, j) /= pivot;
      x(k, j) /= pivot;
    }
    for (int i = 0; i < n; ++i) {
      const Real m = a(i, k);
      if (i == k || m == 0.0L) continue;
      for (int j = 0; j < n; ++j) {
        a(i, j) -= m * a(k, j);
        x(i, j) -= m * x(k, j);
      }
    }
  }
  return x;
}

inline Real InverseOneNorm(const Dense& a) {
  return OneNorm(Inverse(a));
}

/// Counts of negative, zero and positive eigenvalues.
struct InertiaCount {
  int negative = 0;
  int zero = 0;
  int positive = 0;
  bool operator==(const InertiaCount& b) const {
    return negative == b.negative && zero == b.zero && positive == b.positive;
  }
};

/// Inertia from a symmetric factorisation with complete pivoting in 1×1 and 2×2 blocks.
///
/// What remains of the matrix counts as zero once its largest element falls below n·eps·max|a| (long double
/// eps). Source: Bunch and Parlett, SIAM J. Numer. Anal. 8 (1971) 639-655.
inline InertiaCount InertiaOf(Dense a) {
  const Real alpha = (1.0L + std::sqrt(17.0L)) / 8.0L;
  const int n = a.n;
  InertiaCount count;
  Real largest = 0.0L;
  for (const Real& v : a.a) largest = std::max(largest, std::fabs(v));
  const Real tiny = largest * n * std::numeric_limits<Real>::epsilon();
  const auto exchange = [&](int p, int q) {
    if (p == q) return;
    for (int j = 0; j < n; ++j) std::swap(a(p, j), a(q, j));
    for (int i = 0; i < n; ++i) std::swap(a(i, p), a(i, q));
  };
  int k = 0;
  while (k < n) {
    int diagonal = k, row = k, col = k;
    Real offMax = 0.0L;
    for (int i = k; i < n; ++i) {
      if (std::fabs(a(i, i)) > std::fabs(a(diagonal, diagonal))) diagonal = i;
      for (int j = k; j < i; ++j)
        if (std::fabs(a(i, j)) > offMax) offMax = std::fabs(a(i, j)), row = i, col = j;
    }
    const Real diagonalMax = std::fabs(a(diagonal, diagonal));
    if (std::max(diagonalMax, offMax) <= tiny) {
      count.zero += n - k;
      break;
    }
    if (diagonalMax >= alpha * offMax) {
      exchange(k, diagonal);
      const Real d = a(k, k);
      ++(d < 0.0L ? count.negative : count.positive);
      for (int i = k + 1; i < n; ++i)
        for (int j = k + 1; j < n; ++j) a(i, j) -= a(i, k) * a(j, k) / d;
      for (int i = k + 1; i < n; ++i) a(i, k) = a(k, i) = 0.0L;
      k += 1;
      continue;
    }
    exchange(k, col);
    exchange(k + 1, row);
    const Real p = a(k, k), q = a(k + 1, k), r = a(k + 1, k + 1), det = p * r - q * q;
    ++count.negative;  // the pivot choice makes det < 0: one eigenvalue of each sign
    ++count.positive;
    std::vector<std::pair<Real, Real>> w(n);
    for (int i = k + 2; i < n; ++i)
      w[i] = {(a(i, k) * r - a(i, k + 1) * q) / det, (a(i, k + 1) * p - a(i, k) * q) / det};
    for (int i = k + 2; i < n; ++i)
      for (int j = k + 2; j < n; ++j) a(i, j) -= w[i].first * a(j, k) + w[i].second * a(j, k + 1);
    k += 2;
  }
  return count;
}

/// Eigenvalues in ascending order of a symmetric matrix by cyclic Jacobi rotations; with vectors, column k of
/// *vectors belongs to eigenvalue k. Meant for n up to about a hundred. Source: Golub and Van Loan, Matrix
/// Computations (4th ed. 2013), 8.5.
inline std::vector<Real> Eigenvalues(Dense a, Dense* vectors = nullptr) {
  const int n = a.n;
  Dense v = Identity(n);
  for (int sweep = 0; sweep < 100; ++sweep) {
    Real off = 0.0L, all = 0.0L;
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        all += a(i, j) * a(i, j);
        if (i != j) off += a(i, j) * a(i, j);
      }
    if (off <= all * 1e-38L) break;
    for (int p = 0; p < n; ++p)
      for (int q = p + 1; q < n; ++q) {
        if (a(p, q) == 0.0L) continue;
        const Real tau = (a(q, q) - a(p, p)) / (2.0L * a(p, q));
        const Real t = (tau >= 0.0L ? 1.0L : -1.0L) / (std::fabs(tau) + std::sqrt(1.0L + tau * tau));
        const Real c = 1.0L / std::sqrt(1.0L + t * t), s = t * c;
        for (int k = 0; k < n; ++k) {
          const Real kp = a(k, p), kq = a(k, q);
          a(k, p) = c * kp - s * kq;
          a(k, q) = s * kp + c * kq;
        }
        for (int k = 0; k < n; ++k) {
          const Real pk = a(p, k), qk = a(q, k);
          a(p, k) = c * pk - s * qk;
          a(q, k) = s * pk + c * qk;
        }
        for (int k = 0; k < n; ++k) {
          const Real kp = v(k, p), kq = v(k, q);
          v(k, p) = c * kp - s * kq;
          v(k, q) = s * kp + c * kq;
        }
      }
  }
  std::vector<int> order(n);
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(), [&](int i, int j) { return a(i, i) < a(j, j); });
  std::vector<Real> values(n);
  if (vectors != nullptr) *vectors = Dense(n);
  for (int k = 0; k < n; ++k) {
    values[k] = a(order[k], order[k]);
    if (vectors == nullptr) continue;
    for (int i = 0; i < n; ++i) (*vectors)(i, k) = v(i, order[k]);
  }
  return values;
}

/// Eigenvalues in ascending order of K·x = λ·M·x with M symmetric positive definite, by reduction with the
/// Cholesky factor of M.
inline std::vector<Real> Eigenvalues(const Dense& k, const Dense& m) {
  const int n = k.n;
  const Ldlt f = FactorWithoutPivoting(m);
  Dense c(k);
  // C = D^(-1/2)·L^(-1)·K·L^(-T)·D^(-1/2), by forward substitution on the columns and then on the rows.
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      for (int l = 0; l < i; ++l) c(i, j) -= f.l(i, l) * c(l, j);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      for (int l = 0; l < j; ++l) c(i, j) -= f.l(j, l) * c(i, l);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) c(i, j) /= std::sqrt(f.d[i]) * std::sqrt(f.d[j]);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < i; ++j) c(i, j) = c(j, i) = (c(i, j) + c(j, i)) / 2.0L;
  return Eigenvalues(c);
}

}  // namespace test_support
