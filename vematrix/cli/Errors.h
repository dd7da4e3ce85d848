#pragma once
#include <stdexcept>
#include <string>

namespace vematrix {
namespace cli {

/// How the program ends. A file that cannot be read or written counts as misuse; so does a command line that
/// makes no sense. Ctrl-C ends with 130.
enum ExitCode : int {
  ExitGood = 0,        ///< every result printed can be trusted
  ExitNotTrusted = 1,  ///< there is no result, or one that must not be trusted
  ExitMisuse = 2       ///< wrong command line or unreadable input: nothing was computed
};

/// The request makes no sense; the message says what was expected. Ends the program with ExitMisuse.
class UsageError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

/// The request is fine but cannot be fulfilled (no factors, not enough memory). Ends with ExitNotTrusted.
class NoResult : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

}  // namespace cli
}  // namespace vematrix
