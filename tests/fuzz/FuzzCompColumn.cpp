// Drives CCompColumn through arbitrary call orders, patterns and values beside a dense model: values, shifts,
// reductions in both modes, solutions, products, copies and its image. Terms of a column may be missing, the
// diagonal too.
#include <cstdio>

#include "CallOrders.h"
#include "sparse/CCompColumn.h"

namespace {

using namespace Vessa::Matrix;
using namespace fuzz;

/// A matrix and what it must hold.
struct Subject {
  CCompColumn matrix;
  SymmetricModel model;
  std::vector<bool> stored;

  int n() const { return model.order(); }
  std::size_t at(int i, int j) const { return std::size_t(i) * std::size_t(n() + 1) + std::size_t(j); }
  bool has(int i, int j) const { return stored[at(std::min(i, j), std::max(i, j))]; }
  void add(int i, int j, double v) {
    matrix.AddAt(i, j, v);
    if (i != j) matrix.AddAt(j, i, v);
    if (has(i, j)) model.add(std::min(i, j), std::max(i, j), v);
  }
  void set(int i, int j, double v) {
    matrix.SetAt(i, j, v);
    if (i != j) matrix.SetAt(j, i, v);
    if (has(i, j)) model.set(std::min(i, j), std::max(i, j), v);
  }
};

class Session {
public:
  explicit Session(Choices& choices) : m_choices(choices) { build(m_subject, m_choices.order()); }

  void step() {
    switch (m_choices.below(14)) {
      case 0:
        return build(m_subject, m_choices.order());
      case 1:
        return scale();
      case 2:
        return shift();
      case 3:
        return addDiagonal();
      case 4:
      case 5:
        return reduce();
      case 6:
        return solve();
      case 7:
        return product();
      case 8:
        return checkTerms();
      case 9:
        return copy();
      case 10:
        return image();
      default:
        return changeTerm();
    }
  }

private:
  int n() const { return m_subject.n(); }

  /// A pattern of n dofs on a used or fresh object, and some values.
  void build(Subject& s, int n) {
    if (m_choices.oneIn(2)) s.matrix = CCompColumn();
    s.matrix.SetLog(&m_report);
    s.model = SymmetricModel(n);
    s.stored.assign(s.at(n, n) + 1, false);
    CMatInt pattern;
    pattern.SetSize(n);
    const auto reserve = [&](int i, int j) {
      pattern.SetVal(i, j);
      pattern.SetVal(j, i);
      s.stored[s.at(std::min(i, j), std::max(i, j))] = true;
    };
    for (int i = 1; i <= n; ++i)
      if (!m_choices.oneIn(8)) reserve(i, i);
    for (int k = n == 0 ? 0 : m_choices.below(48); k > 0; --k)
      reserve(1 + m_choices.below(n), 1 + m_choices.below(n));
    std::vector<test_support::Term> terms;
    if (m_choices.oneIn(2)) terms = drawDominantTerms(m_choices, n);
    for (const auto& t : terms) reserve(t.i, t.j);
    pattern.Sort();
    if (!s.matrix.Set(pattern)) contradiction("a sorted pattern was refused");
    for (const auto& t : terms) s.set(t.i, t.j, t.value);
  }

  void changeTerm() {
    if (n() == 0) return;
    const int i = 1 + m_choices.below(n()), j = 1 + m_choices.below(n());
    const double v = m_choices.value();
    m_choices.oneIn(2) ? m_subject.set(i, j, v) : m_subject.add(i, j, v);
    checkFactors();
  }

  void scale() {
    const double f = 0.5 * (m_choices.below(9) - 3);
    if (f == 0.0) {
      m_subject.matrix.SetZero();
      m_subject.model = SymmetricModel(n());
    } else {
      m_subject.matrix.Scale(f);
      m_subject.model.scale(f);
    }
    checkFactors();
  }

  void shift() {
    Subject other;
    build(other, n());
    const double s = 0.25 * (m_choices.below(9) - 4);
    m_subject.matrix.Shift(other.matrix, s);
    m_subject.model.shift(other.model, s);
    for (std::size_t k = 0; k < other.stored.size(); ++k)
      if (other.stored[k]) m_subject.stored[k] = true;
    checkFactors();
  }

  void addDiagonal() {
    CDiag d(n());
    for (int i = 1; i <= n(); ++i) {
      d.SetAt(i, i, m_choices.value());
      m_subject.model.add(i, i, d.GetAt(i, i));
      m_subject.stored[m_subject.at(i, i)] = true;
    }
    m_subject.matrix += d;
    checkFactors();
  }

  /// After a change: factors that are still held must be those of the present values.
  void checkFactors() const {
    if (m_subject.matrix.IsReduced() && !m_subject.model.sameValues(m_factored))
      contradiction("factors of other values");
  }

