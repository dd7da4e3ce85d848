#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "containers/CReport.h"
#include "sparse/CCompColumn.h"

using namespace Vessa::Matrix;

namespace {

/// A temporary file that closes (and so deletes) itself.
class OpenFile {
public:
  OpenFile() : m_file(std::tmpfile()) {}
  ~OpenFile() { std::fclose(m_file); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  std::FILE* Get() const { return m_file; }

private:
  std::FILE* m_file;
};

/// Springs in a row with a cross-link, and a loose dof when asked for.
CCompColumn Springs(int n, int loose = 0) {
  CMatInt pattern;
  pattern.SetSize(n);
  const auto couple = [&](int i, int j) {
    pattern.SetVal(i, j);
    pattern.SetVal(j, i);
  };
  for (int i = 1; i <= n; ++i) {
    couple(i, i);
    if (i < n) couple(i, i + 1);
  }
  couple(1, n);
  pattern.Sort();
  CCompColumn m;
  m.Set(pattern);
  for (int i = 1; i <= n; ++i) {
    if (i == loose) continue;
    m.AddAt(i, i, 3.0 + i);
    const int j = i % n + 1;
    if (j == loose) continue;
    m.AddAt(i, j, -1.0);
    m.AddAt(j, i, -1.0);
  }
  return m;
}

CVector Solved(CCompColumn& m) {
  CVector x(m.NumDof(), 1.0);
  m.BackSubs(x);
  return x;
}

std::vector<unsigned char> Image(CCompColumn& m) {
  OpenFile file;
  EXPECT_TRUE(m.Write(file.Get()));
  std::fseek(file.Get(), 0, SEEK_END);
  std::vector<unsigned char> bytes(static_cast<std::size_t>(std::ftell(file.Get())));
  std::rewind(file.Get());
  EXPECT_EQ(std::fread(bytes.data(), 1, bytes.size(), file.Get()), bytes.size());
  return bytes;
}

bool ReadBytes(CCompColumn& m, const std::vector<unsigned char>& bytes) {
  OpenFile file;
  if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), file.Get());
  return m.Read(file.Get());
}

void ExpectSame(const CVector& a, const CVector& b) {
  ASSERT_EQ(a.Size(), b.Size());
  for (int i = 1; i <= a.Size(); ++i) EXPECT_EQ(a[i], b[i]) << i;
}

}  // namespace

TEST(CompColumnFile, AnAssembledMatrixComesBackAndCanBeReduced) {
  CCompColumn m = Springs(12), other;

  ASSERT_TRUE(ReadBytes(other, Image(m)));

  EXPECT_EQ(other.NumDof(), 12);
  EXPECT_EQ(other.NumTerm(), m.NumTerm());
  for (int j = 1; j <= 12; ++j) {
    for (int i = 1; i <= 12; ++i) EXPECT_EQ(other.GetAt(i, j), m.GetAt(i, j));
  }
  EXPECT_EQ(m.Reduce(true, 1e-40), 12);
  EXPECT_EQ(other.Reduce(true, 1e-40), 12);
  ExpectSame(Solved(other), Solved(m));
}

TEST(CompColumnFile, AReducedMatrixSolvesAtOnce) {
  for (int loose : {0, 5}) {
    CCompColumn m = Springs(40, loose);
    const int result = m.Reduce(true, 1e-40);
    CCompColumn other;

    ASSERT_TRUE(ReadBytes(other, Image(m)));

    ExpectSame(Solved(other), Solved(m));
    EXPECT_EQ(other.SuppressedDofs(), m.SuppressedDofs());
    EXPECT_EQ(other.MaxMinRatio(), m.MaxMinRatio());
    EXPECT_EQ(other.NumNegative(), 0);
    EXPECT_EQ(other.Reduce(true, 1e-40), result);
    other.Scale(2.0);  // and goes on as any other matrix does
    EXPECT_EQ(other.Reduce(true, 1e-40), result);
  }
}

TEST(CompColumnFile, EmptyMatricesPass) {
  CCompColumn m, other = Springs(3);
  m.Reduce(true, 1e-40);

  EXPECT_TRUE(ReadBytes(other, Image(m)));

  EXPECT_EQ(other.NumDof(), 0);
}

TEST(CompColumnFile, EveryDamagedByteIsNoticedAndNothingIsLost) {
  CCompColumn source = Springs(6), m = Springs(9);
  source.Reduce(true, 1e-40);
  m.Reduce(true, 1e-40);
  CReport log;
  m.SetLog(&log);
  const CVector before = Solved(m);
  const std::vector<unsigned char> good = Image(source);

  for (std::size_t k = 0; k < good.size(); ++k) {
    std::vector<unsigned char> bad = good;
    bad[k] ^= 0x40;
    EXPECT_FALSE(ReadBytes(m, bad)) << "byte " << k << " of " << good.size();
  }

  EXPECT_EQ(log.NumLog(), static_cast<int>(good.size()));
  EXPECT_EQ(log.Status(), 2);
  EXPECT_EQ(m.NumDof(), 9);
  ExpectSame(Solved(m), before);
}

TEST(CompColumnFile, TruncatedAndForeignFilesAreRefused) {
  CCompColumn source = Springs(6), m = Springs(4);
  source.Reduce(true, 1e-40);
  std::vector<unsigned char> image = Image(source);

  for (std::size_t length = 0; length < image.size(); length += 3) {
    EXPECT_FALSE(ReadBytes(
        m, std::vector<unsigned char>(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(length))));
  }
  const std::string text = "%%MatrixMarket matrix coordinate real symmetric\n3 3 3\n";
  EXPECT_FALSE(ReadBytes(m, std::vector<unsigned char>(text.begin(), text.end())));
  EXPECT_FALSE(m.Read(nullptr));
  EXPECT_FALSE(m.Write(nullptr));
  EXPECT_EQ(m.NumDof(), 4);
}
