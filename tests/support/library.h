// The shipped library, loaded as an engine loads it.
#pragma once

#include <polaiga/filters.h>

namespace polaiga::test {

// A freshly loaded library: everything that it remembers is zero. It is unloaded, and
// forgets everything, when the object is destroyed.
class Library {
 public:
  Library();
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  // Address of an exported name; the test fails when there is none.
  void* symbol(const char* name) const;

  template <class T>
  T* get(const char* name) const {
    return reinterpret_cast<T*>(symbol(name));
  }

 private:
  void* handle_;
};

}  // namespace polaiga::test
