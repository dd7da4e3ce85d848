#pragma once
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>

namespace test_support {

/// A new empty folder that is removed with all it holds at the end of its life.
class TempFolder {
public:
  TempFolder() {
    std::random_device seed;
    for (int attempt = 0; attempt < 100; ++attempt) {
      m_path = std::filesystem::temp_directory_path() / ("vematrix-test-" + std::to_string(seed()));
      std::error_code error;
      if (std::filesystem::create_directory(m_path, error)) return;
    }
    throw std::runtime_error("TempFolder: cannot create a folder in " +
                             std::filesystem::temp_directory_path().string());
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

  std::string Path() const { return m_path.string(); }
  std::string Path(const std::string& name) const { return (m_path / name).string(); }
  bool Exists(const std::string& name) const { return std::filesystem::exists(m_path / name); }

  /// The bytes of a file in the folder, "" when it does not exist.
  std::string Read(const std::string& name) const {
    std::ifstream in(m_path / name, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
  }
  void Write(const std::string& name, const std::string& bytes) const {
    std::ofstream(m_path / name, std::ios::binary) << bytes;
  }

private:
  std::filesystem::path m_path;
};

/// Sets an environment variable, or removes it (value null), and restores it at the end of its life.
class ScopedEnvironment {
public:
  ScopedEnvironment(const std::string& name, const char* value) : m_name(name), m_had(false) {
    if (const char* old = std::getenv(name.c_str())) m_had = true, m_old = old;
    Set(value);
  }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
  ~ScopedEnvironment() { Set(m_had ? m_old.c_str() : nullptr); }

private:
  void Set(const char* value) {
#if defined(_WIN32)
    _putenv_s(m_name.c_str(), value == nullptr ? "" : value);
#else
    if (value == nullptr) {
      unsetenv(m_name.c_str());
    } else {
      setenv(m_name.c_str(), value, 1);
    }
#endif
  }
  std::string m_name, m_old;
  bool m_had;
};

}  // namespace test_support
