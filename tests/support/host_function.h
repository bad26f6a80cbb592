#pragma once

#include <dlfcn.h>

namespace test {

/// The host's own function behind one that a test has put in its place.
template <typename Function>
Function* host_function(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace test
