// The Harwell-Boeing and Rutherford-Boeing reader on arbitrary text, with every meaning of a pattern.
#include "ReaderChecks.h"
#include "models/io/HarwellBoeingReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vematrix::models;
  const std::string_view text = fuzz::asText(data, size);
  (void)looksLikeHarwellBoeing(text);
  for (const PatternValues pattern :
       {PatternValues::Ones, PatternValues::Laplacian, PatternValues::LaplacianPlusOne}) {
    try {
      const SymmetricTerms terms = parseHarwellBoeing("fuzz.rsa", text, pattern);
      fuzz::requireUpperTriangle(terms);
      if (!looksLikeHarwellBoeing(text)) fuzz::contradiction("a file was read that is not recognised");
      if (pattern == PatternValues::Ones) fuzz::requireSurvivesWriting(terms);
    } catch (const FileError& error) {
      fuzz::requireOneLine(error, "fuzz.rsa");
    }
  }
  return 0;
}
