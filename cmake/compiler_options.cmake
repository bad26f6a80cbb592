# Options that every target of this project shares, as the interface target `project_options`.
add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>
  # A fused multiply-add rounds once where the filters' arithmetic rounds twice.
  -ffp-contract=off
  # Vector types wider than the baseline's registers are passed only inside one translation unit.
  $<$<COMPILE_LANG_AND_ID:CXX,GNU,Clang>:-Wno-psabi>
  # GCC 12 sees overlapping copies in std::string's operator+ where there are none.
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>)

if(FILTER_PROCESSOR_SANITIZE)
  target_compile_options(project_options INTERFACE
    -fsanitize=${FILTER_PROCESSOR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
    # Twice the time to compile unrolled kernels: bad addresses are seen where they are read.
    -fno-sanitize=pointer-overflow
    # In instrumented code, of the standard library too, GCC loses sight of what is initialised.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(project_options INTERFACE -fsanitize=${FILTER_PROCESSOR_SANITIZE})
endif()

if(FILTER_PROCESSOR_FUZZ)
  # The libraries report their coverage; only the fuzz targets get libFuzzer's main.
  target_compile_options(project_options INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(project_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# No path of the machine that builds stands in what is released, in messages, assertions or elsewhere.
target_compile_options(project_options INTERFACE $<$<CONFIG:Release>:
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=build>)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

# What Debian hardens its programs with; docs/packaging.md has what it costs.
if(FILTER_PROCESSOR_HARDENING AND CMAKE_SYSTEM_NAME STREQUAL "Linux" AND NOT FILTER_PROCESSOR_SANITIZE)
  include(CheckPIESupported)
  check_pie_supported()
  set(CMAKE_POSITION_INDEPENDENT_CODE ON)
  target_compile_options(project_options INTERFACE $<$<CONFIG:Release>:
    -fstack-protector-strong -fstack-clash-protection
    -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -Wformat -Werror=format-security>)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
    target_compile_options(project_options INTERFACE $<$<CONFIG:Release>:-fcf-protection>)
  endif()
  target_link_options(project_options INTERFACE $<$<CONFIG:Release>:-Wl,-z,relro,-z,now>)
endif()
