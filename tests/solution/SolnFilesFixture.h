#pragma once
#include <memory>
#include <string>
#include <vector>

#include "SolnFixture.h"
#include "support/TempFolder.h"

namespace test_support {

const std::vector<Term> kSmall = {{1, 1, 4.0}, {1, 2, 1.0}, {2, 2, 3.0}, {2, 3, 2.0}, {3, 3, 5.0}};

class SolnFiles : public ::testing::Test {
protected:
  std::unique_ptr<Vessa::Matrix::CSolnMatrix> Matrix(int method, const std::vector<Term>& terms = kSmall,
                                                     int n = 3) {
    return Finalised(method, n, terms, &report);
  }
  std::string Name() const { return folder.Path("matrix.tmp"); }
  bool FileIsThere() const { return folder.Exists("matrix.tmp"); }
  int Errors() const {
    int count = 0;
    for (int i = 0; i < report.NumLog(); ++i) count += report.LogMessage(i) == "Temporary file error";
    return count;
  }

  TempFolder folder;
  Vessa::Matrix::CReport report;
};

}  // namespace test_support
