#pragma once
// How much memory there is, and how a request beyond it is refused in words.
//
// Systems that overcommit grant every request and kill the process later, when it writes to the memory: what
// is predicted must be compared with what there is beforehand.
#include <cstdint>
#include <new>
#include <string>
#include <utility>

namespace Vessa {
namespace Matrix {
namespace math {

/// Bytes this process may still take before the system, a control group or a limit of the process stops it;
/// the largest number when that cannot be told. Reads a few small files: some 50 µs.
std::int64_t AvailableMemory() noexcept;

/// Bytes of address space this process may still map under its own limit (RLIMIT_AS); the largest number
/// without one. Never less than AvailableMemory.
std::int64_t AvailableAddressSpace();

/// What the memory control groups (versions 1 and 2) of a process leave it, in bytes, the narrowest of its
/// group and all above it; the largest number when none limits it.
///
/// File pages that the system can drop, those not mapped, count as free.
/// @param root    where the control groups are mounted, /sys/fs/cgroup
/// @param groups  the file that names the groups of the process, /proc/self/cgroup
std::int64_t AvailableGroupMemory(const std::string& root, const std::string& groups);

/// "the factorisation needs 120 MB, this process may take 80 MB more", both rounded up and down to the worse;
/// for the largest number instead "…, which the system did not give".
std::string ShortageText(const std::string& what, std::int64_t wanted, std::int64_t available);

/// A failed allocation that says what was wanted and what there is.
class OutOfMemory : public std::bad_alloc {
public:
  explicit OutOfMemory(std::string text) : m_text(std::move(text)) {}
  const char* what() const noexcept override { return m_text.c_str(); }

private:
  std::string m_text;
};

/// From this size on a request is compared with what there is; looking costs more than taking less.
constexpr std::int64_t kAskFirst = 4000000;

/// Throws OutOfMemory when this process may not take `bytes` more; requests below kAskFirst are let through.
/// @param what  "the profile": begins the text
void RequireMemory(const char* what, std::int64_t bytes);

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
