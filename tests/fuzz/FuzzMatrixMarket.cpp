// The Matrix Market reader on arbitrary text: it returns terms inside the triangle, or throws FileError.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "models/io/FileError.h"
#include "models/io/MatrixMarketReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vematrix::models;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const PatternValues pattern : {PatternValues::Ones, PatternValues::Laplacian}) {
    try {
      const SymmetricTerms terms = parseMatrixMarket("fuzz.mtx", text, pattern);
      if (terms.n < 1) std::abort();
      if (terms.row.size() != terms.size() || terms.col.size() != terms.size()) std::abort();
      terms.forEach([&](int i, int j, double value) {
        if (i < 1 || i > j || j > terms.n || !std::isfinite(value)) std::abort();
      });
    } catch (const FileError& error) {
      if (std::string_view(error.what()).find('\n') != std::string_view::npos) std::abort();
    }
  }
  return 0;
}
