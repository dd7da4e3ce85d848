#include "Input.h"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <stdexcept>

#include "Errors.h"
#include "models/Memory.h"
#include "models/Registry.h"
#include "models/io/FileError.h"
#include "models/io/HarwellBoeingReader.h"
#include "models/io/MatrixMarketReader.h"
#include "models/io/VtuReader.h"

namespace vematrix {
namespace cli {

void addPatternOption(CLI::App& command, std::string& pattern) {
  command.add_option("--pattern", pattern, "Values of a file without values: ones, laplacian, laplacian+1")
      ->check(CLI::IsMember({"ones", "laplacian", "laplacian+1"}));
}

models::SymmetricTerms readMatrix(const std::string& path, const std::string& pattern) {
  const models::PatternValues values = pattern == "laplacian"     ? models::PatternValues::Laplacian
                                       : pattern == "laplacian+1" ? models::PatternValues::LaplacianPlusOne
                                                                  : models::PatternValues::Ones;
  return models::readSymmetricMatrix(path, values);
}

models::SymmetricTerms readMatrixOfOrder(int n, const std::string& path, const std::string& owner) {
  models::SymmetricTerms terms = readMatrix(path);
  if (terms.n != n)
    throw models::FileError(path, fmt::format("a matrix of order {}, expected {} as {}", terms.n, n, owner));
  return terms;
}

models::VtuMesh readMesh(int n, const std::string& path, const std::string& owner) {
  models::VtuMesh mesh = models::readVtu(path);
  if (mesh.numDofs() != n)
    throw models::FileError(path,
                            fmt::format("a mesh with {} dofs, expected {} as {}", mesh.numDofs(), n, owner));
  return mesh;
}

models::Model buildModel(const std::string& name, const std::string& hint) {
  try {
    models::Model model = models::makeModel(name);
    const double bytes = 2.0 * 16.0 * double(model.numTerms());  // a term list, and its sorted copy
    if (bytes > models::physicalMemory())
      throw std::invalid_argument(
          fmt::format("model '{}': its terms need {:.1f} GiB and this machine has {:.1f}", name,
                      bytes / 1073741824.0, models::physicalMemory() / 1073741824.0));
    return model;
  } catch (const std::invalid_argument& error) {
    throw UsageError(error.what() + hint);
  }
}

}  // namespace cli
}  // namespace vematrix
