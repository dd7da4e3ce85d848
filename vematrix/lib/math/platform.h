#pragma once
// Everything the library asks of the operating system, in one place: files, their names, the environment.
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <string>
#include <thread>

namespace Vessa {
namespace Matrix {
namespace math {

/// The character between a folder and a file name: '\\' on Windows, '/' elsewhere.
extern const char kPathSeparator;

/// Converts a wide name to UTF-8 without the C locale's help (its default knows only ASCII).
///
/// Units of 16 bits are read as UTF-16 and of 32 bits as code points. Returns an empty string for null and
/// for a name that is no text (a lone surrogate, a value above U+10FFFF): opening such a name then fails.
std::string WideToUtf8(const wchar_t* name);

/// Whether `name` says by itself where it lies: it holds a backslash or, off Windows, a slash.
bool HasFolder(const std::string& name);

/// fopen with a narrow (off Windows: UTF-8) or a wide name; null on failure, for a null and for an empty
/// name.
std::FILE* OpenFile(const char* name, const char* mode);
std::FILE* OpenFile(const wchar_t* name, const char* mode);

/// Deletes a file; false when there was nothing to delete or it could not be deleted.
bool RemoveFile(const char* name);
bool RemoveFile(const wchar_t* name);

/// Sets the position of an open file, in bytes from its beginning, beyond 2 GiB too.
bool SeekFile(std::FILE* file, long long offset);

/// Length of an open file in bytes, -1 when it cannot be told (a pipe). Leaves the position at the end.
long long FileSize(std::FILE* file);

/// Reads an environment variable; false (and value untouched) when it is not set.
bool GetEnvironment(const char* name, std::string& value);

/// Number of this process; a child made by fork has another one.
long ProcessId() noexcept;

/// While it lives, the calling thread takes no signals; a thread made meanwhile never does, so that a host's
/// handlers run on the host's threads.
class SignalsBlocked {
public:
  SignalsBlocked() noexcept;
  ~SignalsBlocked();
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

#if !defined(_WIN32)
private:
  sigset_t m_before;
#endif
};

/// The processor that the calling thread runs on just now; -1 where that cannot be told.
int CurrentProcessor() noexcept;

/// Lets `thread` run where the calling thread may run, except on `processor`. Changes nothing when no other
/// is left or the system does not offer this.
void KeepOff(std::thread& thread, int processor) noexcept;

/// Memory for large arrays straight from the system, uninitialised for the caller's purposes; null on
/// failure. Small requests (below 128 KiB) are served by malloc. FreePages takes the size that was asked for.
void* AllocatePages(std::size_t bytes) noexcept;
void FreePages(void* memory, std::size_t bytes) noexcept;

/// Asks for huge pages in memory that will be written for the first time: hundreds of times fewer page
/// faults. Takes any memory; small blocks and systems without huge pages are left alone.
void PreferHugePages(void* memory, std::size_t bytes) noexcept;

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
