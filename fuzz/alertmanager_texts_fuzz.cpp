// What polaiga-alertmanager reads from outside: URLs, the file of credentials, and what a peer answers.
#include <algorithm>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "alerts/identity.h"
#include "base/printable.h"
#include "check.h"
#include "delivery/address.h"
#include "delivery/credentials.h"
#include "delivery/excerpt.h"

namespace polaiga::fuzz {
namespace {

using namespace alertmanager;

void check_address(std::string_view text, Query query) {
  try {
    const Address address = parse_address(text, query);
    check(address.url.size() <= text.size(), "a URL does not grow");
    check(address.url.starts_with(address.peer), "the peer is the begin of the URL");
    check(address.url.starts_with(address.is_secure ? "https://" : "http://"), "a URL has a scheme");
    check(engine::printable(address.url) == address.url, "a URL can be shown");
    check(address.url.find_first_of("@ #\\\"") == std::string::npos, "there is no user in a URL");
    check(query == Query::kAllowed || address.url == address.peer, "there are no parameters");
    check(parse_address(address.url, query) == address, "what was read is read again as the same");
    check(publisher_name("alertmanager", address).size() == 25, "a publisher's name has its length");
  } catch (const std::runtime_error&) {
    // It says what is wrong.
  }
}

void check_credentials(std::string_view text) {
  try {
    const Credentials all(text, "the.file");
    const Credential& one = all.of(parse_address("http://h", Query::kRefused));
    check(one.token.empty() || one.user.empty(), "a peer has either");
    check(one.user.empty() == one.password.empty(), "a user has a password");
    for (const std::string& part : {one.user, one.password, one.token}) {
      check(std::ranges::none_of(part, [](char c) { return c == '\r' || c == '\n' || c == '\0'; }), "a line is a line");
    }
  } catch (const std::runtime_error& error) {
    check(std::string_view(error.what()).starts_with("'the.file', line "), "an error names file and line");
  }
}

void check_excerpt(std::string_view text) {
  const std::string shown = excerpt(text);
  check(shown.size() <= 4 * kMostShown + 3, "what is shown is bounded");
  check(engine::printable(shown) == shown, "what is shown harms no terminal");
}

void check_name(std::string_view text) {
  const bool is_right = !text.empty() && text.size() <= 128 && engine::printable(text) == text;
  check(why_no_name(std::string(text)).empty() == is_right, "a name can be shown");
}

}  // namespace
}  // namespace polaiga::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace polaiga::fuzz;
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  switch (data[0]) {
    case 'u':
      check_address(text, polaiga::alertmanager::Query::kRefused);
      break;
    case 'w':
      check_address(text, polaiga::alertmanager::Query::kAllowed);
      break;
    case 'c':
      check_credentials(text);
      break;
    case 'e':
      check_excerpt(text);
      break;
    case 'n':
      check_name(text);
      break;
    default:
      break;
  }
  return 0;
}
