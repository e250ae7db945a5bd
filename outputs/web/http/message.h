// HTTP requests and what is answered to them (RFC 9110).
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "http/target.h"

namespace polaiga::web {

enum class Method : std::uint8_t { kGet, kHead, kPost, kPatch, kDelete, kOther };

// Who is at the other end of the connection.
struct Peer {
  std::string address;                     // without the port; empty: over a Unix socket
  std::optional<uid_t> user;               // over a Unix socket: as whom the kernel knows the peer
  std::optional<std::string> certificate;  // the common name of a client certificate that was verified
  bool is_encrypted = false;               // TLS
};

struct Request {
  Method method = Method::kGet;
  Target target;
  std::map<std::string, std::string, std::less<>> headers;  // by their names in small letters
  std::string body;
  Peer peer;

  // The value of a header; "" when it is not there.
  std::string_view header(std::string_view name) const;
};

// A body whose parts are made and sent one after another, as something happens, such as events. Used by one thread at a
// time.
class Stream {
 public:
  virtual ~Stream() = default;

  // What is to be sent next; empty: nothing yet. It is asked again when Server::wake() is called, and now and then.
  virtual std::string next() = 0;

  // Whether nothing will follow.
  virtual bool is_over() const = 0;
};

using Body = std::shared_ptr<const std::string>;

struct Response {
  int status = 200;
  std::vector<std::pair<std::string, std::string>> headers = {};
  Body body = {};                       // null: empty. Many responses can share one.
  std::unique_ptr<Stream> stream = {};  // in place of a body
};

// Answers requests, several at the same time, each in a thread of the server's.
class Handler {
 public:
  virtual ~Handler() = default;

  virtual Response answer(const Request& request) = 0;
};

}  // namespace polaiga::web
