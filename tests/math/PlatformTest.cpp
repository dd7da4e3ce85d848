#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

#include "math/PageArray.h"
#include "math/platform.h"

namespace {

using namespace Vessa::Matrix::math;

TEST(WideToUtf8, AsciiIsUnchanged) {
  EXPECT_EQ(WideToUtf8(L"stiff.tmp"), "stiff.tmp");
}

TEST(WideToUtf8, NullAndEmptyGiveAnEmptyString) {
  EXPECT_EQ(WideToUtf8(nullptr), "");
  EXPECT_EQ(WideToUtf8(L""), "");
}

TEST(WideToUtf8, TwoThreeAndFourByteCodesAreEncoded) {
  EXPECT_EQ(WideToUtf8(L"\u007f\u0080\u07ff"), "\x7f\xc2\x80\xdf\xbf");
  EXPECT_EQ(WideToUtf8(L"\u0800\uffff"), "\xe0\xa0\x80\xef\xbf\xbf");
  EXPECT_EQ(WideToUtf8(L"\U00010000\U0010ffff"), "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf");
}

TEST(WideToUtf8, LoneSurrogateOrValueBeyondUnicodeGivesAnEmptyString) {
  const wchar_t lone[] = {L'a', static_cast<wchar_t>(0xD800), L'b', L'\0'};
  const wchar_t beyond[] = {static_cast<wchar_t>(0x110000), L'\0'};

  EXPECT_EQ(WideToUtf8(lone), "");
  if (sizeof(wchar_t) == 4) {
    EXPECT_EQ(WideToUtf8(beyond), "");
  }
}

TEST(HasFolder, BackslashAndSlashSayWhereAFileLies) {
  EXPECT_TRUE(HasFolder("c:\\temp\\dense.out"));
  EXPECT_FALSE(HasFolder("dense.out"));
#if !defined(_WIN32)
  EXPECT_TRUE(HasFolder("/tmp/dense.out"));
#endif
}

TEST(OpenFile, WideNameOutsideAsciiOpensTheUtf8FileAndRemovesIt) {
  const std::wstring name = L"vematrix_\u00e4\u03b1\U0001f600.tmp";
  std::FILE* wide = OpenFile(name.c_str(), "w+b");
  ASSERT_NE(wide, nullptr);
  std::fclose(wide);

  std::FILE* narrow = OpenFile(WideToUtf8(name.c_str()).c_str(), "rb");
  EXPECT_NE(narrow, nullptr);
  if (narrow != nullptr) std::fclose(narrow);

  EXPECT_TRUE(RemoveFile(name.c_str()));
  EXPECT_FALSE(RemoveFile(name.c_str()));
}

TEST(OpenFile, NullEmptyAndUnwritableNamesFail) {
  EXPECT_EQ(OpenFile(static_cast<const char*>(nullptr), "w"), nullptr);
  EXPECT_EQ(OpenFile("", "w"), nullptr);
  EXPECT_EQ(OpenFile(static_cast<const wchar_t*>(nullptr), "w"), nullptr);
  EXPECT_EQ(OpenFile("no such folder/file", "w"), nullptr);
  EXPECT_FALSE(RemoveFile(""));
  EXPECT_FALSE(RemoveFile(static_cast<const char*>(nullptr)));
}

TEST(SeekFile, ReachesBeyondFourGigabytesOfASparseFile) {
  const long long far = 5LL << 30;
  std::FILE* file = OpenFile("vematrix_seek.tmp", "w+b");
  ASSERT_NE(file, nullptr);

  ASSERT_TRUE(SeekFile(file, far));
  std::fputc('x', file);
  ASSERT_TRUE(SeekFile(file, far));
  EXPECT_EQ(std::fgetc(file), 'x');
  ASSERT_TRUE(SeekFile(file, 0));
  EXPECT_EQ(std::fgetc(file), 0);

  std::fclose(file);
  EXPECT_TRUE(RemoveFile("vematrix_seek.tmp"));
}

#if !defined(_WIN32)
TEST(GetEnvironment, SetVariableIsReadAndAMissingOneLeavesTheValue) {
  std::string value = "before";
  unsetenv("VEMATRIX_TEST_VARIABLE");
  EXPECT_FALSE(GetEnvironment("VEMATRIX_TEST_VARIABLE", value));
  EXPECT_EQ(value, "before");

  setenv("VEMATRIX_TEST_VARIABLE", "after", 1);
  EXPECT_TRUE(GetEnvironment("VEMATRIX_TEST_VARIABLE", value));
  EXPECT_EQ(value, "after");
}
#endif

TEST(PageArray, HoldsItsValuesWhateverItsSizeAndMoves) {
  for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{10000}, std::size_t{3000000}}) {
    PageArray<double> a(count);
    for (std::size_t k = 0; k < count; ++k) a[k] = static_cast<double>(k);

    PageArray<double> b(std::move(a));

    EXPECT_EQ(a.Data(), nullptr);
    for (std::size_t k = 0; k < count; k += 997) EXPECT_EQ(b[k], static_cast<double>(k));
    b.Release();
    b.Release();
    EXPECT_EQ(b.Data(), nullptr);
  }
}

TEST(PageArray, MoreThanThereIsIsABadAllocation) {
  EXPECT_THROW(PageArray<double>(std::size_t{1} << 60), std::bad_alloc);
  EXPECT_THROW(PageArray<double>(~std::size_t{0}), std::bad_alloc);
}

}  // namespace
