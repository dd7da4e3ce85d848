// Rates of the dense front kernels by shape, beside those of a BLAS.
//
//   front_kernels [--blas libblas.so] [--level 0|1|2] [--only factor|update|product|solve|block] [--shape
//   m:k[:n]]
//
// Each line is one shape; GF/s count multiplications and additions of the triangle or rectangle that is asked
// for, GB/s the panel read once. The BLAS columns need --blas: its dsyrk (update), dgemm (product) and dpotrf
// + dtrsm (factor; LLᵀ instead of LDLᵀ) are called on the same shapes, at one thread if its environment
// variables say so.
#include <dlfcn.h>
#include <sys/mman.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "sparse/kernels/FrontKernels.h"

namespace {
namespace kernels = Vessa::Matrix::kernels;

using Gemm = void (*)(const char*, const char*, const int*, const int*, const int*, const double*,
                      const double*, const int*, const double*, const int*, const double*, double*,
                      const int*);
using Syrk = void (*)(const char*, const char*, const int*, const int*, const double*, const double*,
                      const int*, const double*, double*, const int*);
using Trsm = void (*)(const char*, const char*, const char*, const char*, const int*, const int*,
                      const double*, const double*, const int*, double*, const int*);
using Potrf = void (*)(const char*, const int*, double*, const int*, int*);

struct Blas {
  Gemm gemm = nullptr;
  Syrk syrk = nullptr;
  Trsm trsm = nullptr;
  Potrf potrf = nullptr;
};

struct Options {
  std::string blas, only;
  int level = -1;
  int m = 0, k = 0, n = 0;
};

double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Median seconds of one call of work; prepare runs before each, untimed apart from its own share measured
/// alone.
double MedianSeconds(const std::function<void()>& prepare, const std::function<void()>& work) {
  std::vector<double> samples;
  const double start = Now();
  while ((Now() - start < 0.04 || samples.size() < 5) && samples.size() < 2001) {
    prepare();
    const double t = Now();
    work();
    samples.push_back(Now() - t);
  }
  std::nth_element(samples.begin(), samples.begin() + samples.size() / 2, samples.end());
  return samples[samples.size() / 2];
}

/// For short calls: several copies worked one after the other between two looks at the clock.
double SecondsPerCall(int copies, const std::function<void()>& prepare,
                      const std::function<void(int)>& work) {
  return MedianSeconds(prepare,
                       [&] {
                         for (int c = 0; c < copies; ++c) work(c);
                       }) /
         copies;
}

std::vector<double> Random(std::size_t count, unsigned seed) {
  std::mt19937 generator(seed);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<double> x(count);
  for (double& v : x) v = uniform(generator);
  return x;
}

/// Doubles on huge pages where the system has them, as the factor of a large model should lie; filled with
/// 0.001.
class HugeArray {
public:
  explicit HugeArray(std::size_t count) : m_bytes((count * sizeof(double) + page - 1) / page * page) {
    m_data = static_cast<double*>(std::aligned_alloc(page, m_bytes));
    if (!m_data) std::abort();
    madvise(m_data, m_bytes, MADV_HUGEPAGE);
    std::fill(m_data, m_data + count, 1e-3);
  }
  ~HugeArray() { std::free(m_data); }
  HugeArray(const HugeArray&) = delete;
  HugeArray& operator=(const HugeArray&) = delete;
  const double* data() const { return m_data; }

private:
  static constexpr std::size_t page = 2u << 20;
  std::size_t m_bytes;
  double* m_data;
};

/// Copies so that one timing takes some ten microseconds at least.
int CopiesFor(double operations, std::size_t doubles) {
  const double byTime = 1e6 / std::max(operations, 1.0);
  const double byCache = 64e3 / static_cast<double>(std::max<std::size_t>(doubles, 1));
  return static_cast<int>(std::max(1.0, std::min({byTime, byCache, 64.0})));
}

void Print(const char* kernel, int m, int k, int n, double operations, double seconds, double blasSeconds) {
  std::printf("%-8s %6d %5d %5d %10.2f us %7.1f GF/s", kernel, m, k, n, seconds * 1e6,
              operations / seconds * 1e-9);
  if (blasSeconds > 0.0)
    std::printf("   blas %10.2f us %7.1f GF/s", blasSeconds * 1e6, operations / blasSeconds * 1e-9);
  std::printf("\n");
  std::fflush(stdout);
}

void TimeFactor(const Blas& blas, int m, int k) {
  const double operations = static_cast<double>(k) * k * (m - k / 3.0);
  const std::size_t size = static_cast<std::size_t>(m) * k;
  const int copies = CopiesFor(operations, size);
  std::vector<double> start = Random(size, 1);
  for (int j = 0; j < k; ++j) start[j + static_cast<std::size_t>(j) * m] = m + 2.0;
  std::vector<double> f(size * copies), d(k);
  kernels::Workspace work;
  kernels::PivotRule rule;
  rule.mode = kernels::PivotRule::Sturm;
  const auto prepare = [&] {
    for (int c = 0; c < copies; ++c) std::copy(start.begin(), start.end(), f.begin() + c * size);
  };
  const double seconds = SecondsPerCall(copies, prepare, [&](int c) {
    kernels::PivotStats stats;
    if (!kernels::FactorFront(f.data() + c * size, m, m, k, d.data(), rule, 0, stats, work)) std::abort();
  });
  double blasSeconds = 0.0;
  if (blas.potrf && blas.trsm)
    blasSeconds = SecondsPerCall(copies, prepare, [&](int c) {
      double* a = f.data() + c * size;
      const int below = m - k;
      const double one = 1.0;
      int info = 0;
      blas.potrf("L", &k, a, &m, &info);
      if (below > 0) blas.trsm("R", "L", "T", "N", &below, &k, &one, a, &m, a + k, &m);
    });
  Print("factor", m, k, 0, operations, seconds, blasSeconds);
}

void TimeUpdate(const Blas& blas, int m, int k) {
  const double operations = static_cast<double>(k) * m * (m + 1.0);
  const std::vector<double> l = Random(static_cast<std::size_t>(m) * k, 1), d = Random(k, 2);
  std::vector<double> c = Random(static_cast<std::size_t>(m) * m, 3);
  const int repeats = CopiesFor(operations, 1);
  kernels::Workspace work;
  const auto nothing = [] {};
  const double seconds = SecondsPerCall(repeats, nothing, [&](int) {
    kernels::UpdateTrailing(l.data(), m, d.data(), m, k, c.data(), m, 0, m, work);
  });
  double blasSeconds = 0.0;
  if (blas.syrk)
    blasSeconds = SecondsPerCall(repeats, nothing, [&](int) {
      const double minus = -1.0, one = 1.0;
      blas.syrk("L", "N", &m, &k, &minus, l.data(), &m, &one, c.data(), &m);
    });
  Print("update", m, k, 0, operations, seconds, blasSeconds);
}

void TimeProduct(const Blas& blas, int m, int k, int n) {
  const double operations = 2.0 * k * m * n;
  const std::vector<double> a = Random(static_cast<std::size_t>(m) * k, 1),
                            b = Random(static_cast<std::size_t>(n) * k, 2);
  std::vector<double> c = Random(static_cast<std::size_t>(m) * n, 3);
  const int repeats = CopiesFor(operations, 1);
  kernels::Workspace work;
  const auto nothing = [] {};
  const double seconds = SecondsPerCall(repeats, nothing, [&](int) {
    kernels::SubtractProduct(a.data(), m, b.data(), n, nullptr, m, n, k, c.data(), m, work);
  });
  double blasSeconds = 0.0;
  if (blas.gemm)
    blasSeconds = SecondsPerCall(repeats, nothing, [&](int) {
      const double minus = -1.0, one = 1.0;
      blas.gemm("N", "T", &m, &n, &k, &minus, a.data(), &m, b.data(), &n, &one, c.data(), &m);
    });
  Print("product", m, k, n, operations, seconds, blasSeconds);
}

void TimeSolve(int m, int k, bool cold) {
  const std::size_t size = static_cast<std::size_t>(m) * k;
  const std::size_t copies = cold ? std::max<std::size_t>(1, 32000000 / size) : 1;
  const HugeArray l(size * copies);
  std::vector<double> x = Random(k, 2), y = Random(m, 3), d(k, 1.0);
  const int repeats = cold ? static_cast<int>(copies) : CopiesFor(2.0 * size, 1);
  const auto panel = [&](int c) { return l.data() + (cold ? c * size : 0); };
  const auto nothing = [&] { std::fill(x.begin(), x.end(), 1.0); };
  const double forward = SecondsPerCall(
      repeats, nothing, [&](int c) { kernels::Forward(panel(c), m, m, k, x.data(), y.data()); });
  const double backward = SecondsPerCall(repeats, nothing, [&](int c) {
    kernels::Backward(panel(repeats - 1 - c), m, d.data(), m, k, x.data(), y.data());
  });
  const double bytes = 8.0 * (size - k * (k - 1) / 2.0);
  std::printf("solve    %6d %5d %s forward %8.2f us %6.1f GB/s   backward %8.2f us %6.1f GB/s\n", m, k,
              cold ? "cold" : "warm", forward * 1e6, bytes / forward * 1e-9, backward * 1e6,
              bytes / backward * 1e-9);
}

void TimeBlock(int m, int k, int lanes, bool cold) {
  const std::size_t size = static_cast<std::size_t>(m) * k;
  const std::size_t copies = cold ? std::max<std::size_t>(1, 32000000 / size) : 1;
  const HugeArray l(size * copies);
  std::vector<double> x(static_cast<std::size_t>(k) * lanes), y(static_cast<std::size_t>(m) * lanes),
      d(k, 1.0);
  std::vector<int> rows(m);
  for (int i = 0; i < m; ++i) rows[i] = i;
  const double operations = 2.0 * lanes * (size - k * (k + 1) / 2.0);
  const int repeats = cold ? static_cast<int>(copies) : CopiesFor(operations, 1);
  const auto panel = [&](int c) { return l.data() + (cold ? c * size : 0); };
  const auto reset = [&] { std::fill(x.begin(), x.end(), 1e-3); };
  const double forward = SecondsPerCall(repeats, reset, [&](int c) {
    kernels::ForwardBlock(panel(c), m, m, k, x.data(), lanes, y.data(), lanes, rows.data(), lanes);
    std::fill(x.begin(), x.end(), 1e-3);
  });
  std::fill(y.begin(), y.end(), 1e-3);
  const double backward = SecondsPerCall(repeats, reset, [&](int c) {
    kernels::BackwardBlock(panel(repeats - 1 - c), m, d.data(), m, k, x.data(), lanes, y.data(), lanes,
                           rows.data(), lanes);
    std::fill(x.begin(), x.end(), 1e-3);
  });
  std::printf("block    %6d %5d %s lanes %d forward %8.2f us %6.1f GF/s   backward %8.2f us %6.1f GF/s\n", m,
              k, cold ? "cold" : "warm", lanes, forward * 1e6, operations / forward * 1e-9, backward * 1e6,
              operations / backward * 1e-9);
}

Blas LoadBlas(const std::string& path) {
  Blas blas;
  if (path.empty()) return blas;
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
  if (!library) {
    std::fprintf(stderr, "front_kernels: %s\n", dlerror());
    std::exit(2);
  }
  blas.gemm = reinterpret_cast<Gemm>(dlsym(library, "dgemm_"));
  blas.syrk = reinterpret_cast<Syrk>(dlsym(library, "dsyrk_"));
  blas.trsm = reinterpret_cast<Trsm>(dlsym(library, "dtrsm_"));
  blas.potrf = reinterpret_cast<Potrf>(dlsym(library, "dpotrf_"));
  return blas;
}

Options ReadOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    if (i + 1 >= argc) {
      std::fprintf(stderr, "front_kernels: %s: expected --blas, --level, --only or --shape and a value\n",
                   argv[i]);
      std::exit(2);
    }
    const char* value = argv[++i];
    if (name == "--blas") options.blas = value;
    if (name == "--only") options.only = value;
    if (name == "--level") options.level = std::atoi(value);
    if (name == "--shape" && std::sscanf(value, "%d:%d:%d", &options.m, &options.k, &options.n) < 2) {
      std::fprintf(stderr, "front_kernels: --shape %s: expected m:k or m:k:n\n", value);
      std::exit(2);
    }
  }
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = ReadOptions(argc, argv);
  const Blas blas = LoadBlas(options.blas);
  if (options.level >= 0 && !kernels::SetKernelLevel(static_cast<kernels::KernelLevel>(options.level))) {
    std::fprintf(stderr, "front_kernels: --level %d: this processor has levels 0 to %d\n", options.level,
                 static_cast<int>(kernels::BestKernelLevel()));
    return 2;
  }
  std::printf("kernel level %d (0 baseline, 1 AVX2, 2 AVX-512)\n",
              static_cast<int>(kernels::ActiveKernelLevel()));
  std::vector<std::pair<int, int>> shapes = {
      {12, 3},   {30, 6},    {48, 12},  {64, 16},   {100, 16},  {100, 32},   {200, 24},   {200, 48},
      {300, 64}, {300, 128}, {600, 32}, {600, 128}, {1000, 64}, {1000, 256}, {2000, 256}, {3000, 512}};
  if (options.m > 0) shapes = {{options.m, options.k}};
  const auto wanted = [&](const char* kernel) { return options.only.empty() || options.only == kernel; };
  for (const auto& [m, k] : shapes)
    if (wanted("factor")) TimeFactor(blas, m, k);
  for (const auto& [m, k] : shapes)
    if (wanted("update")) TimeUpdate(blas, options.m > 0 ? m : m - k, k);
  for (const auto& [m, k] : shapes)
    if (wanted("product")) TimeProduct(blas, m, k, options.n > 0 ? options.n : std::min(m, 128));
  for (const auto& [m, k] : shapes)
    for (const bool cold : {false, true})
      if (wanted("solve")) TimeSolve(m, k, cold);
  for (const auto& [m, k] : shapes)
    for (const bool cold : {false, true})
      if (wanted("block")) TimeBlock(m, k, 24, cold);
  return 0;
}
