#include "api/description.h"

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

namespace polaiga::web {
namespace {

using Document = nlohmann::ordered_json;  // keeps the order that people have chosen
using Documents = std::map<std::string, Document, std::less<>>;

constexpr const char* kFrame = "openapi.json";
constexpr std::string_view kSchemaEnding = ".schema.json";
constexpr std::string_view kDefinitions = "definitions.schema.json";
constexpr std::string_view kDefined = "/$defs/";

// What answers are made of. The others are there because these refer to them.
constexpr std::string_view kAnswers[] = {"active",      "catalog", "explain", "history",
                                         "maintenance", "missed",  "stats",   "tail"};

Documents parsed_files() {
  Documents documents;
  for (const EmbeddedFile& file : description_files()) {
    documents.emplace(file.name, Document::parse(file.content));
  }
  return documents;
}

// In docs/schemas a schema says "definitions.schema.json#/$defs/dn", or "#/$defs/dn" among the definitions, and may
// refer to a part of another file, which is put into its place.
void refer_within(Document& schema, const Documents& files) {
  if (schema.is_object() && schema.contains("$ref")) {
    const auto target = schema.at("$ref").get<std::string>();
    const std::size_t hash = target.find('#');
    const std::string file = target.substr(0, hash);
    const std::string place = target.substr(hash + 1);
    if (place.starts_with(kDefined) && (file.empty() || file == kDefinitions)) {
      schema["$ref"] = "#/components/schemas/" + place.substr(kDefined.size());
    } else {
      schema.erase("$ref");
      schema.update(files.at(file).at(Document::json_pointer(place)));
    }
  }
  if (!schema.is_structured()) return;
  for (Document& part : schema) refer_within(part, files);
}

void add_schema(Document& schemas, const std::string& name, Document schema, const Documents& files) {
  schema.erase("$schema");
  refer_within(schema, files);
  schemas[name] = std::move(schema);
}

}  // namespace

Body api_description() {
  const Documents files = parsed_files();
  Document description = files.at(kFrame);
  description.at("info").at("version") = POLAIGA_VERSION;
  Document& schemas = description.at("components").at("schemas");
  for (const std::string_view answer : kAnswers) {
    const std::string name(answer);
    add_schema(schemas, name, files.at(name + std::string(kSchemaEnding)), files);
  }
  for (const auto& [name, schema] : files.find(kDefinitions)->second.at("$defs").items()) {
    add_schema(schemas, name, schema, files);
  }
  return std::make_shared<const std::string>(description.dump() + "\n");
}

}  // namespace polaiga::web
