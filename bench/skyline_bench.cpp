// The skyline beside its plain loops, and beside the compressed-column and PARDISO methods, on one core.
//
//   skyline_bench                            reductions of synthetic bands with every instruction set
//   skyline_bench band HEIGHT [N]            one of them
//   skyline_bench model brick:14 frame:...   models in natural and reverse Cuthill-McKee numbering
//
// Medians of repeated runs, in processor time. A factor that differs from the plain loops' in any bit is
// reported as DIFFERS.
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "math/blas.h"
#include "math/threads.h"
#include "models/Registry.h"
#include "skyline/SkylineBlock.h"
#include "skyline/SkylinePlain.h"
#include "skyline/SkylineReference.h"
#include "skyline/SkylineSweep.h"
#include "solution/CSolnMatrix.h"

using namespace Vessa::Matrix;

namespace {

std::FILE* g_out = stdout;  // the library writes trace lines to standard output

struct Profile {
  std::string name;
  int n = 0;
  std::vector<int> end;
  std::vector<double> value;

  double MeanHeight() const { return static_cast<double>(end[n]) / n; }
};

/// Seconds the calling thread has worked: everything here runs on one thread.
double Now() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return t.tv_sec + 1e-9 * t.tv_nsec;
}

/// Median over up to five runs, fewer when they are long; `prepare` is not timed.
double Median(const std::function<void()>& prepare, const std::function<void()>& run) {
  std::vector<double> seconds;
  double total = 0.0;
  while (seconds.size() < 5 && total < 2.0) {
    prepare();
    const double start = Now();
    run();
    seconds.push_back(Now() - start);
    total += seconds.back();
  }
  std::sort(seconds.begin(), seconds.end());
  return seconds[seconds.size() / 2];
}

// Profiles.

Profile WithHeights(std::string name, int n, const std::vector<int>& height) {
  Profile p;
  p.name = std::move(name);
  p.n = n;
  p.end.assign(n + 1, 0);
  for (int j = 1; j <= n; ++j) p.end[j] = p.end[j - 1] + std::min(height[j], j);
  p.value.assign(p.end[n], 0.0);
  return p;
}

/// Every column `height` tall, or between 1 and twice that when ragged.
Profile Band(int n, int height, bool ragged) {
  std::mt19937 random(7);
  std::vector<int> heights(n + 1, height);
  if (ragged)
    for (int& h : heights) h = 1 + static_cast<int>(random() % (2 * height - 1));
  Profile p = WithHeights((ragged ? "ragged " : "band ") + std::to_string(height), n, heights);
  for (double& v : p.value) v = random() / 4294967296.0 - 0.5;
  for (int j = 1; j <= n; ++j) p.value[p.end[j - 1]] = 2.0 * n;
  return p;
}

struct Term {
  int i, j;
  double value;
};

/// New number of every dof, 1-based, by the reverse Cuthill-McKee algorithm.
std::vector<int> ReverseCuthillMcKee(int n, const std::vector<Term>& terms) {
  std::vector<std::vector<int>> near(n + 1);
  for (const Term& t : terms)
    if (t.i != t.j) near[t.i].push_back(t.j), near[t.j].push_back(t.i);
  for (std::vector<int>& list : near) {
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end()), list.end());
  }
  const auto fewer = [&](int a, int b) { return near[a].size() < near[b].size(); };
  std::vector<int> order, start(n), mark(n + 1, 0);
  for (int i = 0; i < n; ++i) start[i] = i + 1;
  std::stable_sort(start.begin(), start.end(), fewer);
  const auto visit = [&](int root, int stamp, std::vector<int>& out) {
    std::size_t head = out.size();
    out.push_back(root);
    mark[root] = stamp;
    for (; head < out.size(); ++head) {
      const std::size_t from = out.size();
      for (int k : near[out[head]])
        if (mark[k] != stamp && mark[k] >= 0) mark[k] = stamp, out.push_back(k);
      std::stable_sort(out.begin() + from, out.end(), fewer);
    }
  };
  int stamp = 0;
  for (int s : start) {
    if (mark[s] < 0) continue;
    int root = s;
    for (int sweep = 0; sweep < 3; ++sweep) {  // towards a far end of the graph
      std::vector<int> levels;
      visit(root, ++stamp, levels);
      root = levels.back();
    }
    const std::size_t from = order.size();
    visit(root, ++stamp, order);
    for (std::size_t k = from; k < order.size(); ++k) mark[order[k]] = -1;
  }
  std::vector<int> number(n + 1);
  for (int k = 0; k < n; ++k) number[order[k]] = n - k;
  return number;
}

Profile FromTerms(const std::string& name, int n, const std::vector<Term>& terms) {
  std::vector<int> height(n + 1, 1);
  for (const Term& t : terms) height[t.j] = std::max(height[t.j], t.j - t.i + 1);
  Profile p = WithHeights(name, n, height);
  for (const Term& t : terms) p.value[p.end[t.j - 1] + (t.j - t.i)] += t.value;
  return p;
}

