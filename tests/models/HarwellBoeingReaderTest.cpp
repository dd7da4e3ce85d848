#include "models/io/HarwellBoeingReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "models/io/FileError.h"
#include "models/io/FortranFields.h"
#include "support/TempFolder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using namespace vematrix::models;

// Lower triangle of [2 -1 0; -1 2 -1.5; 0 -1.5 2] with values that touch each other.
const std::string harwell =
    "A chain of three springs                                                CHAIN3  \n"
    "             4             1             1             2             0\n"
    "RSA                        3             3             5             0\n"
    "(4I3)           (5I2)           (1P,3D10.3)         \n"
    "  1  3  5  6\n"
    " 1 2 2 3 3\n"
    " 2.000D+00-1.000D+00 2.000D+00\n"
    "-1.500D+00 2.000D+00\n";
const std::string rutherford =
    "A chain of three springs                                                |CHAIN3\n"
    "             3             1             1             1\n"
    "psa                        3             3             5             0\n"
    "(4I3)           (5I2)          \n"
    "  1  3  5  6\n"
    " 1 2 2 3 3\n";

std::string messageOf(const std::string& text) {
  try {
    parseHarwellBoeing("K.rsa", text);
  } catch (const FileError& error) {
    return error.what();
  }
  return "";
}

std::string with(std::string text, const std::string& what, const std::string& by) {
  text.replace(text.find(what), what.size(), by);
  return text;
}

TEST(HarwellBoeingReader, ReadsRealSymmetricValuesThatTouch) {
  const SymmetricTerms terms = parseHarwellBoeing("K.rsa", harwell);

  EXPECT_EQ(terms.n, 3);
  EXPECT_THAT(terms.row, ElementsAre(1, 1, 2, 2, 3));
  EXPECT_THAT(terms.col, ElementsAre(1, 2, 2, 3, 3));
  EXPECT_THAT(terms.value, ElementsAre(2.0, -1.0, 2.0, -1.5, 2.0));
}

TEST(HarwellBoeingReader, RightHandSidesAfterTheMatrixAreLeftAlone) {
  const std::string counted = with(harwell, "             2             0", "             2             1");
  const std::string text =
      with(counted, "(1P,3D10.3)         \n", "(1P,3D10.3)         (3F5.1)\nF              1\n") +
      "  1.0  2.0  3.0\n";

  EXPECT_THAT(parseHarwellBoeing("K.rsa", text).value, ElementsAre(2.0, -1.0, 2.0, -1.5, 2.0));
}

TEST(HarwellBoeingReader, ReadsPatternsIntegersAndSymmetricUnsymmetricFiles) {
  const std::string integers =
      with(with(rutherford, "psa", "isa"), "(5I2)          ", "(5I2)           (5I3)") + "  2 -1  2 -1  2\n";
  const std::string unsymmetric =
      "t\n 4 1 1 1 0\nrua 2 2 4 0\n(3I3)           (4I2)           (4F5.2)             \n"
      "  1  3  5\n 1 2 1 2\n 2.00-1.00-1.00 3.00\n";

  EXPECT_THAT(parseHarwellBoeing("A.psa", rutherford).value, ElementsAre(1.0, 1.0, 1.0, 1.0, 1.0));
  EXPECT_THAT(parseHarwellBoeing("A.isa", integers).value, ElementsAre(2.0, -1.0, 2.0, -1.0, 2.0));
  EXPECT_THAT(parseHarwellBoeing("A.rua", unsymmetric).value, ElementsAre(2.0, -1.0, 3.0));
}

TEST(HarwellBoeingReader, RealFieldWithoutPointGetsItsDecimals) {
  const std::string text =
      with(with(harwell, "(1P,3D10.3)", "(5F5.2)    "),
           " 2.000D+00-1.000D+00 2.000D+00\n-1.500D+00 2.000D+00\n", "  200 -100  2.0 -150 2.00\n");

  EXPECT_THAT(parseHarwellBoeing("K.rsa", text).value, ElementsAre(2.0, -1.0, 2.0, -1.5, 2.0));
}

