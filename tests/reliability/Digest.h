#pragma once
#include <cstdint>
#include <cstring>
#include <map>
#include <string>

#include "solution/CSolnMatrix.h"

/// Results down to the last bit, as numbers to compare between runs and processes.
namespace determinism {

/// FNV-1a over the bytes handed to it.
class Digest {
public:
  void Add(const void* data, std::size_t bytes) {
    const auto* byte = static_cast<const unsigned char*>(data);
    for (std::size_t k = 0; k < bytes; ++k) m_value = (m_value ^ byte[k]) * 1099511628211ull;
  }
  void Add(double value) { Add(&value, sizeof value); }
  void Add(const Vessa::Matrix::CVector& x) {
    Add(x.Array(), static_cast<std::size_t>(x.Size()) * sizeof(double));
  }
  std::uint64_t Value() const { return m_value; }

private:
  std::uint64_t m_value = 14695981039346656037ull;
};

/// A digest by what it is of: "brick:12, method 4: factors".
using Digests = std::map<std::string, std::uint64_t>;

/// Everything visible of the solutions of several structures of some thousand dofs with the library's own
/// engines: factors, inertia and solutions for one and for several right-hand sides.
/// @param threads  of the math library and of the engines
Digests OwnEngines(unsigned threads);

/// The same for method 6 with MKL's PARDISO; empty without MKL.
Digests MklPardiso(unsigned threads);

/// Values and vectors of si::gep11 (its three solves) and of si::sep, which goes on with rand() as it stands.
Digests Eigensolvers(unsigned threads, Vessa::Matrix::PardisoEngine engine);

}  // namespace determinism
