// Drives CSolnMatrix through arbitrary legal call orders, sizes, methods and values (NaN, infinities,
// denormals, duplicates, empty columns) beside a dense model in long double, and compares every result.
//
// A byte stream is a program: each byte chooses an operation, the following ones its arguments. Aborts on a
// result that the model contradicts; the sanitizers watch the rest.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <limits>
#include <memory>
#include <vector>

#include "solution/CSolnMatrix.h"

namespace {

using namespace Vessa::Matrix;

[[noreturn]] void contradiction(const char* what) {
  std::fprintf(stderr, "the dense model contradicts: %s\n", what);
  std::abort();
}

class Program {
public:
  Program(const std::uint8_t* data, std::size_t size) : m_data(data), m_end(data + size) {}
  bool ended() const { return m_data == m_end; }
  int byte() { return m_data == m_end ? 0 : *m_data++; }
  int below(int bound) { return byte() % bound; }
  double value() {
    static const double table[] = {0.0,
                                   1.0,
                                   -1.0,
                                   2.0,
                                   0.5,
                                   -0.25,
                                   4.0,
                                   1e-17,
                                   3e5,
                                   1e-300,
                                   1e300,
                                   std::numeric_limits<double>::denorm_min(),
                                   std::numeric_limits<double>::infinity(),
                                   -std::numeric_limits<double>::infinity(),
                                   std::numeric_limits<double>::quiet_NaN(),
                                   10.0};
    const int choice = byte();
    if (choice < 192) return 0.125 * ((choice % 64) - 16);  // most values are tame
    return table[choice % 16];
  }

private:
  const std::uint8_t* m_data;
  const std::uint8_t* m_end;
};

// The upper triangle as the host added it, both what is staged and what the last Finalize took.
class DenseModel {
public:
  explicit DenseModel(int n = 0) : m_n(n), m_value(at(n, n + 1)), m_scale(at(n, n + 1)) {}
  int order() const { return m_n; }
  void add(int i, int j, double v) {
    m_value[at(i, j)] += v;
    m_scale[at(i, j)] += std::fabs(static_cast<long double>(v));
  }
  void scale(double f) {
    for (auto& v : m_value) v *= f;
    for (auto& s : m_scale) s *= std::fabs(static_cast<long double>(f));
  }
  long double value(int i, int j) const { return i <= j ? m_value[at(i, j)] : m_value[at(j, i)]; }
  long double size(int i, int j) const { return i <= j ? m_scale[at(i, j)] : m_scale[at(j, i)]; }
  bool finite() const {
    for (const auto& s : m_scale) {
      if (!(s <= 1e290L)) return false;  // sums beyond are not comparable in double
    }
    return true;
  }
  // Positive definite by a wide margin: Cholesky with pivots above 1e-6 of the largest diagonal.
  bool wellConditioned() const {
    if (!finite()) return false;
    std::vector<long double> a(at(m_n, m_n + 1));
    long double largest = 0;
    for (int i = 1; i <= m_n; ++i) largest = std::max(largest, std::fabs(value(i, i)));
    for (int i = 1; i <= m_n; ++i) {
      for (int j = 1; j <= m_n; ++j) {
        if (size(i, j) > 1e3L * largest) return false;  // cancellation in the sums
        a[at(i, j)] = value(i, j);
      }
    }
    for (int k = 1; k <= m_n; ++k) {
      const long double pivot = a[at(k, k)];
      if (!(pivot > 1e-6L * largest) || largest < 1e-30L || largest > 1e30L) return false;
      for (int i = k + 1; i <= m_n; ++i) {
        for (int j = k + 1; j <= m_n; ++j) a[at(i, j)] -= a[at(i, k)] * a[at(k, j)] / pivot;
      }
    }
    return true;
  }

private:
  std::size_t at(int i, int j) const {
    return static_cast<std::size_t>(i) * static_cast<std::size_t>(m_n + 2) + static_cast<std::size_t>(j);
  }
  int m_n;
  std::vector<long double> m_value, m_scale;
};

class Session {
public:
  explicit Session(Program& program) : m_program(program) { restart(); }

  void run() {
    for (int steps = 0; !m_program.ended() && steps < 400; ++steps) step();
  }

private:
  enum class Stage { Empty, Staging, Assembled, Reduced };