TEST(HarwellBoeingReader, DamageIsRefusedWithItsLine) {
  const auto message = [&](const std::string& what, const std::string& by) {
    return messageOf(with(harwell, what, by));
  };

  EXPECT_THAT(message("RSA", "XYZ"), HasSubstr("K.rsa:3: type \"xyz\""));
  EXPECT_THAT(message("RSA", "CSA"), HasSubstr(":3: type \"csa\", expected a real symmetric"));
  EXPECT_THAT(message("RSA", "RZA"), HasSubstr(":3: type"));
  EXPECT_THAT(message("RSA", "RSE"), HasSubstr("unassembled elements"));
  EXPECT_THAT(message("3             3             5", "3             4             5"),
              HasSubstr("expected a square"));
  EXPECT_THAT(message("3             3             5", "0             0             5"),
              HasSubstr("at least 1 row"));
  EXPECT_THAT(message("3             3             5", "9             9             5"),
              HasSubstr(":6: column pointer 1, expected 6"));
  EXPECT_THAT(message("3             3             5", "3             3         99999"),
              HasSubstr("too short"));
  EXPECT_THAT(message("3             3             5", "3             3             4"),
              HasSubstr(":5: column pointer"));
  EXPECT_THAT(message("3             3             5", "3             3             6"),
              HasSubstr(":5: last column"));
  EXPECT_THAT(message("3             3             5", "3             3             x"),
              HasSubstr(":3: expected the num"));
  EXPECT_THAT(message("(4I3) ", "(4Z3) "), HasSubstr(":4: format"));
  EXPECT_THAT(message("(4I3) ", "(4E3) "), HasSubstr("column pointers"));
  EXPECT_THAT(message("(1P,3D10.3)", "(3I10)     "), HasSubstr("of the values"));
  EXPECT_THAT(message("  1  3  5  6", "  1  5  3  6"), HasSubstr(":5: column pointer 3, expected 5 to 6"));
  EXPECT_THAT(message("  1  3  5  6", "  0  3  5  6"), HasSubstr(":5: column pointer 0"));
  EXPECT_THAT(message(" 1 2 2 3 3", " 1 2 2 4 3"), HasSubstr(":6: row index 4, expected 1 to 3"));
  EXPECT_THAT(message(" 1 2 2 3 3", " 1 1 2 3 3"), HasSubstr("given twice"));
  EXPECT_THAT(message(" 1 2 2 3 3", " 1 2 2 3"), HasSubstr(":6: line is too short"));
  EXPECT_THAT(message("-1.500D+00", "-1.500D+xx"), HasSubstr(":8: found \"-1.500D+xx\" among the values"));
  EXPECT_THAT(message("-1.500D+00", "       NaN"), HasSubstr(":8: found \"NaN\""));
  for (std::size_t end = 0; end + 1 < harwell.size(); ++end)
    EXPECT_NE(messageOf(harwell.substr(0, end)), "") << end;
}

TEST(HarwellBoeingReader, RandomDamageNeverCrashes) {
  std::mt19937 random(3);
  const std::string alphabet("0123456789.-+eEDI(), \n\r\t\0", 25);
  for (int trial = 0; trial < 20000; ++trial) {
    std::string text = trial % 2 ? harwell : rutherford;
    for (unsigned changes = 1 + random() % 3; changes > 0; --changes)
      text[random() % text.size()] = alphabet[random() % alphabet.size()];
    try {
      const SymmetricTerms terms = parseHarwellBoeing("K", text);
      for (std::size_t k = 0; k < terms.size(); ++k)
        ASSERT_TRUE(1 <= terms.row[k] && terms.row[k] <= terms.col[k]);
    } catch (const FileError&) {
    }
  }
}

TEST(SymmetricMatrixReader, TellsTheFormatsApartByTheirContents) {
  const test_support::TempFolder folder;
  folder.Write("a", harwell);
  folder.Write("b", rutherford);
  folder.Write("c", "%%MatrixMarket matrix coordinate real symmetric\n1 1 1\n1 1 2\n");
  folder.Write("d", "neither\nof\nthem\n");

  EXPECT_EQ(readSymmetricMatrix(folder.Path("a")).size(), 5u);
  EXPECT_EQ(readSymmetricMatrix(folder.Path("b")).size(), 5u);
  EXPECT_EQ(readSymmetricMatrix(folder.Path("c")).size(), 1u);
  EXPECT_THROW(readSymmetricMatrix(folder.Path("d")), FileError);
}

TEST(FortranFormat, KnowsTheFormatsOfTheCollections) {
  FortranFormat format;

  ASSERT_TRUE(parseFortranFormat("(16I5)          ", format));
  EXPECT_TRUE(format.perLine == 16 && format.width == 5 && !format.real);
  ASSERT_TRUE(parseFortranFormat("(1P,4E20.12)", format));
  EXPECT_TRUE(format.perLine == 4 && format.width == 20 && format.decimals == 12 && format.real);
  ASSERT_TRUE(parseFortranFormat("(1p4d26.18)", format));
  EXPECT_TRUE(format.perLine == 4 && format.width == 26 && format.real);
  ASSERT_TRUE(parseFortranFormat("(1P,3E25.16E3)", format));
  EXPECT_TRUE(format.perLine == 3 && format.width == 25);
  ASSERT_TRUE(parseFortranFormat("(I8)", format));
  EXPECT_TRUE(format.perLine == 1 && format.width == 8);
  for (const char* bad : {"", "16I5", "(16X5)", "(0I5)", "(16I)", "(I5", "(16I5)x", "()"})
    EXPECT_FALSE(parseFortranFormat(bad, format)) << bad;
}

}  // namespace
