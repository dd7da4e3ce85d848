#include "SkylineValueStore.h"

#include <exception>

#include "../math/platform.h"

namespace Vessa {
namespace Matrix {

namespace {
const int kAttempts = 10;
}

SkylineValueStore::SkylineValueStore() : m_count(0), m_chunkSize(0), m_numChunks(0) {}

void SkylineValueStore::SetCount(int count) {
  m_count = count;
}

void SkylineValueStore::Allocate() {
  if (m_count < 1) return;
  m_numChunks = 1;
  m_chunkSize = m_count;
  for (int attempt = 1; attempt <= kAttempts; ++attempt) {
    try {
      SizeChunks();
      return;
    } catch (const std::exception&) {  // bad_alloc, or length_error for more than a vector can hold
      std::vector<std::vector<double>>().swap(m_chunks);
      m_numChunks *= 2;
      m_chunkSize = (m_count - 1) / m_numChunks + 1;
    }
  }
  m_numChunks = 0;
}

/// Gives every chunk its size: ChunkSize() elements, and the last one what is left of the count.
void SkylineValueStore::SizeChunks() {
  m_chunks.resize(m_numChunks);
  long long left = m_count;
  for (std::vector<double>& chunk : m_chunks) {
    const long long size = left < m_chunkSize ? left : m_chunkSize;
    chunk.reserve(static_cast<std::size_t>(size));
    math::PreferHugePages(chunk.data() + chunk.size(), (chunk.capacity() - chunk.size()) * sizeof(double));
    chunk.resize(static_cast<std::size_t>(size));
    left -= size;
  }
}

void SkylineValueStore::Release() {
  std::vector<std::vector<double>>().swap(m_chunks);
  m_numChunks = 0;
}

int SkylineValueStore::Count() const {
  return m_count;
}

int SkylineValueStore::ChunkSize() const {
  return m_chunkSize;
}

int SkylineValueStore::NumChunks() const {
  return m_numChunks;
}

bool SkylineValueStore::Allocated() const {
  return m_count < 1 || !m_chunks.empty();
}

}  // namespace Matrix
}  // namespace Vessa
