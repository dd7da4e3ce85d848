#include "models/io/MatrixMarketWriter.h"

#include <algorithm>
#include <utility>

#include "models/io/OutputFile.h"

namespace vematrix {
namespace models {
namespace {

// The lower triangle in the order of the file: entry (j, i) of the file is the term (i, j), so columns of the
// file are rows of the upper triangle. Swapping the two index arrays sorts by upper row.
SymmetricTerms fileOrder(SymmetricTerms terms) {
  std::swap(terms.row, terms.col);
  terms.sumDuplicates();
  return terms;
}

}  // namespace

void writeMatrixMarket(const std::string& path, const SymmetricTerms& terms) {
  const SymmetricTerms lower = fileOrder(terms);  // now row >= col
  OutputFile out(path);
  out << "%%MatrixMarket matrix coordinate real symmetric\n";
  out << terms.n << ' ' << terms.n << ' ' << std::to_string(lower.size()) << '\n';
  lower.forEach([&](int i, int j, double v) { out << i << ' ' << j << ' ' << v << '\n'; });
  out.commit();
}

void writeDenseColumns(const std::string& path, const Eigen::MatrixXd& columns) {
  OutputFile out(path);
  out << "%%MatrixMarket matrix array real general\n";
  out << static_cast<int>(columns.rows()) << ' ' << static_cast<int>(columns.cols()) << '\n';
  for (Eigen::Index c = 0; c < columns.cols(); ++c)
    for (Eigen::Index r = 0; r < columns.rows(); ++r) out << columns(r, c) << '\n';
  out.commit();
}

}  // namespace models
}  // namespace vematrix
