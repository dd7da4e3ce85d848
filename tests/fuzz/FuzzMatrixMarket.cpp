// The Matrix Market reader on arbitrary text, with every meaning of a pattern.
#include "ReaderChecks.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vematrix::models;
  for (const PatternValues pattern :
       {PatternValues::Ones, PatternValues::Laplacian, PatternValues::LaplacianPlusOne}) {
    try {
      const SymmetricTerms terms = parseMatrixMarket("fuzz.mtx", fuzz::asText(data, size), pattern);
      fuzz::requireUpperTriangle(terms);
      if (pattern == PatternValues::Ones) fuzz::requireSurvivesWriting(terms);
    } catch (const FileError& error) {
      fuzz::requireOneLine(error, "fuzz.mtx");
    }
  }
  return 0;
}
