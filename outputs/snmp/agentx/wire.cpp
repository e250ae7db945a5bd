#include "agentx/wire.h"

#include <net-snmp/net-snmp-config.h>
// The library's headers need the first one first.
#include <net-snmp/library/large_fd_set.h>
#include <net-snmp/net-snmp-includes.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <new>
#include <span>
#include <stdexcept>
#include <utility>

// The library has these for its own subagent, and exports them. Its headers do not declare them.
extern "C" {
int agentx_parse(netsnmp_session* session, netsnmp_pdu* pdu, u_char* data, size_t len);
int agentx_realloc_build(netsnmp_session* session, netsnmp_pdu* pdu, u_char** buf, size_t* buf_len, size_t* out_len);
int agentx_check_packet(u_char* packet, size_t packet_len);
}

namespace polaiga::snmp {
namespace {

constexpr long kAgentX1 = 0xC1;  // as the library numbers the versions of its protocols
constexpr unsigned long kNetworkByteOrder = 0x10;
constexpr unsigned long kOtherContext = 0x08;
constexpr int kUsualPriority = 127;
constexpr long kShutdown = 5;  // why a session is closed
constexpr std::size_t kMostWaiting = std::size_t{1} << 20U;
constexpr long kNever = 2'000'000'000;  // microseconds; nothing looks at it

// Errors of answers (RFC 2741, section 6.2.16, and RFC 3416).
constexpr long kGenErr = 5;
constexpr long kNotWritable = 17;
constexpr long kNotOpen = 257;
constexpr long kUnsupportedContext = 262;

struct FreePdu {
  void operator()(netsnmp_pdu* pdu) const { snmp_free_pdu(pdu); }
};
using Pdu = std::unique_ptr<netsnmp_pdu, FreePdu>;

Pdu make_pdu(PduType type) {
  Pdu pdu(snmp_pdu_create(static_cast<int>(type)));
  if (!pdu) throw std::bad_alloc();
  pdu->version = kAgentX1;
  pdu->errstat = 0;
  pdu->errindex = 0;
  return pdu;
}

std::vector<oid> to_library(OidView arcs) { return {arcs.begin(), arcs.end()}; }

Oid from_library(const oid* arcs, std::size_t count) {
  Oid all;
  all.reserve(count);
  for (const oid arc : std::span(arcs, count)) all.push_back(static_cast<std::uint32_t>(arc));
  return all;
}

void add(netsnmp_pdu& pdu, OidView name, u_char type, const void* value, std::size_t size) {
  const std::vector<oid> arcs = to_library(name);
  if (snmp_pdu_add_variable(&pdu, arcs.data(), arcs.size(), type, value, size) == nullptr) throw std::bad_alloc();
}

void add_number(netsnmp_pdu& pdu, OidView name, u_char type, std::uint32_t number) {
  const auto value = static_cast<long>(number);
  add(pdu, name, type, &value, sizeof value);
}

void add_value(netsnmp_pdu& pdu, OidView name, const Value& value) {
  switch (value.type) {
    case Value::Type::kInteger:
      return add_number(pdu, name, ASN_INTEGER, value.number);
    case Value::Type::kUnsigned:
      return add_number(pdu, name, ASN_UNSIGNED, value.number);
    case Value::Type::kCounter:
      return add_number(pdu, name, ASN_COUNTER, value.number);
    case Value::Type::kTicks:
      return add_number(pdu, name, ASN_TIMETICKS, value.number);
    case Value::Type::kText:
      return add(pdu, name, ASN_OCTET_STR, value.text.data(), value.text.size());
    case Value::Type::kOid: {
      const std::vector<oid> arcs = to_library(value.oid);
      return add(pdu, name, ASN_OBJECT_ID, arcs.data(), arcs.size() * sizeof(oid));
    }
  }
}

// What a manager asks for: a name, and for those that ask for what comes after it, where to end.
struct Range {
  Oid from;
  Oid end;  // empty: no end
  bool is_inclusive = false;
};

std::vector<Range> ranges_of(const netsnmp_pdu& request) {
  std::vector<Range> ranges;
  for (const netsnmp_variable_list* one = request.variables; one != nullptr; one = one->next_variable) {
    Range range{
        .from = from_library(one->name, one->name_length), .end = {}, .is_inclusive = one->type == ASN_PRIV_INCL_RANGE};
    if (one->type == ASN_PRIV_INCL_RANGE || one->type == ASN_PRIV_EXCL_RANGE) {
      range.end = from_library(one->val.objid, one->val_len / sizeof(oid));
      if (range.end == Oid{0, 0}) range.end.clear();
    }
    ranges.push_back(std::move(range));
  }
  return ranges;
}

// Answers to the ranges of a request, one after the other. `at` says which one is being answered.
class Answers {
 public:
  Answers(const Tree& tree, netsnmp_pdu& answer) : tree_(tree), answer_(answer) {}