// Reductions.

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
double Seconds(const Profile& p, std::vector<double>& factors, Reduce reduce) {
  std::vector<int> zeroDofs;
  return Median([&] { factors = p.value; },
                [&] {
                  skyline::Pivots pivots{0, 1e-40, &zeroDofs, {0, 0.0}, {0, 1e20}};
                  zeroDofs.clear();
                  reduce(factors.data(), p.end.data(), p.n, pivots);
                });
}

double PlainSeconds(const Profile& p, std::vector<double>& factors) {
  return Seconds(p, factors, [](double* v, const int* end, int n, skyline::Pivots& pivots) {
    skyline::plain::ReduceColumns(v, end, 1, n, pivots);
  });
}

double BlockSeconds(const Profile& p, std::vector<double>& factors, const skyline::BlockKernels& kernels) {
  return Seconds(p, factors, [&](double* v, const int* end, int n, skyline::Pivots& pivots) {
    skyline::ReduceInBlocks(v, end, n, pivots, kernels);
  });
}

const char* Verdict(const std::vector<double>& a, const std::vector<double>& b) {
  return std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0 ? "" : " DIFFERS";
}

void BandRow(const Profile& p) {
  const double flops = 2e-9 * MultiplyAdds(p);
  std::vector<double> expected, factors;
  const double plain = PlainSeconds(p, expected);
  std::fprintf(g_out, "%-12s %7d %7.1f %8.4f s %5.1f", p.name.c_str(), p.n, p.MeanHeight(), plain,
               flops / plain);
  for (const skyline::BlockKernels* kernels :
       {&skyline::BaselineBlockKernels(), skyline::Avx2BlockKernels(), skyline::Avx512BlockKernels()}) {
    if (!kernels) continue;
    const double blocked = BlockSeconds(p, factors, *kernels);
    std::fprintf(g_out, " | %8.4f s %5.1f %5.2fx%s", blocked, flops / blocked, plain / blocked,
                 Verdict(expected, factors));
  }
  std::fprintf(g_out, "\n");
}

void BandHeader() {
  std::fprintf(g_out, "%-12s %7s %7s %16s", "profile", "n", "height", "plain loop, GF/s");
  for (const char* name : {"baseline", "AVX2", "AVX-512"}) std::fprintf(g_out, " | %15s, ratio", name);
  std::fprintf(g_out, "\n");
}

// The machine.

double ReadRate() {
  std::vector<double> a(std::size_t(16) << 20, 1.0);
  std::vector<double> x(2048, 1.0), y(1);
  const int columns = static_cast<int>(a.size() / x.size());
  volatile double sink = 0.0;
  const double seconds = Median([] {},
                                [&] {
                                  for (int j = 0; j < columns; ++j) {
                                    double s[8] = {};
                                    const double* column = a.data() + std::size_t(j) * x.size();
                                    for (std::size_t i = 0; i < x.size(); i += 8)
                                      for (int k = 0; k < 8; ++k) s[k] += column[i + k];
                                    sink = sink + s[0] + s[7];
                                  }
                                });
  return 8e-9 * a.size() / seconds;
}

double DgemmRate() {
  const int n = 1024;
  std::vector<double> a(std::size_t(n) * n, 1.0), b(a), c(a);
  return 2e-9 * n * n * n /
         Median([] {},
                [&] {
                  math::dgemm(math::Transpose::No, math::Transpose::No, n, n, n, 1.0, a.data(), n, b.data(),
                              n, 0.0, c.data(), n);
                });
}

// Models.

struct Facade {
  double reduce, solve;
};

/// Reduce and BackSubstitute through CSolnMatrix.
Facade ThroughFacade(SolMethod method, int n, const std::vector<Term>& terms) {
  CSolnMatrix k;
  k.SetMethod(method);
  k.SetPardisoNumThreads(1);
  k.SetNumDof(n);
  for (const Term& t : terms) k.AddTerm(t.i, t.j, t.value);
  k.Finalize();
  std::vector<int> zeroDofs;
  const double start = Now();
  if (k.Reduce(OptStiffness, zeroDofs) != 0) return {-1.0, -1.0};
  const double reduced = Now();
  CVector x(n, 1.0);
  k.BackSubstitute(x);
  return {reduced - start, Median([&] { x.SetAll(1.0); }, [&] { k.BackSubstitute(x); })};
}

