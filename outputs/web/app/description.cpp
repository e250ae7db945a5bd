#include "app/description.h"

#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace polaiga::web {
namespace {

using Document = nlohmann::ordered_json;  // keeps the order that people have chosen
using Documents = std::map<std::string, Document, std::less<>>;

constexpr const char* kShared = "openapi.json";
constexpr std::string_view kSchemaEnding = ".schema.json";
constexpr std::string_view kDefinitions = "definitions.schema.json";
constexpr std::string_view kDefined = "/$defs/";
constexpr std::string_view kComponents = "/components/";
constexpr std::string_view kSecuritySchemes = "/components/securitySchemes/";
constexpr std::string_view kSchemas = "/components/schemas/";

Documents parsed(std::span<const EmbeddedFile> files) {
  Documents documents;
  for (const EmbeddedFile& file : files) documents.emplace(file.name, Document::parse(file.content));
  return documents;
}

// In docs/schemas a schema says "definitions.schema.json#/$defs/dn", or "#/$defs/dn" among the definitions, and may
// refer to a part of another file, which is put into its place.
void refer_within(Document& part, const Documents& files) {
  if (part.is_object() && part.contains("$ref")) {
    const auto target = part.at("$ref").get<std::string>();
    const std::size_t hash = target.find('#');
    const std::string file = target.substr(0, hash);
    const std::string place = target.substr(hash + 1);
    if (place.starts_with(kDefined) && (file.empty() || file == kDefinitions)) {
      part["$ref"] = "#" + std::string(kSchemas) + place.substr(kDefined.size());
    } else if (!file.empty()) {
      part.erase("$ref");
      part.update(files.at(file).at(Document::json_pointer(place)));
      refer_within(part, files);
      return;
    }
  }
  if (!part.is_structured()) return;
  for (Document& one : part) refer_within(one, files);
}

// A component, which has the name that its place ends with.
Document component(const std::string& place, const Documents& files) {
  const Document::json_pointer pointer(place);
  const Document& shared = files.find(kShared)->second;
  if (shared.contains(pointer)) return shared.at(pointer);
  if (!place.starts_with(kSchemas)) throw std::logic_error("Nothing is described at " + place);
  const std::string name = place.substr(kSchemas.size());
  const Document& definitions = files.find(kDefinitions)->second.at("$defs");
  Document schema = definitions.contains(name) ? definitions.at(name) : files.at(name + std::string(kSchemaEnding));
  schema.erase("$schema");
  refer_within(schema, files);
  return schema;
}

// Adds the places of components that a part refers to.
void find_references(const Document& part, std::vector<std::string>& places) {
  if (part.is_object() && part.contains("$ref")) {
    const std::string place = part.at("$ref").get<std::string>().substr(1);
    if (place.starts_with(kComponents)) places.push_back(place);
  }
  if (!part.is_structured()) return;
  for (const Document& one : part) find_references(one, places);
}

}  // namespace

Body whole_description(std::string_view frame, std::span<const EmbeddedFile> files) {
  const Documents documents = parsed(files);
  Document description = documents.at(std::string(frame));
  description.at("info").at("version") = POLAIGA_VERSION;
  refer_within(description, documents);
  std::vector<std::string> places;
  find_references(description, places);
  for (const Document& one : description.at("security")) {
    for (const auto& [scheme, scopes] : one.items()) places.push_back(std::string(kSecuritySchemes) + scheme);
  }
  while (!places.empty()) {
    const std::string place = places.back();
    places.pop_back();
    const Document::json_pointer pointer(place);
    if (description.contains(pointer)) continue;
    Document part = component(place, documents);
    find_references(part, places);
    description[pointer] = std::move(part);
  }
  return std::make_shared<const std::string>(description.dump() + "\n");
}

}  // namespace polaiga::web