  void reduce() {
    const bool stiffness = !m_choices.oneIn(3);
    const int negative = m_subject.model.negativePivots();
    const int result = m_subject.matrix.Reduce(stiffness, 1e-40);
    const bool reduced = m_subject.matrix.IsReduced();
    m_solved = m_factored = m_subject.model;
    if (m_subject.model.wellConditioned() &&
        (result != n() || !reduced || m_subject.matrix.NumNegative() != 0))
      contradiction("a positive definite matrix of order %d: result %d", n(), result);
    if (result == n() && !reduced && n() > 0) contradiction("success without factors");
    if (!reduced) {
      if (result >= n() && n() > 0) contradiction("result %d of a failure, order %d", result, n());
      return;
    }
    const std::vector<int>& suppressed = m_subject.matrix.SuppressedDofs();
    if (!stiffness && !suppressed.empty()) contradiction("the Sturm mode suppresses nothing");
    if (suppressed.empty() != (result == n())) contradiction("result %d with suppressed dofs", result);
    int previous = 0;
    for (const int dof : suppressed) {
      if (dof <= previous || dof > n()) contradiction("suppressed dofs out of order");
      m_solved.decouple(previous = dof);
    }
    // the inertia is that of the matrix whatever the order of elimination
    if (negative >= 0 && !stiffness && m_subject.matrix.NumNegative() != negative)
      contradiction("%d negative pivots, expected %d", m_subject.matrix.NumNegative(), negative);
  }

  void solve() {
    const std::vector<double> f = drawLoads(m_choices, n());
    CVector x = vectorOf(f, n());
    const bool reduced = m_subject.matrix.IsReduced();
    m_subject.matrix.BackSubs(x);
    for (int i = 1; i <= n() && !reduced; ++i)
      if (x[i] != f[std::size_t(i) - 1]) contradiction("a solve without factors changes the load");
    if (reduced && m_solved.wellConditioned()) m_solved.checkSolution(x.Array(), f.data(), "BackSubs");
  }

  void product() {
    CVector x(n());
    CMatrix<0> X(n(), 1);
    for (int i = 1; i <= n(); ++i) X.SetAt(i, 1, x[i] = m_choices.load());
    const CVector y = m_subject.matrix * x;
    const CMatrix<0> Y = m_subject.matrix * X;
    if (y.Size() != n() || Y.NumRows() != n()) contradiction("the size of a product");
    m_subject.model.checkProduct(x.Array(), y.Array(), "product");
    if (n() > 0) m_subject.model.checkProduct(x.Array(), Y.Array(), "block product");
  }

  void checkTerms() const {
    int count = 0;
    for (int j = 1; j <= n(); ++j) {
      Real squares = 0;
      for (int i = 1; i <= n(); ++i) {
        const bool stored = m_subject.has(i, j);
        if (m_subject.matrix.Exist(i, j) != stored) contradiction("the entry (%d, %d)", i, j);
        if (!stored && m_subject.matrix.GetAt(i, j) != 0.0) contradiction("a term that is not stored");
        if (stored) m_subject.model.checkTerm(i, j, m_subject.matrix.GetAt(i, j), "a term");
        if (i <= j) squares += Real(m_subject.matrix.GetAt(i, j)) * m_subject.matrix.GetAt(i, j);
        count += stored;
      }
      const double norm = m_subject.matrix.ColumnSRSS(j);
      if (squares < 1e200L && squares > 1e-200L &&
          !(std::fabs(norm * Real(norm) - squares) <= 1e-13L * squares))
        contradiction("the norm %g of column %d", norm, j);
    }
    if (m_subject.matrix.NumTerm() != count) contradiction("%d terms", m_subject.matrix.NumTerm());
  }

  /// The copy must be independent of its source.
  void copy() {
    CCompColumn other(m_subject.matrix);
    const bool reduced = m_subject.matrix.IsReduced();
    m_subject.matrix.SetZero();
    m_subject.matrix = other;
    if (m_subject.matrix.IsReduced() != reduced) contradiction("a copy loses its factors");
  }

  void image() {
    std::FILE* file = std::tmpfile();
    if (file == nullptr) return;
    CCompColumn other;
    other.SetLog(&m_report);
    if (!m_subject.matrix.Write(file)) contradiction("the image was not written");
    if (!other.Read(file)) contradiction("the image was not read, order %d", n());
    std::fclose(file);
    m_subject.matrix = other;
    checkFactors();
    checkTerms();
  }

  Choices& m_choices;
  CReport m_report;
  Subject m_subject;
  SymmetricModel m_factored, m_solved;  // the matrix of the factors, without and with its dofs suppressed
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz::runSession<Session>(data, size);
}
