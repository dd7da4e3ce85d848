// Products of a stiffness matrix, one triangle stored, with blocks of vectors: milliseconds per vector.
//   eigen_products [brick:20 ...]
#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "Problem.h"
#include "math/sparse_product.h"
#include "math/threads.h"
#include "models/Registry.h"

namespace {

namespace math = Vessa::Matrix::math;
using Eigen::MatrixXd;

double msPerVector(int columns, const std::function<void()>& product) {
  std::vector<double> times;
  product();
  for (int k = 0; k < 9; ++k) {
    const double begin = bench::now();
    product();
    times.push_back(bench::now() - begin);
  }
  std::sort(times.begin(), times.end());
  return 1e3 * times[times.size() / 2] / columns;
}

void measure(const std::string& name) {
  const vematrix::models::Model model = vematrix::models::makeModel(name);
  vematrix::models::SymmetricTerms terms{model.numDofs(), {}, {}, {}};
  model.assembleStiffness(terms);
  const bench::Sparse K = vematrix::models::toLowerTriangle(terms);
  const int n = int(K.cols());
  const math::LowerCsc A{n, K.outerIndexPtr(), K.outerIndexPtr() + 1, K.innerIndexPtr(), K.valuePtr()};
  const int columns = 20;
  const MatrixXd X = MatrixXd::Random(n, columns);
  MatrixXd Y(n, columns);
  std::printf("%s, %d dof, %ld stored entries\n", name.c_str(), n, long(K.nonZeros()));
  const auto line = [&](const char* what, int count, const std::function<void()>& product) {
    std::printf("  %-44s %8.3f\n", what, msPerVector(count, product));
  };
  line("one vector at a time, as the build does it", columns, [&] {
    for (int j = 0; j < columns; ++j) math::symProduct(K, X.col(j).data(), Y.col(j).data());
  });
  line("one vector at a time, own kernel", columns, [&] {
    for (int j = 0; j < columns; ++j) math::symProductOwn(A, X.col(j).data(), Y.col(j).data());
  });
  line("reference, 20 columns", columns,
       [&] { math::symProductReference(A, columns, X.data(), n, Y.data(), n); });
  const char* levels[] = {"baseline", "AVX2", "AVX-512"};
  for (int level = 0; level <= int(math::simdLevel()); ++level) {
    for (int count : {4, 8, 20}) {
      const std::string what =
          std::string("block of ") + std::to_string(count) + ", one thread, " + levels[level];
      line(what.c_str(), count,
           [&] { math::symProductOwn(1, math::SimdLevel(level), A, count, X.data(), n, Y.data(), n); });
    }
  }
  const std::string what = "block of 20, " + std::to_string(math::GetMaxThreads()) + " threads";
  line(what.c_str(), columns, [&] { math::symProduct(K, columns, X.data(), n, Y.data(), n); });
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> names(argv + 1, argv + argc);
  if (names.empty()) names = {"brick:20", "plate:100:100", "frame:10:10:15"};
  for (const std::string& name : names) measure(name);
  return 0;
}
