#include "../si/ShiftRules.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace si {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

bool readable(const std::vector<double>& ritz, int index) {
  return index >= 0 && index < int(ritz.size());
}

double midpoint(const std::vector<double>& ritz, int i, int j) {
  return (ritz[i] + ritz[j]) * 0.5;
}

bool tooClose(double value, double mu) {
  return std::fabs(value - mu) < kTooClose;
}

bool refuse(double& mu) {
  mu = 0.0;
  return false;
}

bool abortShift(double& mu) {
  std::printf("aborting shift because mu was too close to eval\n");
  return refuse(mu);
}

/// The target right after progress; j is the Ritz value it lies below.
bool harmonicTarget(const std::vector<double>& ritz, int k, int wanted, int lastScanned, double& mu) {
  if (!readable(ritz, k) || !readable(ritz, wanted - 1)) return refuse(mu);
  const double a = ritz[k], b = ritz[wanted - 1];
  mu = 2.0 * a * b / (a + b);
  int j = k;
  while (j < lastScanned && readable(ritz, j + 1) && mu > ritz[j + 1]) ++j;
  j = std::min(j, wanted);
  if (j <= k) return abortShift(mu);
  if (!readable(ritz, j)) return refuse(mu);
  mu = midpoint(ritz, k, j);
  for (int i = j; i >= k; --i) {
    if (std::fabs(ritz[i] - mu) <= kTooClose) {
      --j;
      mu = safeShift(ritz, k, j);
    }
  }
  if (j > k) return true;
  std::printf("aborting shift because mu was too close to eval\n");
  return false;
}

bool midpointTarget(const std::vector<double>& ritz, int k, double& mu) {
  if (!readable(ritz, k + 1)) return refuse(mu);
  mu = midpoint(ritz, k, k + 1);
  return tooClose(ritz[k], mu) ? abortShift(mu) : true;
}

}  // namespace

bool conservativeShift(const std::vector<double>& ritz, int k, bool rejectInfinity, double& mu) {
  if (k < 1 || !readable(ritz, k + 1)) return refuse(mu);
  mu = midpoint(ritz, k, k + 1);
  if (rejectInfinity) {
    const bool apart = std::fabs(mu - ritz[k]) >= kTooClose;
    return apart && mu != kInfinity ? true : refuse(mu);
  }
  return tooClose(ritz[k], mu) ? refuse(mu) : true;
}

bool aggressiveShift(const std::vector<double>& ritz, int k, int stage, int wanted,
                     const ShiftRuleLimits& limits, double& mu) {
  bool accepted = false;
  if (k >= 1)
    accepted =
        stage < 1 ? harmonicTarget(ritz, k, wanted, limits.lastScanned, mu) : midpointTarget(ritz, k, mu);
  if (limits.rejectInfinity && mu == kInfinity) return refuse(mu);
  return accepted;
}

double safeShift(const std::vector<double>& ritz, int k, int& j) {
  if (j <= k || !readable(ritz, k) || !readable(ritz, j)) return 0.0;
  double mu = midpoint(ritz, k, j);
  for (int i = j; i >= k; --i) {
    if (std::fabs(ritz[i] - mu) <= kTooClose) {
      --j;
      mu = safeShift(ritz, k, j);
    }
  }
  return mu;
}

}  // namespace si
