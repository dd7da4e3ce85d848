#pragma once
#include <cstdio>
#include <string>

#include "../math/platform.h"
#include "CSolnMatrix.h"

namespace Vessa {
namespace Matrix {

/// The temporary file of a solution matrix and of its copies.
struct CSolnMatrix::TempFile {
  std::FILE* stream = nullptr;  // null once closed
  bool open = false;            // the file is there, its stream possibly closed already
  std::string name;

  TempFile() = default;
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
  /// A stream nobody closed: the file was never finished and goes with its last owner.
  ~TempFile() {
    if (stream != nullptr) CloseAndRemove();
  }

  bool Close() {
    const bool ok = stream == nullptr || std::fclose(stream) == 0;
    stream = nullptr;
    return ok;
  }

  void CloseAndRemove() {
    Close();
    if (open) math::RemoveFile(name.c_str());
    open = false;
  }
};

}  // namespace Matrix
}  // namespace Vessa
