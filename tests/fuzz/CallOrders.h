#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

#include "SymmetricModel.h"
#include "containers/CVector.h"

/// What the targets share that drive one class through arbitrary call orders.
namespace fuzz {

/// Reads the input as a program: `Session` is made from the choices, then each call of its step() takes a
/// byte for an operation and the following ones for its arguments, until the input ends or the steps do.
template <class Session>
int runSession(const std::uint8_t* data, std::size_t size, int steps = 300) {
  Choices choices(data, size);
  Session session(choices);
  for (; !choices.ended() && steps > 0; --steps) session.step();
  return 0;
}

/// The first n values as a vector.
inline Vessa::Matrix::CVector vectorOf(const std::vector<double>& values, int n) {
  Vessa::Matrix::CVector x(n);
  for (int i = 1; i <= n; ++i) x[i] = values[static_cast<std::size_t>(i) - 1];
  return x;
}

}  // namespace fuzz
