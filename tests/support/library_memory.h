// The writable memory of a loaded library, to be saved, restored and compared. The
// library holds its state there and nowhere else: it has no heap.
//
// The address sanitizer puts half a megabyte of its own among the variables with an
// initial value. With it, only the variables that begin as zero are covered.
#pragma once

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <vector>

namespace polaiga::test {

class LibraryMemory {
 public:
  using Word = ElfW(Addr);
  using Image = std::vector<Word>;

#ifdef __SANITIZE_ADDRESS__
  static constexpr bool kWithInitialValues = false;
#else
  static constexpr bool kWithInitialValues = true;
#endif

  // The memory of the library that defines what is at this address.
  explicit LibraryMemory(const void* address) {
    Dl_info info;
    if (::dladdr(address, &info) != 0) base_ = reinterpret_cast<ElfW(Addr)>(info.dli_fbase);
    ::dl_iterate_phdr(find, this);
    if (size_ == 0) throw std::runtime_error("the library has no writable memory");
  }

  std::size_t size() const { return size_; }  // in words

  // Both copy word by word without the address sanitizer, since that forbids to
  // read the gaps that it leaves between variables.
  __attribute__((no_sanitize("address"))) void save(Image& image) const {
    image.resize(size_);
    Word* const to = image.data();
    for (std::size_t i = 0; i < size_; ++i) to[i] = begin_[i];
  }
  __attribute__((no_sanitize("address"))) void restore(const Image& image) {
    const Word* const from = image.data();
    for (std::size_t i = 0; i < size_; ++i) begin_[i] = from[i];
  }

 private:
  // Finds the variables: what is writable and lies behind the part that the loader
  // makes read-only once it has relocated it.
  static int find(dl_phdr_info* object, std::size_t /*size*/, void* self) {
    auto& found = *static_cast<LibraryMemory*>(self);
    if (object->dlpi_addr != found.base_) return 0;
    ElfW(Addr) begin = 0;
    ElfW(Addr) end = 0;
    for (int i = 0; i < object->dlpi_phnum; ++i) {
      const auto& part = object->dlpi_phdr[i];
      if (part.p_type == PT_LOAD && (part.p_flags & PF_W) != 0) {
        begin = std::max(begin, part.p_vaddr + (kWithInitialValues ? 0 : part.p_filesz));
        end = std::max(end, part.p_vaddr + part.p_memsz);
      }
      if (part.p_type == PT_GNU_RELRO) begin = std::max(begin, part.p_vaddr + part.p_memsz);
    }
    begin = (begin + sizeof(Word) - 1) / sizeof(Word) * sizeof(Word);
    found.begin_ = reinterpret_cast<volatile Word*>(found.base_ + begin);
    found.size_ = end > begin ? (end - begin) / sizeof(Word) : 0;
    return 1;
  }

  ElfW(Addr) base_ = 0;
  volatile Word* begin_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace polaiga::test
