// A connection to a master agent, as libsnmp speaks over it. The socket never blocks: what it does not take is kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tables/change_row.h"
#include "tables/tree.h"

namespace polaiga::snmp {

// The types of AgentX PDUs (RFC 2741, section 6.1).
enum class PduType : std::uint8_t {
  kOpen = 1,
  kClose = 2,
  kRegister = 3,
  kGet = 5,
  kGetNext = 6,
  kGetBulk = 7,
  kTestSet = 8,
  kCommitSet = 9,
  kUndoSet = 10,
  kCleanupSet = 11,
  kNotify = 12,
  kPing = 13,
  kResponse = 18,
};

class Wire {
 public:
  // So many values one answer has at most, and so many bytes of values about.
  static constexpr std::size_t kMostValues = 400;
  static constexpr std::size_t kMostBytes = 48'000;

  struct Response {
    long id = 0;
    int error = 0;
    long session = 0;
    std::uint32_t uptime = 0;  // sysUpTime
  };
  using Answered = std::function<void(const Response&)>;
  using Asked = std::function<void()>;

  // Takes over the connected socket. `answered` is called for each answer to what was sent. Throws std::runtime_error.
  Wire(int fd, const Tree& tree, Answered answered, Asked asked);
  ~Wire();
  Wire(const Wire&) = delete;
  Wire& operator=(const Wire&) = delete;

  int fd() const { return fd_; }
  bool has_waiting() const { return !waiting_.empty(); }
  // False: the connection has ended, or nothing can be made of what came.
  bool read();
  bool write();

  void use_session(long session) { session_id_ = session; }

  // Each answers with the number by which the answer is known; nothing: it cannot be sent.
  std::optional<long> open(const std::string& name);
  std::optional<long> add_subtree(const Oid& subtree);
  std::optional<long> ping();
  std::optional<long> notify(const Oid& type, const std::vector<Variable>& variables);
  // The master is told that the session is over; it does not matter whether it hears it.
  void say_goodbye();

 private:
  struct Library;

  void answer(void* request);

  int fd_;
  const Tree& tree_;
  Answered answered_;
  Asked asked_;
  std::unique_ptr<Library> library_;
  long session_id_ = 0;
  std::string waiting_;  // bytes that the socket did not take yet
  bool is_over_ = false;
};

}  // namespace polaiga::snmp
