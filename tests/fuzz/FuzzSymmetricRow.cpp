// Drives CSymmetricRow beside a dense model: a random pattern is reserved and sorted, its values are set in
// any order, copied, scaled and multiplied, then both numeric factorisations must give the same factor and a
// solution.
#include "CallOrders.h"
#include "sparse/CSymmetricRow.h"

namespace {

using namespace Vessa::Matrix;
using namespace fuzz;

class Session {
public:
  explicit Session(Choices& choices) : m_choices(choices) { restart(); }

  void step() {
    switch (m_choices.below(12)) {
      case 0:
        return restart();
      case 1:
        return scale();
      case 2:
        return diagonal();
      case 3:
        return product();
      case 4:
        return extract();
      case 5:
      case 6:
        return factorise();
      case 7:
        return checkTerms();
      default:
        return setTerm();
    }
  }

private:
  int n() const { return m_model.order(); }
  std::size_t at(int i, int j) const { return std::size_t(i) * std::size_t(n() + 1) + std::size_t(j); }
  bool stored(int i, int j) const { return i <= j && m_stored[at(i, j)]; }
  bool wholeDiagonal() const {
    for (int i = 1; i <= n(); ++i)
      if (!stored(i, i)) return false;
    return true;
  }

  /// A fresh object, its pattern reserved in any order, sorted, first rows and lookup built.
  void restart() {
    m_model = SymmetricModel(m_choices.order());
    m_stored.assign(at(n(), n()) + 1, false);
    m_matrix = m_choices.oneIn(2) ? CSymmetricRow(n()) : CSymmetricRow();
    m_matrix.SetLog(&m_report);
    m_matrix.SetNumDof(n());
    m_entries = 0;
    const bool diagonal = !m_choices.oneIn(4);
    for (int entries = n() == 0 ? 0 : m_choices.below(64); entries > 0; --entries) {
      const int i = 1 + m_choices.below(n());
      reserve(i, i + m_choices.below(n() - i + 1));
    }
    for (int i = n(); i >= 1 && diagonal; --i) reserve(i, i);
    if (m_choices.oneIn(3))
      for (const test_support::Term& t : drawDominantTerms(m_choices, n())) {
        reserve(t.i, t.j);
        m_matrix.SetAt(t.i, t.j, t.value);
        m_model.set(t.i, t.j, t.value);
      }
    m_matrix.Sort();
    m_matrix.StoreFirstRow();
    m_matrix.CreateColumnLookup();
    checkPattern();
  }

  void reserve(int i, int j) {
    if (m_choices.oneIn(2))
      m_matrix.ReserveAt(i, j);
    else
      m_matrix.AllocateAt(i, j);
    m_entries += !m_stored[at(i, j)];
    m_stored[at(i, j)] = true;
  }

  void checkPattern() const {
    if (m_matrix.NumDof() != n() || m_matrix.Size() != m_entries)
      contradiction("%d entries", m_matrix.Size());
    int profile = 0;
    bool everyColumn = true;
    for (int j = 1; j <= n(); ++j) {
      int first = 0;
      for (int i = n(); i >= 1; --i) {
        if (m_matrix.Exist(i, j) != stored(i, j)) contradiction("the entry (%d, %d)", i, j);
        if (stored(i, j)) first = i;
      }
      if (m_matrix.FirstRow(j) != first) contradiction("the first row of column %d", j);
      everyColumn = everyColumn && first > 0;
      profile += j - first + 1;
    }
    if (everyColumn && m_matrix.Skyline() != profile) contradiction("a profile of %d", m_matrix.Skyline());
    if (everyColumn && n() > 0 && m_matrix.Sparsity() != 1.0 - double(m_entries) / profile)
      contradiction("the sparsity");
  }

