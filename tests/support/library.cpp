#include "support/library.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace polaiga::test {

Library::Library() : handle_(dlopen(POLAIGA_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ == nullptr) throw std::runtime_error(dlerror());
}

Library::~Library() {
  dlclose(handle_);
  // If the library stayed loaded, the next test would find the state of this one.
  EXPECT_EQ(dlopen(POLAIGA_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the library was not unloaded";
}

void* Library::symbol(const char* name) const {
  void* const address = dlsym(handle_, name);
  if (address == nullptr) throw std::runtime_error(std::string("not exported: ") + name);
  return address;
}

}  // namespace polaiga::test
