// vematrix convert: any symmetric matrix file it can read, as a Matrix Market file.
#include <memory>

#include "Commands.h"
#include "Format.h"
#include "Input.h"
#include "Program.h"
#include "models/io/MatrixMarketWriter.h"

namespace vematrix {
namespace cli {
namespace {

struct ConvertOptions {
  std::string input, output, pattern = "ones";
};

Outcome convert(Console& console, const ConvertOptions& options) {
  const models::SymmetricTerms terms = readMatrix(options.input, options.pattern);
  models::writeMatrixMarket(options.output, terms);
  console.print("{}: {} dofs, {} terms in a triangle\n  wrote {}\n", options.input, count(terms.n),
                count(double(terms.size())), options.output);
  Outcome outcome;
  outcome.json = {
      {"input", options.input}, {"output", options.output}, {"n", terms.n}, {"terms", terms.size()}};
  return outcome;
}

}  // namespace

void addConvert(Program& program) {
  const auto options = std::make_shared<ConvertOptions>();
  CLI::App* command =
      program.addCommand("convert", "Check a matrix file and write it as a plain Matrix Market file",
                         "  vematrix convert bcsstk14.mtx.gz K.mtx\n"
                         "  vematrix convert graph.mtx L.mtx --pattern laplacian+1");
  command->add_option("input", options->input, "Matrix file")->required();
  command->add_option("output", options->output, "Matrix Market file to write")->required();
  addPatternOption(*command, options->pattern);
  program.setRun(command, [options](Console& console) { return convert(console, *options); });
}

}  // namespace cli
}  // namespace vematrix
