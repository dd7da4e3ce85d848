#pragma once

namespace test_support {

/// Whether this program was compiled with the address or the thread sanitizer, which map address space
/// without end and keep memory that was freed.
constexpr bool underSanitizer() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  return true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
  return true;
#else
  return false;
#endif
#else
  return false;
#endif
}

}  // namespace test_support
