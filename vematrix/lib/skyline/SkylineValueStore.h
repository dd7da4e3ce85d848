#pragma once
#include <vector>
#include "../containers/types.h"
namespace Vessa { namespace Matrix {
class VEMATRIX_API SkylineValueStore {             // an internal class, exported for tests
public:
  SkylineValueStore();
  void SetCount(int count);                        // sets the count only
  void Allocate();                                 // up to ten attempts; zero-filled; gives up silently
  void Release();                                  // empties the chunk list; the count stays
  int  Count() const;
  int  ChunkSize() const;
  int  NumChunks() const;
  bool Allocated() const;                          // count < 1 or the chunk list is not empty
  double& operator[](int k)             { return m_numChunks == 1 ? m_chunks[0][k] : m_chunks[k / m_chunkSize][k % m_chunkSize]; }
  const double& operator[](int k) const { return m_numChunks == 1 ? m_chunks[0][k] : m_chunks[k / m_chunkSize][k % m_chunkSize]; }
private:
  int m_count, m_chunkSize, m_numChunks;
  std::vector<std::vector<double>> m_chunks;
};
}}
