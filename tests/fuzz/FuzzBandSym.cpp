// Drives two CBandSym through arbitrary call orders, sizes and values beside a transcription of their slots:
// term (i, j) at position (i - 1) b + (j - i), the slots beyond the last column kept but no part of the
// matrix.
#include "CallOrders.h"
#include "skyline/CBandSym.h"

namespace {

using namespace Vessa::Matrix;
using namespace fuzz;

/// What the matrix must hold.
struct Slots {
  int rows = 0, band = 0;
  std::vector<double> value;

  Slots() = default;
  Slots(int r, int b, double v) : rows(r), band(b), value(std::size_t(r) * std::size_t(b), v) {}
  double& at(int i, int j) { return value[std::size_t(i - 1) * std::size_t(band) + std::size_t(j - i)]; }
  double get(int i, int j) const {
    if (i > j) std::swap(i, j);
    return j - i > band - 1 ? 0.0 : value[std::size_t(i - 1) * std::size_t(band) + std::size_t(j - i)];
  }
  int lastColumn(int i) const { return std::min(rows, i + band - 1); }
};

/// A + factor B, its slots beyond the last column 0.
Slots sum(const Slots& a, double factor, const Slots& b) {
  Slots c(a.rows, std::max(a.band, b.band), 0.0);
  for (int i = 1; i <= a.rows; ++i)
    for (int j = i; j <= c.lastColumn(i); ++j) {
      c.at(i, j) += a.get(i, j);
      if (j <= b.lastColumn(i)) c.at(i, j) += factor * b.get(i, j);
    }
  return c;
}

/// The terms of A B inside the narrower band, with the sums of their absolute products.
Slots product(const Slots& a, const Slots& b, Slots& size) {
  Slots c(a.rows, std::min(a.band, b.band), 0.0);
  size = c;
  for (int i = 1; i <= c.rows; ++i)
    for (int j = i; j <= c.lastColumn(i); ++j)
      for (int k = std::max(1, i - c.band); k <= std::min(c.rows, i + c.band); ++k) {
        c.at(i, j) += a.get(i, k) * b.get(k, j);
        size.at(i, j) += std::fabs(a.get(i, k) * b.get(k, j));
      }
  return c;
}

class Session {
public:
  explicit Session(Choices& choices) : m_choices(choices) { resize(); }

  void step() {
    const int operation = m_choices.below(14);
    Pair &a = m_pair[m_choices.below(2)], &b = m_pair[m_choices.below(2)];
    if (operation == 0) return resize();
    if (operation <= 4) return setTerm(a);
    if (operation <= 9) return arithmetic(operation, a, b);
    if (operation == 10) return times(a);
    if (operation == 11) return reshape(a);
    if (operation == 12) {
      a.matrix = a.matrix.Transpose();
      a.matrix.Copy(CBandSym(a.matrix));
    }
    check(a, "the terms");
  }

private:
  struct Pair {
    CBandSym matrix;
    Slots slots;
  };

  /// Both matrices anew, with the same number of rows.
  void resize() {
    const int rows = m_choices.order();
    for (Pair& p : m_pair) {
      const int band = m_choices.below(rows + 3);
      const double v = m_choices.oneIn(2) ? m_choices.value() : 0.0;
      p.matrix = CBandSym(rows, band, v);
      p.slots = Slots(rows, band, v);
    }
  }

  void setTerm(Pair& a) {
    if (a.slots.value.empty()) return;
    const int i = 1 + m_choices.below(a.slots.rows);
    const int j = i + m_choices.below(std::min(a.slots.band, 256));
    if (j > a.slots.rows) return;
    const double v = m_choices.value();
    if (m_choices.oneIn(2))
      a.matrix.SetAt(i, j, v);
    else
      a.matrix.ElementAt(i, j) = v;
    a.slots.at(i, j) = v;
  }

