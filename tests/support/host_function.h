#pragma once

// A function of the host that a test puts another in place of: the linker turns calls of NAME into
// calls of __wrap_NAME, which the test defines, and __real_NAME is the host's. tests/CMakeLists.txt
// lists the names.
#define REPLACED_HOST_FUNCTION(name)                                                               \
  extern "C" decltype(name) __real_##name;                                                         \
  extern "C" decltype(name) __wrap_##name;
