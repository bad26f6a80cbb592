# What differs between platforms: which are refused, how libraries are linked and what stands in them.
include(CheckCXXSourceCompiles)

if(CMAKE_CXX_BYTE_ORDER STREQUAL "BIG_ENDIAN")
  message(FATAL_ERROR "FilterProcessor is for little-endian processors: pixels and records are "
    "handled as they lie in memory. This compiler makes big-endian code.")
endif()
# Rows of pixels and records begin at any even or odd address.
unset(FILTER_PROCESSOR_UNALIGNED_ACCESS CACHE) # of flags that may have changed
check_cxx_source_compiles("
#if !defined(__x86_64__) && !defined(__wasm__) && !(defined(__aarch64__) && defined(__ARM_FEATURE_UNALIGNED))
#error This processor, or this compiler's use of it, is not known to load from any address.
#endif
int main() { return 0; }" FILTER_PROCESSOR_UNALIGNED_ACCESS)
# GCC says of itself that it loads from any address even where it was told not to.
string(TOUPPER "${CMAKE_BUILD_TYPE}" build_type)
if(NOT FILTER_PROCESSOR_UNALIGNED_ACCESS OR
   "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${build_type}}" MATCHES "-mstrict-align")
  message(FATAL_ERROR "FilterProcessor is for processors that load from any address: x86-64, 64-bit "
    "ARM (without -mstrict-align) and WebAssembly. docs/platforms.md has more.")
endif()

# The systems that the tools know: sources that end in its name are for one alone.
set(FILTER_PROCESSOR_SYSTEM posix)
if(WIN32)
  set(FILTER_PROCESSOR_SYSTEM windows)
endif()

if(WIN32)
  # Nothing of the compiler's is needed beside the libraries and programs.
  add_link_options(-static)
  # Files that are made twice from the same sources are the same.
  add_link_options(-Wl,--no-insert-timestamp)
  # Released without symbols by the linker itself: `strip` would write the time into them again.
  add_link_options($<$<CONFIG:Release>:-s>)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # The stack is aligned to 16 bytes only, and GCC trusts what it spills of wide registers to be aligned.
    add_compile_options(-Wa,-muse-unaligned-vector-move)
  endif()
elseif(EMSCRIPTEN)
  # Exceptions of the C++ runtime; filters use them where memory runs out or a number is none.
  add_compile_options(-fexceptions -msimd128)
  add_link_options(-fexceptions -sALLOW_MEMORY_GROWTH -sEXIT_RUNTIME)
endif()

# finish_library(<target> <what it is> [EXPORTS <version script>]): names a library that hosts load as the
# platform's users expect it, and makes it keep to itself what is not for them.
function(finish_library target description)
  cmake_parse_arguments(library "" "EXPORTS" "" ${ARGN})
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINKER_LANGUAGE CXX
    BUILD_RPATH "$ORIGIN" INSTALL_RPATH "$ORIGIN")
  if(EMSCRIPTEN)
    # By default its linker leaves out what catches exceptions.
    target_link_options(${target} INTERFACE -fexceptions)
  endif()
  if(NOT BUILD_SHARED_LIBS)
    return()
  endif()
  if(WIN32)
    # Exported is what the headers mark, and nothing else.
    set_target_properties(${target} PROPERTIES PREFIX "")
    describe_file(${target} "${description}")
  elseif(library_EXPORTS)
    # The standard library's templates are visible whatever the compiler is told; the linker hides them.
    # Every plug-in exports the same ten names: whoever comes first in the process, calls and records of
    # this one stay with its own. What it leaves undefined, the host's functions, is not bound by this.
    target_link_options(${target} PRIVATE
      -Wl,--version-script=${library_EXPORTS} -Wl,-Bsymbolic-functions)
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${library_EXPORTS})
    if(NOT FILTER_PROCESSOR_SANITIZE)
      target_link_options(${target} PRIVATE -Wl,--no-undefined)
    endif()
  endif()
endfunction()

# needs_cxx_runtime(<archive>): programs in C that link it, installed, link this besides.
function(needs_cxx_runtime target)
  foreach(library IN LISTS cxx_runtime)
    target_link_libraries(${target} INTERFACE $<INSTALL_INTERFACE:${library}>)
  endforeach()
endfunction()

# describe_file(<target> <what it is>): what Windows shows of a library's or a program's file; programs
# take and give text in UTF-8 there as everywhere else.
function(describe_file target description)
  if(NOT WIN32)
    return()
  endif()
  get_target_property(type ${target} TYPE)
  set(file_type VFT_DLL)
  set(file_name ${target}.dll)
  set(manifest)
  if(type STREQUAL "EXECUTABLE")
    set(file_type VFT_APP)
    set(file_name ${target}.exe)
    set(manifest "1 RT_MANIFEST \"${PROJECT_SOURCE_DIR}/cmake/utf8.manifest\"")
  endif()
  string(REPLACE "." "," version_words ${PROJECT_VERSION},0)
  set(resource ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${resource} @ONLY)
  target_sources(${target} PRIVATE ${resource})
endfunction()
