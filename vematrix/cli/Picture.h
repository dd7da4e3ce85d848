#pragma once
#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace vematrix {
namespace cli {

struct Colour {
  std::uint8_t red = 0, green = 0, blue = 0;
};

constexpr Colour black{0, 0, 0}, white{255, 255, 255}, grey{150, 150, 150}, paleGrey{225, 225, 225},
    blue{31, 92, 170}, red{200, 45, 40}, green{40, 140, 70}, paleBlue{190, 212, 240};

/// A colour between blue (0), green and red (1).
Colour scaleColour(double share);

struct Point {
  double x = 0.0, y = 0.0;
};

/// A raster picture, origin at the top left, in pixels. Drawn at twice the size and averaged, so that lines
/// are smooth. What lies outside is cut off.
class Picture {
public:
  Picture(int width, int height, Colour background = white);

  int width() const { return m_width / samples; }
  int height() const { return m_height / samples; }

  void line(Point from, Point to, double thickness, Colour colour);
  void rectangle(Point corner, double width, double height, Colour colour);
  /// Fills a polygon without crossings of its sides.
  void polygon(const std::vector<Point>& corners, Colour colour);
  /// Capital letters, digits and the usual signs, `size` pixels high; other characters are left blank.
  /// @param align  -1 begins at the point, 0 is centred on it, 1 ends there; the point is at the foot of the
  /// letters
  void text(Point at, const std::string& text, double size, Colour colour, int align = -1);
  /// One pixel of the finished picture.
  void dot(int x, int y, Colour colour);

  /// Writes a PNG file. @throws models::FileError
  void save(const std::string& path) const;

private:
  static constexpr int samples = 2;
  void set(int x, int y, Colour colour);

  int m_width, m_height;
  std::vector<std::uint8_t> m_rgb;
};

}  // namespace cli
}  // namespace vematrix
