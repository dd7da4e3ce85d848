// Whole files of arbitrary bytes: the recognition of their kind, gzip, and load vectors.
#include <fstream>

#include "ReaderChecks.h"
#include "models/io/FileText.h"
#include "models/io/HarwellBoeingReader.h"

namespace {

using namespace vematrix::models;

void readMatrix(const std::string& path) {
  try {
    const SymmetricTerms terms = readSymmetricMatrix(path);
    fuzz::requireUpperTriangle(terms);
    fuzz::requireSurvivesWriting(terms);
  } catch (const FileError& error) {
    fuzz::requireOneLine(error, path);
  }
}

/// Vectors that were accepted are written, and read again to the bit.
void readVectors(const std::string& path) {
  try {
    const DenseColumns columns = readDenseColumns(path);
    const std::size_t count = static_cast<std::size_t>(columns.rows) * static_cast<std::size_t>(columns.cols);
    if (count == 0 || columns.value.size() != count) fuzz::contradiction("vectors of another size");
    for (const double value : columns.value)
      if (!std::isfinite(value)) fuzz::contradiction("a value that is not finite");
    const std::string written = fuzz::scratch().Path("written.mtx");
    writeDenseColumns(written,
                      Eigen::Map<const Eigen::MatrixXd>(columns.value.data(), columns.rows, columns.cols));
    const DenseColumns back = readDenseColumns(written);
    if (back.rows != columns.rows || back.cols != columns.cols ||
        !fuzz::identical(back.value.data(), columns.value.data(), count))
      fuzz::contradiction("vectors change when they are written and read");
  } catch (const FileError& error) {
    fuzz::requireOneLine(error, path);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string path = fuzz::scratch().Path("fuzz");
  fuzz::scratch().Write("fuzz", std::string(fuzz::asText(data, size)));
  readMatrix(path);
  readVectors(path);
  return 0;
}
