#include "app/response_cache.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "http/answers.h"

namespace polaiga::web {
namespace {

std::string header_of(const Response& response, std::string_view name) {
  const auto found = std::ranges::find(response.headers, name, &std::pair<std::string, std::string>::first);
  return found == response.headers.end() ? std::string() : found->second;
}

}  // namespace

Response ResponseCache::answer(const Request& request, std::uint64_t version,
                               const std::function<Response(const Request&)>& make) {
  const std::string key = target_text(request.target);
  std::optional<Answer> answer;
  {
    const std::lock_guard lock(mutex_);
    if (version_ == version && answers_.contains(key)) answer = answers_.at(key);
  }
  if (!answer) {
    // Without the headers: If-None-Match would be answered with 304, which has no body to be remembered.
    Request question;
    question.target = request.target;
    Response made = make(question);
    if (made.status != 200 || !made.body) return made;
    answer = Answer{header_of(made, "ETag"), header_of(made, "Content-Type"), made.body};
    const std::lock_guard lock(mutex_);
    if (version_ != version) answers_.clear();
    version_ = version;
    if (answer->body->size() <= kMostBytes && answers_.size() < kMostAnswers) answers_[key] = *answer;
  }
  return content(request, answer->etag, answer->type, [&answer] { return answer->body; });
}

}  // namespace polaiga::web
