// What all Redfish resources have alike.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "http/message.h"
#include "redfish/schemas.h"
#include "report/json_object.h"

namespace polaiga::web {

inline constexpr std::string_view kRedfishRoot = "/redfish/v1";

// "/redfish/v1" with more behind it.
std::string redfish_uri(std::string_view more);

// Of the fault log, and of an entry of it.
inline constexpr std::string_view kLogUri = "/redfish/v1/Managers/polaiga/LogServices/FaultLog";
std::string entry_uri(std::string_view id);

// {"@odata.id": ...}
engine::JsonObject link_to(std::string_view uri);

// The path of a target as it was written, or could have been.
std::string uri_of(const Target& target);

// The members that each resource begins with.
engine::JsonObject resource(std::string_view uri, const Schema& schema, std::string_view id, std::string_view name);

// The response with a resource, its ETag, and a link to its schema.
Response resource_response(const Request& request, const engine::JsonObject& body, const Schema& schema);

// The response to a request that has made a resource.
Response created_response(const engine::JsonObject& body, const std::string& uri);

// Which members of a collection are wanted: $skip and $top.
struct MemberRange {
  static constexpr std::size_t kMost = 1000;

  std::size_t skip = 0;
  std::size_t top = kMost;  // never more
  bool is_all = true;       // neither was asked for
};

// Throws Refusal for values that are not right, and for query parameters that begin with $ and that we do not have.
MemberRange read_member_range(const Target& target, std::size_t usual = MemberRange::kMost);

// The same for what is no collection.
void expect_no_range(const Target& target);

// A collection of which `count` members are there. `members` are those of the range, in full or as links.
engine::JsonObject collection(std::string_view uri, const Schema& schema, std::string_view name,
                              const MemberRange& range, std::size_t count, const engine::JsonArray& members);

// The same of links to all the members that these URIs name.
engine::JsonObject collection_of_links(std::string_view uri, const Schema& schema, std::string_view name,
                                       const MemberRange& range, const std::vector<std::string>& uris);

// The Oem member with our own properties. Their type is as in "LogEntry.v1_0_0.Alarm".
engine::JsonObject oem(std::string_view type, const engine::JsonObject& members);

}  // namespace polaiga::web