  long at() const { return at_; }
  bool is_full() const { return values_ >= Wire::kMostValues || bytes_ >= Wire::kMostBytes; }

  void get(const Range& range) {
    ++at_;
    const Tree::Answer found = tree_.get(range.from);
    if (found.value) return add_counted(range.from, *found.value);
    add(answer_, range.from, found.missing == Tree::Missing::kObject ? SNMP_NOSUCHOBJECT : SNMP_NOSUCHINSTANCE, nullptr,
        0);
  }

  // Answers whether there was anything; then the range begins after it.
  bool next(Range& range) {
    ++at_;
    auto found = tree_.next(range.from, range.is_inclusive, range.end);
    if (!found) {
      add(answer_, range.from, SNMP_ENDOFMIBVIEW, nullptr, 0);
      return false;
    }
    add_counted(found->oid, found->value);
    range.from = std::move(found->oid);
    range.is_inclusive = false;
    return true;
  }

  void bulk(std::vector<Range>& ranges, std::size_t once, std::size_t repetitions) {
    once = std::min(once, ranges.size());
    for (std::size_t i = 0; i < once; ++i) next(ranges[i]);
    const std::span<Range> repeated = std::span(ranges).subspan(once);
    bool is_more = !repeated.empty();
    for (std::size_t i = 0; i < repetitions && is_more && !is_full(); ++i) {
      at_ = static_cast<long>(once);
      is_more = false;
      for (Range& range : repeated) is_more = next(range) || is_more;
    }
  }

 private:
  void add_counted(const Oid& name, const Value& value) {
    add_value(answer_, name, value);
    ++values_;
    bytes_ += name.size() + value.text.size() + value.oid.size() + 8;
  }

  const Tree& tree_;
  netsnmp_pdu& answer_;
  long at_ = 0;
  std::size_t values_ = 0;
  std::size_t bytes_ = 0;
};

void begin_again(netsnmp_pdu& answer, long error, long index) {
  snmp_free_varbind(answer.variables);
  answer.variables = nullptr;
  answer.errstat = error;
  answer.errindex = index;
}

void fill(const Tree& tree, const netsnmp_pdu& request, netsnmp_pdu& answer) {
  std::vector<Range> ranges = ranges_of(request);
  Answers answers(tree, answer);
  try {
    switch (static_cast<PduType>(request.command)) {
      case PduType::kGet:
        for (const Range& range : ranges) answers.get(range);
        break;
      case PduType::kGetNext:
        for (Range& range : ranges) answers.next(range);
        break;
      default:
        answers.bulk(ranges, static_cast<std::size_t>(std::clamp(request.errstat, 0L, 0xFFFFL)),
                     static_cast<std::size_t>(std::clamp(request.errindex, 0L, 0xFFFFL)));
        break;
    }
  } catch (const std::exception&) {
    begin_again(answer, kGenErr, answers.at());
  }
}

}  // namespace

// What of the library stays for a connection. Its functions are called by C, so they throw nothing.
struct Wire::Library {
  void* session = nullptr;

