// The reader of meshes on arbitrary text. What it accepts fits together, and reads back the same once it is
// written.
#include "ReaderChecks.h"
#include "models/io/VtuReader.h"

namespace {

using namespace vematrix::models;

void requireConsistent(const VtuMesh& mesh) {
  if (mesh.offsets.size() != mesh.types.size()) fuzz::contradiction("as many types as cells expected");
  for (const int node : mesh.connectivity)
    if (node < 0 || node >= mesh.numPoints()) fuzz::contradiction("node %d of %d", node, mesh.numPoints());
  int end = 0;
  for (const int offset : mesh.offsets) {
    if (offset < end || offset > static_cast<int>(mesh.connectivity.size()))
      fuzz::contradiction("cell ends at %d after %d", offset, end);
    end = offset;
  }
  if (!mesh.points.allFinite()) fuzz::contradiction("a point that is not finite");
  if (mesh.dofs.size() != 0 && (mesh.dofs.cols() != mesh.numPoints() || mesh.dofs.minCoeff() < 0))
    fuzz::contradiction("dofs that do not fit the points");
}

bool same(const VtuMesh& a, const VtuMesh& b) {
  return a.points.cols() == b.points.cols() &&
         fuzz::identical(a.points.data(), b.points.data(), static_cast<std::size_t>(a.points.size())) &&
         a.connectivity == b.connectivity && a.offsets == b.offsets && a.types == b.types &&
         a.dofs.size() == b.dofs.size() && (a.dofs.size() == 0 || a.dofs == b.dofs);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const VtuMesh mesh = parseVtu("fuzz.vtu", std::string(fuzz::asText(data, size)));
    requireConsistent(mesh);
    const std::string path = fuzz::scratch().Path("written.vtu");
    writeVtu(path, mesh);
    if (!same(readVtu(path), mesh)) fuzz::contradiction("a mesh changes when it is written and read");
  } catch (const FileError& error) {
    fuzz::requireOneLine(error, "fuzz.vtu");
  }
  return 0;
}
