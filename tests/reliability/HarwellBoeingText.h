#pragma once

namespace reliability {

/// A Harwell-Boeing file of a chain of three springs, its last value 20.
constexpr char harwellBoeingText[] =
    "A chain of three springs                                                CHAIN3  \n"
    "             4             1             1             2             0\n"
    "RSA                        3             3             5             0\n"
    "(4I3)           (5I2)           (1P,3D10.3)         \n"
    "  1  3  5  6\n"
    " 1 2 2 3 3\n"
    " 2.000D+00-1.000D+00 2.000D+00\n"
    "-1.500D+00 2.000D+01\n";

}  // namespace reliability