  static Wire& wire_of(netsnmp_transport* transport) { return *static_cast<Wire*>(transport->data); }

  static int receive(netsnmp_transport* transport, void* buffer, int size, void** opaque, int* opaque_size) {
    *opaque = nullptr;
    *opaque_size = 0;
    const ssize_t got = ::recv(transport->sock, buffer, static_cast<std::size_t>(size), MSG_DONTWAIT);
    if (got <= 0) wire_of(transport).is_over_ = true;
    return static_cast<int>(got);
  }

  static int send(netsnmp_transport* transport, const void* buffer, int size, void** /*opaque*/,
                  int* /*opaque_size*/) noexcept {
    try {
      Wire& wire = wire_of(transport);
      if (wire.waiting_.size() + static_cast<std::size_t>(size) > kMostWaiting) return -1;
      wire.waiting_.append(static_cast<const char*>(buffer), static_cast<std::size_t>(size));
      return size;
    } catch (const std::exception&) {
      return -1;
    }
  }

  static int close(netsnmp_transport* transport) {
    if (transport->sock >= 0) ::close(transport->sock);
    transport->sock = -1;
    transport->data = nullptr;  // the library frees what it finds here
    return 0;
  }

  static int take(int operation, netsnmp_session* /*session*/, int /*request*/, netsnmp_pdu* pdu,
                  void* magic) noexcept {
    auto& wire = *static_cast<Wire*>(magic);
    try {
      if (operation == NETSNMP_CALLBACK_OP_DISCONNECT) wire.is_over_ = true;
      if (operation != NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE || pdu == nullptr) return 1;
      if (static_cast<PduType>(pdu->command) == PduType::kResponse) {
        wire.answered_({.id = pdu->reqid,
                        .error = static_cast<int>(pdu->errstat),
                        .session = pdu->sessid,
                        .uptime = static_cast<std::uint32_t>(pdu->time)});
      } else {
        wire.asked_();
        wire.answer(pdu);
      }
    } catch (const std::exception&) {
      wire.is_over_ = true;  // there is no memory; a new connection begins anew
    }
    return 1;
  }

