#pragma once
// The matrix that all solvers of the comparison read, and the measure of their answers.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

/// Lower triangle by columns (upper by rows), 0-based, rows rising and the diagonal stored in every column.
struct SymmetricMatrix {
  int n = 0;
  std::vector<int> start, row;
  std::vector<double> value;
};

struct CloseFile {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

inline File Open(const std::string& path, const char* mode) {
  File f(std::fopen(path.c_str(), mode));
  if (!f) throw std::runtime_error(path + ": cannot be opened");
  return f;
}

template <class T>
void WriteArray(std::FILE* f, const std::vector<T>& x) {
  if (std::fwrite(x.data(), sizeof(T), x.size(), f) != x.size())
    throw std::runtime_error("matrix file: write failed");
}

template <class T>
void ReadArray(std::FILE* f, std::vector<T>& x, std::size_t count) {
  x.resize(count);
  if (std::fread(x.data(), sizeof(T), count, f) != count) throw std::runtime_error("matrix file: too short");
}

/// A scratch file between two programs of one run on one machine: raw arrays, no versions.
inline void WriteMatrix(const std::string& path, const SymmetricMatrix& a) {
  const File f = Open(path, "wb");
  WriteArray(f.get(), std::vector<int>{a.n});
  WriteArray(f.get(), a.start);
  WriteArray(f.get(), a.row);
  WriteArray(f.get(), a.value);
}

inline SymmetricMatrix ReadMatrix(const std::string& path) {
  const File f = Open(path, "rb");
  SymmetricMatrix a;
  std::vector<int> n;
  ReadArray(f.get(), n, 1);
  a.n = n[0];
  ReadArray(f.get(), a.start, static_cast<std::size_t>(a.n) + 1);
  ReadArray(f.get(), a.row, static_cast<std::size_t>(a.start.back()));
  ReadArray(f.get(), a.value, a.row.size());
  return a;
}

/// ‖b − A·x‖∞ / (‖A‖∞·‖x‖∞ + ‖b‖∞)
inline double BackwardError(const SymmetricMatrix& a, const double* x, const double* b) {
  std::vector<double> r(b, b + a.n), sums(static_cast<std::size_t>(a.n), 0.0);
  for (int j = 0; j < a.n; ++j)
    for (int t = a.start[j]; t < a.start[j + 1]; ++t) {
      const int i = a.row[t];
      r[i] -= a.value[t] * x[j];
      sums[i] += std::fabs(a.value[t]);
      if (i == j) continue;
      r[j] -= a.value[t] * x[i];
      sums[j] += std::fabs(a.value[t]);
    }
  double residual = 0.0, norm = 0.0, solution = 0.0, load = 0.0;
  for (int i = 0; i < a.n; ++i) {
    if (!std::isfinite(x[i])) return HUGE_VAL;
    residual = std::max(residual, std::fabs(r[i]));
    norm = std::max(norm, sums[i]);
    solution = std::max(solution, std::fabs(x[i]));
    load = std::max(load, std::fabs(b[i]));
  }
  return residual / (norm * solution + load);
}

}  // namespace bench
