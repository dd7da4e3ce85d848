#include "Input.h"

#include "models/io/HarwellBoeingReader.h"

namespace vematrix {
namespace cli {

models::SymmetricTerms readMatrix(const std::string& path, const std::string& pattern) {
  const models::PatternValues values = pattern == "laplacian"     ? models::PatternValues::Laplacian
                                       : pattern == "laplacian+1" ? models::PatternValues::LaplacianPlusOne
                                                                  : models::PatternValues::Ones;
  return models::readSymmetricMatrix(path, values);
}

}  // namespace cli
}  // namespace vematrix
