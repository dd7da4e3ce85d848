#include "DumpFile.h"

#include <cstdlib>
#include <locale>

namespace Vessa {
namespace Matrix {

namespace {

#if defined(_WIN32)
constexpr char kSeparator = '\\';
constexpr const char* kPathMarks = "\\";
#else
constexpr char kSeparator = '/';
constexpr const char* kPathMarks = "\\/";
#endif

std::string TextOf(const char* text) {
  return text == nullptr ? std::string() : std::string(text);
}

}  // namespace

std::string DumpPath(const std::string& name, const std::string& folder) {
  if (name.find_first_of(kPathMarks) != std::string::npos) return name;
  const std::string place = folder.empty() ? TextOf(std::getenv("TEMP")) : folder;
  if (place.empty()) return std::string();
  return place + kSeparator + name;
}

bool OpenDumpFile(std::ofstream& out, const char* fileName, const char* defaultName, const char* folder,
                  bool append) {
  const std::string given = TextOf(fileName);
  const std::string path = DumpPath(given.empty() ? defaultName : given, TextOf(folder));
  if (path.empty()) return false;
  out.imbue(std::locale::classic());
  out.open(path, append ? std::ios::app : std::ios::trunc);
  return out.is_open();
}

}  // namespace Matrix
}  // namespace Vessa
