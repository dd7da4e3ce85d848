#include "ChartPicture.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "Picture.h"

namespace vematrix {
namespace cli {
namespace {

constexpr std::array<Colour, 5> partColours = {
    {{31, 92, 170}, {90, 170, 110}, {230, 160, 50}, {200, 45, 40}, {120, 90, 160}}};

/// 1, 2 or 5 times a power of ten, so that about five steps make the range.
double stepOf(double range) {
  const double rough = range / 5.0, power = std::pow(10.0, std::floor(std::log10(rough)));
  for (const double factor : {1.0, 2.0, 5.0})
    if (factor * power >= rough) return factor * power;
  return 10.0 * power;
}

}  // namespace

void drawBars(const std::string& path, const std::string& title, const std::vector<std::string>& legend,
              const std::vector<Bar>& bars, const std::string& unit) {
  constexpr int left = 250, right = 110, head = 80, row = 34, width = 860;
  Picture picture(width, head + row * int(bars.size()) + 20);
  picture.text({20, 30}, title, 15, black);
  double x = 20;
  for (std::size_t p = 0; p < legend.size(); ++p) {
    picture.rectangle({x, 46}, 12, 12, partColours[p % partColours.size()]);
    picture.text({x + 18, 57}, legend[p], 10, black);
    x += 40 + 9.4 * double(legend[p].size());
  }
  double most = 1e-300;
  for (const Bar& bar : bars) {
    double sum = 0.0;
    for (const double part : bar.parts) sum += part;
    most = std::max(most, sum);
  }
  for (std::size_t b = 0; b < bars.size(); ++b) {
    const double y = head + row * double(b);
    picture.text({left - 12.0, y + 19}, bars[b].label, 11, black, 1);
    double sum = 0.0;
    for (std::size_t p = 0; p < bars[b].parts.size(); ++p) {
      const double from = left + sum / most * (width - left - right);
      sum += bars[b].parts[p];
      const double to = left + sum / most * (width - left - right);
      picture.rectangle({from, y + 2}, to - from, row - 10, partColours[p % partColours.size()]);
    }
    picture.text({left + sum / most * (width - left - right) + 8, y + 19},
                 fmt::format("{:.3g} {}", sum, unit), 11, black);
  }
  picture.save(path);
}

void drawHistory(const std::string& path, const std::string& title, const std::string& across,
                 const std::vector<double>& values) {
  constexpr int left = 60, top = 50, width = 640, height = 320;
  Picture picture(width + left + 30, height + top + 60);
  picture.text({left, 28.0}, title, 14, black);
  const double most = values.empty() ? 1.0 : std::max(1.0, *std::max_element(values.begin(), values.end()));
  const double last = std::max<double>(2.0, double(values.size()));
  const auto place = [&](double iteration, double value) {
    return Point{left + (iteration - 1.0) / (last - 1.0) * width, top + height - value / most * height};
  };
  for (double v = 0.0; v <= most * 1.0001; v += stepOf(most)) {
    picture.line(place(1.0, v), place(last, v), 1.0, paleGrey);
    picture.text({left - 8.0, place(1.0, v).y + 5}, fmt::format("{:g}", v), 10, black, 1);
  }
  const double step = std::max(1.0, stepOf(last));
  for (double i = 1.0; i <= last; i += step)
    picture.text({place(i, 0.0).x, double(top + height + 22)}, fmt::format("{:g}", i), 10, black, 0);
  picture.line(place(1.0, 0.0), place(last, 0.0), 1.5, black);
  picture.line(place(1.0, 0.0), place(1.0, most), 1.5, black);
  for (std::size_t k = 0; k < values.size(); ++k) {
    const Point at = place(double(k) + 1.0, values[k]);
    if (k > 0) picture.line(place(double(k), values[k - 1]), at, 2.0, blue);
    picture.rectangle({at.x - 3, at.y - 3}, 6, 6, blue);
  }
  picture.text({left + 0.5 * width, double(top + height + 46)}, across, 11, black, 0);
  picture.save(path);
}

}  // namespace cli
}  // namespace vematrix
