// The library's matrices side by side on the same structures, for docs/choosing-a-matrix.md:
//   matrix_choice [--repeat 3] [--threads 1] [frame:5:5:10 plate:40:40 brick:12 ...]
// Per structure and matrix: seconds of processor time to assemble (with finalising), to reduce, to solve one
// load, for one product, and the values stored. Every solution is checked by its residual; a matrix that
// would take too long is left out. The table is Markdown, on the standard output that the program was given;
// the library's own lines are dropped.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "models/Registry.h"
#include "skyline/CBandSym.h"
#include "solution/CSolnMatrix.h"
#include "sparse/CSymmetricRow.h"

using namespace Vessa::Matrix;
using vematrix::models::Model;

namespace {

std::FILE* table = nullptr;
int repeat = 3;
unsigned int threads = 1;
bool good = true;

// Processor time of all threads, so that what else runs on the machine counts little.
double Seconds(const std::function<void()>& action) {
  timespec start, end;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &start);
  action();
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &end);
  return static_cast<double>(end.tv_sec - start.tv_sec) +
         1e-9 * static_cast<double>(end.tv_nsec - start.tv_nsec);
}

double Best(const std::function<void()>& action) {
  double best = 1e300;
  for (int r = 0; r < repeat; ++r) best = std::min(best, Seconds(action));
  return best;
}

// Column heights of the profile in the numbering of the model, the diagonal counted.
std::vector<int> Heights(const Model& model) {
  std::vector<int> height(static_cast<std::size_t>(model.numDofs()) + 1, 1);
  model.assembleStiffness([&](int i, int j, double) { height[j] = std::max(height[j], j - i + 1); });
  return height;
}

double Residual(const Model& model, const CVector& x) {
  std::vector<double> r(static_cast<std::size_t>(model.numDofs()) + 1, 0.0), norm(r);
  model.assembleStiffness([&](int i, int j, double v) {
    r[i] += v * x.GetAt(j);
    norm[i] += std::fabs(v);
    if (i == j) return;
    r[j] += v * x.GetAt(i);
    norm[j] += std::fabs(v);
  });
  const Eigen::VectorXd load = model.loads(0);
  double largest = 0.0, a = 0.0;
  for (int i = 1; i <= model.numDofs(); ++i) {
    largest = std::max(largest, std::fabs(r[i] - load[i - 1]));
    a = std::max(a, norm[i]);
  }
  return largest / (a * x.MaxAbs() + load.cwiseAbs().maxCoeff());
}

void Row(const Model& model, const std::string& name, const char* matrix, double assemble, double reduce,
         double solve, double product, double values, const CVector* x) {
  const double residual = x != nullptr ? Residual(model, *x) : 0.0;
  if (!(residual < 1e-11)) good = false;
  const auto seconds = [](double s) {
    char text[32];
    std::snprintf(text, sizeof text, s < 0.0 ? "–" : "%.3g", s);
    return std::string(text);
  };
  char stored[32];
  std::snprintf(stored, sizeof stored, "%.3g", values);
  std::fprintf(table, "| %s | %d | %s | %s | %s | %s | %s | %s |%s\n", name.c_str(), model.numDofs(), matrix,
               seconds(assemble).c_str(), seconds(reduce).c_str(), seconds(solve).c_str(),
               seconds(product).c_str(), values > 0.0 ? stored : "–",
               residual < 1e-11 ? "" : "  RESIDUAL TOO LARGE");
  std::fflush(table);
}

void Solution(const Model& model, const std::string& name, SolMethod method, const char* title,
              double values) {
  double assemble = 1e300, reduce = 1e300, solve = 0.0, product = 0.0;
  const CVector load(model.loads(0));
  CVector x;
  for (int r = 0; r < repeat; ++r) {
    CSolnMatrix K;
    K.SetMethod(method);
    K.SetPardisoNumThreads(threads);
    assemble = std::min(assemble, Seconds([&] {
                          K.SetNumDof(model.numDofs());
                          model.assembleStiffness([&](int i, int j, double v) { K.AddTerm(i, j, v); });
                          K.Finalize();
                        }));
    if (r == 0) product = Best([&] { x = K * load; });
    reduce = std::min(reduce, Seconds([&] { good &= K.Reduce(OptStiffness); }));
    if (r == 0)
      solve = Best([&] {
        x = load;
        K.BackSubstitute(x);
      });
  }
  Row(model, name, title, assemble, reduce, solve, product, values, &x);
}

void RowStored(const Model& model, const std::string& name) {
  const int n = model.numDofs();
  CSymmetricRow K(n), U;
  const double assemble = Seconds([&] {
    model.assembleStiffness([&](int i, int j, double) { K.AllocateAt(i, j); });
    K.Sort();
    model.assembleStiffness([&](int i, int j, double v) { K.AddAt(i, j, v); });
    K.StoreFirstRow();
  });
  const double reduce = Seconds([&] {
    U.SymbolicFactorization(K);
    U.Factorization(K);
  });
  U.StoreFirstRow();
  const CVector load(model.loads(0));
  CVector x;
  const double solve = Best([&] { U.BackSubs(load, x); });
  CVector y;
  const double product = Best([&] { K.Multiply(load, y); });
  Row(model, name, "row-stored", assemble, reduce, solve, product, U.Size(), &x);
}

void Band(const Model& model, const std::string& name, int band) {
  const int n = model.numDofs();
  CBandSym K;
  const double assemble = Seconds([&] {
    K.SetSize(n, band);
    model.assembleStiffness([&](int i, int j, double v) { K.ElementAt(i, j) += v; });
  });
  const CVector load(model.loads(0));
  CVector y;
  const double product = Best([&] { K.Multiply(load, y); });
  Row(model, name, "band (no solver)", assemble, -1.0, -1.0, product, static_cast<double>(n) * band, nullptr);
}

void Compare(const std::string& name) {
  const Model model = vematrix::models::makeModel(name);
  const int n = model.numDofs();
  const std::vector<int> height = Heights(model);
  double profile = 0.0, work = 0.0;
  int band = 0;
  for (int j = 1; j <= n; ++j) {
    profile += height[j];
    work += 0.5 * height[j] * height[j];
    band = std::max(band, height[j]);
  }
  if (profile < 4e8 && work < 2e11) Solution(model, name, SolSkyline, "skyline (0)", profile);
  Solution(model, name, SolCompColumn, "compressed column (4)", 0.0);
  Solution(model, name, SolPardiso, "PARDISO (6)", 0.0);
  if (work < 1.5e9) RowStored(model, name);
  if (static_cast<double>(n) * band < 4e8) Band(model, name, band);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> names;
  for (int k = 1; k < argc; ++k) {
    if (std::strcmp(argv[k], "--repeat") == 0 && k + 1 < argc) {
      repeat = std::max(1, std::atoi(argv[++k]));
    } else if (std::strcmp(argv[k], "--threads") == 0 && k + 1 < argc) {
      threads = static_cast<unsigned int>(std::max(0, std::atoi(argv[++k])));
    } else {
      names.push_back(argv[k]);
    }
  }
  if (names.empty())
    names = {"cantilever:2000", "frame:4:4:8", "truss:1000", "plate:20:20",
             "plate:60:60",     "brick:8",     "brick:16"};
  table = fdopen(dup(1), "w");
  if (table == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) return 2;

  std::fprintf(table,
               "| structure | dofs | matrix | assemble s | reduce s | solve s | product s | values stored |\n"
               "|---|---|---|---|---|---|---|---|\n");
  for (const std::string& name : names) Compare(name);
  std::fclose(table);
  return good ? 0 : 1;
}
