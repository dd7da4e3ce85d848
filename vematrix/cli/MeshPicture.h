#pragma once
#include <Eigen/Core>
#include <string>
#include <vector>

#include "models/io/VtuMesh.h"

namespace vematrix {
namespace cli {

/// A deformed state of a mesh with its caption.
struct Deformation {
  std::string caption;
  Eigen::VectorXd motion;  ///< over the dofs of the mesh; magnified so that it is seen
};

/// Draws up to nine states side by side: the mesh at rest in grey lines, the deformed one shaded by the size
/// of its displacements, faces from back to front, seen from above at an angle. PNG.
void drawDeformations(const std::string& path, const models::VtuMesh& mesh,
                      const std::vector<Deformation>& states);

}  // namespace cli
}  // namespace vematrix
