#include "models/io/VtuReader.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <vector>

#include "models/io/FileError.h"
#include "models/io/FileText.h"
#include "models/io/TextCursor.h"

namespace vematrix {
namespace models {
namespace {

/// The elements of an XML text that matter here, found by name; enough for files without name spaces or
/// entities.
class XmlText {
public:
  XmlText(std::string path, std::string text) : m_path(std::move(path)), m_text(std::move(text)) {}

  [[noreturn]] void fail(const std::string& message) const { throw FileError(m_path, message); }
  [[noreturn]] void fail(std::string_view at, const std::string& message) const {
    const auto line = std::count(m_text.data(), at.data(), '\n') + 1;
    throw FileError(m_path, line, message);
  }

  std::string_view all() const { return m_text; }

  /// The first element of that name within `where`, tags included; empty when there is none.
  std::string_view element(std::string_view where, const std::string& name) const {
    for (std::size_t from = 0; (from = where.find("<" + name, from)) != std::string_view::npos; ++from) {
      const std::size_t after = from + 1 + name.size();
      if (after < where.size() && where[after] != ' ' && where[after] != '>' && where[after] != '\n')
        continue;
      const std::size_t end = where.find("</" + name + ">", after);
      if (end == std::string_view::npos) fail(where.substr(from), "file ends within <" + name + ">");
      return where.substr(from, end - from + name.size() + 3);
    }
    return {};
  }

  std::string_view required(std::string_view where, const std::string& name) const {
    const std::string_view found = element(where, name);
    if (found.empty()) fail("has no <" + name + ">, expected an unstructured grid of VTK (.vtu)");
    return found;
  }

  static std::string_view tag(std::string_view element) { return element.substr(0, element.find('>') + 1); }

  static std::string attribute(std::string_view element, const std::string& name) {
    const std::string_view head = tag(element);
    const std::size_t at = head.find(" " + name + "=\"");
    if (at == std::string_view::npos) return "";
    const std::size_t from = at + name.size() + 3, to = head.find('"', from);
    return std::string(head.substr(from, to == std::string_view::npos ? 0 : to - from));
  }

  /// The DataArray of that name (any when "") within `where`.
  std::string_view dataArray(std::string_view where, const std::string& name) const {
    while (true) {
      const std::string_view array = element(where, "DataArray");
      if (array.empty() || name.empty() || attribute(array, "Name") == name) return array;
      where = where.substr(std::size_t(array.data() - where.data()) + array.size());
    }
  }

  std::vector<double> numbers(std::string_view array) const {
    const std::string format = attribute(array, "format");
    if (format != "ascii")
      fail(array, "array in format \"" + TextCursor::printable(format) + "\", expected \"ascii\"");
    const std::size_t from = tag(array).size();
    TextCursor cursor(array.substr(from, array.rfind('<') - from));
    std::vector<double> values;
    for (cursor.skipWhitespace(); !cursor.atEnd(); cursor.skipWhitespace()) {
      double value = 0.0;
      const std::string word = cursor.peekWord();
      if (!cursor.takeReal(value) || !std::isfinite(value))
        fail(array, "found \"" + word + "\" in an array, expected a finite number");
      values.push_back(value);
    }
    return values;
  }

  /// The numbers of a required array as integers from `least` to `most`.
  std::vector<int> integers(std::string_view where, const std::string& name, int least, double most) const {
    const std::string_view array = dataArray(where, name);
    if (array.empty()) fail(where, "has no array \"" + name + "\"");
    std::vector<int> result;
    for (const double value : numbers(array)) {
      if (value != std::floor(value) || value < least || value > most)
        fail(array, "value in array \"" + name + "\" out of range, expected whole numbers from " +
                        std::to_string(least));
      result.push_back(static_cast<int>(value));
    }
    return result;
  }

private:
  std::string m_path, m_text;
};

void takeDofs(const XmlText& xml, std::string_view piece, VtuMesh& mesh) {
  const std::string_view data = xml.element(piece, "PointData");
  if (data.empty() || xml.dataArray(data, "dof").empty()) return;
  const std::vector<int> dofs = xml.integers(data, "dof", 0, 2147483646.0);
  if (dofs.size() != std::size_t(kDofsPerPoint) * std::size_t(mesh.numPoints()))
    xml.fail(data, "array \"dof\" has " + std::to_string(dofs.size()) + " values, expected six per point");
  mesh.dofs = Eigen::Map<const Eigen::MatrixXi>(dofs.data(), kDofsPerPoint, mesh.numPoints());
}

void takeCells(const XmlText& xml, std::string_view piece, VtuMesh& mesh) {
  const std::string_view cells = xml.required(piece, "Cells");
  mesh.connectivity = xml.integers(cells, "connectivity", 0, double(mesh.numPoints()) - 1.0);
  mesh.offsets = xml.integers(cells, "offsets", 0, double(mesh.connectivity.size()));
  mesh.types = xml.integers(cells, "types", 0, 255.0);
  if (mesh.types.size() != mesh.offsets.size())
    xml.fail(cells, "as many types as offsets expected, found " + std::to_string(mesh.types.size()) +
                        " and " + std::to_string(mesh.offsets.size()));
  if (!std::is_sorted(mesh.offsets.begin(), mesh.offsets.end()))
    xml.fail(cells, "offsets fall, expected the rising ends of the cells");
}

}  // namespace

VtuMesh parseVtu(const std::string& path, const std::string& text) {
  const XmlText xml(path, text);
  const std::string_view grid = xml.required(xml.all(), "UnstructuredGrid");
  const std::string_view piece = xml.required(grid, "Piece");
  const std::string_view points = xml.required(piece, "Points");
  const std::string_view array = xml.dataArray(points, "");
  if (array.empty()) xml.fail(points, "has no array of points");
  const std::vector<double> coordinates = xml.numbers(array);
  const std::string count = XmlText::attribute(piece, "NumberOfPoints");
  if (coordinates.size() % 3 != 0 || std::to_string(coordinates.size() / 3) != count)
    xml.fail(points, std::to_string(coordinates.size()) + " coordinates, expected three for each of " +
                         TextCursor::printable(count) + " points");
  VtuMesh mesh;
  mesh.points =
      Eigen::Map<const Eigen::Matrix3Xd>(coordinates.data(), 3, Eigen::Index(coordinates.size() / 3));
  takeCells(xml, piece, mesh);
  takeDofs(xml, piece, mesh);
  return mesh;
}

VtuMesh readVtu(const std::string& path) {
  return parseVtu(path, readFileText(path));
}

}  // namespace models
}  // namespace vematrix
