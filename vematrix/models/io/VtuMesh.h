#pragma once
#include <Eigen/Core>
#include <string>
#include <vector>

namespace vematrix {
namespace models {

class Model;

/// Number of components of motion of a node (ux, uy, uz, rx, ry, rz): rows of VtuMesh::dofs.
constexpr int kDofsPerPoint = 6;

/// A mesh as a .vtu file holds it, with the dof numbers that tie it to the matrices of the model.
struct VtuMesh {
  Eigen::Matrix3Xd points;        ///< one column per node, metres
  std::vector<int> connectivity;  ///< nodes of all cells one after the other, 0-based
  std::vector<int> offsets;       ///< end of each cell in connectivity
  std::vector<int> types;         ///< VTK cell type of each cell (3 line, 9 quadrilateral, 12 hexahedron)
  /// dofs(c, p): number of the dof of component c at point p, from 1; 0 where there is none. Six rows, or
  /// none at all when the file does not say. In the file: the point data array "dof".
  Eigen::MatrixXi dofs;

  int numPoints() const { return static_cast<int>(points.cols()); }
  int numDofs() const { return dofs.size() == 0 ? 0 : dofs.maxCoeff(); }
  int numCells() const { return static_cast<int>(types.size()); }
};

/// Values at the points: one column per point, 1 row for a scalar or 3 for a vector.
struct PointData {
  std::string name;
  Eigen::MatrixXd values;
};

VtuMesh toVtuMesh(const Model& model);

/// The displacements (ux, uy, uz) that the solution vector u (length: number of dofs) gives the points of the
/// mesh.
PointData displacements(const std::string& name, const VtuMesh& mesh, const Eigen::VectorXd& u);

/// Writes an unstructured grid in the XML format of VTK, ASCII, numbers to full precision, with the array
/// "dof" when the mesh has dofs, and the given point data.
/// @throws FileError, leaving no file behind; std::invalid_argument when data do not fit the mesh
void writeVtu(const std::string& path, const VtuMesh& mesh, const std::vector<PointData>& data = {});

}  // namespace models
}  // namespace vematrix
