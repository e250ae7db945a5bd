// `polaiga catalog`: every fault that the library can raise.
#pragma once

#include <cstdint>
#include <string>

#include "output.h"

namespace polaiga::engine {

enum class CatalogForm : std::uint8_t { kText, kJson, kMarkdown };

struct CatalogOptions {
  CatalogForm form = CatalogForm::kText;
  std::string tables;  // directory; empty: the program's own
};

// Throws as replay() does.
void catalog(const CatalogOptions& options, Output& output);

}  // namespace polaiga::engine
