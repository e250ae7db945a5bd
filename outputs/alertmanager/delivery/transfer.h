// One request to a peer, with libcurl.
#pragma once

#include <curl/curl.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>

#include "delivery/access.h"
#include "delivery/post.h"

namespace polaiga::alertmanager {

class Transfer {
 public:
  static constexpr std::chrono::seconds kConnectWithin{5};
  static constexpr std::chrono::seconds kAnswerWithin{15};
  static constexpr std::size_t kMostAnswer = std::size_t{64} * 1024;

  // Throws std::runtime_error. With `is_fresh` it takes no connection that is open already.
  Transfer(const Address& address, Request request, const Access& access, bool is_fresh, Post::Done done);
  ~Transfer() = default;
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  CURL* easy() const { return easy_.get(); }

  // How it went, by the result that libcurl has for it.
  Answer answer(CURLcode result) const;
  const Post::Done& done() const { return done_; }

 private:
  template <class Value>
  void set(CURLoption option, Value value);
  void set_blob(CURLoption option, const std::string& text);
  void add_header(const std::string& line);
  void trust(const Access& access);
  static std::size_t take(char* data, std::size_t size, std::size_t count, void* transfer);

  Request request_;
  Post::Done done_;
  std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers_{nullptr, &curl_slist_free_all};
  std::size_t received_ = 0;  // bytes of the answer
  std::string begin_;         // of the answer
  std::array<char, CURL_ERROR_SIZE> complaint_{};
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy_;  // ends before what it uses
};

}  // namespace polaiga::alertmanager
