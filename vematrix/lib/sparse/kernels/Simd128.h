#pragma once
namespace Vessa {
namespace Matrix {
namespace kernels {
namespace {

/// Two doubles in the vector type that g++ and clang++ offer on every processor; products are rounded before
/// they are added.
struct Simd128 {
  static constexpr int width = 2;
  static constexpr int tileVectors = 6;
  static constexpr int tileColumns = 2;
  static constexpr int laneVectors = 4;
  typedef double Reg __attribute__((vector_size(16)));
  struct Mask {
    bool lane[2];
  };

  static Reg Zero() { return Reg{0.0, 0.0}; }
  static Reg Load(const double* p) { return Reg{p[0], p[1]}; }
  static Reg Load(const double* p, Mask m) { return Reg{m.lane[0] ? p[0] : 0.0, m.lane[1] ? p[1] : 0.0}; }
  static void Store(double* p, Reg r) {
    p[0] = r[0];
    p[1] = r[1];
  }
  static void Store(double* p, Reg r, Mask m) {
    if (m.lane[0]) p[0] = r[0];
    if (m.lane[1]) p[1] = r[1];
  }
  static Reg Broadcast(double x) { return Reg{x, x}; }
  static Reg Add(Reg a, Reg b) { return a + b; }
  static Reg Sub(Reg a, Reg b) { return a - b; }
  static Reg Mul(Reg a, Reg b) { return a * b; }
  static Reg Div(Reg a, Reg b) { return a / b; }
  static Reg MulAdd(Reg a, Reg b, Reg c) { return a * b + c; }
  static Reg NegMulAdd(Reg a, Reg b, Reg c) { return c - a * b; }
  static double MaxAbs(double bound, double x) {
    const double size = x < 0.0 ? -x : x;
    return size > bound ? size : bound;
  }
  static Reg MaxAbs(Reg bound, Reg r) { return Reg{MaxAbs(bound[0], r[0]), MaxAbs(bound[1], r[1])}; }
  static Reg Keep(Reg r, Mask m) { return Reg{m.lane[0] ? r[0] : 0.0, m.lane[1] ? r[1] : 0.0}; }
  static Mask Lanes(int from, int to) { return Mask{{from <= 0 && to > 0, from <= 1 && to > 1}}; }
  template <int J>
  static Reg Lane(Reg r) {
    return Reg{r[J], r[J]};
  }
  static double First(Reg r) { return r[0]; }
  static double Sum(Reg r) { return r[0] + r[1]; }
  static double Largest(Reg r) { return r[0] > r[1] ? r[0] : r[1]; }
};

}  // namespace
}  // namespace kernels
}  // namespace Matrix
}  // namespace Vessa