  std::optional<long> send(Pdu pdu, Wire& wire) const {
    const int id = snmp_sess_async_send(session, pdu.get(), take, &wire);
    if (id == 0) return std::nullopt;
    static_cast<void>(pdu.release());
    return id;
  }
};

Wire::Wire(int fd, const Tree& tree, Answered answered, Asked asked)
    : fd_(fd),
      tree_(tree),
      answered_(std::move(answered)),
      asked_(std::move(asked)),
      library_(std::make_unique<Library>()) {
  netsnmp_session session;
  snmp_sess_init(&session);
  session.version = kAgentX1;
  session.retries = 0;
  session.timeout = kNever;
  session.flags |= SNMP_FLAGS_STREAM_SOCKET;
  session.callback = Library::take;
  session.callback_magic = this;
  auto* const transport = static_cast<netsnmp_transport*>(std::calloc(1, sizeof(netsnmp_transport)));
  if (transport == nullptr) {
    ::close(fd);
    throw std::bad_alloc();
  }
  static const oid kDomain[] = {1, 3, 6, 1, 4, 1, 8072, 3, 3, 1};  // that of Unix sockets in the library
  transport->domain = kDomain;
  transport->domain_length = static_cast<int>(std::size(kDomain));
  transport->sock = fd;
  transport->flags = NETSNMP_TRANSPORT_FLAG_STREAM;
  transport->data = this;
  transport->msgMaxSize = 0x7fffffff;
  transport->f_recv = Library::receive;
  transport->f_send = Library::send;
  transport->f_close = Library::close;
  library_->session = snmp_sess_add_ex(&session, transport, nullptr, agentx_parse, nullptr, nullptr,
                                       agentx_realloc_build, agentx_check_packet, nullptr);
  if (library_->session == nullptr) throw std::runtime_error("libsnmp cannot make a session");
}

Wire::~Wire() {
  if (library_->session != nullptr) snmp_sess_close(library_->session);
}

bool Wire::read() {
  netsnmp_large_fd_set ready;
  netsnmp_large_fd_set_init(&ready, fd_ + 1);
  NETSNMP_LARGE_FD_ZERO(&ready);
  NETSNMP_LARGE_FD_SET(fd_, &ready);
  const int failed = snmp_sess_read2(library_->session, &ready);
  netsnmp_large_fd_set_cleanup(&ready);
  return failed == 0 && !is_over_;
}

bool Wire::write() {
  while (!waiting_.empty()) {
    const ssize_t sent = ::send(fd_, waiting_.data(), waiting_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent < 0) return errno == EAGAIN || errno == EINTR;
    waiting_.erase(0, static_cast<std::size_t>(sent));
  }
  return true;
}

std::optional<long> Wire::open(const std::string& name) {
  Pdu pdu = make_pdu(PduType::kOpen);
  add(*pdu, Oid{0, 0}, ASN_OCTET_STR, name.data(), name.size());
  return library_->send(std::move(pdu), *this);
}

std::optional<long> Wire::add_subtree(const Oid& subtree) {
  Pdu pdu = make_pdu(PduType::kRegister);
  pdu->sessid = session_id_;
  pdu->priority = kUsualPriority;
  add(*pdu, subtree, ASN_NULL, nullptr, 0);
  return library_->send(std::move(pdu), *this);
}

std::optional<long> Wire::ping() {
  Pdu pdu = make_pdu(PduType::kPing);
  pdu->sessid = session_id_;
  return library_->send(std::move(pdu), *this);
}

std::optional<long> Wire::notify(const Oid& type, const std::vector<Variable>& variables) {
  Pdu pdu = make_pdu(PduType::kNotify);
  pdu->sessid = session_id_;
  const std::vector<oid> arcs = to_library(type);
  add(*pdu, snmp_trap_oid(), ASN_OBJECT_ID, arcs.data(), arcs.size() * sizeof(oid));
  for (const Variable& one : variables) add_value(*pdu, one.name, one.value);
  return library_->send(std::move(pdu), *this);
}

void Wire::say_goodbye() {
  Pdu pdu = make_pdu(PduType::kClose);
  pdu->sessid = session_id_;
  pdu->errstat = kShutdown;
  library_->send(std::move(pdu), *this);
  write();
}

void Wire::answer(void* request) {
  const auto& asked = *static_cast<const netsnmp_pdu*>(request);
  if (static_cast<PduType>(asked.command) == PduType::kCleanupSet) return;
  Pdu pdu = make_pdu(PduType::kResponse);
  pdu->sessid = asked.sessid;
  pdu->transid = asked.transid;
  pdu->reqid = asked.reqid;
  pdu->msgid = asked.msgid;
  pdu->flags |= asked.flags & kNetworkByteOrder;
  if (asked.sessid != session_id_) {
    pdu->errstat = kNotOpen;
  } else if ((asked.flags & kOtherContext) != 0) {
    pdu->errstat = kUnsupportedContext;
    pdu->errindex = 1;
  } else {
    switch (static_cast<PduType>(asked.command)) {
      case PduType::kGet:
      case PduType::kGetNext:
      case PduType::kGetBulk:
        fill(tree_, asked, *pdu);
        break;
      case PduType::kClose:
        is_over_ = true;
        return;
      default:
        pdu->errstat = kNotWritable;
        pdu->errindex = 1;
        break;
    }
  }
  if (snmp_sess_send(library_->session, pdu.get()) != 0) {
    static_cast<void>(pdu.release());
  } else {
    is_over_ = true;
  }
}

}  // namespace polaiga::snmp
