// Reduction, solution and products of the skyline on synthetic profiles: seconds, rates, and the plain loops
// beside them.
//
//   skyline_bench                 the standard table
//   skyline_bench HEIGHT [N]      one band of that height
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "skyline/SkylineBlock.h"
#include "skyline/SkylinePlain.h"

using namespace Vessa::Matrix;

namespace {

struct Profile {
  std::string name;
  int n = 0;
  std::vector<int> end;
  std::vector<double> value;
};

double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

Profile MakeProfile(std::string name, int n, const std::vector<int>& height) {
  Profile p;
  p.name = name;
  p.n = n;
  p.end.assign(n + 1, 0);
  for (int j = 1; j <= n; ++j) p.end[j] = p.end[j - 1] + std::min(height[j], j);
  p.value.resize(p.end[n]);
  std::mt19937 random(42);
  for (double& v : p.value) v = random() / 4294967296.0 - 0.5;
  for (int j = 1; j <= n; ++j) p.value[p.end[j - 1]] = 2.0 * n;
  return p;
}

/// Every column `height` tall, or between 1 and twice that with `ragged`.
Profile Band(int n, int height, bool ragged) {
  std::mt19937 random(7);
  std::vector<int> heights(n + 1, height);
  if (ragged)
    for (int& h : heights) h = 1 + random() % (2 * height - 1);
  return MakeProfile((ragged ? "ragged " : "band ") + std::to_string(height), n, heights);
}

double MultiplyAdds(const Profile& p) {
  double sum = 0.0;
  for (int j = 1; j <= p.n; ++j) {
    const int height = p.end[j] - p.end[j - 1];
    const int top = j - height + 1;
    for (int k = top + 1; k < j; ++k) sum += std::min(k - top, p.end[k] - p.end[k - 1] - 1);
    sum += 2.0 * (height - 1);
  }
  return sum;
}

template <class Reduce>
double MedianSeconds(const Profile& p, std::vector<double>& factors, Reduce reduce) {
  std::vector<double> seconds;
  double total = 0.0;
  while (seconds.size() < 5 && total < 3.0) {
    factors = p.value;
    std::vector<int> zeroDofs;
    skyline::Pivots pivots{0, 1e-40, &zeroDofs, {0, 0.0}, {0, 1e20}};
    const double start = Now();
    reduce(factors.data(), p.end.data(), p.n, pivots);
    seconds.push_back(Now() - start);
    total += seconds.back();
  }
  std::sort(seconds.begin(), seconds.end());
  return seconds[seconds.size() / 2];
}

void Row(const Profile& p) {
  const double flops = 2.0 * MultiplyAdds(p);
  std::vector<double> expected, factors;
  const double plain =
      MedianSeconds(p, expected, [](double* v, const int* end, int n, skyline::Pivots& pivots) {
        skyline::plain::ReduceColumns(v, end, 1, n, pivots);
      });
  std::printf("%-14s %8d %7.1f %9.4f %7.1f", p.name.c_str(), p.n, double(p.end[p.n]) / p.n, plain,
              1e-9 * flops / plain);
  const skyline::BlockKernels* all[] = {&skyline::BaselineBlockKernels(), skyline::Avx2BlockKernels(),
                                        skyline::Avx512BlockKernels()};
  for (const skyline::BlockKernels* kernels : all) {
    if (!kernels) continue;
    const double blocked =
        MedianSeconds(p, factors, [&](double* v, const int* end, int n, skyline::Pivots& pivots) {
          skyline::ReduceInBlocks(v, end, n, pivots, *kernels);
        });
    const bool same = std::memcmp(factors.data(), expected.data(), factors.size() * sizeof(double)) == 0;
    std::printf(" | %9.4f %6.1f %5.2fx%s", blocked, 1e-9 * flops / blocked, plain / blocked,
                same ? "" : " DIFFERS");
  }
  std::printf("\n");
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  std::printf(
      "profile               n  height     plain    GF/s |  baseline  (s, GF/s, ratio) | AVX2 | AVX-512\n");
  if (argc > 1) {
    const int height = std::atoi(argv[1]);
    Row(Band(argc > 2 ? std::atoi(argv[2]) : 4 * height, height, false));
    return 0;
  }
  for (int height : {2, 3, 4, 6, 8, 10, 12, 16, 20, 24, 32}) {
    const int n = std::max(2 * height, std::min(200000, 40000000 / (height * height) * 10));
    Row(Band(n, height, false));
    Row(Band(n, height, true));
  }
  return 0;
}
