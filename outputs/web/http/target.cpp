#include "http/target.h"

#include <algorithm>

#include "base/printable.h"
#include "base/utf8.h"

namespace polaiga::web {
namespace {

int hexadecimal(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

enum class Part : bool { kPath, kQuery };

std::string decoded(std::string_view text, Part part) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      const int high = i + 2 < text.size() ? hexadecimal(text[i + 1]) : -1;
      const int low = high >= 0 ? hexadecimal(text[i + 2]) : -1;
      if (low < 0) throw BadTarget("The address has a % that two hexadecimal digits do not follow");
      plain += static_cast<char>(high * 16 + low);
      i += 2;
    } else {
      plain += part == Part::kQuery && text[i] == '+' ? ' ' : text[i];
    }
  }
  for (std::string_view rest = plain; !rest.empty();) {
    const engine::Character first = engine::first_character(rest);
    if (!first.valid) throw BadTarget("The address is not UTF-8");
    if (!engine::is_shown(first.code)) {
      throw BadTarget("The address has a character that cannot be shown, such as a control character");
    }
    rest.remove_prefix(first.size);
  }
  return plain;
}

// Calls `take` with each of the pieces between the separators.
template <class Take>
void split(std::string_view text, char separator, Take take) {
  for (;;) {
    const std::size_t end = text.find(separator);
    take(text.substr(0, end));
    if (end == std::string_view::npos) return;
    text.remove_prefix(end + 1);
  }
}

}  // namespace

std::optional<std::string_view> Target::find(std::string_view name) const {
  const auto found = std::ranges::find(query, name, &std::pair<std::string, std::string>::first);
  if (found == query.end()) return std::nullopt;
  return found->second;
}

Target parse_target(std::string_view text) {
  if (text.size() > Target::kMostBytes) {
    throw BadTarget("The address is longer than " + std::to_string(Target::kMostBytes) + " bytes");
  }
  if (!text.starts_with('/')) throw BadTarget("The address does not begin with a slash");
  const std::size_t question = text.find('?');
  Target target;
  split(text.substr(1, question == std::string_view::npos ? question : question - 1), '/', [&](std::string_view piece) {
    target.path.push_back(decoded(piece, Part::kPath));
    if (target.path.back() == "." || target.path.back() == "..") {
      throw BadTarget("The address has a segment of dots alone");
    }
  });
  if (question == std::string_view::npos || question + 1 == text.size()) return target;
  split(text.substr(question + 1), '&', [&](std::string_view piece) {
    const std::size_t equals = piece.find('=');
    std::string name = decoded(piece.substr(0, equals), Part::kQuery);
    std::string value = equals == std::string_view::npos ? "" : decoded(piece.substr(equals + 1), Part::kQuery);
    if (name.empty()) throw BadTarget("The address has a parameter without a name");
    if (target.find(name)) throw BadTarget("The address has the parameter " + engine::in_quotes(name) + " twice");
    if (target.query.size() == Target::kMostParameters) {
      throw BadTarget("The address has more than " + std::to_string(Target::kMostParameters) + " parameters");
    }
    target.query.emplace_back(std::move(name), std::move(value));
  });
  return target;
}

std::string target_text(const Target& target) {
  std::string text;
  for (const std::string& segment : target.path) text += "/" + percent_encoded(segment);
  char separator = '?';
  for (const auto& [name, value] : target.query) {
    text += separator + percent_encoded(name) + "=" + percent_encoded(value);
    separator = '&';
  }
  return text;
}

std::string percent_encoded(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  constexpr std::string_view kUnreserved = "-._~";
  std::string encoded;
  for (const char c : text) {
    const bool is_plain = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                          kUnreserved.find(c) != std::string_view::npos;
    const auto byte = static_cast<unsigned char>(c);
    if (is_plain) {
      encoded += c;
    } else {
      encoded.append({'%', kDigits[byte >> 4U], kDigits[byte & 15U]});
    }
  }
  return encoded;
}

}  // namespace polaiga::web
