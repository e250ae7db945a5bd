#include "messages/topics.h"

#include <algorithm>

namespace polaiga::mqtt {
namespace {

constexpr std::size_t kLongestPart = 64;

bool may_stand(char c) {
  return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || ('0' <= c && c <= '9') || c == '_' || c == '.' || c == '-';
}

}  // namespace

bool is_topic_part(std::string_view text) {
  return !text.empty() && text.size() <= kLongestPart && std::ranges::all_of(text, may_stand);
}

Topics::Topics(const std::string& site, const std::string& controller)
    : Topics("polaiga/v1/" + site + "/" + controller + "/") {}

Topics::Topics(const std::string& below)
    : change(below + "change"),
      alarms(below + "alarms"),
      status(below + "status"),
      replayed(below + "replayed"),
      acted(below + "acted"),
      ack(below + "ack"),
      replay(below + "replay"),
      action(below + "action") {}

}  // namespace polaiga::mqtt
