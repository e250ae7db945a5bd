// A request that pushes events to a subscriber, with libcurl.
#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <memory>
#include <string>

#include "redfish/subscription.h"

namespace polaiga::web {

class Delivery {
 public:
  // With `allows_local`, it is sent to addresses of this machine and of its link, too. Throws std::runtime_error.
  Delivery(const Subscription& to, std::string body, bool allows_local);
  ~Delivery() = default;
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;

  CURL* easy() const { return easy_.get(); }

  // Why it was not delivered, by the result that libcurl has for it; "": it was.
  std::string problem(CURLcode result) const;

 private:
  template <class Value>
  void set(CURLoption option, Value value);
  void add_header(const std::string& line);
  static curl_socket_t open_socket(void* delivery, curlsocktype purpose, curl_sockaddr* to);
  static std::size_t drop(char* data, std::size_t size, std::size_t count, void* delivery);

  std::string body_;
  bool allows_local_;
  std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers_{nullptr, &curl_slist_free_all};
  std::size_t received_ = 0;  // bytes of the answer
  std::string refused_;       // why it may not connect to an address of the receiver; "": it may
  char complaint_[CURL_ERROR_SIZE] = {};
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy_;  // ends before what it uses
};

}  // namespace polaiga::web
