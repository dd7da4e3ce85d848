#include "MeshPicture.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <array>
#include <cmath>
#include <map>

#include "Picture.h"

namespace vematrix {
namespace cli {
namespace {

using Nodes = std::vector<int>;

/// What there is to see of a mesh: faces (of solids only those that belong to one cell) and lines.
struct Surface {
  std::vector<Nodes> faces, lines;
};

Surface surfaceOf(const models::VtuMesh& mesh) {
  static const int hexahedron[6][4] = {{0, 3, 2, 1}, {4, 5, 6, 7}, {0, 1, 5, 4},
                                       {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}};
  Surface surface;
  std::map<Nodes, std::pair<int, Nodes>> solidFaces;
  int begin = 0;
  for (int cell = 0; cell < mesh.numCells(); ++cell) {
    const int end = mesh.offsets[std::size_t(cell)];
    const Nodes nodes(mesh.connectivity.begin() + begin, mesh.connectivity.begin() + end);
    begin = end;
    if (nodes.size() == 2) surface.lines.push_back(nodes);
    if (nodes.size() == 3 || nodes.size() == 4) surface.faces.push_back(nodes);
    if (nodes.size() != 8) continue;
    for (const auto& corners : hexahedron) {
      Nodes face, key;
      for (int corner : corners) face.push_back(nodes[std::size_t(corner)]);
      key = face;
      std::sort(key.begin(), key.end());
      auto& entry = solidFaces[key];
      ++entry.first;
      entry.second = face;
    }
  }
  for (const auto& [key, entry] : solidFaces)
    if (entry.first == 1) surface.faces.push_back(entry.second);
  return surface;
}

/// Seen along a fixed direction from above; flat meshes in the x-y plane without out-of-plane motion from the
/// top.
Eigen::Matrix3d viewOf(const models::VtuMesh& mesh, const Eigen::Matrix3Xd& motion) {
  const double span = (mesh.points.rowwise().maxCoeff() - mesh.points.rowwise().minCoeff()).maxCoeff();
  const double depth = mesh.points.row(2).maxCoeff() - mesh.points.row(2).minCoeff();
  const bool flat = depth <= 1e-9 * span &&
                    motion.row(2).lpNorm<Eigen::Infinity>() <= 1e-9 * motion.lpNorm<Eigen::Infinity>();
  if (flat) return Eigen::Matrix3d::Identity();
  const double turn = -0.55, tilt = -1.05;
  return (Eigen::AngleAxisd(tilt, Eigen::Vector3d::UnitX()) *
          Eigen::AngleAxisd(turn, Eigen::Vector3d::UnitZ()))
      .toRotationMatrix();
}

struct Panel {
  double x, y, width, height;
};

/// Places the projected points into a panel, both states in the same way.
class Placement {
public:
  Placement(const Eigen::Matrix3Xd& a, const Eigen::Matrix3Xd& b, const Panel& panel) : m_panel(panel) {
    const Eigen::Vector3d low = a.rowwise().minCoeff().cwiseMin(b.rowwise().minCoeff());
    const Eigen::Vector3d high = a.rowwise().maxCoeff().cwiseMax(b.rowwise().maxCoeff());
    m_middle = 0.5 * (low + high);
    const Eigen::Vector3d size = (high - low).cwiseMax(1e-300);
    m_factor = 0.86 * std::min(panel.width / size[0], panel.height / size[1]);
  }
  Point operator()(const Eigen::Vector3d& p) const {
    return {m_panel.x + 0.5 * m_panel.width + m_factor * (p[0] - m_middle[0]),
            m_panel.y + 0.5 * m_panel.height - m_factor * (p[1] - m_middle[1])};
  }

private:
  Panel m_panel;
  Eigen::Vector3d m_middle;
  double m_factor;
};

Colour shaded(Colour colour, double light) {
  const auto shade = [&](std::uint8_t c) {
    return std::uint8_t(std::clamp(c * (0.62 + 0.38 * light), 0.0, 255.0));
  };
  return {shade(colour.red), shade(colour.green), shade(colour.blue)};
}

void outline(Picture& picture, const Placement& place, const Eigen::Matrix3Xd& points, const Nodes& nodes,
             double thickness, Colour colour) {
  const std::size_t sides = nodes.size() == 2 ? 1 : nodes.size();
  for (std::size_t k = 0; k < sides; ++k)
    picture.line(place(points.col(nodes[k])), place(points.col(nodes[(k + 1) % nodes.size()])), thickness,
                 colour);
}

void drawFace(Picture& picture, const Placement& place, const Eigen::Matrix3Xd& points, const Nodes& face,
              const Eigen::VectorXd& share) {
  std::vector<Point> corners;
  double mean = 0.0;
  for (int node : face) {
    corners.push_back(place(points.col(node)));
    mean += share[node] / double(face.size());
  }
  const Eigen::Vector3d normal = Eigen::Vector3d(points.col(face[1]) - points.col(face[0]))
                                     .cross(points.col(face.back()) - points.col(face[0]));
  const double light =
      normal.norm() > 0.0 ? std::fabs(normal.normalized().dot(Eigen::Vector3d(0.3, 0.4, 0.866))) : 1.0;
  picture.polygon(corners, shaded(scaleColour(mean), light));
}

void drawState(Picture& picture, const Panel& panel, const models::VtuMesh& mesh, const Surface& surface,
               const Deformation& state) {
  const Eigen::Matrix3Xd motion = models::displacements("u", mesh, state.motion).values;
  const Eigen::VectorXd size = motion.colwise().norm();
  const double largest = size.size() > 0 ? size.maxCoeff() : 0.0;
  const double span = (mesh.points.rowwise().maxCoeff() - mesh.points.rowwise().minCoeff()).norm();
  const Eigen::Matrix3d view = viewOf(mesh, motion);
  const double factor = largest > 0.0 ? 0.12 * span / largest : 0.0;
  const Eigen::Matrix3Xd rest = view * mesh.points, moved = view * (mesh.points + factor * motion);
  const Eigen::VectorXd share =
      largest > 0.0 ? Eigen::VectorXd(size / largest) : Eigen::VectorXd::Zero(size.size());
  const Placement place(rest, moved, panel);
  for (const auto* list : {&surface.faces, &surface.lines})
    for (const Nodes& nodes : *list) outline(picture, place, rest, nodes, 1.0, paleGrey);

  std::vector<std::pair<double, const Nodes*>> order;
  for (const auto* list : {&surface.faces, &surface.lines})
    for (const Nodes& nodes : *list) {
      double depth = 0.0;
      for (int node : nodes) depth += moved(2, node) / double(nodes.size());
      order.emplace_back(depth, &nodes);
    }
  std::stable_sort(order.begin(), order.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  const bool fine = surface.faces.size() > 4000;
  for (const auto& [depth, nodes] : order) {
    if (nodes->size() == 2) {
      picture.line(place(moved.col((*nodes)[0])), place(moved.col((*nodes)[1])), 2.0,
                   scaleColour(0.5 * (share[(*nodes)[0]] + share[(*nodes)[1]])));
    } else {
      drawFace(picture, place, moved, *nodes, share);
      if (!fine) outline(picture, place, moved, *nodes, 0.7, black);
    }
  }
}

}  // namespace

void writeDeformations(const std::string& path, const models::VtuMesh& mesh,
                       const std::vector<Deformation>& states) {
  std::vector<models::PointData> data;
  for (const Deformation& state : states)
    data.push_back(models::displacements(state.name, mesh, state.motion));
  models::writeVtu(path, mesh, data);
}

void drawDeformations(const std::string& path, const models::VtuMesh& mesh,
                      const std::vector<Deformation>& states) {
  const int shown = std::min(9, int(states.size()));
  const int columns = shown <= 1   ? 1
                      : shown <= 4 ? 2
                                   : 3,
            rows = (shown + columns - 1) / std::max(1, columns);
  const int side = shown <= 1 ? 720 : 420, foot = 34;
  Picture picture(columns * side, std::max(1, rows) * (side + foot));
  const Surface surface = surfaceOf(mesh);
  for (int k = 0; k < shown; ++k) {
    const Panel panel{double(k % columns * side), double(k / columns * (side + foot)), double(side),
                      double(side)};
    drawState(picture, panel, mesh, surface, states[std::size_t(k)]);
    picture.text({panel.x + 0.5 * side, panel.y + side + 20}, states[std::size_t(k)].caption, 12, black, 0);
  }
  picture.save(path);
}

}  // namespace cli
}  // namespace vematrix
