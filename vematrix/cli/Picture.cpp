#include "Picture.h"

#include <zlib.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>

#include "models/io/FileError.h"
#include "models/io/OutputFile.h"

namespace vematrix {
namespace cli {

Colour scaleColour(double share) {
  const double s = std::clamp(share, 0.0, 1.0);
  const std::array<std::array<double, 3>, 5> stops = {
      {{40, 70, 170}, {50, 150, 200}, {90, 180, 90}, {240, 190, 60}, {200, 45, 40}}};
  const int k = std::min(3, int(4.0 * s));
  const double t = 4.0 * s - k;
  const auto mix = [&](std::size_t c) {
    return std::uint8_t(std::lround((1.0 - t) * stops[std::size_t(k)][c] + t * stops[std::size_t(k) + 1][c]));
  };
  return {mix(0), mix(1), mix(2)};
}

Picture::Picture(int width, int height, Colour background)
    : m_width(width * samples),
      m_height(height * samples),
      m_rgb(std::size_t(m_width) * std::size_t(m_height) * 3) {
  rectangle({0, 0}, width, height, background);
}

void Picture::set(int x, int y, Colour colour) {
  if (x < 0 || y < 0 || x >= m_width || y >= m_height) return;
  std::uint8_t* pixel = &m_rgb[(std::size_t(y) * std::size_t(m_width) + std::size_t(x)) * 3];
  pixel[0] = colour.red;
  pixel[1] = colour.green;
  pixel[2] = colour.blue;
}

void Picture::dot(int x, int y, Colour colour) {
  for (int dy = 0; dy < samples; ++dy)
    for (int dx = 0; dx < samples; ++dx) set(x * samples + dx, y * samples + dy, colour);
}

void Picture::rectangle(Point corner, double width, double height, Colour colour) {
  const int x0 = std::max(0, int(std::lround(corner.x * samples))),
            y0 = std::max(0, int(std::lround(corner.y * samples)));
  const int x1 = std::min(m_width, int(std::lround((corner.x + width) * samples)));
  const int y1 = std::min(m_height, int(std::lround((corner.y + height) * samples)));
  for (int y = y0; y < y1; ++y)
    for (int x = x0; x < x1; ++x) set(x, y, colour);
}

void Picture::polygon(const std::vector<Point>& corners, Colour colour) {
  double top = 1e300, bottom = -1e300;
  for (const Point& p : corners) {
    top = std::min(top, p.y * samples);
    bottom = std::max(bottom, p.y * samples);
  }
  std::vector<double> crossings;
  for (int y = std::max(0, int(std::floor(top))); y <= std::min(m_height - 1, int(std::ceil(bottom))); ++y) {
    crossings.clear();
    for (std::size_t k = 0; k < corners.size(); ++k) {
      const Point &a = corners[k], &b = corners[(k + 1) % corners.size()];
      const double ya = a.y * samples, yb = b.y * samples, at = y + 0.5;
      if ((ya <= at) != (yb <= at))
        crossings.push_back((a.x + (b.x - a.x) * (at - ya) / (yb - ya)) * samples);
    }
    std::sort(crossings.begin(), crossings.end());
    for (std::size_t k = 0; k + 1 < crossings.size(); k += 2) {
      const int from = std::max(0, int(std::ceil(crossings[k] - 0.5)));
      const int to = std::min(m_width - 1, int(std::floor(crossings[k + 1] - 0.5)));
      for (int x = from; x <= to; ++x) set(x, y, colour);
    }
  }
}

void Picture::line(Point from, Point to, double thickness, Colour colour) {
  const double dx = to.x - from.x, dy = to.y - from.y, length = std::hypot(dx, dy);
  const double half = 0.5 * thickness;
  const double ux = length > 0.0 ? dx / length * half : half, uy = length > 0.0 ? dy / length * half : 0.0;
  polygon({{from.x - ux - uy, from.y - uy + ux},
           {to.x + ux - uy, to.y + uy + ux},
           {to.x + ux + uy, to.y + uy - ux},
           {from.x - ux + uy, from.y - uy - ux}},
          colour);
}

namespace {

/// Letters as strokes on a grid four wide and six high: pairs of digits are points (x, y upwards), blanks
/// join them, bars lift the pen.
const std::map<char, const char*>& strokes() {
  static const std::map<char, const char*> letters = {
      {'0', "01 05 16 36 45 41 30 10 01"},
      {'1', "14 26 20|10 30"},
      {'2', "05 16 36 45 44 00 40"},
      {'3', "05 16 36 45 44 33 42 41 30 10 01|33 23"},
      {'4', "30 36 02 42"},
      {'5', "46 06 03 33 42 41 30 00"},
      {'6', "36 16 04 01 10 30 41 42 33 03"},
      {'7', "06 46 20"},
      {'8', "13 04 05 16 36 45 44 33 13 02 01 10 30 41 42 33"},
      {'9', "10 30 42 45 36 16 05 04 13 43"},
      {'A', "00 04 26 44 40|02 42"},
      {'B', "00 06 36 45 44 33 03|33 42 41 30 00"},
      {'C', "45 36 16 05 01 10 30 41"},
      {'D', "00 06 26 44 42 20 00"},
      {'E', "46 06 00 40|03 33"},
      {'F', "46 06 00|03 33"},
      {'G', "45 36 16 05 01 10 30 41 43 23"},
      {'H', "00 06|40 46|03 43"},
      {'I', "16 36|26 20|10 30"},
      {'J', "46 41 30 10 01"},
      {'K', "00 06|46 03 40"},
      {'L', "06 00 40"},
      {'M', "00 06 23 46 40"},
      {'N', "00 06 40 46"},
      {'O', "01 05 16 36 45 41 30 10 01"},
      {'P', "00 06 36 45 44 33 03"},
      {'Q', "01 05 16 36 45 41 30 10 01|22 40"},
      {'R', "00 06 36 45 44 33 03|23 40"},
      {'S', "45 36 16 05 04 13 33 42 41 30 10 01"},
      {'T', "06 46|26 20"},
      {'U', "06 01 10 30 41 46"},
      {'V', "06 20 46"},
      {'W', "06 10 23 30 46"},
      {'X', "00 46|06 40"},
      {'Y', "06 23 46|23 20"},
      {'Z', "06 46 00 40"},
      {'.', "20 21"},
      {',', "10 21"},
      {':', "21 22|24 25"},
      {'-', "13 33"},
      {'+', "13 33|24 22"},
      {'/', "00 46"},
      {'%', "00 46|05 15|31 41"},
      {'(', "36 25 21 30"},
      {')', "16 25 21 10"},
      {'=', "12 32|14 34"},
      {'_', "00 40"},
      {'<', "35 13 31"},
      {'>', "15 33 11"},
      {'*', "12 34|14 32"}};
  return letters;
}

}  // namespace

void Picture::text(Point at, const std::string& text, double size, Colour colour, int align) {
  const double unit = size / 6.0, advance = 5.6 * unit;
  const double width = advance * double(text.size()) - 1.6 * unit;
  double x = at.x - (align < 0 ? 0.0 : align == 0 ? 0.5 * width : width);
  for (const char c : text) {
    const auto letter = strokes().find(char(std::toupper(static_cast<unsigned char>(c))));
    if (letter != strokes().end()) {
      Point last;
      bool down = false;
      for (const char* s = letter->second; *s != '\0'; ++s) {
        if (*s == '|') down = false;
        if (!std::isdigit(static_cast<unsigned char>(*s))) continue;
        const Point next{x + (s[0] - '0') * unit, at.y - (s[1] - '0') * unit};
        if (down) line(last, next, std::max(1.0, 0.11 * size), colour);
        last = next;
        down = true;
        ++s;
      }
    }
    x += advance;
  }
}

namespace {

void appendNumber(std::string& bytes, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes += char((value >> shift) & 0xFF);
}

void writeChunk(models::OutputFile& out, const std::string& type, const std::string& data) {
  std::string chunk;
  appendNumber(chunk, std::uint32_t(data.size()));
  const std::string body = type + data;
  chunk += body;
  appendNumber(chunk,
               std::uint32_t(crc32(0, reinterpret_cast<const Bytef*>(body.data()), uInt(body.size()))));
  out << chunk;
}

}  // namespace

void Picture::save(const std::string& path) const {
  const std::size_t w = std::size_t(width()), h = std::size_t(height());
  std::string raw;
  raw.reserve((3 * w + 1) * h);
  for (std::size_t y = 0; y < h; ++y) {
    raw += '\0';  // no filter on this row
    for (std::size_t x = 0; x < w; ++x)
      for (std::size_t c = 0; c < 3; ++c) {
        int sum = 0;
        for (std::size_t dy = 0; dy < samples; ++dy)
          for (std::size_t dx = 0; dx < samples; ++dx)
            sum += m_rgb[((y * samples + dy) * std::size_t(m_width) + x * samples + dx) * 3 + c];
        raw += char(sum / (samples * samples));
      }
  }
  std::string packed(compressBound(uLong(raw.size())), '\0');
  uLongf size = uLongf(packed.size());
  if (compress2(reinterpret_cast<Bytef*>(&packed[0]), &size, reinterpret_cast<const Bytef*>(raw.data()),
                uLong(raw.size()), 6) != Z_OK)
    throw models::FileError(path, "the picture could not be compressed");
  packed.resize(size);
  std::string head;
  appendNumber(head, std::uint32_t(w));
  appendNumber(head, std::uint32_t(h));
  head += std::string("\x08\x02\x00\x00\x00",
                      5);  // eight bits, true colour, deflate, no filter method, not interlaced
  models::OutputFile out(path);
  out << std::string("\x89PNG\r\n\x1a\n", 8);
  writeChunk(out, "IHDR", head);
  writeChunk(out, "IDAT", packed);
  writeChunk(out, "IEND", "");
  out.commit();
}

}  // namespace cli
}  // namespace vematrix
