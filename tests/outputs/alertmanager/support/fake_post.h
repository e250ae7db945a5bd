// A way to peers that a test answers by itself.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "delivery/post.h"

namespace polaiga::alertmanager::test {

class FakePost final : public Post {
 public:
  void send(const Address& /*address*/, Request request, Done done) override {
    waiting_.emplace_back(std::move(request), std::move(done));
  }

  bool has_requests() const { return !waiting_.empty(); }

  // Answers the oldest request, and returns its body.
  nlohmann::json answer(long status = 200) {
    auto [request, done] = std::move(waiting_.front());
    waiting_.erase(waiting_.begin());
    last_url = request.url;
    const bool is_taken = status >= 200 && status < 300;
    done({.status = status, .problem = is_taken ? "" : "the status " + std::to_string(status), .try_after = {}});
    return nlohmann::json::parse(request.body);
  }

  std::string last_url;

 private:
  std::vector<std::pair<Request, Done>> waiting_;
};

}  // namespace polaiga::alertmanager::test
