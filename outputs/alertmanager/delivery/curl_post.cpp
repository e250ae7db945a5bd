#include "delivery/curl_post.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace polaiga::alertmanager {

using std::chrono::milliseconds;

CurlPost::CurlPost(const engine::Clock& clock) : clock_(clock) {
  static const CURLcode kReady = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (kReady != CURLE_OK) throw std::runtime_error("libcurl cannot be used");
  multi_ = curl_multi_init();
  if (multi_ == nullptr) throw std::runtime_error("libcurl has no memory");
  curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, &CurlPost::note_socket);
  curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, &CurlPost::note_time);
  curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
}

CurlPost::~CurlPost() {
  for (const auto& one : transfers_) curl_multi_remove_handle(multi_, one.first);
  transfers_.clear();
  curl_multi_cleanup(multi_);
}

void CurlPost::use(std::shared_ptr<const Access> access) {
  access_ = std::move(access);
  known_.clear();
}

int CurlPost::note_socket(CURL* /*easy*/, curl_socket_t socket, int what, void* self, void* /*of_socket*/) {
  auto& sockets = static_cast<CurlPost*>(self)->sockets_;
  if (what == CURL_POLL_REMOVE) {
    sockets.erase(socket);
    return 0;
  }
  int events = 0;
  if (what == CURL_POLL_IN || what == CURL_POLL_INOUT) events |= POLLIN;
  if (what == CURL_POLL_OUT || what == CURL_POLL_INOUT) events |= POLLOUT;
  sockets.insert_or_assign(socket, static_cast<short>(events));
  return 0;
}

int CurlPost::note_time(CURLM* /*multi*/, long after, void* self) {
  auto& post = *static_cast<CurlPost*>(self);
  post.due_.reset();
  if (after >= 0) post.due_ = post.clock_.steady() + milliseconds(after);
  return 0;
}

void CurlPost::send(const Address& address, Request request, Done done) {
  const bool is_fresh = known_.insert(address.url).second;
  auto transfer = std::make_unique<Transfer>(address, std::move(request), *access_, is_fresh, std::move(done));
  CURL* const easy = transfer->easy();
  if (curl_multi_add_handle(multi_, easy) != CURLM_OK) throw std::runtime_error("libcurl does not take a request");
  transfers_.emplace(easy, std::move(transfer));
}

std::vector<pollfd> CurlPost::polled() const {
  std::vector<pollfd> all;
  all.reserve(sockets_.size());
  for (const auto& [socket, events] : sockets_) all.push_back({.fd = socket, .events = events, .revents = 0});
  return all;
}

milliseconds CurlPost::until_next() const {
  if (!due_) return milliseconds::max();
  return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(*due_ - clock_.steady()));
}

void CurlPost::act(curl_socket_t socket, int events) {
  int running = 0;
  curl_multi_socket_action(multi_, socket, events, &running);
}

void CurlPost::step(const std::vector<pollfd>& polled) {
  if (due_ && clock_.steady() >= *due_) {
    due_.reset();
    act(CURL_SOCKET_TIMEOUT, 0);
  }
  for (const pollfd& one : polled) {
    if (one.revents == 0) continue;
    int events = 0;
    if ((one.revents & (POLLIN | POLLHUP)) != 0) events |= CURL_CSELECT_IN;
    if ((one.revents & POLLOUT) != 0) events |= CURL_CSELECT_OUT;
    if ((one.revents & (POLLERR | POLLNVAL)) != 0) events |= CURL_CSELECT_ERR;
    act(one.fd, events);
  }
  finish_all();
}

void CurlPost::finish_all() {
  int left = 0;
  while (const CURLMsg* const message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode result = message->data.result;
    CURL* const easy = message->easy_handle;
    const auto found = transfers_.find(easy);
    if (found == transfers_.end()) continue;
    const std::unique_ptr<Transfer> transfer = std::move(found->second);
    transfers_.erase(found);
    curl_multi_remove_handle(multi_, easy);
    transfer->done()(transfer->answer(result));
  }
}

}  // namespace polaiga::alertmanager
