// Remembers what was answered to questions that many ask.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "http/message.h"

namespace polaiga::web {

// For questions whose answers depend on nothing but the address and the version of what is shown, such as a page that
// many have open: each asks anew after each change. For several threads.
class ResponseCache {
 public:
  static constexpr std::size_t kMostAnswers = 8;  // of one version
  static constexpr std::size_t kMostBytes = std::size_t{1024} * 1024;

  // `make` answers the question that it is given, which has the target of the request, as a response with an ETag.
  Response answer(const Request& request, std::uint64_t version, const std::function<Response(const Request&)>& make);

 private:
  struct Answer {
    std::string etag;
    std::string type;
    Body body;
  };

  std::mutex mutex_;
  std::uint64_t version_ = 0;
  std::map<std::string, Answer> answers_;  // by their targets
};

}  // namespace polaiga::web
