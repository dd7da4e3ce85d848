#pragma once
#include <string>
#include <vector>

#include "../containers/types.h"

namespace Vessa {
namespace Matrix {

/// The message sink that a host owns and hands to a matrix with SetLog: every logged message in order, the
/// highest level seen, and one free-standing note that tells what is being done.
///
/// Levels are plain integers; the library uses 1 for notices and 2 for failures. Status never falls: a later
/// lower level does not lower it and Clear keeps it, so a host that wants a fresh status constructs a new
/// report.
class VEMATRIX_API CReport {
public:
  /// No note, no entries, status 0.
  CReport();
  CReport(const CReport&);
  CReport& operator=(const CReport&);
  ~CReport();

  /// Appends the entry (level, msg) and raises the status to level when that is higher. A null msg counts as
  /// "".
  void Log(int level, const std::string& msg);
  void Log(int level, const char* msg);
  /// Replaces the note. A null msg counts as "".
  void Note(const std::string& msg);
  void Note(const char* msg);
  const std::string& Note() const;

  /// Highest level logged since construction, at least 0.
  int Status() const;
  /// Number of entries.
  int NumLog() const;
  /// Level of entry i, 0-based.
  int LogStatus(int i) const;
  /// Message of entry i, 0-based; the reference holds until the next Log, Clear or assignment.
  const std::string& LogMessage(int i) const;
  /// Empties the note and removes all entries; keeps the status.
  void Clear();

private:
  struct Entry {
    int level;
    std::string message;
  };
  std::string m_note;
  std::vector<Entry> m_entries;
  int m_status;
};

}  // namespace Matrix
}  // namespace Vessa
