#include "CReport.h"

#include <algorithm>

namespace Vessa {
namespace Matrix {

CReport::CReport() : m_status(0) {}
CReport::CReport(const CReport&) = default;
CReport& CReport::operator=(const CReport&) = default;
CReport::~CReport() = default;

void CReport::Log(int level, const std::string& msg) {
  m_status = std::max(m_status, level);
  m_entries.push_back({level, msg});
}

void CReport::Log(int level, const char* msg) {
  Log(level, std::string(msg == nullptr ? "" : msg));
}

void CReport::Note(const std::string& msg) {
  m_note = msg;
}
void CReport::Note(const char* msg) {
  m_note = msg == nullptr ? "" : msg;
}
const std::string& CReport::Note() const {
  return m_note;
}

int CReport::Status() const {
  return m_status;
}
int CReport::NumLog() const {
  return static_cast<int>(m_entries.size());
}
int CReport::LogStatus(int i) const {
  return m_entries[i].level;
}
const std::string& CReport::LogMessage(int i) const {
  return m_entries[i].message;
}

void CReport::Clear() {
  m_note.clear();
  m_entries.clear();
}

}  // namespace Matrix
}  // namespace Vessa
