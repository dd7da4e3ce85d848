#pragma once
#include <vector>

#include "../containers/types.h"

namespace Vessa {
namespace Matrix {

/// The stored terms of a skyline matrix: an array of doubles cut into equal chunks, so that a profile which
/// finds no contiguous memory may still find it in pieces. An internal class, exported for tests.
///
/// Element k (0-based) lies in chunk k / ChunkSize() at position k % ChunkSize(); with a single chunk, which
/// is what Allocate tries first, it is read without the division. Access is not checked. Copies are deep and
/// keep the source's chunk size.
class VEMATRIX_API SkylineValueStore {
public:
  SkylineValueStore();
  /// Sets the number of elements and nothing else: no memory is taken or released.
  void SetCount(int count);
  /// Takes memory for Count() elements of 0.0; nothing happens for a count below 1. Elements of chunks that
  /// are there already are kept.
  ///
  /// The first attempt is one chunk; each further one halves the chunks, up to ten attempts (512 chunks).
  /// After the tenth it gives up without an error: the store then has no chunks, which Allocated() tells.
  void Allocate();
  /// Gives the memory back; Count() stays.
  void Release();
  int Count() const;
  /// Elements in every chunk but the last, which may hold fewer; 0 before the first Allocate.
  int ChunkSize() const;
  /// Chunks at hand; 0 before Allocate, after Release and after an Allocate that gave up.
  int NumChunks() const;
  /// Whether every element has its place: the count is below 1 or there are chunks.
  bool Allocated() const;
  double& operator[](int k) {
    return m_numChunks == 1 ? m_chunks[0][k] : m_chunks[k / m_chunkSize][k % m_chunkSize];
  }
  const double& operator[](int k) const {
    return m_numChunks == 1 ? m_chunks[0][k] : m_chunks[k / m_chunkSize][k % m_chunkSize];
  }

private:
  void SizeChunks();

  int m_count, m_chunkSize, m_numChunks;
  std::vector<std::vector<double>> m_chunks;
};

}  // namespace Matrix
}  // namespace Vessa
