#include "access/sessions.h"

#include <algorithm>

namespace polaiga::web {
namespace {

constexpr std::size_t kIdBytes = 8;

}  // namespace

Sessions::Opened Sessions::open(const std::string& name, const std::string& proof, TokenKind kind,
                                const std::string& address) {
  Opened opened{
      .facts = {.id = random_text(kIdBytes), .name = name, .kind = kind, .address = address, .created = clock_.wall()},
      .token = random_text(sizeof(Digest))};
  const std::lock_guard lock(mutex_);
  end_those_whose_time_is_over();
  make_room(name);
  const auto now = clock_.steady();
  sessions_[sha256(opened.token)] = {.facts = opened.facts, .proof = proof, .opened = now, .used = now};
  return opened;
}

std::optional<Sessions::Found> Sessions::find(std::string_view token, TokenKind kind) {
  const Digest digest = sha256(token);
  const std::lock_guard lock(mutex_);
  end_those_whose_time_is_over();
  const auto found = sessions_.find(digest);
  if (found == sessions_.end() || found->second.facts.kind != kind) return std::nullopt;
  return use(found);
}

std::optional<Sessions::Found> Sessions::find_by_id(std::string_view id) {
  const std::lock_guard lock(mutex_);
  end_those_whose_time_is_over();
  const auto found = with_id(id);
  if (found == sessions_.end()) return std::nullopt;
  return use(found);
}

std::vector<SessionFacts> Sessions::list() {
  std::vector<SessionFacts> all;
  const std::lock_guard lock(mutex_);
  end_those_whose_time_is_over();
  for (const auto& [digest, session] : sessions_) all.push_back(session.facts);
  std::ranges::sort(all, [](const SessionFacts& one, const SessionFacts& other) {
    return std::tie(one.created, one.id) < std::tie(other.created, other.id);
  });
  return all;
}

bool Sessions::end(std::string_view id) {
  const std::lock_guard lock(mutex_);
  end_those_whose_time_is_over();
  const auto found = with_id(id);
  if (found == sessions_.end()) return false;
  sessions_.erase(found);
  return true;
}

void Sessions::end_those_whose_time_is_over() {
  const auto now = clock_.steady();
  std::erase_if(sessions_, [&](const auto& entry) {
    return now - entry.second.used >= limits_.idle || now - entry.second.opened >= limits_.lasts;
  });
}

// Programs that log in again and again, and never out, end their own sessions before those of others.
void Sessions::make_room(const std::string& name) {
  const auto is_his = [&](const auto& entry) { return entry.second.facts.name == name; };
  const bool has_too_many = static_cast<std::size_t>(std::ranges::count_if(sessions_, is_his)) >= limits_.most_per_user;
  if (!has_too_many && sessions_.size() < limits_.most) return;
  auto oldest = sessions_.end();
  for (auto at = sessions_.begin(); at != sessions_.end(); ++at) {
    if (has_too_many && !is_his(*at)) continue;
    if (oldest == sessions_.end() || at->second.used < oldest->second.used) oldest = at;
  }
  if (oldest != sessions_.end()) sessions_.erase(oldest);
}

Sessions::ByDigest::iterator Sessions::with_id(std::string_view id) {
  return std::ranges::find_if(sessions_, [&](const auto& entry) { return entry.second.facts.id == id; });
}

std::optional<Sessions::Found> Sessions::use(ByDigest::iterator session) {
  session->second.used = clock_.steady();
  return Found{.id = session->second.facts.id, .name = session->second.facts.name, .proof = session->second.proof};
}

}  // namespace polaiga::web
