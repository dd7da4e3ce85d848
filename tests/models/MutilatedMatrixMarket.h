#pragma once
#include <string>
#include <vector>

namespace test_support {

/// A damaged Matrix Market text, the line its error must name (0: the file as a whole) and a piece of the
/// message.
struct MutilatedFile {
  std::string name, text;
  long long line;
  std::string message;
};

/// A good file of order 4 in which one line (from 1) is replaced.
inline std::string GoodFileWith(std::size_t line, const std::string& replacement) {
  std::vector<std::string> lines = {"%%MatrixMarket matrix coordinate real symmetric",
                                    "% a chain of three springs",
                                    "4 4 7",
                                    "1 1 2.0",
                                    "2 1 -1.0",
                                    "2 2 2.0",
                                    "3 2 -1.0",
                                    "3 3 2.0",
                                    "4 3 -1.0",
                                    "4 4 2.0"};
  if (line != 0) lines[line - 1] = replacement;
  std::string text;
  for (const std::string& l : lines) text += l + "\n";
  return text;
}

inline std::vector<MutilatedFile> MutilatedMatrixMarketFiles() {
  const std::string symmetric = "%%MatrixMarket matrix coordinate real symmetric\n";
  const std::string general = "%%MatrixMarket matrix coordinate real general\n";
  std::vector<MutilatedFile> files = {
      {"Empty", "", 0, "is empty"},
      {"OnlyNewlines", "\n\n\n", 1, "begins with"},
      {"NoBanner", "4 4 7\n1 1 2.0\n", 1, "expected a Matrix Market file"},
      {"OnePercent", "%MatrixMarket matrix coordinate real symmetric\n1 1 1\n1 1 1\n", 1, "begins with"},
      {"Html", "<!DOCTYPE html>\n<html>not found</html>\n", 1, "begins with"},
      {"Binary",
       std::string("\x7f"
                   "ELF\x02\x01\x01\0\0\0",
                   10),
       1, "begins with"},
      {"Zeros", std::string(100, '\0'), 1, "begins with"},
      {"BannerOnly", "%%MatrixMarket\n", 1, "expected \"matrix\""},
      {"ObjectVector", "%%MatrixMarket vector coordinate real symmetric\n1 1 1\n1 1 1\n", 1,
       "object \"vector\""},
      {"NoFormat", "%%MatrixMarket matrix\n", 1, "format the end of the line"},
      {"FormatUnknown", "%%MatrixMarket matrix elemental real symmetric\n1 1 1\n", 1, "format \"elemental\""},
      {"NoField", "%%MatrixMarket matrix coordinate\n", 1, "field"},
      {"FieldComplex", "%%MatrixMarket matrix coordinate complex symmetric\n1 1 1\n1 1 1 0\n", 1,
       "field \"complex\""},
      {"FieldUnknown", "%%MatrixMarket matrix coordinate quaternion symmetric\n1 1 1\n", 1,
       "field \"quaternion\""},
      {"ArrayPattern", "%%MatrixMarket matrix array pattern symmetric\n1 1\n", 1, "field \"pattern\""},
      {"NoSymmetry", "%%MatrixMarket matrix coordinate real\n1 1 1\n1 1 1\n", 1, "symmetry"},
      {"Skew", "%%MatrixMarket matrix coordinate real skew-symmetric\n2 2 1\n2 1 1\n", 1,
       "\"skew-symmetric\""},
      {"Hermitian", "%%MatrixMarket matrix coordinate real hermitian\n1 1 1\n1 1 1\n", 1, "\"hermitian\""},
      {"BannerTail", "%%MatrixMarket matrix coordinate real symmetric 5\n1 1 1\n1 1 1\n", 1,
       "after the banner"},
      {"BannerWithoutSizes", symmetric, 2, "ends before the size line"},
      {"CommentsOnly", symmetric + "% nothing\n%\n", 4, "ends before the size line"},
      {"OneSize", symmetric + "4\n", 2, "number of columns"},
      {"TwoSizes", symmetric + "4 4\n", 2, "number of entries"},
      {"FourSizes", symmetric + "1 1 1 1\n1 1 1\n", 2, "after the sizes"},
      {"SizeWord", symmetric + "four 4 7\n", 2, "\"four\""},
      {"SizeReal", symmetric + "4.0 4 7\n", 2, "\"4.0\""},
      {"RowsNegative", symmetric + "-4 4 7\n", 2, "number of rows is -4"},
      {"ColumnsNegative", symmetric + "4 -4 7\n", 2, "number of columns is -4"},
      {"EntriesNegative", symmetric + "4 4 -7\n", 2, "number of entries"},
      {"RowsTooMany", symmetric + "3000000000 3000000000 1\n1 1 1\n", 2, "number of rows is 3000000000"},
      {"RowsBeyond64Bits", symmetric + "99999999999999999999 4 1\n1 1 1\n", 2, "expected the number of rows"},
      {"EntriesBeyond64Bits", symmetric + "4 4 99999999999999999999\n", 2, "number of entries"},
      {"EntriesHuge", symmetric + "4 4 4000000000000000000\n1 1 1\n", 4, "ends after 1 entries"},
      {"EntriesMillion", symmetric + "4 4 1000000\n1 1 1\n", 4, "expected 1000000 (line 2)"},
      {"RowsWithoutEntries", symmetric + "2000000000 2000000000 1\n1 1 1\n", 2, "only 1 entries"},
      {"ZeroByZero", symmetric + "0 0 0\n", 2, "0 rows"},
      {"ZeroRows", general + "0 4 0\n", 2, "expected a square"},
      {"ZeroByZeroArray", "%%MatrixMarket matrix array real symmetric\n0 0\n", 2, "0 rows"},
      {"NotSquare", symmetric + "4 5 1\n1 1 1\n", 2, "4 rows and 5 columns"},
      {"NotSquareGeneral", general + "5 4 1\n1 1 1\n", 2, "5 rows and 4 columns"},
      {"NotSquareArray", "%%MatrixMarket matrix array real general\n2 1\n1\n2\n", 2, "2 rows and 1 columns"},
      {"ArrayTooManySizes", "%%MatrixMarket matrix array real general\n1 1 1\n1\n", 2, "after the sizes"},
      {"ArrayCut", "%%MatrixMarket matrix array real symmetric\n3 3\n1\n2\n3\n4\n5\n", 8, "ends after 5"},
      {"ArrayTooLong", "%%MatrixMarket matrix array real symmetric\n2 2\n1\n2\n3\n4\n", 6,
       "after the last of 3"},
      {"ArrayWord", "%%MatrixMarket matrix array real symmetric\n2 2\n1\nx\n3\n", 4, "found \"x\""},
      {"ArrayHuge", "%%MatrixMarket matrix array real general\n2000000000 2000000000\n1\n", 4,
       "ends after 1"},
      {"ArrayNotSymmetric", "%%MatrixMarket matrix array real general\n2 2\n1\n2\n3\n4\n", 5,
       "not symmetric"},
      {"CountTooSmall", GoodFileWith(3, "4 4 6"), 10, "after the last of 6"},
      {"CountTooLarge", GoodFileWith(3, "4 4 8"), 11, "ends after 7 entries, expected 8 (line 3)"},
      {"CountZero", GoodFileWith(3, "4 4 0"), 4, "after the last of 0"},
      {"OrderTooSmall", GoodFileWith(3, "3 3 7"), 9, "row index 4, expected 1 to 3"},
      {"CommentIsNoSize", GoodFileWith(3, "% 4 4 7"), 4, "has \"2.0\", expected the number of entries"},
      {"RowZero", GoodFileWith(5, "0 1 -1.0"), 5, "row index 0"},
      {"ColumnZero", GoodFileWith(5, "2 0 -1.0"), 5, "column index 0"},
      {"RowNegative", GoodFileWith(5, "-2 1 -1.0"), 5, "row index -2"},
      {"ColumnNegative", GoodFileWith(6, "2 -2 -1.0"), 6, "column index -2"},
      {"RowBeyond", GoodFileWith(7, "5 2 -1.0"), 7, "row index 5, expected 1 to 4"},
      {"ColumnBeyond", GoodFileWith(7, "3 5 -1.0"), 7, "column index 5, expected 1 to 4"},
      {"RowBeyond32Bits", GoodFileWith(7, "4294967299 2 -1.0"), 7, "row index 4294967299"},
      {"RowBeyond64Bits", GoodFileWith(7, "99999999999999999999 2 -1.0"), 7, "expected a row index"},
      {"RowReal", GoodFileWith(7, "3.5 2 -1.0"), 7, "found \"3.5\", expected a row index"},
      {"RowExponent", GoodFileWith(7, "3e0 2 -1.0"), 7, "found \"3e0\""},
      {"RowWord", GoodFileWith(7, "three 2 -1.0"), 7, "found \"three\""},
      {"RowHex", GoodFileWith(7, "0x3 2 -1.0"), 7, "found \"0x3\""},
      {"ColumnWord", GoodFileWith(7, "3 two -1.0"), 7, "found \"two\", expected a column index"},
      {"ColumnMissing", GoodFileWith(7, "3"), 7, "found the end of the line, expected a column index"},
      {"ValueMissing", GoodFileWith(7, "3 2"), 7, "found the end of the line, expected a finite number"},
      {"ValueWord", GoodFileWith(7, "3 2 minus"), 7, "found \"minus\""},
      {"ValueNan", GoodFileWith(7, "3 2 nan"), 7, "not finite"},
      {"ValueNanCapitals", GoodFileWith(7, "3 2 NaN"), 7, "not finite"},
      {"ValueMinusNan", GoodFileWith(7, "3 2 -nan"), 7, "not finite"},
      {"ValueInf", GoodFileWith(7, "3 2 inf"), 7, "not finite"},
      {"ValueMinusInfinity", GoodFileWith(7, "3 2 -Infinity"), 7, "not finite"},
      {"ValueOverflow", GoodFileWith(7, "3 2 1e999"), 7, "found \"1e999\""},
      {"ValueCut", GoodFileWith(7, "3 2 -1.0e"), 7, "found \"-1.0e\""},
      {"ValueTwoPoints", GoodFileWith(7, "3 2 -1.0.0"), 7, "found \"-1.0.0\""},
      {"ValueDecimalComma", GoodFileWith(7, "3 2 -1,0"), 7, "found \"-1,0\""},
      {"ValueTwoSigns", GoodFileWith(7, "3 2 +-1.0"), 7, "found \"+-1.0\""},
      {"ValueHex", GoodFileWith(7, "3 2 0x1p3"), 7, "found \"0x1p3\""},
      {"ValueComplex", GoodFileWith(7, "3 2 -1.0 0.0"), 7, "unexpected \"0.0\" after the entry"},
      {"ValueWithUnit", GoodFileWith(7, "3 2 -1.0kN"), 7, "found \"-1.0kN\""},
      {"ValueStars", GoodFileWith(7, "3 2 ********"), 7, "found \"********\""},
      {"CommaSeparated", GoodFileWith(7, "3,2,-1.0"), 7, "found \"3,2,-1.0\""},
      {"SemicolonSeparated", GoodFileWith(7, "3;2;-1.0"), 7, "expected a row index"},
      {"Swapped", GoodFileWith(7, "-1.0 3 2"), 7, "found \"-1.0\""},
      {"TwoEntriesOnALine", GoodFileWith(7, "3 2 -1.0 3 3 2.0"), 7, "unexpected \"3\""},
      {"LostEntry", GoodFileWith(7, ""), 11, "ends after 6 entries, expected 7"},
      {"JoinedEntry", GoodFileWith(7, "32-1.0"), 7, "found \"32-1.0\""},
      {"NullByte", GoodFileWith(7, std::string("3 2\0-1.0", 8)), 7, "expected a finite number"},
      {"HighBytes", GoodFileWith(7, "\xff\xfe\xfd"), 7, "found \"???\""},
      {"Duplicate", GoodFileWith(7, "2 1 -1.0"), 7, "position (1, 2) of the upper triangle given twice"},
      {"DuplicateMirrored", GoodFileWith(7, "1 2 -1.0"), 7, "(1, 2) of the upper triangle given twice"},
      {"DuplicateDiagonal", GoodFileWith(7, "2 2 1.0"), 7, "position (2, 2)"},
      {"DuplicateOfLast", GoodFileWith(4, "4 4 2.0"), 10, "position (4, 4)"},
      {"GeneralLabelledSymmetric", symmetric + "2 2 4\n1 1 2\n1 2 -1\n2 1 -1\n2 2 2\n", 5, "(1, 2)"},
      {"SymmetricLabelledGeneral", general + "2 2 3\n1 1 2\n2 1 -1\n2 2 2\n", 4, "not symmetric"},
      {"GeneralNotSymmetric", general + "2 2 4\n1 1 2\n1 2 -1\n2 1 -1.001\n2 2 2\n", 5, "not symmetric"},
      {"GeneralWrongSign", general + "2 2 4\n1 1 2\n1 2 -1\n2 1 1\n2 2 2\n", 5, "value at (2, 1) differs"},
      {"GeneralDuplicate", general + "2 2 4\n1 1 2\n1 2 -1\n1 2 -1\n2 2 2\n", 5, "(1, 2) given twice"},
      {"IntegerIsReal", "%%MatrixMarket matrix coordinate integer symmetric\n1 1 1\n1 1 1.5\n", 3, "integer"},
      {"PatternHasValues", "%%MatrixMarket matrix coordinate pattern symmetric\n1 1 1\n1 1 3\n", 3,
       "unexpected \"3\""},
      {"RealHasNoValues", symmetric + "2 2 2\n1 1\n2 2\n", 3, "expected a finite number"},
      {"TextAfterEnd", GoodFileWith(0, "") + "end of matrix\n", 11, "found \"end\" after the last of 7"},
      {"SecondMatrixAfterEnd", GoodFileWith(0, "") + GoodFileWith(0, "").substr(48), 12, "expected the end"},
      {"OldMacLineEnds", "%%MatrixMarket matrix coordinate real symmetric\r1 1 1\r1 1 2\r", 1,
       "after the banner"},
  };
  return files;
}

}  // namespace test_support
