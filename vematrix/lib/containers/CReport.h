#pragma once
#include <string>
#include <vector>
#include "../containers/types.h"
namespace Vessa { namespace Matrix {
class VEMATRIX_API CReport {
public:
  CReport();
  CReport(const CReport&);
  CReport& operator=(const CReport&);
  ~CReport();
  void Log(int level, const std::string& msg);
  void Log(int level, const char* msg);
  void Note(const std::string& msg);
  void Note(const char* msg);
  const std::string& Note() const;
  int  Status() const;
  int  NumLog() const;
  int  LogStatus(int i) const;                     // 0-based
  const std::string& LogMessage(int i) const;      // 0-based
  void Clear();                                    // keeps status
private:
  struct Entry { int level; std::string message; };
  std::string m_note; std::vector<Entry> m_entries; int m_status;
};
}}
