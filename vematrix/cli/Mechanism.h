#pragma once
#include <Eigen/Core>
#include <string>
#include <vector>

#include "DofPlaces.h"
#include "MatrixFacts.h"
#include "NullSpace.h"

namespace vematrix {
namespace cli {

/// One motion without stiffness, in words.
struct Mechanism {
  std::string kind;  ///< translation, rotation, screw, local, or unknown (no mesh)
  std::string text;
  Eigen::VectorXd motion;  ///< largest component 1
  Eigen::Vector3d axisPoint = Eigen::Vector3d::Zero(), axis = Eigen::Vector3d::Zero();  ///< of a rotation
  int numDofs = 0, numNodes = 0;
  std::vector<int> movers;  ///< dofs that move most, at most ten
};

/// Turns a null space into motions that one can name: rigid translations along and rotations about the axes
/// of connected parts where these are among them, then motions that leave as much as possible at rest, each
/// compared with a rigid motion of the nodes that it moves.
std::vector<Mechanism> describeMechanisms(const UpperMatrix& matrix, const NullSpace& space,
                                          const DofPlaces& places);

}  // namespace cli
}  // namespace vematrix
