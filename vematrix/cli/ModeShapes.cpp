#include "ModeShapes.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <vector>

#include "Input.h"
#include "MeshPicture.h"

namespace vematrix {
namespace cli {
namespace {

constexpr double pi = 3.14159265358979323846;

std::string besideMesh(const std::string& mesh) {
  const std::filesystem::path path(mesh);
  return (path.parent_path() / (path.stem().string() + "-modes.vtu")).string();
}

std::vector<Deformation> shapesOf(const EigenPairs& pairs) {
  std::vector<Deformation> shapes;
  for (Eigen::Index c = 0; c < pairs.vectors.cols(); ++c) {
    const std::string name = fmt::format("mode {}", c + 1);
    shapes.push_back({name, fmt::format("{}: {:.4g} Hz", name, frequencyOf(std::max(0.0, pairs.values[c]))),
                      pairs.vectors.col(c)});
  }
  return shapes;
}

}  // namespace

double frequencyOf(double eigenvalue) {
  return std::sqrt(eigenvalue) / (2.0 * pi);
}

std::string writeModeShapes(const std::string& mesh, const std::string& output, const std::string& picture,
                            const EigenPairs& pairs) {
  const models::VtuMesh grid = readMesh(int(pairs.vectors.rows()), mesh, "the matrices have");
  const std::vector<Deformation> shapes = shapesOf(pairs);
  const std::string path = output.empty() ? besideMesh(mesh) : output;
  writeDeformations(path, grid, shapes);
  if (picture.empty()) return path;
  drawDeformations(picture, grid, shapes);
  return path + ", " + picture;
}

}  // namespace cli
}  // namespace vematrix