  void restart() {
    static const int methods[] = {0, 1, 4, 6, 3};
    m_matrix = std::make_unique<CSolnMatrix>();
    m_n = -1;
    m_method = methods[m_program.below(5)];
    m_matrix->SetMethod(static_cast<SolMethod>(m_method));
    m_matrix->SetLog(&m_report);
    if (m_program.below(4) == 0) m_matrix->SetPardisoNumThreads(1);
    size();
  }

  void size() {
    const int old = m_n;
    m_n = m_program.below(9);
    m_matrix->SetNumDof(m_n);
    if (m_n != old) m_staged = DenseModel(m_n);  // staged terms of the same order stay
    m_model = DenseModel(m_n);
    m_stage = Stage::Staging;
  }

  void step() {
    switch (m_program.below(14)) {
      case 0:
        restart();
        break;
      case 1:
        size();
        break;
      case 2:
      case 3:
      case 4:
      case 5:
        addTerm();
        break;
      case 6:
        finalize();
        break;
      case 7:
        reduce();
        break;
      case 8:
        solve();
        break;
      case 9:
        solveBlock();
        break;
      case 10:
        product();
        break;
      case 11:
        scale();
        break;
      case 12:
        read();
        break;
      case 13:
        m_matrix = std::make_unique<CSolnMatrix>(*m_matrix);
        break;
    }
  }

  void addTerm() {
    if (m_n == 0) return;
    int i = 1 + m_program.below(m_n), j = 1 + m_program.below(m_n);
    if (i > j) std::swap(i, j);
    const double v = m_program.value();
    m_matrix->AddTerm(i, j, v);
    const bool dropped =
        m_method == 6 &&
        (std::isnan(v) || (v != 0.0 && std::fabs(v) < std::numeric_limits<double>::epsilon()));
    if (!dropped) m_staged.add(i, j, v);
  }

  bool hasEngine() const { return m_method == 0 || m_method == 4 || m_method == 6; }

  void finalize() {
    // SetNumDof staged the diagonal for the first Finalize; a later one builds from new terms only.
    for (int i = 1; m_stage != Stage::Staging && i <= m_n; ++i) m_matrix->AddTerm(i, i, 0.0);
    if (!m_matrix->Finalize() && m_n > 0) contradiction("Finalize failed");
    m_model = m_staged;
    m_staged = DenseModel(m_n);
    m_stage = Stage::Assembled;
    if (hasEngine() && m_matrix->NumDof() != m_n) {
      std::fprintf(stderr, "method %d, n %d, NumDof %d\n", m_method, m_n, m_matrix->NumDof());
      contradiction("NumDof after Finalize");
    }
  }

  void reduce() {
    if (m_stage != Stage::Assembled && m_stage != Stage::Reduced) return;
    if (m_method == 0 && m_stage == Stage::Reduced) return;
    std::vector<int> zeroDofs;
    const Option option = m_program.below(3) == 0 ? OptSturm : OptStiffness;
    const bool good = m_model.wellConditioned();
    const int result = m_matrix->Reduce(option, zeroDofs);
    m_stage = Stage::Reduced;
    m_solvable = result == 0;
    if (m_method == 1 && result != 0) contradiction("method 1 reduces to 0");
    if (m_method == 3 && result != -1) contradiction("an unknown method reduces to -1");
    if (good && hasEngine() && result != 0 && m_n > 0)
      contradiction("a positive definite matrix was not reduced");
    for (const int dof : zeroDofs) {
      if (dof < 1 || dof > m_n) contradiction("a suppressed dof out of range");
    }
  }

  std::vector<long double> residual(const double* x, const double* f) const {
    std::vector<long double> r(static_cast<std::size_t>(m_n));
    for (int i = 1; i <= m_n; ++i) {
      long double sum = f[i - 1];
      for (int j = 1; j <= m_n; ++j) sum -= m_model.value(i, j) * x[j - 1];
      r[static_cast<std::size_t>(i) - 1] = sum;
    }
    return r;
  }

