#pragma once
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

/// The folder with real structural matrices and reference.json, the reference values of each.
namespace test_support {

inline std::string DataPath(const std::string& name) {
  return std::string(VEMATRIX_DATA_DIR) + "/" + name;
}

/// Why the data cannot be used, "" when it can.
inline std::string DataMissing() {
  const std::string path = DataPath("reference.json");
  return std::filesystem::exists(path) ? ""
                                       : "no test matrices: " + path + " does not exist (VEMATRIX_DATA_DIR)";
}

/// The parsed reference.json; read once. Only to be called when DataMissing() is "".
inline const nlohmann::json& Reference() {
  static const nlohmann::json reference = [] {
    std::ifstream in(DataPath("reference.json"));
    return nlohmann::json::parse(in);
  }();
  return reference;
}

}  // namespace test_support

/// Skips the test, with the reason printed, where the data folder is absent.
#define VEMATRIX_SKIP_WITHOUT_DATA()                                       \
  do {                                                                     \
    const std::string vematrixDataMissing = ::test_support::DataMissing(); \
    if (!vematrixDataMissing.empty()) GTEST_SKIP() << vematrixDataMissing; \
  } while (false)
