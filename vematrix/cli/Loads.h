#pragma once
#include <Eigen/Core>
#include <string>
#include <vector>

namespace vematrix {
namespace cli {

/// A right-hand side with the name it goes by in the results.
struct LoadCase {
  std::string name;
  Eigen::VectorXd vector;
};

/// The load cases of --rhs FILE (its columns) and --load: "ones", or DOF=VALUE, all of which make one case.
/// Without either the load is one on every dof.
/// @throws UsageError for a load that does not fit a matrix of order n; FileError
std::vector<LoadCase> loadCases(int n, const std::string& rhsFile, const std::vector<std::string>& loads);

}  // namespace cli
}  // namespace vematrix