  void checkSolution(const double* x, const double* f) const {
    long double normK = 0, normX = 0, normF = 0, normR = 0;
    const auto r = residual(x, f);
    for (int i = 1; i <= m_n; ++i) {
      long double row = 0;
      for (int j = 1; j <= m_n; ++j) row += std::fabs(m_model.value(i, j));
      normK = std::max(normK, row);
      normX = std::max(normX, std::fabs(static_cast<long double>(x[i - 1])));
      normF = std::max(normF, std::fabs(static_cast<long double>(f[i - 1])));
      normR = std::max(normR, std::fabs(r[static_cast<std::size_t>(i) - 1]));
    }
    if (!(normR <= 1e-12L * (normK * normX + normF))) contradiction("the solution's residual");
  }

  bool mustSolve() const {
    return m_stage == Stage::Reduced && m_solvable && hasEngine() && m_n > 0 && m_model.wellConditioned();
  }

  void solve() {
    if (m_stage != Stage::Reduced) return;
    CVector x(m_n, 0.0);
    std::vector<double> f(static_cast<std::size_t>(m_n) + 1);
    for (int i = 1; i <= m_n; ++i) {
      f[static_cast<std::size_t>(i) - 1] = 0.5 * (m_program.byte() - 128);
      x.SetAt(i, f[static_cast<std::size_t>(i) - 1]);
    }
    m_matrix->BackSubstitute(x);
    if (mustSolve()) checkSolution(x.Array(), f.data());
  }

  void solveBlock() {
    if (m_stage != Stage::Reduced || m_n == 0) return;
    const int columns = 1 + m_program.below(5);
    CMatrix<1> X(m_n, columns);
    for (int c = 1; c <= columns; ++c) {
      for (int i = 1; i <= m_n; ++i) X.SetAt(i, c, 0.5 * (m_program.byte() - 128));
    }
    const CMatrix<1> F = X;
    bool refused = false;
    try {
      m_matrix->BackSubstitute(X);
    } catch (const std::exception&) {
      refused = true;
    }
    if (refused != (m_method == 0)) contradiction("the block solve is refused by method 0 only");
    if (refused || !mustSolve()) return;
    for (int c = 0; c < columns; ++c) checkSolution(X.Array() + c * m_n, F.Array() + c * m_n);
  }

  void product() {
    if (m_stage != Stage::Assembled || !hasEngine() || m_n == 0) return;
    CVector x(m_n, 0.0);
    for (int i = 1; i <= m_n; ++i) x.SetAt(i, 0.25 * (m_program.byte() - 128));
    const CVector y = *m_matrix * x;
    if (y.Size() != m_n) contradiction("the size of a product");
    if (!m_model.finite()) return;
    for (int i = 1; i <= m_n; ++i) {
      long double sum = 0, size = 0;
      for (int j = 1; j <= m_n; ++j) {
        sum += m_model.value(i, j) * x[j];
        size += m_model.size(i, j) * std::fabs(static_cast<long double>(x[j]));
      }
      const long double error = std::fabs(sum - static_cast<long double>(y[i]));
      if (!(error <= 1e-14L * size + 1e-300L)) {
        std::fprintf(stderr, "method %d, n %d, row %d: %.17g, expected %.17Lg of size %.3Lg\n", m_method, m_n,
                     i, y[i], sum, size);
        contradiction("a product");
      }
    }
  }

  void scale() {
    if (m_stage != Stage::Assembled || !hasEngine()) return;
    const double f = 0.5 * (1 + m_program.below(6));
    m_matrix->Scale(f);
    m_model.scale(f);
  }

  void read() {
    if (m_stage != Stage::Assembled || !hasEngine() || m_n == 0 || !m_model.finite()) return;
    int i = 1 + m_program.below(m_n), j = 1 + m_program.below(m_n);
    if (i > j) std::swap(i, j);
    const double found = m_method == 6 ? m_matrix->GetAt(j, i) : m_matrix->GetAt(i, j);
    const long double error = std::fabs(m_model.value(i, j) - static_cast<long double>(found));
    if (!(error <= 1e-15L * m_model.size(i, j) + 1e-300L)) contradiction("a term read back");
    if (m_method == 6 && i < j && m_matrix->GetAt(i, j) != 0.0) contradiction("method 6 stores one triangle");
  }

  Program& m_program;
  CReport m_report;
  std::unique_ptr<CSolnMatrix> m_matrix;
  DenseModel m_staged, m_model;
  int m_method = 0, m_n = -1;
  Stage m_stage = Stage::Empty;
  bool m_solvable = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Program program(data, size);
  Session(program).run();
  return 0;
}