void SolveRow(const Profile& p, const std::vector<double>& factors, double readRate) {
  const skyline::SweepKernels& kernels = skyline::FastestSweepKernels();
  const int* end = p.end.data();
  const int many = 20;
  const double* value = factors.data();
  const double* assembled = p.value.data();
  std::vector<double> x(p.n, 1.0), y(p.n), block(std::size_t(p.n) * many, 1.0), product(block);
  const auto nothing = [] {};
  const double plain =
      Median([&] { x.assign(p.n, 1.0); }, [&] { skyline::reference::Solve(value, end, p.n, x.data()); });
  const double one =
      Median([&] { x.assign(p.n, 1.0); }, [&] { skyline::Solve(value, end, p.n, x.data(), kernels); });
  const double twenty = Median([&] { block.assign(block.size(), 1.0); },
                               [&] { skyline::SolveBlock(value, end, p.n, block.data(), many, kernels); });
  const double times =
      Median(nothing, [&] { skyline::MultiplyAssembled(assembled, end, p.n, x.data(), y.data(), kernels); });
  const double timesMany = Median(nothing, [&] {
    skyline::MultiplyAssembledBlock(assembled, end, p.n, block.data(), product.data(), many, kernels);
  });
  const double gigabytes = 8e-9 * p.end[p.n];
  std::fprintf(g_out,
               "    solve 1: %.2f ms (%.1fx plain, %.1f GB/s = %.0f %% of reading), 20: %.2f ms (%.2f each);"
               " product 1: %.2f ms (%.1f GB/s = %.0f %%), 20: %.2f ms\n",
               1e3 * one, plain / one, 2 * gigabytes / one, 200 * gigabytes / one / readRate, 1e3 * twenty,
               twenty / one / many, 1e3 * times, gigabytes / times, 100 * gigabytes / times / readRate,
               1e3 * timesMany);
}

void ModelRows(const std::string& name, double dgemm, double readRate) {
  const vematrix::models::Model model = vematrix::models::makeModel(name);
  const int n = model.numDofs();
  std::vector<Term> terms;
  model.assembleStiffness([&](int i, int j, double v) { terms.push_back({i, j, v}); });
  for (int numbering = 0; numbering < 2; ++numbering) {
    if (numbering == 1) {
      const std::vector<int> number = ReverseCuthillMcKee(n, terms);
      for (Term& t : terms) {
        const int i = number[t.i], j = number[t.j];
        t = {std::min(i, j), std::max(i, j), t.value};
      }
    }
    const Profile p = FromTerms(name, n, terms);
    const double flops = 2e-9 * MultiplyAdds(p);
    std::vector<double> expected, factors;
    const double used = BlockSeconds(p, factors, skyline::FastestBlockKernels());
    std::fprintf(g_out, "%-14s %-7s n %6d, height %6.1f, %5.2f M terms, %6.2f GFlop: ", name.c_str(),
                 numbering ? "RCM" : "natural", n, p.MeanHeight(), 1e-6 * p.end[n], flops);
    if (flops < 40.0) {
      const double plain = PlainSeconds(p, expected);
      std::fprintf(g_out, "plain %.4f s, %.2fx%s, ", plain, plain / used, Verdict(expected, factors));
    }
    std::fprintf(g_out, "blocks %.4f s, %.1f GF/s = %.0f %% of dgemm", used, flops / used,
                 100 * flops / used / dgemm);
    if (numbering == 0) {
      const Facade column = ThroughFacade(SolCompColumn, n, terms),
                   pardiso = ThroughFacade(SolPardiso, n, terms);
      std::fprintf(g_out, "; Reduce and solve 1: method 4 %.4f s, %.2f ms; method 6 %.4f s, %.2f ms",
                   column.reduce, 1e3 * column.solve, pardiso.reduce, 1e3 * pardiso.solve);
    }
    std::fprintf(g_out, "\n");
    SolveRow(p, factors, readRate);
    std::fflush(g_out);
  }
}

}  // namespace

int main(int argc, char** argv) try {
  g_out = fdopen(dup(1), "w");
  if (!std::freopen("/dev/null", "w", stdout)) return 1;
  if (argc > 2 && std::strcmp(argv[1], "band") == 0) {
    BandHeader();
    const int height = std::atoi(argv[2]);
    BandRow(Band(argc > 3 ? std::atoi(argv[3]) : 4 * height, height, false));
  } else if (argc > 2 && std::strcmp(argv[1], "model") == 0) {
    const math::LocalThreads single(1);
    const double dgemm = DgemmRate(), readRate = ReadRate();
    std::fprintf(g_out, "one core: dgemm %.1f GF/s, reading memory %.1f GB/s, kernels %s\n", dgemm, readRate,
                 skyline::FastestBlockKernels().name);
    for (int k = 2; k < argc; ++k) ModelRows(argv[k], dgemm, readRate);
  } else if (argc == 1) {
    BandHeader();
    for (int height : {2, 4, 6, 8, 10, 12, 16, 24, 32, 48, 64, 100, 150, 200, 300, 500, 700, 1000}) {
      const int n = std::max(2 * height, std::min(200000, 400000000 / (height * height)));
      BandRow(Band(n, height, false));
      BandRow(Band(n, height, true));
    }
  } else {
    std::fprintf(g_out, "usage: skyline_bench [band HEIGHT [N] | model NAME...]\n");
    return 2;
  }
  std::fclose(g_out);
  return 0;
} catch (const std::exception& e) {
  std::fprintf(stderr, "skyline_bench: %s\n", e.what());
  return 2;
}
