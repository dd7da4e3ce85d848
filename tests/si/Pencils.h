#pragma once
#include <gtest/gtest.h>

#include <Eigen/Core>
#include <Eigen/SparseCore>
#include <algorithm>
#include <cmath>
#include <vector>

#include "solution/Pardiso.h"

/// Pencils with known eigenvalues, and the checks that every computed pair must pass.
namespace pencils {

using Sparse = Eigen::SparseMatrix<double, 0, int>;
using Triplets = std::vector<Eigen::Triplet<double, int>>;

constexpr double kPi = 3.14159265358979323846;

struct Pencil {
  Sparse K, M;  // lower triangles
};

inline Sparse lowerFrom(int n, const Triplets& terms) {
  Sparse A(n, n);
  A.setFromTriplets(terms.begin(), terms.end());
  return A;
}

inline Sparse identity(int n) {
  Triplets terms;
  for (int i = 0; i < n; ++i) terms.emplace_back(i, i, 1.0);
  return lowerFrom(n, terms);
}

/// n equal masses m on a line, neighbours joined by springs k; `fixed` joins the ends to the ground too.
inline Pencil springChain(int n, double k, double m, bool fixed) {
  Triplets stiffness, mass;
  for (int i = 0; i < n; ++i) {
    const int springs = (i > 0 || fixed) + (i + 1 < n || fixed);
    stiffness.emplace_back(i, i, springs * k);
    if (i + 1 < n) stiffness.emplace_back(i + 1, i, -k);
    mass.emplace_back(i, i, m);
  }
  return {lowerFrom(n, stiffness), lowerFrom(n, mass)};
}

/// ω² of the chain: 4k/m·sin²(jπ/(2(n+1))), j = 1…n, fixed at both ends; 4k/m·sin²(jπ/(2n)), j = 0…n−1, free.
inline std::vector<double> springChainValues(int n, double k, double m, bool fixed) {
  std::vector<double> values;
  for (int j = 0; j < n; ++j) {
    const double angle = fixed ? (j + 1) * kPi / (2.0 * (n + 1)) : j * kPi / (2.0 * n);
    values.push_back(4.0 * k / m * std::pow(std::sin(angle), 2));
  }
  return values;
}

/// The 3-, 5- or 7-point Laplacian on a grid of inner points, h = 1: the chain's matrix in every direction.
inline Sparse laplacian(int nx, int ny, int nz) {
  Triplets terms;
  const auto at = [&](int i, int j, int k) { return i + nx * (j + ny * k); };
  const double diagonal = 2.0 * ((nx > 1) + (ny > 1) + (nz > 1));
  for (int k = 0; k < nz; ++k) {
    for (int j = 0; j < ny; ++j) {
      for (int i = 0; i < nx; ++i) {
        terms.emplace_back(at(i, j, k), at(i, j, k), diagonal);
        if (i + 1 < nx) terms.emplace_back(at(i + 1, j, k), at(i, j, k), -1.0);
        if (j + 1 < ny) terms.emplace_back(at(i, j + 1, k), at(i, j, k), -1.0);
        if (k + 1 < nz) terms.emplace_back(at(i, j, k + 1), at(i, j, k), -1.0);
      }
    }
  }
  return lowerFrom(nx * ny * nz, terms);
}

/// Its eigenvalues, ascending: the sums of 4·sin²(jπ/(2(n+1))) over the directions longer than one point.
inline std::vector<double> laplacianValues(int nx, int ny, int nz) {
  const auto one = [](int j, int n) {
    return n == 1 ? 0.0 : 4.0 * std::pow(std::sin(j * kPi / (2.0 * (n + 1))), 2);
  };
  std::vector<double> values;
  for (int k = 1; k <= nz; ++k)
    for (int j = 1; j <= ny; ++j)
      for (int i = 1; i <= nx; ++i) values.push_back(one(i, nx) + one(j, ny) + one(k, nz));
  std::sort(values.begin(), values.end());
  return values;
}

/// Euler-Bernoulli beam of `elements` Hermite elements with consistent mass and geometric stiffness for the
/// axial force 1. Dof 2i is the deflection of node i, 2i + 1 its rotation; `removed` dof are held.
struct Beam {
  Sparse K, M, G;
};

inline Beam beam(int elements, double length, double EI, double massPerLength,
                 const std::vector<int>& removed) {
  const double h = length / elements;
  const double k[4][4] = {{12, 6 * h, -12, 6 * h},
                          {6 * h, 4 * h * h, -6 * h, 2 * h * h},
                          {-12, -6 * h, 12, -6 * h},
                          {6 * h, 2 * h * h, -6 * h, 4 * h * h}};
  const double m[4][4] = {{156, 22 * h, 54, -13 * h},
                          {22 * h, 4 * h * h, 13 * h, -3 * h * h},
                          {54, 13 * h, 156, -22 * h},
                          {-13 * h, -3 * h * h, -22 * h, 4 * h * h}};
  const double g[4][4] = {{36, 3 * h, -36, 3 * h},
                          {3 * h, 4 * h * h, -3 * h, -h * h},
                          {-36, -3 * h, 36, -3 * h},
                          {3 * h, -h * h, -3 * h, 4 * h * h}};
  std::vector<int> number(2 * (elements + 1), 0);
  for (int dof : removed) number[dof] = -1;
  int n = 0;
  for (int& dof : number)
    if (dof == 0) dof = n++;
  Triplets tk, tm, tg;
  for (int e = 0; e < elements; ++e) {
    for (int a = 0; a < 4; ++a) {
      for (int b = 0; b < 4; ++b) {
        const int r = number[2 * e + a], c = number[2 * e + b];
        if (c < 0 || r < c) continue;
        tk.emplace_back(r, c, EI / (h * h * h) * k[a][b]);
        tm.emplace_back(r, c, massPerLength * h / 420.0 * m[a][b]);
        tg.emplace_back(r, c, g[a][b] / (30.0 * h));
      }
    }
  }
  return {lowerFrom(n, tk), lowerFrom(n, tm), lowerFrom(n, tg)};
}

inline Eigen::MatrixXd times(const Sparse& lower, const Eigen::MatrixXd& X) {
  return lower.selfadjointView<Eigen::Lower>() * X;
}

inline double oneNorm(const Sparse& lower) {
  Eigen::VectorXd sums = Eigen::VectorXd::Zero(lower.cols());
  for (int c = 0; c < lower.outerSize(); ++c) {
    for (Sparse::InnerIterator entry(lower, c); entry; ++entry) {
      sums[c] += std::fabs(entry.value());
      if (entry.row() != c) sums[entry.row()] += std::fabs(entry.value());
    }
  }
  return sums.size() ? sums.maxCoeff() : 0.0;
}

/// max over the first `count` pairs of ‖Kx − λMx‖ / ((‖K‖₁ + |λ|·‖M‖₁)·‖x‖).
inline double worstBackwardError(const Sparse& K, const Sparse& M, const std::vector<double>& values,
                                 const Eigen::MatrixXd& vectors, int count) {
  const double normK = oneNorm(K), normM = oneNorm(M);
  double worst = 0.0;
  for (int i = 0; i < count; ++i) {
    const Eigen::VectorXd x = vectors.col(i);
    const double residual = (times(K, x) - values[i] * times(M, x)).norm();
    const double error = residual / ((normK + std::fabs(values[i]) * normM) * x.norm());
    worst = std::isnan(error) ? error : std::max(worst, error);
  }
  return worst;
}

/// The largest entry of |XᵀMX − I| after scaling the first `count` columns to xᵀMx = 1.
inline double departureFromMOrthonormal(const Sparse& M, const Eigen::MatrixXd& vectors, int count) {
  Eigen::MatrixXd X = vectors.leftCols(count);
  for (int i = 0; i < count; ++i) X.col(i) /= std::sqrt(X.col(i).dot(times(M, X.col(i)).col(0)));
  return (X.transpose() * times(M, X) - Eigen::MatrixXd::Identity(count, count)).cwiseAbs().maxCoeff();
}

/// K − sigma·M with a stored diagonal.
inline Sparse shifted(const Sparse& K, double sigma, const Sparse& M) {
  Sparse S = K - sigma * M + 0.0 * identity(int(K.cols()));
  S.makeCompressed();
  return S;
}

/// Eigenvalues of K·x = λ·M·x below sigma, by the inertia of K − sigma·M (M positive definite).
inline int countBelow(const Sparse& K, const Sparse& M, double sigma) {
  Sparse S = shifted(K, sigma, M);
  Vessa::Matrix::Pardiso solver(S, 1);
  EXPECT_TRUE(solver.factorize(false));
  return solver.negative_evals();
}

/// Every entry of `values` (sorted here) within relative `tolerance` of the entry of `expected` with its
/// index; differences from 0 are measured against `scale`.
inline ::testing::AssertionResult matchesValues(std::vector<double> values,
                                                const std::vector<double>& expected, int count,
                                                double tolerance, double scale = 0.0) {
  if (int(values.size()) < count || int(expected.size()) < count)
    return ::testing::AssertionFailure() << "only " << values.size() << " of " << count << " values";
  values.resize(count);
  std::sort(values.begin(), values.end());
  for (int i = 0; i < count; ++i) {
    const double error = std::fabs(values[i] - expected[i]) / std::max(std::fabs(expected[i]), scale);
    if (!(error <= tolerance))
      return ::testing::AssertionFailure()
             << "value " << i << " is " << ::testing::PrintToString(values[i]) << ", expected "
             << ::testing::PrintToString(expected[i]) << ", relative error " << error << " > " << tolerance;
  }
  return ::testing::AssertionSuccess();
}

}  // namespace pencils
