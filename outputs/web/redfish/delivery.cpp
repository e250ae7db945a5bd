#include "redfish/delivery.h"

#include <sys/socket.h>

#include <chrono>
#include <stdexcept>
#include <utility>

#include "redfish/push_addresses.h"

namespace polaiga::web {
namespace {

constexpr std::chrono::seconds kConnectWithin{5};
constexpr std::chrono::seconds kAnswerWithin{15};
constexpr std::size_t kMostAnswer = std::size_t{64} * 1024;  // bytes; nobody reads them

}  // namespace

// What a name stands for is known only now, and may change each time; so the address itself is looked at.
curl_socket_t Delivery::open_socket(void* delivery, curlsocktype /*purpose*/, curl_sockaddr* to) {
  auto& self = *static_cast<Delivery*>(delivery);
  if (!self.allows_local_) {
    self.refused_ = why_not_pushed_to(to->addr);
    if (!self.refused_.empty()) return CURL_SOCKET_BAD;
  }
  return ::socket(to->family, to->socktype | SOCK_CLOEXEC, to->protocol);
}

std::size_t Delivery::drop(char* /*data*/, std::size_t size, std::size_t count, void* delivery) {
  auto& received = static_cast<Delivery*>(delivery)->received_;
  received += size * count;
  return received > kMostAnswer ? 0 : size * count;  // 0 ends the transfer
}

Delivery::Delivery(const Subscription& to, std::string body, bool allows_local)
    : body_(std::move(body)), allows_local_(allows_local), easy_(curl_easy_init(), &curl_easy_cleanup) {
  if (easy_ == nullptr) throw std::runtime_error("libcurl has no memory for a request");
  add_header("Content-Type: application/json");
  add_header("OData-Version: 4.0");
  add_header("Expect:");  // libcurl shall not wait for leave to send the body
  for (const auto& [name, value] : to.headers) {
    add_header(value.empty() ? name + ";" : std::string(name).append(": ").append(value));
  }
  set(CURLOPT_URL, to.destination.c_str());
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_PROXY, "");  // else the environment could lead events elsewhere
  set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body_.size()));
  set(CURLOPT_POSTFIELDS, body_.c_str());
  set(CURLOPT_HTTPHEADER, headers_.get());
  set(CURLOPT_USERAGENT, "polaiga-web");
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_QUICK_EXIT, 1L);  // a name server that hangs keeps nobody waiting at the end
  set(CURLOPT_CONNECTTIMEOUT, static_cast<long>(kConnectWithin.count()));
  set(CURLOPT_TIMEOUT, static_cast<long>(kAnswerWithin.count()));
  set(CURLOPT_SSL_VERIFYPEER, to.verifies_certificate ? 1L : 0L);
  set(CURLOPT_SSL_VERIFYHOST, to.verifies_certificate ? 2L : 0L);
  set(CURLOPT_OPENSOCKETFUNCTION, &Delivery::open_socket);
  set(CURLOPT_OPENSOCKETDATA, this);
  set(CURLOPT_WRITEFUNCTION, &Delivery::drop);
  set(CURLOPT_WRITEDATA, this);
  set(CURLOPT_ERRORBUFFER, complaint_);
  set(CURLOPT_PRIVATE, this);
}

std::string Delivery::problem(CURLcode result) const {
  long status = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
  // A subscriber that answers with success has the events, even if its answer is longer than what is read of it.
  if (status >= 200 && status < 300 && (result == CURLE_OK || received_ > kMostAnswer)) return "";
  if (!refused_.empty()) return refused_ + ", and the server pushes there only when it is started with --push-local";
  if (result != CURLE_OK && received_ <= kMostAnswer) {
    return complaint_[0] != '\0' ? complaint_ : curl_easy_strerror(result);
  }
  return "the status " + std::to_string(status) + " was answered";
}

template <class Value>
void Delivery::set(CURLoption option, Value value) {
  if (curl_easy_setopt(easy_.get(), option, value) != CURLE_OK)
    throw std::runtime_error("libcurl does not take an option");
}

void Delivery::add_header(const std::string& line) {
  curl_slist* const longer = curl_slist_append(headers_.get(), line.c_str());
  if (longer == nullptr) throw std::runtime_error("libcurl has no memory for a header");
  static_cast<void>(headers_.release());  // it is the begin of the longer one
  headers_.reset(longer);
}

}  // namespace polaiga::web
