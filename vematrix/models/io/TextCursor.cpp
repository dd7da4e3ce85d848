#include "models/io/TextCursor.h"

namespace vematrix {
namespace models {
namespace {

/// Rewrites a Fortran number with the exponent letter e that from_chars wants.
std::string withPlainExponent(std::string_view text) {
  std::string plain;
  for (std::size_t k = text.size() != 0 && text[0] == '+' ? 1 : 0; k < text.size(); ++k) {
    const char c = text[k];
    const bool sign = c == '+' || c == '-';
    const bool afterLetter = !plain.empty() && plain.back() == 'e';
    if (c == 'd' || c == 'D' || c == 'E') {
      plain += 'e';
    } else if (sign && !plain.empty() && !afterLetter) {
      plain += 'e';  // 1.5-103: three digits of exponent pushed the letter out
      if (c == '-') plain += c;
    } else if (!(c == '+' && afterLetter)) {
      plain += c;
    }
  }
  return plain;
}

}  // namespace

bool parseReal(std::string_view text, double& value) {
  if (text.empty() || (text.size() > 1 && text[0] == '+' && (text[1] == '+' || text[1] == '-'))) return false;
  const std::string plain = withPlainExponent(text);
  const char* end = plain.data() + plain.size();
  const std::from_chars_result result = std::from_chars(plain.data(), end, value);
  if (result.ptr != end) return false;
  if (result.ec == std::errc()) return true;
  if (result.ec == std::errc::result_out_of_range && plain.find("e-") != std::string::npos) {
    value = 0.0;
    return true;
  }
  return false;
}

bool TextCursor::takeUnusualReal(double& value) {
  const char* from = m_at;
  const std::string_view word = takeWord();
  if (word.size() <= 64 && parseReal(word, value)) return true;
  m_at = from;
  return false;
}

}  // namespace models
}  // namespace vematrix
