#include "models/io/MatrixMarketReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <cmath>
#include <random>

#include "MutilatedMatrixMarket.h"
#include "models/io/FileError.h"
#include "support/DataFolder.h"
#include "support/TempFolder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using vematrix::models::FileError;
using vematrix::models::parseMatrixMarket;
using vematrix::models::PatternValues;
using vematrix::models::readDenseColumns;
using vematrix::models::readMatrixMarket;
using vematrix::models::SymmetricTerms;

template <class Action>
std::string messageOf(Action action) {
  try {
    action();
  } catch (const FileError& error) {
    return error.what();
  }
  return "";
}

std::string gzip(const std::string& text) {
  std::string packed(compressBound(text.size()) + 64, '\0');
  z_stream stream = {};
  deflateInit2(&stream, 6, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(&packed[0]);
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

TEST(MatrixMarketReader, LowerTriangleBecomesUpperTermsInFileOrder) {
  const SymmetricTerms terms = parseMatrixMarket("K.mtx", test_support::GoodFileWith(0, ""));

  EXPECT_EQ(terms.n, 4);
  EXPECT_THAT(terms.row, ElementsAre(1, 1, 2, 2, 3, 3, 4));
  EXPECT_THAT(terms.col, ElementsAre(1, 2, 2, 3, 3, 4, 4));
  EXPECT_THAT(terms.value, ElementsAre(2.0, -1.0, 2.0, -1.0, 2.0, -1.0, 2.0));
}

TEST(MatrixMarketReader, AcceptsCapitalsCommentsBlankLinesCrLfTabsPlusSignsAndFortranExponents) {
  const SymmetricTerms terms =
      parseMatrixMarket("K.mtx",
                        "%%matrixmarket MATRIX Coordinate REAL Symmetric\r\n%\r\n\r\n 2\t2 3\r\n"
                        "% a remark\r\n\r\n+1 1 +2.5D+01\r\n 1 2\t-1.5d-1 \r\n2 2 4e-400\r\n\r\n%\r\n");

  EXPECT_THAT(terms.row, ElementsAre(1, 1, 2));
  EXPECT_THAT(terms.col, ElementsAre(1, 2, 2));
  EXPECT_THAT(terms.value, ElementsAre(25.0, -0.15, 0.0));
}

TEST(MatrixMarketReader, GeneralWithSymmetricValuesKeepsTheMeanOfBothTriangles) {
  const SymmetricTerms terms = parseMatrixMarket("K.mtx",
                                                 "%%MatrixMarket matrix coordinate real general\n2 2 4\n2 1 "
                                                 "-1\n1 2 -1.0000000000000002\n2 2 3\n1 1 2\n");

  EXPECT_THAT(terms.row, ElementsAre(1, 1, 2));
  EXPECT_THAT(terms.col, ElementsAre(1, 2, 2));
  EXPECT_EQ(terms.value[0], 2.0);
  EXPECT_NEAR(terms.value[1], -1.0, 3e-16);
  EXPECT_EQ(terms.value[2], 3.0);
}

TEST(MatrixMarketReader, ArrayFormatsHoldColumnsOfTheLowerTriangleOrAllOfIt) {
  const SymmetricTerms lower =
      parseMatrixMarket("K.mtx", "%%MatrixMarket matrix array real symmetric\n2 2\n1\n2\n3\n");
  const SymmetricTerms full =
      parseMatrixMarket("K.mtx", "%%MatrixMarket matrix array integer general\n2 2\n1 2\n2 3\n");

  EXPECT_THAT(lower.value, ElementsAre(1.0, 2.0, 3.0));
  EXPECT_THAT(full.value, ElementsAre(1.0, 2.0, 3.0));
  EXPECT_THAT(full.row, ElementsAre(1, 1, 2));
}

TEST(MatrixMarketReader, PatternStandsForOnesOrALaplacian) {
  const std::string path3 = "%%MatrixMarket matrix coordinate pattern symmetric\n3 3 3\n1 1\n2 1\n3 2\n";

  const SymmetricTerms ones = parseMatrixMarket("A.mtx", path3);
  const SymmetricTerms laplacian = parseMatrixMarket("A.mtx", path3, PatternValues::LaplacianPlusOne);

  EXPECT_THAT(ones.value, ElementsAre(1.0, 1.0, 1.0));
  EXPECT_THAT(laplacian.row, ElementsAre(1, 2, 1, 2, 3));
  EXPECT_THAT(laplacian.col, ElementsAre(2, 3, 1, 2, 3));
  EXPECT_THAT(laplacian.value, ElementsAre(-1.0, -1.0, 2.0, 3.0, 2.0));
}

TEST(MatrixMarketReader, MatrixWithoutEntriesIsAZeroMatrix) {
  EXPECT_EQ(parseMatrixMarket("K.mtx", "%%MatrixMarket matrix coordinate real symmetric\n3 3 0\n").size(),
            0u);
}

TEST(MatrixMarketReader, ReadsGzipAndMoreThanOneGzipMember) {
  const test_support::TempFolder folder;
  const std::string text = test_support::GoodFileWith(0, "");
  folder.Write("one.mtx.gz", gzip(text));
  folder.Write("two.mtx.gz", gzip(text.substr(0, 60)) + gzip(text.substr(60)));

  EXPECT_EQ(readMatrixMarket(folder.Path("one.mtx.gz")).size(), 7u);
  EXPECT_EQ(readMatrixMarket(folder.Path("two.mtx.gz")).size(), 7u);
}

TEST(MatrixMarketReader, EveryMutilatedFileIsRefusedWithItsLineInOneLine) {
  const auto files = test_support::MutilatedMatrixMarketFiles();
  EXPECT_GE(files.size(), 100u);
  for (const auto& file : files) {
    const std::string message = messageOf([&] { parseMatrixMarket("K.mtx", file.text); });

    const std::string place = file.line == 0 ? "K.mtx: " : "K.mtx:" + std::to_string(file.line) + ": ";
    EXPECT_EQ(message.substr(0, place.size()), place) << file.name << ": " << message;
    EXPECT_THAT(message, HasSubstr(file.message)) << file.name;
    EXPECT_EQ(message.find('\n'), std::string::npos) << file.name;
  }
}

TEST(MatrixMarketReader, EveryLineThatIsCutOffIsMissed) {
  const std::string good = test_support::GoodFileWith(0, "");
  for (std::size_t end = good.find('\n'); end + 1 < good.size(); end = good.find('\n', end + 1))
    EXPECT_NE(messageOf([&] { parseMatrixMarket("K.mtx", std::string_view(good).substr(0, end + 1)); }), "")
        << "cut after " << end;
}

TEST(MatrixMarketReader, RandomDamageNeverCrashesAndNeverLeavesTheMatrix) {
  const std::string good = test_support::GoodFileWith(0, "");
  std::mt19937 random(7);
  const std::string alphabet("0123456789.-+eE%, \n\r\t\0nai", 26);
  for (int trial = 0; trial < 20000; ++trial) {
    std::string text = good;
    for (unsigned changes = 1 + random() % 3; changes > 0; --changes)
      text[random() % text.size()] = alphabet[random() % alphabet.size()];
    if (random() % 4 == 0) text.resize(random() % text.size());
    try {
      const SymmetricTerms terms = parseMatrixMarket("K.mtx", text);
      for (std::size_t k = 0; k < terms.size(); ++k) {
        ASSERT_LE(1, terms.row[k]);
        ASSERT_LE(terms.row[k], terms.col[k]);
        ASSERT_LE(terms.col[k], terms.n);
        ASSERT_TRUE(std::isfinite(terms.value[k]));
      }
    } catch (const FileError&) {
    }
  }
}

TEST(MatrixMarketReader, FilesThatCannotBeReadAreNamed) {
  const test_support::TempFolder folder;
  const std::string packed = gzip(test_support::GoodFileWith(0, ""));
  folder.Write("cut.mtx.gz", packed.substr(0, packed.size() / 2));
  folder.Write("tail.mtx.gz", packed.substr(0, packed.size() - 3));
  std::string damaged = packed;
  damaged[damaged.size() / 2] = static_cast<char>(damaged[damaged.size() / 2] ^ 0x55);
  folder.Write("damaged.mtx.gz", damaged);
  folder.Write("garbage.mtx.gz", packed + "garbage after the end");
  folder.Write("head.mtx.gz", std::string("\x1f\x8b", 2));

  const auto message = [&](const std::string& path) { return messageOf([&] { readMatrixMarket(path); }); };

  EXPECT_THAT(message(folder.Path("none.mtx")), HasSubstr("none.mtx: cannot be opened: No such file"));
  EXPECT_THAT(message(folder.Path()), HasSubstr("is a directory, expected a file"));
  EXPECT_THAT(message(""), HasSubstr("cannot be opened"));
  EXPECT_THAT(message(folder.Path("cut.mtx.gz")), HasSubstr("ends too early"));
  EXPECT_THAT(message(folder.Path("tail.mtx.gz")), HasSubstr("ends too early"));
  EXPECT_THAT(message(folder.Path("damaged.mtx.gz")), HasSubstr("damaged gzip file"));
  EXPECT_THAT(message(folder.Path("garbage.mtx.gz")), HasSubstr("damaged gzip file"));
  EXPECT_THAT(message(folder.Path("head.mtx.gz")), HasSubstr("ends too early"));
}

TEST(DenseColumnsReader, ReadsArrayAndCoordinateVectors) {
  const test_support::TempFolder folder;
  folder.Write("array.mtx", "%%MatrixMarket matrix array real general\n% two loads\n3 2\n1\n2\n3\n4 5 6\n");
  folder.Write("sparse.mtx", "%%MatrixMarket matrix coordinate integer general\n3 2 2\n3 1 7\n1 2 -8\n");

  const auto array = readDenseColumns(folder.Path("array.mtx"));
  const auto sparse = readDenseColumns(folder.Path("sparse.mtx"));

  EXPECT_EQ(array.rows, 3);
  EXPECT_EQ(array.cols, 2);
  EXPECT_THAT(array.value, ElementsAre(1.0, 2.0, 3.0, 4.0, 5.0, 6.0));
  EXPECT_THAT(sparse.value, ElementsAre(0.0, 0.0, 7.0, -8.0, 0.0, 0.0));
}

TEST(DenseColumnsReader, RefusesWhatIsNoListOfFiniteVectors) {
  const test_support::TempFolder folder;
  const auto message = [&](const std::string& text) {
    folder.Write("f.mtx", text);
    return messageOf([&] { readDenseColumns(folder.Path("f.mtx")); });
  };

  EXPECT_THAT(message("%%MatrixMarket matrix array real symmetric\n1 1\n1\n"),
              HasSubstr("f.mtx:1: symmetry"));
  EXPECT_THAT(message("%%MatrixMarket matrix coordinate pattern general\n1 1 1\n1 1\n"),
              HasSubstr(":1: field"));
  EXPECT_THAT(message("%%MatrixMarket matrix array real general\n3 0\n"), HasSubstr(":2: no values"));
  EXPECT_THAT(message("%%MatrixMarket matrix array real general\n3 1\n1\n2\n"), HasSubstr("ends after 2"));
  EXPECT_THAT(message("%%MatrixMarket matrix array real general\n3 1\n1\n2\n3\n4\n"),
              HasSubstr(":6: found \"4\""));
  EXPECT_THAT(message("%%MatrixMarket matrix array real general\n2 1\n1\ninf\n"),
              HasSubstr(":4: value is not"));
  EXPECT_THAT(message("%%MatrixMarket matrix coordinate real general\n3 1 2\n2 1 1\n2 1 1\n"),
              HasSubstr(":4: pos"));
  EXPECT_THAT(message("%%MatrixMarket matrix coordinate real general\n2000000000 2000000000 1\n2 1 1\n"),
              HasSubstr("almost no entries"));
}

TEST(MatrixMarketReader, RealMatricesHaveTheReferenceTrace) {
  VEMATRIX_SKIP_WITHOUT_DATA();
  for (const auto& [name, matrix] : test_support::Reference().at("matrices").items()) {
    if (!matrix.contains("trace") || !matrix.contains("file")) continue;
    const SymmetricTerms terms =
        readMatrixMarket(test_support::DataPath(matrix.at("file")), PatternValues::LaplacianPlusOne);
    double trace = 0.0;
    std::size_t full = 0;
    for (std::size_t k = 0; k < terms.size(); ++k) {
      if (terms.row[k] == terms.col[k]) trace += terms.value[k];
      full += terms.row[k] == terms.col[k] ? 1 : 2;
    }

    EXPECT_EQ(terms.n, matrix.at("n").get<int>()) << name;
    EXPECT_EQ(full, matrix.at("nnz_full").get<std::size_t>()) << name;
    EXPECT_NEAR(trace, matrix.at("trace").get<double>(), 1e-12 * std::fabs(trace)) << name;
  }
}

}  // namespace
