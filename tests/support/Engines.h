#pragma once
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "solution/Pardiso.h"

namespace test_support {

/// The engines of this build that a suite over every engine runs through.
inline std::vector<Vessa::Matrix::PardisoEngine> AvailableEngines() {
  std::vector<Vessa::Matrix::PardisoEngine> engines;
  for (const auto engine : {Vessa::Matrix::EngineMkl, Vessa::Matrix::EngineOwn})
    if (Vessa::Matrix::Pardiso::HasEngine(engine)) engines.push_back(engine);
  return engines;
}

inline std::string EngineName(const ::testing::TestParamInfo<Vessa::Matrix::PardisoEngine>& info) {
  return info.param == Vessa::Matrix::EngineMkl ? "Mkl" : "Own";
}

}  // namespace test_support
