#include "ledger/seal.h"

#include <algorithm>
#include <array>

namespace polaiga::engine {
namespace {

const std::uint8_t* data_of(std::string_view bytes) { return reinterpret_cast<const std::uint8_t*>(bytes.data()); }

std::string_view text_of(const Seal& seal) { return {reinterpret_cast<const char*>(seal.data()), seal.size()}; }

Seal close_digest(sha256_ctx& sha) {
  Seal seal{};
  sha256_digest(&sha, seal.size(), seal.data());
  return seal;
}

}  // namespace

Seal setting_digest(const HostTables& tables, const LibraryBuild& build) {
  sha256_ctx sha;
  sha256_init(&sha);
  for (const std::string* text : {&build.build_id, &build.version, &tables.nm, &tables.cmc, &tables.drive_bp}) {
    std::string size;
    columns::append_value(size, text->size());
    sha256_update(&sha, size.size(), data_of(size));
    sha256_update(&sha, text->size(), data_of(*text));
  }
  return close_digest(sha);
}

BatchSeal::BatchSeal(std::string_view ledger_id, const Seal& previous, const Seal& setting) {
  sha256_init(&sha_);
  add_bytes(ledger_id);
  add_bytes(text_of(previous));
  add_bytes(text_of(setting));
}

void BatchSeal::add(EventRow row) {
  row.seal.reset();
  add<EventRow>(row);
}

Seal BatchSeal::close(Sequence first, Sequence last, ChangeNumber changes_before, ChangeNumber changes_through) {
  content_.clear();
  for (const std::int64_t number : {first, last, changes_before, changes_through}) {
    columns::append_value(content_, number);
  }
  add_bytes(content_);
  return close_digest(sha_);
}

void BatchSeal::add_bytes(std::string_view bytes) { sha256_update(&sha_, bytes.size(), data_of(bytes)); }

}  // namespace polaiga::engine
