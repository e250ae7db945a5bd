#include "filter/library_build.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <polaiga/filters.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <span>
#include <string_view>
#include <system_error>

namespace polaiga::engine {
namespace {

struct Search {
  std::uintptr_t address;  // of something in the library
  std::string build_id;
};

std::string hexadecimal(std::span<const unsigned char> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : bytes) text.append({kDigits[byte / 16U], kDigits[byte % 16U]});
  return text;
}

constexpr std::size_t padded(std::size_t size) { return (size + 3) / 4 * 4; }

// The build id among the notes of a segment; empty when there is none.
std::string build_id_in(std::span<const unsigned char> notes) {
  ElfW(Nhdr) header;
  while (notes.size() >= sizeof header) {
    std::memcpy(&header, notes.data(), sizeof header);
    notes = notes.subspan(sizeof header);
    const std::size_t name = padded(header.n_namesz);
    const std::size_t content = padded(header.n_descsz);
    if (name > notes.size() || content > notes.size() - name) break;
    const bool is_gnu = header.n_namesz == 4 && std::memcmp(notes.data(), ELF_NOTE_GNU, 4) == 0;
    if (is_gnu && header.n_type == NT_GNU_BUILD_ID) return hexadecimal(notes.subspan(name, header.n_descsz));
    notes = notes.subspan(name + content);
  }
  return "";
}

int look_at(dl_phdr_info* object, std::size_t /*size*/, void* argument) {
  auto& search = *static_cast<Search*>(argument);
  const std::span segments(object->dlpi_phdr, object->dlpi_phnum);
  bool is_here = false;
  for (const auto& segment : segments) {
    const std::uintptr_t begin = object->dlpi_addr + segment.p_vaddr;
    is_here =
        is_here || (segment.p_type == PT_LOAD && search.address >= begin && search.address < begin + segment.p_memsz);
  }
  if (!is_here) return 0;
  for (const auto& segment : segments) {
    if (segment.p_type != PT_NOTE || !search.build_id.empty()) continue;
    // The loader tells addresses as numbers.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    const auto* const begin = reinterpret_cast<const unsigned char*>(object->dlpi_addr + segment.p_vaddr);
    search.build_id = build_id_in({begin, segment.p_memsz});
  }
  return 1;
}

// As 1.0.0 of libpolaiga.so.1.0.0, where links lead to.
std::string version_of(const char* file) {
  std::error_code error;
  const std::string name = std::filesystem::canonical(file, error).filename();
  constexpr std::string_view kMark = ".so.";
  const std::size_t mark = name.find(kMark);
  return mark == std::string::npos ? "" : name.substr(mark + kMark.size());
}

}  // namespace

LibraryBuild library_build() {
  // The function's address may be that of a stub in this program, so the loader is asked for the library's own.
  void* const filter = ::dlsym(RTLD_DEFAULT, "process_fan_fault");
  Search search{reinterpret_cast<std::uintptr_t>(filter), ""};
  ::dl_iterate_phdr(look_at, &search);
  Dl_info file = {};
  LibraryBuild build{.build_id = search.build_id, .version = ""};
  if (::dladdr(filter, &file) != 0 && file.dli_fname != nullptr) build.version = version_of(file.dli_fname);
  return build;
}

}  // namespace polaiga::engine
