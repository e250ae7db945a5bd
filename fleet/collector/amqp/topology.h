// The exchange, the queues and the bindings through which messages of controllers come.
#pragma once

#include <string>

#include "amqp/connection.h"

namespace polaiga::fleet {

// To which the broker's MQTT translates topics, and takes from what goes down.
inline constexpr const char* kTopics = "amq.topic";
// Spreads messages over the inboxes, by a hash of their routing keys. So all of a controller and of one kind are in one
// inbox, in their order.
inline constexpr const char* kExchange = "polaiga.fleet";
// Messages that were not understood, with the reason.
inline constexpr const char* kDeadLetters = "polaiga.dead";
// Every collector reads it, and nobody fills it: the count of its readers is that of the collectors.
inline constexpr const char* kCollectors = "polaiga.collectors";

// polaiga.inbox.0 and so on.
std::string inbox_name(int inbox);
// The lock of who reads it.
std::string holder_name(int inbox);

// Makes what is not there. Where the user may not, all must be there already. Throws BrokerAway and BrokerRefuses,
// which says what is missing.
void make_topology(Connection& connection, int inboxes);

// Whether there are more inboxes than that. Messages would go into them, and nobody would read them. Throws BrokerAway
// and BrokerRefuses.
bool has_more_inboxes(Connection& connection, int inboxes);

}  // namespace polaiga::fleet
