// Parking the matrix: temporary files, Matrix Market text, the dense dump.
#include <algorithm>
#include <charconv>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "CSolnMatrix.h"
#include "TempFile.h"

namespace Vessa {
namespace Matrix {

using Sparse = Eigen::SparseMatrix<double, 0, int>;

namespace {

// target ← source. Out of memory, target is empty: Eigen's own assignment could leave it without its index.
void Copy(const Sparse& source, Sparse& target) {
  try {
    target = source;
  } catch (...) {
    Sparse().swap(target);
    throw;
  }
}

}  // namespace

std::FILE* CSolnMatrix::Stream() const {
  return m_file != nullptr ? m_file->stream : nullptr;
}

// A file that cannot be opened leaves the one that is open, with what is parked there.
bool CSolnMatrix::OpenFile(const char* name) {
  m_fileName.clear();
  if (name == nullptr || *name == '\0') return false;
  if (Stream() != nullptr && m_file->name == name) CloseFile();
  const auto file = std::make_shared<TempFile>();
  file->name = name;
  file->stream = math::OpenFile(name, m_method == SolPardiso ? "w" : "w+b");
  file->open = file->stream != nullptr;
  if (!file->open) return false;
  m_fileName = name;
  if (Stream() != nullptr) CloseFile();
  m_file = file;
  return true;
}

void CSolnMatrix::CloseFile() {
  if (m_file != nullptr) m_file->CloseAndRemove();
  m_file.reset();
}

// What a failed operation leaves of the file: nothing. A file whose stream was finished before is complete
// and stays.
void CSolnMatrix::DropOpenFile() {
  if (Stream() != nullptr) CloseFile();
}

bool CSolnMatrix::Write(bool dense) {
  Note("Saving Stiffness Matrix");
  bool ok = false;
  switch (m_method) {
    case SolSkyline:
      ok = m_skyline.Write(Stream());
      break;
    case SolCompColumn:
      ok = Stream() != nullptr && m_comp.Write(Stream()) && std::fflush(Stream()) == 0;
      if (!ok) DropOpenFile();
      break;
    case SolPardiso:
      ok = WritePardiso(dense);
      break;
    default:
      break;
  }
  if (!ok) Log(2, "Temporary file error");
  return ok;
}

bool CSolnMatrix::WritePardiso(bool dense) {
  if (dense) return write_dense_file();
  Copy(m_sparse, m_saved);
  m_saved.makeCompressed();
  const bool unfinished = Stream() != nullptr;
  if (write_mm_file()) return true;
  if (unfinished) CloseFile();  // also when its last bytes were refused on closing, with the stream gone
  return false;
}

bool CSolnMatrix::Read() {
  Note("Loading Stiffness Matrix");
  bool ok = false;
  switch (m_method) {
    case SolSkyline:
      ok = m_skyline.Read(Stream());
      break;
    case SolCompColumn:
      ok = Stream() != nullptr && m_comp.Read(Stream());
      if (!ok) DropOpenFile();
      break;
    case SolPardiso:
      Copy(m_saved, m_sparse);
      ok = true;
      break;
    default:
      break;
  }
  if (!ok) Log(2, "Temporary file error");
  return ok;
}

namespace {

// "%20.16g" where these digits read back as the same bits, otherwise with the 17th; the point is a point in
// any locale.
class ValueText {
public:
  explicit ValueText(double value) : m_length(Print(value, 16)) {
    double back = 0.0;
    const bool sixteen = std::from_chars(m_text, m_text + m_length, back).ec == std::errc() && back == value;
    if (!sixteen && value == value) m_length = Print(value, 17);
  }
  int Length() const { return m_length; }
  const char* Text() const { return m_text; }

private:
  int Print(double value, int digits) {
    return static_cast<int>(
        std::to_chars(m_text, m_text + sizeof m_text, value, std::chars_format::general, digits).ptr -
        m_text);
  }

  char m_text[40];
  int m_length;
};

bool WriteEntry(std::FILE* file, int row, int col, double value) {
  const ValueText text(value);
  return std::fprintf(file, "%d %d %*.*s\n", row, col, 20, text.Length(), text.Text()) >= 0;
}

bool WriteMatrixMarket(std::FILE* file, const Sparse& a) {
  const char* banner = "%%MatrixMarket";
  if (std::fprintf(file, "%s %s\n", banner, "matrix coordinate real symmetric") < 0) return false;
  if (std::fprintf(file, "%d %d %d\n", static_cast<int>(a.rows()), static_cast<int>(a.cols()),
                   static_cast<int>(a.nonZeros())) < 0)
    return false;
  for (int c = 0; c < a.outerSize(); ++c)
    for (Sparse::InnerIterator it(a, c); it; ++it)
      if (!WriteEntry(file, static_cast<int>(it.row()) + 1, c + 1, it.value())) return false;
  return true;
}

}  // namespace

bool CSolnMatrix::write_mm_file() {
  if (Stream() == nullptr) return false;
  if (!WriteMatrixMarket(Stream(), m_sparse)) return false;
  return m_file->Close();
}

namespace {

std::string DefaultText(double value) {
  std::ostringstream text;
  text << value;
  return text.str();
}

std::size_t WidestText(const Sparse& a) {
  std::size_t width = a.nonZeros() < a.size() ? 1 : 0;
  for (int c = 0; c < a.outerSize(); ++c)
    for (Sparse::InnerIterator it(a, c); it; ++it) width = std::max(width, DefaultText(it.value()).size());
  return width;
}

// Dense text as Eigen prints matrices: columns of equal width, a blank between them, no line end after the
// last row.
void WriteDense(std::ostream& out, const Sparse& a) {
  Eigen::SparseMatrix<double, Eigen::RowMajor, int> byRows;
  byRows = a;
  const int width = static_cast<int>(WidestText(a));
  for (int r = 0; r < byRows.rows() && out; ++r) {
    if (r != 0) out << '\n';
    Eigen::SparseMatrix<double, Eigen::RowMajor, int>::InnerIterator it(byRows, r);
    for (int c = 0; c < byRows.cols(); ++c) {
      const bool stored = it && it.col() == c;
      if (c != 0) out << ' ';
      out.width(width);
      out << (stored ? it.value() : 0.0);
      if (stored) ++it;
    }
  }
}

}  // namespace

bool CSolnMatrix::write_dense_file() {
  if (m_fileName.empty()) return false;
  std::ofstream out("c:\\temp\\dense.out");
  WriteDense(out, m_sparse);
  return true;
}

}  // namespace Matrix
}  // namespace Vessa
