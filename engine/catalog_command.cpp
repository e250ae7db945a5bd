#include "catalog_command.h"

#include <filesystem>

#include "catalog_forms.h"
#include "host_tables.h"

namespace polaiga::engine {
namespace {

std::string in_form(CatalogForm form, std::span<const FoundFilter> filters) {
  switch (form) {
    case CatalogForm::kJson:
      return catalog_as_json(filters);
    case CatalogForm::kMarkdown:
      return catalog_as_markdown(filters);
    default:
      return catalog_as_text(filters);
  }
}

}  // namespace

void catalog(const CatalogOptions& options, Output& output) {
  load_host_tables(options.tables.empty() ? default_tables_directory() : std::filesystem::path(options.tables));
  Output::divert(Others::kDiscarded);
  output.write(in_form(options.form, find_faults()));
  output.flush();
}

}  // namespace polaiga::engine
