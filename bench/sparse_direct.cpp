// Analysis, factorisation and solution of one model by the library's sparse engine and, where it is linked,
// MKL PARDISO:
//   sparse_direct [--threads 1,2] [--repeat 3] [--no-peer] brick:20 plate:58:58 ...
#include <time.h>
#include <algorithm>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "models/Registry.h"
#include "sparse/SymmetricLdlt.h"
#ifdef VEMATRIX_MATH_MKL
#include <mkl.h>
#endif

using namespace Vessa::Matrix;

namespace {

/// Lower triangle by columns = upper triangle by rows, sorted, repeats summed.
struct Lower {
  int n = 0;
  std::vector<int> start, row;
  std::vector<double> value;
};

Lower Assemble(const vematrix::models::Model& model) {
  struct Term {
    int column, row;
    double value;
  };
  std::vector<Term> terms;
  model.assembleStiffness([&](int i, int j, double v) { terms.push_back({i - 1, j - 1, v}); });
  Lower a;
  a.n = model.numDofs();
  std::vector<std::size_t> count(a.n + 1, 0);
  for (const Term& t : terms) ++count[t.column + 1];
  for (int j = 0; j < a.n; ++j) count[j + 1] += count[j];
  std::vector<std::pair<int, double>> sorted(terms.size());
  std::vector<std::size_t> next(count.begin(), count.end() - 1);
  for (const Term& t : terms) sorted[next[t.column]++] = {t.row, t.value};
  a.start.push_back(0);
  for (int j = 0; j < a.n; ++j) {
    std::stable_sort(sorted.begin() + count[j], sorted.begin() + count[j + 1],
                     [](const auto& x, const auto& y) { return x.first < y.first; });
    for (std::size_t k = count[j]; k < count[j + 1]; ++k) {
      if (static_cast<int>(a.row.size()) > a.start[j] && a.row.back() == sorted[k].first) {
        a.value.back() += sorted[k].second;
      } else {
        a.row.push_back(sorted[k].first);
        a.value.push_back(sorted[k].second);
      }
    }
    a.start.push_back(static_cast<int>(a.row.size()));
  }
  return a;
}

double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double CpuNow() {
  timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

double Median(int repeat, const std::function<void()>& run) {
  std::vector<double> times;
  for (int k = 0; k < repeat; ++k) {
    const double begin = Now();
    run();
    times.push_back(Now() - begin);
  }
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

/// Resident megabytes now (statm).
double ResidentMb() {
  std::ifstream file("/proc/self/statm");
  double pages = 0, resident = 0;
  file >> pages >> resident;
  return resident * 4096 / 1e6;
}

/// Highest resident megabytes since ResetPeak.
double PeakMb() {
  std::ifstream file("/proc/self/status");
  std::string line;
  while (std::getline(file, line)) {
    if (line.compare(0, 6, "VmHWM:") == 0) return std::atof(line.c_str() + 6) * 1024 / 1e6;
  }
  return 0;
}

void ResetPeak() {
  std::ofstream("/proc/self/clear_refs") << "5";
}

/// ‖b − A·x‖∞ / (‖A‖∞·‖x‖∞ + ‖b‖∞)
double BackwardError(const Lower& a, const double* x, const double* b) {
  std::vector<double> r(b, b + a.n), sums(a.n, 0.0);
  for (int j = 0; j < a.n; ++j) {
    for (int t = a.start[j]; t < a.start[j + 1]; ++t) {
      const int i = a.row[t];
      r[i] -= a.value[t] * x[j];
      sums[i] += std::fabs(a.value[t]);
      if (i == j) continue;
      r[j] -= a.value[t] * x[i];
      sums[j] += std::fabs(a.value[t]);
    }
  }
  double rMax = 0, norm = 0, xMax = 0, bMax = 0;
  for (int i = 0; i < a.n; ++i) {
    rMax = std::max(rMax, std::fabs(r[i]));
    norm = std::max(norm, sums[i]);
    xMax = std::max(xMax, std::fabs(x[i]));
    bMax = std::max(bMax, std::fabs(b[i]));
  }
  return rMax / (norm * xMax + bMax);
}

struct Row {
  double analysis = 0, factor = 0, solve1 = 0, solve20 = 0, terms = 0, gflop = 0, peak = 0, error = 0;
};

void Print(const char* model, const char* solver, int threads, const Row& r) {
  std::printf(
      "%-16s %-8s %dT analysis %7.3f factor %8.4f s (%6.1f GF/s) solve 1: %7.2f 20: %7.2f ms  L %8.3f M  "
      "%8.2f GF  peak %6.0f MB  err %.1e\n",
      model, solver, threads, r.analysis, r.factor, r.gflop / r.factor, 1e3 * r.solve1, 1e3 * r.solve20,
      r.terms, r.gflop, r.peak, r.error);
  std::fflush(stdout);
}

constexpr int kBlock = 20;

Row RunOwn(const Lower& a, int threads, int repeat, std::string& ordering) {
  Row r;
  const double before = ResidentMb();
  ResetPeak();
  sparse::SymmetricLdlt solver;
  {
    const double begin = Now();
    if (solver.Analyse(a.n, a.start.data(), a.row.data(), sparse::Triangle::Lower, threads) !=
        sparse::LdltStatus::Ok)
      std::abort();
    r.analysis = Now() - begin;
  }
  const auto factorize = [&] {
    if (solver.Factorize(a.value.data(), sparse::PivotMode::PositiveDefinite, 0.0, threads) !=
        sparse::LdltStatus::Ok) {
      std::fprintf(stderr, "%s\n", solver.Message().c_str());
      std::abort();
    }
  };
  factorize();
  r.peak = PeakMb() - before;
  r.analysis = std::min(r.analysis, Median(repeat, [&] {
                          sparse::SymmetricLdlt other;
                          other.Analyse(a.n, a.start.data(), a.row.data(), sparse::Triangle::Lower, threads);
                        }));
  double cpu = 1e300;
  r.factor = Median(repeat, [&] {
    const double c = CpuNow();
    factorize();
    cpu = std::min(cpu, CpuNow() - c);
  });
  std::printf("least CPU time of a factorisation %.4f s\n", cpu);
  std::vector<double> b(static_cast<std::size_t>(a.n) * kBlock), x;
  for (std::size_t k = 0; k < b.size(); ++k) b[k] = 1.0 + static_cast<double>(k % 7);
  x = b;
  solver.Solve(x.data(), 1, a.n, threads);
  r.solve1 = Median(5, [&] {
    std::copy(b.begin(), b.begin() + a.n, x.begin());
    solver.Solve(x.data(), 1, a.n, threads);
  });
  r.error = BackwardError(a, x.data(), b.data());
  x = b;
  solver.Solve(x.data(), kBlock, a.n, threads);
  r.error = std::max(r.error, BackwardError(a, x.data() + static_cast<std::size_t>(a.n) * (kBlock - 1),
                                            b.data() + static_cast<std::size_t>(a.n) * (kBlock - 1)));
  r.solve20 = Median(5, [&] { solver.Solve(x.data(), kBlock, a.n, threads); });
  const sparse::LdltPrediction p = solver.Prediction();
  r.terms = p.storedTerms / 1e6;
  r.gflop = p.operations / 1e9;
  ordering = p.ordering + ", L " + std::to_string(p.factorTerms / 1e6) + " M, predicted peak " +
             std::to_string(p.peakBytes / 1000000) + " MB (analysis " +
             std::to_string(p.analysisBytes / 1000000) + ", factor " +
             std::to_string(p.factorBytes / 1000000) + ")";
  return r;
}

#ifdef VEMATRIX_MATH_MKL
Row RunPardiso(const Lower& a, int threads, int repeat) {
  Row r;
  mkl_set_num_threads(threads);
  mkl_set_dynamic(0);
  void* pt[64] = {};
  int iparm[64] = {}, mtype = 2, maxfct = 1, mnum = 1, msglvl = 0, error = 0, nrhs = 1, perm = 0;
  const auto reset = [&] {
    std::memset(iparm, 0, sizeof iparm);
    iparm[0] = 1;
    iparm[1] = 3;
    iparm[9] = 13;
    iparm[10] = 1;
    iparm[17] = -1;
    iparm[18] = -1;
    iparm[23] = 1;
    iparm[24] = 0;  // parallel solve
    iparm[34] = 1;
  };
  double dummy = 0;
  int n = a.n;
  const auto call = [&](int phase, double* b, double* x) {
    pardiso(pt, &maxfct, &mnum, &mtype, &phase, &n, a.value.data(), a.start.data(), a.row.data(), &perm,
            &nrhs, iparm, &msglvl, b, x, &error);
    if (error) std::fprintf(stderr, "pardiso %d\n", error);
  };
  const double before = ResidentMb();
  ResetPeak();
  reset();
  r.analysis = 1e9;
  for (int k = 0; k < std::max(1, repeat); ++k) {
    if (k > 0) call(-1, &dummy, &dummy);
    const double begin = Now();
    call(11, &dummy, &dummy);
    r.analysis = std::min(r.analysis, Now() - begin);
  }
  call(22, &dummy, &dummy);
  r.peak = PeakMb() - before;
  r.terms = iparm[17] / 1e6;
  r.gflop = iparm[18] / 1e3;
  r.factor = Median(repeat, [&] { call(22, &dummy, &dummy); });
  std::vector<double> b(static_cast<std::size_t>(a.n) * kBlock), x(b.size());
  for (std::size_t k = 0; k < b.size(); ++k) b[k] = 1.0 + static_cast<double>(k % 7);
  iparm[7] = 0;
  r.solve1 = Median(5, [&] { call(33, b.data(), x.data()); });
  r.error = BackwardError(a, x.data(), b.data());
  nrhs = kBlock;
  r.solve20 = Median(5, [&] { call(33, b.data(), x.data()); });
  call(-1, &dummy, &dummy);
  return r;
}
#endif

}  // namespace

int main(int argc, char** argv) {
  std::vector<int> threads{1, 2};
  int repeat = 3;
  bool peer = true;
  for (int k = 1; k < argc; ++k) {
    const std::string arg = argv[k];
    if (arg == "--threads" && k + 1 < argc) {
      threads.clear();
      std::stringstream list(argv[++k]);
      for (std::string item; std::getline(list, item, ',');) threads.push_back(std::atoi(item.c_str()));
    } else if (arg == "--repeat" && k + 1 < argc) {
      repeat = std::atoi(argv[++k]);
    } else if (arg == "--no-peer") {
      peer = false;
    } else {
      const Lower a = Assemble(vematrix::models::makeModel(arg));
      for (int t : threads) {
        std::string ordering;
        const Row own = RunOwn(a, t, repeat, ordering);
        Print(arg.c_str(), "own", t, own);
        std::printf("%-16s   %d dof, %zu terms, %s\n", "", a.n, a.row.size(), ordering.c_str());
#ifdef VEMATRIX_MATH_MKL
        if (!peer) continue;
        const Row p = RunPardiso(a, t, repeat);
        Print(arg.c_str(), "PARDISO", t, p);
        std::printf("%-16s   ratio: analysis %.2f factor %.2f solve1 %.2f solve20 %.2f peak %.2f\n", "",
                    own.analysis / p.analysis, own.factor / p.factor, own.solve1 / p.solve1,
                    own.solve20 / p.solve20, own.peak / p.peak);
#endif
      }
    }
  }
  (void)peer;
  return 0;
}
