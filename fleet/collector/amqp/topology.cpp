#include "amqp/topology.h"

#include <vector>

namespace polaiga::fleet {
namespace {

// What controllers send. What goes down to them is no business of a collector's queue.
constexpr const char* kSent[] = {"polaiga.v1.*.*.change", "polaiga.v1.*.*.status", "polaiga.v1.*.*.replayed",
                                 "polaiga.v1.*.*.acted"};

// Each inbox has the same share.
constexpr const char* kWeight = "1";

const std::vector<Argument>& quorum() {
  static const std::vector<Argument> arguments{{.name = "x-queue-type", .text = "quorum"}};
  return arguments;
}

// One reader at a time, also while two collectors believe that the inbox is theirs.
const std::vector<Argument>& quorum_with_one_reader() {
  static const std::vector<Argument> arguments{{.name = "x-queue-type", .text = "quorum"},
                                               {.name = "x-single-active-consumer", .text = {}, .flag = true}};
  return arguments;
}

void make_all(Connection& connection, int inboxes) {
  connection.declare_exchange(kExchange, "x-consistent-hash");
  connection.declare_queue(kDeadLetters, quorum());
  connection.declare_queue(kCollectors, quorum());
  for (int inbox = 0; inbox < inboxes; ++inbox) {
    connection.declare_queue(inbox_name(inbox), quorum_with_one_reader());
    connection.bind_queue(inbox_name(inbox), kExchange, kWeight);
  }
  for (const char* const key : kSent) connection.bind_exchange(kExchange, kTopics, key);
}

void must_have_all(Connection& connection, int inboxes) {
  connection.must_have_exchange(kExchange);
  connection.queue_state(kDeadLetters);
  connection.queue_state(kCollectors);
  for (int inbox = 0; inbox < inboxes; ++inbox) connection.queue_state(inbox_name(inbox));
}

}  // namespace

std::string inbox_name(int inbox) { return "polaiga.inbox." + std::to_string(inbox); }

std::string holder_name(int inbox) { return "polaiga.holder." + std::to_string(inbox); }

void make_topology(Connection& connection, int inboxes) {
  std::string why;
  try {
    make_all(connection, inboxes);
    return;
  } catch (const BrokerRefuses& error) {
    why = error.what();
  }
  try {
    must_have_all(connection, inboxes);
  } catch (const NotHere& error) {
    throw BrokerRefuses(why + ". And what is there is not enough: " + error.what() +
                        ". Give the collector's user the right to configure, or import the definitions");
  }
}

bool has_more_inboxes(Connection& connection, int inboxes) {
  try {
    connection.queue_state(inbox_name(inboxes));
    return true;
  } catch (const NotHere&) {
    return false;
  }
}

}  // namespace polaiga::fleet
