// The engines' binary images read from arbitrary bytes. A compressed-column matrix that refuses an image is
// still the matrix it was; one that accepts an image can be used. A skyline has no magic in its file: it
// takes what has the right length and must stay usable either way.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "skyline/CSkyLine.h"
#include "sparse/CCompColumn.h"

namespace {

using namespace Vessa::Matrix;

constexpr int order = 5;

// Five springs in a chain, fixed at one end: k(i,i) = 2, k(i,i+1) = -1.
CCompColumn chain() {
  CMatInt pattern;
  pattern.SetSize(order);
  for (int i = 1; i <= order; ++i) {
    pattern.SetVal(i, i);
    if (i < order) {
      pattern.SetVal(i, i + 1);
      pattern.SetVal(i + 1, i);
    }
  }
  pattern.Sort();
  CCompColumn matrix;
  matrix.Set(pattern);
  for (int i = 1; i <= order; ++i) {
    matrix.SetAt(i, i, 2.0);
    if (i < order) {
      matrix.SetAt(i, i + 1, -1.0);
      matrix.SetAt(i + 1, i, -1.0);
    }
  }
  return matrix;
}

std::FILE* memoryFile(const std::uint8_t* data, std::size_t size, std::vector<char>& copy) {
  copy.assign(data, data + size);
  copy.push_back('\0');  // fmemopen refuses an empty buffer
  std::FILE* file = std::tmpfile();
  if (file == nullptr) std::abort();
  if (std::fwrite(copy.data(), 1, size, file) != size) std::abort();
  std::rewind(file);
  return file;
}

void readCompressedColumn(const std::uint8_t* data, std::size_t size) {
  std::vector<char> copy;
  std::FILE* file = memoryFile(data, size, copy);
  CCompColumn matrix = chain();
  const bool accepted = matrix.Read(file);
  std::fclose(file);
  if (!accepted) {
    if (matrix.NumDof() != order || matrix.GetAt(2, 3) != -1.0 || matrix.GetAt(5, 5) != 2.0) std::abort();
    if (matrix.Reduce(true, 1e-40) != order) std::abort();
  }
  if (matrix.NumDof() > 1000) return;
  matrix.Reduce(true, 1e-40);
  CVector x(matrix.NumDof(), 1.0);
  matrix.BackSubs(x);
}

void readSkyline(const std::uint8_t* data, std::size_t size) {
  std::vector<char> copy;
  std::FILE* file = memoryFile(data, size, copy);
  CSkyLine matrix;
  matrix.SetNumDof(order);
  for (int j = 1; j <= order; ++j) matrix.SetColHeight(j, j == 1 ? 1 : 2);
  matrix.CreateIndex();
  for (int j = 1; j <= order; ++j) {
    matrix.SetAt(j, j, 2.0);
    if (j > 1) matrix.SetAt(j - 1, j, -1.0);
  }
  matrix.SetAssemble();
  const bool accepted = matrix.Read(file);
  std::fclose(file);
  if (accepted != (size >= 4 + 9 * sizeof(double))) std::abort();
  CVector x(order, 1.0);
  (void)(matrix * x);
  std::vector<int> zeroDofs;
  if (matrix.Reduce(0, zeroDofs)) matrix.BackSubs(x);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  readCompressedColumn(data, size);
  readSkyline(data, size);
  return 0;
}
