#pragma once
#include <Eigen/Core>
#include <string>
#include <vector>

#include "models/io/VtuMesh.h"

namespace vematrix {
namespace cli {

/// A deformed state of a mesh.
struct Deformation {
  std::string name;        ///< of the displacements in a file
  std::string caption;     ///< below the picture
  Eigen::VectorXd motion;  ///< over the dofs of the mesh
};

/// Writes the mesh with the displacements of every state. @throws FileError
void writeDeformations(const std::string& path, const models::VtuMesh& mesh,
                       const std::vector<Deformation>& states);

/// Draws up to nine states side by side: the mesh at rest in grey lines, the deformed one, magnified so that
/// it is seen, shaded by the size of its displacements, faces from back to front, seen from above at an
/// angle. PNG.
void drawDeformations(const std::string& path, const models::VtuMesh& mesh,
                      const std::vector<Deformation>& states);

}  // namespace cli
}  // namespace vematrix
