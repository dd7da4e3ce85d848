#include "Loads.h"

#include <fmt/core.h>

#include <cmath>

#include "Errors.h"
#include "models/io/FileError.h"
#include "models/io/MatrixMarketReader.h"
#include "models/io/TextCursor.h"

namespace vematrix {
namespace cli {
namespace {

std::vector<LoadCase> casesOfFile(int n, const std::string& path) {
  const models::DenseColumns columns = models::readDenseColumns(path);
  if (columns.rows != n)
    throw models::FileError(
        path, fmt::format("vectors of {} values, expected {} as the matrix has rows", columns.rows, n));
  std::vector<LoadCase> cases;
  for (int c = 0; c < columns.cols; ++c)
    cases.push_back({std::to_string(c + 1), Eigen::Map<const Eigen::VectorXd>(
                                                columns.value.data() + std::size_t(c) * std::size_t(n), n)});
  return cases;
}

void addPointLoad(const std::string& text, Eigen::VectorXd& f) {
  const std::size_t sign = text.find('=');
  double dof = 0.0, value = 0.0;
  if (sign == std::string::npos || !models::parseReal(text.substr(0, sign), dof) ||
      !models::parseReal(text.substr(sign + 1), value) || !std::isfinite(value) || dof != std::floor(dof))
    throw UsageError(fmt::format("--load {}: expected \"ones\" or DOF=VALUE, for example 12=-1000", text));
  if (dof < 1.0 || dof > double(f.size()))
    throw UsageError(fmt::format("--load {}: expected a dof from 1 to {}", text, f.size()));
  f[Eigen::Index(dof) - 1] += value;
}

}  // namespace

std::vector<LoadCase> loadCases(int n, const std::string& rhsFile, const std::vector<std::string>& loads) {
  std::vector<LoadCase> cases;
  if (!rhsFile.empty()) cases = casesOfFile(n, rhsFile);
  LoadCase points{"", Eigen::VectorXd::Zero(n)};
  for (const std::string& load : loads) {
    if (load == "ones") {
      cases.push_back({"ones", Eigen::VectorXd::Ones(n)});
    } else {
      addPointLoad(load, points.vector);
      points.name += (points.name.empty() ? "" : " ") + load;
    }
  }
  if (!points.name.empty()) cases.push_back(points);
  if (cases.empty()) cases.push_back({"ones", Eigen::VectorXd::Ones(n)});
  return cases;
}

}  // namespace cli
}  // namespace vematrix
