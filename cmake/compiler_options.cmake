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

# No path of the machine that builds stands in what is released, in messages, assertions or elsewhere. Compilers
# behind a cache may be told relative paths, which have to look the same.
file(RELATIVE_PATH sources_from_build ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR})
string(REGEX REPLACE "/$" "" sources_from_build "${sources_from_build}")
target_compile_options(project_options INTERFACE $<$<CONFIG:Release>:
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=build
  -ffile-prefix-map=${sources_from_build}=.>)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

# What Debian hardens its programs with.
if(FILTER_PROCESSOR_HARDENING AND CMAKE_SYSTEM_NAME STREQUAL "Linux" AND NOT FILTER_PROCESSOR_SANITIZE)
  include(CheckCXXCompilerFlag)
  include(CheckCXXSourceCompiles)
  include(CheckPIESupported)
  check_pie_supported()
  set(CMAKE_POSITION_INDEPENDENT_CODE ON)
  set(hardening)
  macro(harden_where_known flag)
    string(MAKE_C_IDENTIFIER FILTER_PROCESSOR_HAS${flag} known)
    set(CMAKE_REQUIRED_FLAGS -Werror) # or what a compiler only warns of counts as known to it
    check_cxx_compiler_flag(${flag} ${known})
    if(${known})
      list(APPEND hardening ${flag})
    endif()
  endmacro()
  harden_where_known(-fstack-protector-strong)
  harden_where_known(-fstack-clash-protection)
  # Checked calls of the C library, which takes optimised code; compilers and flags that ask for more get it.
  unset(FILTER_PROCESSOR_UNFORTIFIED CACHE) # of flags that may have changed
  set(CMAKE_REQUIRED_FLAGS -O2)
  check_cxx_source_compiles("
#if defined(_FORTIFY_SOURCE) && _FORTIFY_SOURCE >= 2
#error
#endif
int main() { return 0; }" FILTER_PROCESSOR_UNFORTIFIED)
  if(FILTER_PROCESSOR_UNFORTIFIED)
    list(APPEND hardening $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE>
      $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=2>)
  endif()
  list(APPEND hardening -Wformat -Werror=format-security)
  harden_where_known(-fcf-protection) # of x86 alone
  unset(CMAKE_REQUIRED_FLAGS)
  target_compile_options(project_options INTERFACE "$<$<NOT:$<CONFIG:Debug>>:${hardening}>")
  target_link_options(project_options INTERFACE $<$<NOT:$<CONFIG:Debug>>:-Wl,-z,relro,-z,now>)
endif()
