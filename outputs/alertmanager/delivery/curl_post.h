// The way to peers by libcurl, in a loop that waits for descriptors.
#pragma once

#include <curl/curl.h>
#include <poll.h>

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/clock.h"
#include "delivery/transfer.h"

namespace polaiga::alertmanager {

class CurlPost final : public Post {
 public:
  // The clock must outlive this. Throws std::runtime_error.
  explicit CurlPost(const engine::Clock& clock);
  ~CurlPost() override;
  CurlPost(const CurlPost&) = delete;
  CurlPost& operator=(const CurlPost&) = delete;

  // From the next request to each peer on.
  void use(std::shared_ptr<const Access> access);

  void send(const Address& address, Request request, Done done) override;

  // What to poll, and how long, before step() is called with what was found.
  std::vector<pollfd> polled() const;
  std::chrono::milliseconds until_next() const;
  void step(const std::vector<pollfd>& polled);

  bool is_idle() const { return transfers_.empty(); }

 private:
  static int note_socket(CURL* easy, curl_socket_t socket, int what, void* self, void* of_socket);
  static int note_time(CURLM* multi, long after, void* self);
  void act(curl_socket_t socket, int events);
  void finish_all();

  const engine::Clock& clock_;
  std::shared_ptr<const Access> access_ = std::make_shared<const Access>();
  std::set<std::string> known_;  // addresses that were asked with this access
  CURLM* multi_ = nullptr;
  std::map<curl_socket_t, short> sockets_;    // what to poll each for
  std::optional<engine::Clock::Steady> due_;  // when libcurl wants to be called
  std::map<CURL*, std::unique_ptr<Transfer>> transfers_;
};

}  // namespace polaiga::alertmanager
