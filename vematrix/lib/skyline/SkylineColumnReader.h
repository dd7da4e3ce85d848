// Neighbouring vectors of a stored column, for the sweeps of the skyline; included by SkylineSweepKernels.h.
//
// A column begins anywhere in a cache line. Beside the stores of a sweep, loads across two lines halve its
// speed, so the vectors that are as wide as a line are put together from whole lines. These reach up to eight
// terms before the first vector wanted and up to seven behind the last one: they must be stored terms, too.
#if VEMATRIX_LANES == 8
class ColumnReader {
public:
  /// @param vector  where the first vector wanted begins
  VEMATRIX_INLINE explicit ColumnReader(const double* vector) {
    const long before = static_cast<long>((reinterpret_cast<unsigned long>(vector) / 8 + 7) % 8 + 1);
    m_line = vector - before;
    m_lanes = _mm512_add_epi64(_mm512_set1_epi64(before), _mm512_setr_epi64(0, 1, 2, 3, 4, 5, 6, 7));
  }
  /// To be called before the first NextUp, NextDown.
  VEMATRIX_INLINE void StartUp() { m_known = _mm512_load_pd(m_line); }
  VEMATRIX_INLINE void StartDown() { m_known = _mm512_load_pd(m_line + kLanes); }
  /// The first vector, then the one behind it, and so on.
  VEMATRIX_INLINE Vector NextUp() {
    m_line += kLanes;
    const __m512d below = m_known;
    m_known = _mm512_load_pd(m_line);
    return reinterpret_cast<Vector>(_mm512_permutex2var_pd(below, m_lanes, m_known));
  }
  /// The first vector, then the one before it, and so on.
  VEMATRIX_INLINE Vector NextDown() {
    const __m512d above = m_known;
    m_known = _mm512_load_pd(m_line);
    m_line -= kLanes;
    return reinterpret_cast<Vector>(_mm512_permutex2var_pd(m_known, m_lanes, above));
  }

private:
  const double* m_line;  // the lower of the two lines that hold the vector wanted
  __m512i m_lanes;       // where its elements are in them
  __m512d m_known;       // the line that two neighbouring vectors share
};
#else
class ColumnReader {
public:
  VEMATRIX_INLINE explicit ColumnReader(const double* vector) : m_at(vector) {}
  VEMATRIX_INLINE void StartUp() {}
  VEMATRIX_INLINE void StartDown() {}
  VEMATRIX_INLINE Vector NextUp() {
    m_at += kLanes;
    return Load(m_at - kLanes);
  }
  VEMATRIX_INLINE Vector NextDown() {
    m_at -= kLanes;
    return Load(m_at + kLanes);
  }

private:
  const double* m_at;
};
#endif
