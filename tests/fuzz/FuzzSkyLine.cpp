// Drives CSkyLine through arbitrary legal call orders, profiles and values beside a dense model: heights,
// index, values, reduction in both modes, solutions, products, shifts, copies and its file. The input is a
// program: a byte chooses an operation, the following ones its arguments.
#include <cstdio>
#include <memory>

#include "CallOrders.h"
#include "skyline/CSkyLine.h"

namespace {

using namespace Vessa::Matrix;
using namespace fuzz;

class Session {
public:
  explicit Session(Choices& choices) : m_choices(choices) { restart(); }

  void step() {
    const int operation = m_choices.below(18);
    if (operation == 0) return restart();
    if (operation == 1) return profile();
    if (m_stage == Stage::Undefined) return;
    if (operation == 2) return copy();
    if (operation == 3) return file();
    if (operation <= 6 && m_stage == Stage::Reduced) return solve(operation);
    if (operation == 7) return product();
    if (m_stage == Stage::Reduced) return reduceAgain();
    change(operation);
  }

private:
  /// Undefined: partly reduced after a multiplier that was too large; only a new profile helps.
  enum class Stage { Indexed, Reduced, Undefined };

  void restart() {
    m_matrix = std::make_unique<CSkyLine>();
    m_matrix->SetLog(&m_report);
    m_diagonal = m_choices.oneIn(8);
    m_matrix->SetDiagonal(m_diagonal);
    profile();
  }

  /// A new profile on the same object.
  void profile() {
    m_matrix->Clear();
    const int n = m_choices.order();
    m_matrix->SetNumDof(n);
    m_height.assign(static_cast<std::size_t>(n) + 1, 1);
    for (int j = 1; j <= n && !m_diagonal; ++j) {
      const int h = m_choices.below(j + 1);  // 0: never set, becomes 1
      m_matrix->SetColHeight(j, h);
      if (m_matrix->ColHeight(j) != h) contradiction("a height as it was set");
      height(j) = std::max(1, h);
    }
    if (!m_diagonal && !m_matrix->CreateIndex()) contradiction("no index for order %d", n);
    m_model = SymmetricModel(n);
    m_stage = Stage::Indexed;
    for (int j = 1; j <= n && !m_diagonal; ++j)
      if (m_matrix->ColHeight(j) != height(j)) contradiction("a height after the index");
  }

  void change(int operation) {
    switch (operation) {
      case 8:
        return fill();
      case 9:
        return scale();
      case 10:
        return normalize();
      case 11:
        return shift();
      case 12:
      case 13:
        return reduce();
      case 14:
        return checkTerms();
      default:
        return setTerm();
    }
  }

  int n() const { return m_model.order(); }
  int& height(int j) { return m_height[static_cast<std::size_t>(j)]; }

  void setTerm() {
    if (n() == 0) return;
    const int j = 1 + m_choices.below(n()), i = j - m_choices.below(height(j));
    const double v = m_choices.value();
    if (m_choices.oneIn(2)) {
      m_matrix->SetAt(i, j, v);
      m_model.set(i, j, v);
    } else {
      m_matrix->ElementAt(i, j) += v;
      m_model.add(i, j, v);
    }
  }

  void fill() {
    for (const test_support::Term& t : drawDominantTerms(m_choices, n())) {
      if (t.j - t.i >= height(t.j)) continue;
      m_matrix->SetAt(t.i, t.j, t.value);
      m_model.set(t.i, t.j, t.value);
    }
  }

  void scale() {
    const double f = 0.5 * (1 + m_choices.below(6));
    m_matrix->Scale(f);
    m_model.scale(f);
  }

  void normalize() {
    if (!m_model.finite()) return;
    double largest = n() == 0 ? 0.0 : m_matrix->GetAt(1, 1);
    for (int i = 2; i <= n(); ++i) largest = std::max(largest, m_matrix->GetAt(i, i));
    m_matrix->Normalize();
    if (!(largest > 1e-290)) return restart();
    if (!m_matrix->IsNormalized() || m_matrix->NormFactor() != 1.0 / largest)
      contradiction("norm factor %g of the diagonal %g", m_matrix->NormFactor(), largest);
    m_model.scale(m_matrix->NormFactor());
  }

  /// By itself, or by a diagonal matrix.
  void shift() {
    const double s = 0.25 * (m_choices.below(9) - 4);
    if (m_choices.oneIn(2)) {
      const CSkyLine other = *m_matrix;
      m_matrix->Shift(other, s);
      const SymmetricModel same = m_model;
      m_model.shift(same, s);
      return;
    }
    CSkyLine mass;
    mass.SetDiagonal(true);
    mass.SetNumDof(n());
    for (int i = 1; i <= n(); ++i) {
      const double m = m_choices.value();
      mass.SetAt(i, i, m);
      m_model.add(i, i, -s * m);
    }
    m_matrix->Shift(mass, s);
  }

