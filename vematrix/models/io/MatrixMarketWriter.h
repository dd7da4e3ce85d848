#pragma once
#include <Eigen/Core>
#include <string>

#include "models/io/SymmetricTerms.h"

namespace vematrix {
namespace models {

/// Writes a symmetric matrix as "matrix coordinate real symmetric": the lower triangle, column by column,
/// every number to full precision. Terms of one position are summed first; positions without a term are left
/// out.
/// @throws FileError, leaving no file behind
void writeMatrixMarket(const std::string& path, const SymmetricTerms& terms);

/// Writes dense columns (load or solution vectors, mode shapes) as "matrix array real general".
/// @throws FileError, leaving no file behind
void writeDenseColumns(const std::string& path, const Eigen::MatrixXd& columns);

}  // namespace models
}  // namespace vematrix
