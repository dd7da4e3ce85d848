#include <stdexcept>

#include "models/Model.h"
#include "models/io/OutputFile.h"
#include "models/io/VtuMesh.h"

namespace vematrix {
namespace models {
namespace {

// Names are written into an XML attribute.
std::string escaped(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

template <class Matrix>
void writeArray(OutputFile& out, const char* type, const std::string& name, const Matrix& values) {
  out << "<DataArray type=\"" << type << "\" Name=\"" << escaped(name) << "\" NumberOfComponents=\""
      << static_cast<int>(values.rows()) << "\" format=\"ascii\">\n";
  for (Eigen::Index p = 0; p < values.cols(); ++p)
    for (Eigen::Index c = 0; c < values.rows(); ++c)
      out << values(c, p) << (c + 1 < values.rows() ? ' ' : '\n');
  out << "</DataArray>\n";
}

void writeArray(OutputFile& out, const char* type, const std::string& name, const std::vector<int>& values) {
  const auto count = static_cast<Eigen::Index>(values.size());
  writeArray(out, type, name, Eigen::Map<const Eigen::RowVectorXi>(values.data(), count));
}

void requireFit(const VtuMesh& mesh, const std::vector<PointData>& data) {
  for (const PointData& d : data)
    if (d.values.cols() != mesh.numPoints() || (d.values.rows() != 1 && d.values.rows() != 3))
      throw std::invalid_argument("writeVtu: '" + d.name + "' is " + std::to_string(d.values.rows()) + " x " +
                                  std::to_string(d.values.cols()) + ", expected 1 or 3 rows and " +
                                  std::to_string(mesh.numPoints()) + " columns");
}

}  // namespace

VtuMesh toVtuMesh(const Model& model) {
  VtuMesh mesh;
  mesh.points.resize(3, model.numNodes());
  mesh.dofs.resize(kDofsPerPoint, model.numNodes());
  for (int node = 0; node < model.numNodes(); ++node) {
    mesh.points.col(node) = model.node(node);
    for (int c = 0; c < kDofsPerPoint; ++c) mesh.dofs(c, node) = model.dof(node, static_cast<Component>(c));
  }
  for (int e = 0; e < model.numElements(); ++e) {
    const auto nodes = model.nodesOf(e);
    mesh.connectivity.insert(mesh.connectivity.end(), nodes.first, nodes.first + nodes.second);
    mesh.offsets.push_back(static_cast<int>(mesh.connectivity.size()));
    mesh.types.push_back(model.typeOf(e).vtkCell());
  }
  return mesh;
}

PointData displacements(const std::string& name, const VtuMesh& mesh, const Eigen::VectorXd& u) {
  if (mesh.dofs.cols() != mesh.numPoints())
    throw std::invalid_argument("displacements: the mesh does not say where the dofs are");
  if (mesh.numDofs() != u.size())
    throw std::invalid_argument("displacements: the mesh has " + std::to_string(mesh.numDofs()) +
                                " dofs, the vector " + std::to_string(u.size()));
  PointData data{name, Eigen::MatrixXd::Zero(3, mesh.numPoints())};
  for (int p = 0; p < mesh.numPoints(); ++p)
    for (int c = 0; c < 3; ++c)
      if (mesh.dofs(c, p) > 0) data.values(c, p) = u[mesh.dofs(c, p) - 1];
  return data;
}

void writeVtu(const std::string& path, const VtuMesh& mesh, const std::vector<PointData>& data) {
  requireFit(mesh, data);
  OutputFile out(path);
  out << "<?xml version=\"1.0\"?>\n"
         "<VTKFile type=\"UnstructuredGrid\" version=\"0.1\" "
         "byte_order=\"LittleEndian\">\n<UnstructuredGrid>\n";
  out << "<Piece NumberOfPoints=\"" << mesh.numPoints() << "\" NumberOfCells=\"" << mesh.numCells()
      << "\">\n";
  out << "<Points>\n";
  writeArray(out, "Float64", "Points", mesh.points);
  out << "</Points>\n<Cells>\n";
  writeArray(out, "Int32", "connectivity", mesh.connectivity);
  writeArray(out, "Int32", "offsets", mesh.offsets);
  writeArray(out, "UInt8", "types", mesh.types);
  out << "</Cells>\n<PointData>\n";
  if (mesh.dofs.cols() == mesh.numPoints() && mesh.dofs.rows() > 0)
    writeArray(out, "Int32", "dof", mesh.dofs);
  for (const PointData& d : data) writeArray(out, "Float64", d.name, d.values);
  out << "</PointData>\n</Piece>\n</UnstructuredGrid>\n</VTKFile>\n";
  out.commit();
}

}  // namespace models
}  // namespace vematrix
