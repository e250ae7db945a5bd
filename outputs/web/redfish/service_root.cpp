#include "redfish/service_root.h"

#include "redfish/resource.h"
#include "redfish/session_service.h"

namespace polaiga::web {

using engine::JsonArray;
using engine::JsonObject;

namespace {

// What the service root leads to.
constexpr const char* kServices[] = {"Systems", "Chassis", "Managers", "Registries", "EventService", "SessionService"};

}  // namespace

JsonObject service_root() {
  JsonObject features;
  features.add("ExcerptQuery", false)
      .add("FilterQuery", false)
      .add("OnlyMemberQuery", false)
      .add("SelectQuery", false)
      .add("TopSkipQuery", true)
      .add("MultipleHTTPRequests", true)
      .add("IncludeOriginOfConditionQuery", false)
      .add("ExpandQuery",
           JsonObject().add("ExpandAll", false).add("Levels", false).add("Links", false).add("NoLinks", false));
  JsonObject body = resource("/redfish/v1/", schemas::kServiceRoot, "RootService", "polaiga");
  body.add("RedfishVersion", "1.21.0").add("Product", "polaiga").add("ProtocolFeaturesSupported", features);
  for (const char* const name : kServices) body.add(name, link_to(redfish_uri("/") + name));
  body.add("Links", JsonObject()
                        .add("Sessions", link_to(sessions_uri()))
                        .add("ManagerProvidingService", link_to(redfish_uri("/Managers/polaiga"))));
  return body;
}

JsonObject odata_document() {
  JsonArray list;
  const auto add = [&](const std::string& name, const std::string& uri) {
    list.add(JsonObject().add("name", name).add("kind", "Singleton").add("url", uri));
  };
  add("Service", "/redfish/v1/");
  for (const char* const name : kServices) add(name, redfish_uri("/") + name);
  add("Sessions", sessions_uri());
  return JsonObject().add("@odata.context", redfish_uri("/$metadata")).add("value", list);
}

std::string metadata_document() {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<edmx:Edmx xmlns:edmx=\"http://docs.oasis-open.org/odata/ns/edmx\" Version=\"4.0\">\n";
  for (const Schema& schema : schemas::kAll) {
    const std::string name = schema.name;
    text += "  <edmx:Reference Uri=\"http://redfish.dmtf.org/schemas/v1/" + name + "_v1.xml\">\n";
    text += "    <edmx:Include Namespace=\"" + name + "\"/>\n";
    if (schema.versioned() != name) text += "    <edmx:Include Namespace=\"" + schema.versioned() + "\"/>\n";
    text += "  </edmx:Reference>\n";
  }
  text +=
      "  <edmx:Reference Uri=\"http://redfish.dmtf.org/schemas/v1/RedfishExtensions_v1.xml\">\n"
      "    <edmx:Include Namespace=\"RedfishExtensions.v1_0_0\" Alias=\"Redfish\"/>\n"
      "  </edmx:Reference>\n"
      "  <edmx:DataServices>\n"
      "    <Schema xmlns=\"http://docs.oasis-open.org/odata/ns/edm\" Namespace=\"Service\">\n"
      "      <EntityContainer Name=\"Service\" Extends=\"" +
      schemas::kServiceRoot.versioned() +
      ".ServiceContainer\"/>\n"
      "    </Schema>\n"
      "  </edmx:DataServices>\n"
      "</edmx:Edmx>\n";
  return text;
}

}  // namespace polaiga::web
