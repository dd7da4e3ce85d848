#pragma once
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>

/// What the fuzz targets share: the input as a stream of choices, and how a contradiction is told.
namespace fuzz {

/// Prints what a check has found and aborts, which a fuzzer takes for a crash.
[[noreturn]] __attribute__((format(printf, 1, 2))) inline void contradiction(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::fputs("contradiction: ", stderr);
  std::vfprintf(stderr, format, arguments);
  std::fputc('\n', stderr);
  va_end(arguments);
  std::abort();
}

/// The input bytes as decisions. Beyond its end every byte is 0.
class Choices {
public:
  Choices(const std::uint8_t* data, std::size_t size) : m_data(data), m_end(data + size) {}
  bool ended() const { return m_data == m_end; }
  int byte() { return m_data == m_end ? 0 : *m_data++; }
  /// A number from 0 to bound - 1; bound at most 256.
  int below(int bound) { return byte() % bound; }
  bool oneIn(int bound) { return below(bound) == 0; }
  template <class Item, std::size_t count>
  const Item& of(const Item (&items)[count]) {
    return items[static_cast<std::size_t>(below(static_cast<int>(count)))];
  }

  /// The order of a matrix: 0 to 8, now and then 30 to 45.
  int order() {
    const int choice = below(16);
    return choice == 15 ? 30 + below(16) : choice % 9;
  }

  /// A matrix value: mostly multiples of 1/8 from -2 to 6, else zero, tiny, huge, a denormal, infinite or
  /// NaN.
  double value() {
    static const double table[] = {0.0,
                                   1.0,
                                   -1.0,
                                   2.0,
                                   0.5,
                                   -0.25,
                                   4.0,
                                   1e-17,
                                   3e5,
                                   1e-300,
                                   1e300,
                                   std::numeric_limits<double>::denorm_min(),
                                   std::numeric_limits<double>::infinity(),
                                   -std::numeric_limits<double>::infinity(),
                                   std::numeric_limits<double>::quiet_NaN(),
                                   10.0};
    const int choice = byte();
    if (choice < 192) return 0.125 * ((choice % 64) - 16);
    return table[choice % 16];
  }

  /// A load: multiples of 1/2 from -64 to 63.5.
  double load() { return 0.5 * (byte() - 128); }

private:
  const std::uint8_t* m_data;
  const std::uint8_t* m_end;
};

}  // namespace fuzz