  void reduce() {
    if (m_diagonal) return;
    m_matrix->SetAssemble();
    const bool sturm = m_choices.oneIn(3);
    const int negative = m_model.negativePivots();
    std::vector<int> zeroDofs;
    const bool good = m_matrix->Reduce(sturm ? OptSturm : OptStiffness, zeroDofs);
    m_stage = m_matrix->GetPhase() == PhaseReduced || n() == 0 ? Stage::Reduced : Stage::Undefined;
    if (negative >= 0 && (!good || !zeroDofs.empty() || m_stage != Stage::Reduced))
      contradiction("a regular matrix of order %d was not reduced", n());
    if (sturm && !zeroDofs.empty()) contradiction("the Sturm mode suppresses nothing");
    if (m_stage == Stage::Reduced && good != zeroDofs.empty()) contradiction("the result of the reduction");
    if (m_stage == Stage::Undefined && !sturm) contradiction("the stiffness mode gave up");
    if (m_stage == Stage::Undefined) m_matrix->SturmFailure();
    int previous = 0;
    for (const int dof : zeroDofs) {
      if (dof <= previous || dof > n()) contradiction("suppressed dofs out of order");
      m_model.decouple(previous = dof);
    }
    if (negative >= 0) checkFactors(negative);
  }

  void checkFactors(int expected) {
    const CDiag pivots = m_matrix->Diag();
    int negative = 0;
    for (int i = 1; i <= n(); ++i) {
      const double pivot = pivots.GetAt(i, i);
      negative += pivot < 0.0;
      if (!(m_matrix->MinStiff().second <= pivot && pivot <= m_matrix->MaxStiff().second))
        contradiction("pivot %g outside its records", pivot);
    }
    if (negative != expected) contradiction("%d negative pivots, expected %d", negative, expected);
  }

  void reduceAgain() {
    if (n() == 0) return;
    std::vector<int> untouched{7};
    if (!m_matrix->Reduce(OptStiffness, untouched) || untouched.size() != 1)
      contradiction("a second reduction does nothing");
  }

  void solve(int operation) {
    const int columns = operation == 4 ? 1 : m_choices.below(6);
    CMatrix<0> X(n(), columns);
    std::vector<std::vector<double>> loads;
    for (int c = 1; c <= columns; ++c) {
      loads.push_back(drawLoads(m_choices, n()));
      for (int i = 1; i <= n(); ++i) X.SetAt(i, c, loads.back()[static_cast<std::size_t>(i) - 1]);
    }
    m_matrix->BackSubs(X);
    const bool known = m_model.negativePivots() >= 0;
    for (int c = 1; c <= columns; ++c) {
      const std::vector<double>& f = loads[static_cast<std::size_t>(c) - 1];
      CVector x = vectorOf(f, n());
      m_matrix->BackSubs(x);
      for (int i = 1; i <= n(); ++i)
        if (!same(x[i], X.GetAt(i, c))) contradiction("a column of the block solve differs");
      if (known) m_model.checkSolution(x.Array(), f.data(), "BackSubs");
    }
  }

  void product() {
    if (m_stage == Stage::Indexed) m_matrix->SetAssemble();
    if (m_stage == Stage::Reduced && m_model.negativePivots() < 0) return;
    CMatrix<0> X(n(), 1);
    CVector x(n());
    for (int i = 1; i <= n(); ++i) X.SetAt(i, 1, x[i] = 0.5 * m_choices.load());
    const CVector y = *m_matrix * x;
    const CMatrix<0> Y = *m_matrix * X;
    if (n() == 0) return;
    if (y.Size() != n() || Y.NumRows() != n()) contradiction("a product of %d rows", y.Size());
    for (int i = 1; i <= n(); ++i)
      if (!same(y[i], Y.GetAt(i, 1))) contradiction("a column of the block product differs");
    m_model.checkProduct(x.Array(), y.Array(), "product", m_stage == Stage::Reduced ? 1e-9L : 1e-14L);
  }

  void checkTerms() {
    const bool positive = m_matrix->CheckDiagonal();
    bool expected = true;
    for (int j = 1; j <= n(); ++j) {
      for (int i = 1; i <= j; ++i) {
        m_model.checkTerm(i, j, m_matrix->GetAt(i, j), "a term");
        if (!same(m_matrix->GetAt(i, j), m_matrix->GetAt(j, i))) contradiction("a symmetric read");
      }
      if ((j > 1 || m_diagonal) && m_matrix->GetAt(j, j) < 0.0) expected = false;
    }
    if (positive != expected) contradiction("CheckDiagonal");
  }

  void copy() {
    CSkyLine other;
    other = *m_matrix;
    m_matrix = std::make_unique<CSkyLine>(other);
  }

  /// Into a file and from there into a copy without values.
  void file() {
    std::FILE* file = std::tmpfile();
    if (file == nullptr) return;
    CSkyLine other(*m_matrix);
    other.Null();
    if (!m_matrix->Write(file) || !other.Read(file)) contradiction("the file of a matrix of order %d", n());
    std::fclose(file);
    if (other.GetPhase() != m_matrix->GetPhase()) contradiction("the phase in the file");
    for (int j = 1; j <= n(); ++j)
      for (int i = 1; i <= j; ++i)
        if (!same(other.GetAt(i, j), m_matrix->GetAt(i, j))) contradiction("a term in the file");
    *m_matrix = other;
  }

  Choices& m_choices;
  CReport m_report;
  std::unique_ptr<CSkyLine> m_matrix;
  SymmetricModel m_model;
  std::vector<int> m_height;
  bool m_diagonal = false;
  Stage m_stage = Stage::Indexed;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz::runSession<Session>(data, size);
}
