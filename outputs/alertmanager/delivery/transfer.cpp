#include "delivery/transfer.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "base/printable.h"
#include "delivery/excerpt.h"

namespace polaiga::alertmanager {

std::size_t Transfer::take(char* data, std::size_t size, std::size_t count, void* transfer) {
  auto& self = *static_cast<Transfer*>(transfer);
  const std::size_t bytes = size * count;
  self.received_ += bytes;
  // One more than is shown tells that there is more.
  if (self.begin_.size() <= kMostExcerpt)
    self.begin_.append(data, std::min(bytes, kMostExcerpt + 1 - self.begin_.size()));
  return self.received_ > kMostAnswer ? 0 : bytes;  // 0 ends the transfer
}

Transfer::Transfer(const Address& address, Request request, const Access& access, bool is_fresh, Post::Done done)
    : request_(std::move(request)), done_(std::move(done)), easy_(curl_easy_init(), &curl_easy_cleanup) {
  if (easy_ == nullptr) throw std::runtime_error("libcurl has no memory for a request");
  add_header(std::string("Content-Type: ") + request_.content_type);
  add_header("Expect:");  // libcurl shall not wait for leave to send the body
  set(CURLOPT_URL, request_.url.c_str());
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_PROXY, "");  // else the environment could lead alarms elsewhere
  set(CURLOPT_DISALLOW_USERNAME_IN_URL, 1L);
  set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body.size()));
  set(CURLOPT_POSTFIELDS, request_.body.c_str());
  set(CURLOPT_HTTPHEADER, headers_.get());
  set(CURLOPT_USERAGENT, "polaiga-alertmanager");
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_QUICK_EXIT, 1L);  // a name server that hangs keeps nobody waiting at the end
  set(CURLOPT_CONNECTTIMEOUT, static_cast<long>(kConnectWithin.count()));
  set(CURLOPT_TIMEOUT, static_cast<long>(kAnswerWithin.count()));
  set(CURLOPT_FRESH_CONNECT, is_fresh ? 1L : 0L);
  set(CURLOPT_WRITEFUNCTION, &Transfer::take);
  set(CURLOPT_WRITEDATA, this);
  set(CURLOPT_ERRORBUFFER, complaint_.data());
  trust(access);
  const Credential& who = access.credentials.of(address);
  if (!who.token.empty()) {
    set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BEARER));
    set(CURLOPT_XOAUTH2_BEARER, who.token.c_str());
  } else if (!who.user.empty()) {
    set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
    set(CURLOPT_USERNAME, who.user.c_str());
    set(CURLOPT_PASSWORD, who.password.c_str());
  }
}

// The files were read before, so that a request fails neither by a file that is changed just now nor half-way.
void Transfer::trust(const Access& access) {
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  if (!access.authorities.empty()) set_blob(CURLOPT_CAINFO_BLOB, access.authorities);
  if (access.certificate.empty()) return;
  set_blob(CURLOPT_SSLCERT_BLOB, access.certificate);
  set_blob(CURLOPT_SSLKEY_BLOB, access.key);
}

Answer Transfer::answer(CURLcode result) const {
  Answer answer;
  curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &answer.status);
  const bool is_long = received_ > kMostAnswer;
  if (result != CURLE_OK && !is_long) {
    answer.status = 0;  // what was answered is not known to the end
    answer.problem = engine::printable(complaint_[0] != '\0' ? complaint_.data() : curl_easy_strerror(result));
    return answer;
  }
  // A peer that answers with success has taken the request, even if its answer is longer than what is read of it.
  if (answer.status >= 200 && answer.status < 300) return answer;
  answer.problem = "the status " + std::to_string(answer.status) + " was answered";
  const std::string said = excerpt(begin_);
  if (!said.empty()) answer.problem += ": " + said;
  curl_off_t seconds = 0;
  if (curl_easy_getinfo(easy_.get(), CURLINFO_RETRY_AFTER, &seconds) == CURLE_OK && seconds > 0) {
    answer.try_after = std::chrono::seconds(seconds);
  }
  return answer;
}

template <class Value>
void Transfer::set(CURLoption option, Value value) {
  if (curl_easy_setopt(easy_.get(), option, value) != CURLE_OK) {
    throw std::runtime_error("libcurl does not take an option");
  }
}

void Transfer::set_blob(CURLoption option, const std::string& text) {
  curl_blob blob{.data = const_cast<char*>(text.data()), .len = text.size(), .flags = CURL_BLOB_COPY};
  set(option, &blob);
}

void Transfer::add_header(const std::string& line) {
  curl_slist* const longer = curl_slist_append(headers_.get(), line.c_str());
  if (longer == nullptr) throw std::runtime_error("libcurl has no memory for a header");
  static_cast<void>(headers_.release());  // it is the begin of the longer one
  headers_.reset(longer);
}

}  // namespace polaiga::alertmanager
