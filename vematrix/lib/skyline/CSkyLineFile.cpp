// The temporary file of the skyline matrix: phase, then the stored terms.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "../math/platform.h"
#include "CSkyLine.h"

namespace Vessa {
namespace Matrix {

namespace {

bool WriteValues(const SkylineValueStore& value, int count, std::FILE* f) {
  for (int k = 0; k < count; k += value.ChunkSize()) {
    const std::size_t stretch = static_cast<std::size_t>(std::min(value.ChunkSize(), count - k));
    if (std::fwrite(&value[k], sizeof(double), stretch, f) != stretch) return false;
  }
  return true;
}

/// Values reach the store only when they are whole: those before the end of a short file are kept.
bool ReadValues(SkylineValueStore& value, int count, std::FILE* f) {
  const int kBlock = 8192;
  std::vector<double> block(std::min(count, kBlock));
  for (int k = 0; k < count;) {
    const int wanted = std::min(kBlock, count - k);
    const int got = static_cast<int>(std::fread(block.data(), sizeof(double), wanted, f));
    for (int t = 0; t < got; ++t) value[k + t] = block[t];
    if (got < wanted) return false;
    k += got;
  }
  return true;
}

}  // namespace

bool CSkyLine::OpenFile() {
  if (m_file) std::fclose(m_file);
  m_file = math::OpenFile(m_fileName.c_str(), "w+b");
  return m_file != nullptr;
}

void CSkyLine::CloseFile() {
  if (!m_file) return;
  std::fclose(m_file);
  m_file = nullptr;
  math::RemoveFile(m_fileName.c_str());
}

/// The end of every failed Write and Read.
bool CSkyLine::DropFile() {
  CloseFile();
  return false;
}

bool CSkyLine::Write() {
  return Write(m_file);
}

bool CSkyLine::Read() {
  return Read(m_file);
}

bool CSkyLine::Write(std::FILE* f) {
  Note("Saving Stiffness Matrix");
  if (!f) return false;
  const int count = std::max(NumValues(), 0);
  if (NumAccessible() < count || !math::SeekFile(f, 0)) return DropFile();
  const std::int32_t phase = m_phase;
  if (std::fwrite(&phase, sizeof(phase), 1, f) != 1) return DropFile();
  if (!WriteValues(m_value, count, f)) return DropFile();
  return std::fflush(f) == 0 ? true : DropFile();  // a full disk may show only here
}

bool CSkyLine::Read(std::FILE* f) {
  Note("Loading Stiffness Matrix");
  if (!f) return false;
  std::int32_t phase = 0;
  if (!math::SeekFile(f, 0) || std::fread(&phase, sizeof(phase), 1, f) != 1) return DropFile();
  m_phase = static_cast<Phase>(phase);
  const int count = std::max(NumValues(), 0);
  if (NumAccessible() < count || !ReadValues(m_value, count, f)) {
    Log(2, "Error reading temporary file");
    return DropFile();
  }
  return true;
}

}  // namespace Matrix
}  // namespace Vessa
