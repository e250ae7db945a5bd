#include "http/message.h"

namespace polaiga::web {

std::string_view Request::header(std::string_view name) const {
  const auto found = headers.find(name);
  return found == headers.end() ? std::string_view() : std::string_view(found->second);
}

}  // namespace polaiga::web
