#include "redfish/resource.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "http/answers.h"
#include "redfish/errors.h"

namespace polaiga::web {

using engine::JsonArray;
using engine::JsonObject;

namespace {

std::size_t number_of(std::string_view name, std::string_view value) {
  constexpr std::size_t kMostSkipped = 1'000'000'000;
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
  if (error != std::errc() || end != value.data() + value.size() || number > kMostSkipped) {
    throw Refusal(Reason::kQueryValue, {std::string(value), std::string(name), "0 to 1000000000"});
  }
  return number;
}

}  // namespace

std::string redfish_uri(std::string_view more) { return std::string(kRedfishRoot).append(more); }

std::string uri_of(const Target& target) {
  std::string uri;
  for (const std::string& segment : target.path) uri.append("/").append(percent_encoded(segment));
  return uri;
}

std::string entry_uri(std::string_view id) { return std::string(kLogUri).append("/Entries/").append(id); }

JsonObject link_to(std::string_view uri) { return JsonObject().add("@odata.id", uri); }

JsonObject resource(std::string_view uri, const Schema& schema, std::string_view id, std::string_view name) {
  return JsonObject().add("@odata.id", uri).add("@odata.type", "#" + schema.type()).add("Id", id).add("Name", name);
}

Response resource_response(const Request& request, const JsonObject& body, const Schema& schema) {
  Response response = json_content(request, body.line());
  response.headers.emplace_back(
      "Link", "<http://redfish.dmtf.org/schemas/v1/" + schema.versioned() + ".json>; rel=describedby");
  return response;
}

Response created_response(const JsonObject& body, const std::string& uri) {
  return {.status = 201,
          .headers = {{"Content-Type", "application/json"}, {"Cache-Control", "no-store"}, {"Location", uri}},
          .body = std::make_shared<const std::string>(body.line())};
}

MemberRange read_member_range(const Target& target, std::size_t usual) {
  MemberRange range{.top = usual};
  for (const auto& [name, value] : target.query) {
    if (name == "$skip") {
      range.skip = number_of(name, value);
    } else if (name == "$top") {
      range.top = std::min(number_of(name, value), MemberRange::kMost);
    } else if (name.starts_with('$')) {
      throw Refusal(Reason::kQueryUnsupported);
    } else {
      continue;  // parameters of others are of no account, as the protocol has it
    }
    range.is_all = false;
  }
  return range;
}

void expect_no_range(const Target& target) {
  if (!read_member_range(target).is_all) throw Refusal(Reason::kQueryNotHere);
}

JsonObject collection(std::string_view uri, const Schema& schema, std::string_view name, const MemberRange& range,
                      std::size_t count, const JsonArray& members) {
  JsonObject body;
  body.add("@odata.id", uri)
      .add("@odata.type", "#" + schema.type())
      .add("Name", name)
      .add("Members@odata.count", count)
      .add("Members", members);
  // Nobody goes on from a range of no members.
  if (range.top > 0 && count > range.skip && count - range.skip > range.top) {
    std::string next(uri);
    next.append("?$skip=").append(std::to_string(range.skip + range.top));
    next.append("&$top=").append(std::to_string(range.top));
    body.add("Members@odata.nextLink", next);
  }
  return body;
}

JsonObject collection_of_links(std::string_view uri, const Schema& schema, std::string_view name,
                               const MemberRange& range, const std::vector<std::string>& uris) {
  JsonArray members;
  const std::size_t first = std::min(range.skip, uris.size());
  const std::size_t last = first + std::min(range.top, uris.size() - first);
  for (std::size_t i = first; i < last; ++i) members.add(link_to(uris[i]));
  return collection(uri, schema, name, range, uris.size(), members);
}

JsonObject oem(std::string_view type, const JsonObject& members) {
  JsonObject ours;
  ours.add("@odata.type", std::string("#Polaiga").append(type)).add_members_of(members);
  return JsonObject().add("Polaiga", ours);
}

}  // namespace polaiga::web