  void setTerm() {
    if (n() == 0) return;
    const int i = 1 + m_choices.below(n()), j = i + m_choices.below(n() - i + 1);
    if (!stored(i, j)) return;
    const double v = m_choices.value();
    if (m_choices.oneIn(2)) {
      m_matrix.SetAt(i, j, v);
      m_model.set(i, j, v);
    } else {
      m_matrix.AddAt(i, j, v);
      m_model.add(i, j, v);
    }
  }

  void scale() {
    const double s = 0.5 * (m_choices.below(9) - 4);
    if (m_choices.oneIn(2))
      m_matrix.Scale(s);
    else
      m_matrix = m_matrix * s;
    m_model.scale(s);
  }

  void diagonal() {
    CDiag d(n());
    if (!wholeDiagonal()) return;
    for (int i = 1; i <= n(); ++i) {
      d.SetAt(i, i, m_choices.value());
      m_model.add(i, i, d.GetAt(i, i));
    }
    m_matrix = (m_matrix += d);
    const CDiag found = m_matrix.Diag();
    for (int i = 1; i <= n(); ++i) m_model.checkTerm(i, i, found.GetAt(i, i), "the diagonal");
  }

  void product() {
    CVector x(n()), y;
    for (int i = 1; i <= n(); ++i) x[i] = m_choices.load();
    m_matrix.Multiply(x, y);
    if (y.Size() != n()) contradiction("the size of a product");
    m_model.checkProduct(x.Array(), y.Array(), "product");
  }

  void extract() {
    if (n() == 0) return;
    const int first = 1 + m_choices.below(n()), last = first + m_choices.below(n() - first + 1);
    const CMatrix<0> block = m_matrix.ExtractSubMatrix(first, last);
    const CMatrix<0> diagonal = m_matrix.ExtractDiagMatrix(first, last);
    for (int i = first; i <= last; ++i)
      for (int j = first; j <= last; ++j) {
        m_model.checkTerm(i, j, block.GetAt(i - first + 1, j - first + 1), "a block");
        const double found = diagonal.GetAt(i - first + 1, j - first + 1);
        if (i == j)
          m_model.checkTerm(i, i, found, "a diagonal block");
        else if (found != 0.0)
          contradiction("a diagonal block holds %g beside its diagonal", found);
      }
  }

  void factorise() {
    if (!wholeDiagonal()) return;
    CSymmetricRow fast, slow;
    fast.SymbolicFactorization(m_matrix);
    fast.Factorization(m_matrix);
    slow.SymbolicFactorization(m_matrix);
    slow.SlowFactorization(m_matrix);
    fast.StoreFirstRow();
    if (fast.Size() != slow.Size()) contradiction("two layouts of one factor");
    for (int i = 1; i <= n(); ++i)
      for (int j = i; j <= n(); ++j)
        if (fast.Exist(i, j) != slow.Exist(i, j) || !same(fast.GetAt(i, j), slow.GetAt(i, j)))
          contradiction("the numeric stages give %g and %g", fast.GetAt(i, j), slow.GetAt(i, j));
    const std::vector<double> f = drawLoads(m_choices, n());
    CVector b = vectorOf(f, n()), x;
    fast.BackSubs(b, x);
    fast.BackSubs(b);
    for (int i = 1; i <= n(); ++i)
      if (!same(b[i], x[i])) contradiction("two solutions with one factor");
    if (m_model.wellConditioned()) m_model.checkSolution(x.Array(), f.data(), "BackSubs");
  }

  void checkTerms() const {
    for (int i = 1; i <= n(); ++i)
      for (int j = 1; j <= n(); ++j) {
        if (i <= j)
          m_model.checkTerm(i, j, m_matrix.GetAt(i, j), "a term");
        else if (m_matrix.GetAt(i, j) != 0.0)
          contradiction("a term below the diagonal");
      }
  }

  Choices& m_choices;
  CReport m_report;
  CSymmetricRow m_matrix;
  SymmetricModel m_model;
  std::vector<bool> m_stored;
  int m_entries = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz::runSession<Session>(data, size);
}