  void arithmetic(int operation, Pair& a, const Pair& b) {
    if (operation == 5) {
      const double s = m_choices.value();
      a.matrix *= s;
      for (double& v : a.slots.value) v *= s;
      return check(a, "a multiple");
    }
    if (operation == 6) return multiply(a, b);
    const double factor = m_choices.oneIn(2) ? 1.0 : -1.0;
    const CBandSym fresh = factor > 0 ? a.matrix + b.matrix : a.matrix - b.matrix;
    const Slots expected = sum(a.slots, factor, b.slots);
    if (operation != 7) {
      const bool kept = expected.band == a.slots.band;  // then the slots beyond the last column stay
      if (&a == &b && operation == 9) {
        factor > 0 ? a.matrix += CBandSym(b.matrix) : a.matrix -= CBandSym(b.matrix);
      } else {
        factor > 0 ? a.matrix += b.matrix : a.matrix -= b.matrix;
      }
      for (int i = 1; i <= a.slots.rows && kept; ++i)
        for (int j = i; j <= a.slots.lastColumn(i); ++j) a.slots.at(i, j) = expected.get(i, j);
      if (!kept) a.slots = expected;
      return check(a, "a sum in place");
    }
    a = {fresh, expected};
    check(a, "a sum");
  }

  void multiply(Pair& a, const Pair& b) {
    Slots size;
    const Slots expected = product(a.slots, b.slots, size);
    if (m_choices.oneIn(2))
      a.matrix = a.matrix * b.matrix;
    else
      a.matrix *= b.matrix;
    if (a.matrix.NumBand() != expected.band) contradiction("the band of a product");
    a.slots = expected;
    for (int i = 1; i <= expected.rows; ++i)
      for (int j = i; j <= expected.lastColumn(i); ++j) {
        const double found = a.matrix.GetAt(i, j), scale = size.get(i, j);
        if (scale < 1e290 && !(std::fabs(found - expected.get(i, j)) <= 1e-14 * scale + 1e-300))
          contradiction("term (%d, %d) of a product is %g, expected %g", i, j, found, expected.get(i, j));
        a.slots.at(i, j) = found;
      }
  }

  void times(const Pair& a) {
    const int n = a.slots.rows;
    SymmetricModel model(n);
    for (int i = 1; i <= n; ++i)
      for (int j = i; j <= a.slots.lastColumn(i); ++j) model.set(i, j, a.slots.get(i, j));
    CVector x(n), y;
    for (int i = 1; i <= n; ++i) x[i] = m_choices.load();
    a.matrix.Multiply(x, y);
    if (y.Size() != n) contradiction("the size of a product");
    model.checkProduct(x.Array(), y.Array(), "product");
    const CVector fresh = a.matrix * x;
    a.matrix.Multiply(x, x);  // the result may take the place of the operand
    for (int i = 1; i <= n; ++i)
      if (!same(x[i], y[i]) || !same(fresh[i], y[i])) contradiction("a product in place differs");
  }

  /// Another split of the same number of values keeps them, any other size makes zeros; then back.
  void reshape(Pair& a) {
    const int rows = m_choices.below(10) - 1, band = m_choices.below(10) - 1;
    const bool possible = rows >= 0 && band >= 0;
    CBandSym copy = a.matrix;
    if (copy.SetSize(rows, band) != possible) contradiction("SetSize(%d, %d)", rows, band);
    Pair reshaped{copy, a.slots};
    if (possible) {
      const std::size_t count = std::size_t(rows) * std::size_t(band);
      if (count != a.slots.value.size()) reshaped.slots.value.assign(count, 0.0);
      reshaped.slots.rows = rows;
      reshaped.slots.band = band;
    }
    check(reshaped, "another size");
  }

  void check(const Pair& a, const char* what) const {
    if (a.matrix.NumRows() != a.slots.rows || a.matrix.NumBand() != a.slots.band)
      contradiction("%s: %d rows, band %d, expected %d and %d", what, a.matrix.NumRows(), a.matrix.NumBand(),
                    a.slots.rows, a.slots.band);
    for (int i = 1; i <= a.slots.rows; ++i)
      for (int j = 1; j <= a.slots.rows; ++j)
        if (!same(a.matrix.GetAt(i, j), a.slots.get(i, j)))
          contradiction("%s: (%d, %d) is %g, expected %g", what, i, j, a.matrix.GetAt(i, j),
                        a.slots.get(i, j));
  }

  Choices& m_choices;
  Pair m_pair[2];
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz::runSession<Session>(data, size);
}
