# Kernels are compiled once for each instruction level of the target processor family, from the same
# source; src/simd/level.h tells the levels apart and picks one at load.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
  set(FILTER_PROCESSOR_LEVELS baseline avx2 avx512)
  target_compile_definitions(project_options INTERFACE FILTER_PROCESSOR_X86_LEVELS)
else()
  set(FILTER_PROCESSOR_LEVELS baseline)
endif()

set(simd_flags_baseline "")
set(simd_flags_avx2 -mavx2 -mbmi -mbmi2 -mpopcnt)
set(simd_flags_avx512 ${simd_flags_avx2} -mavx512f -mavx512bw -mavx512vl -mavx512dq
    -mprefer-vector-width=512)
if(WIN32 AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # The Windows ABI aligns the stack to 16 bytes only and GCC trusts wide spills to be aligned.
  list(APPEND simd_flags_avx2 -Wa,-muse-unaligned-vector-move)
  list(APPEND simd_flags_avx512 -Wa,-muse-unaligned-vector-move)
endif()
# Bytes of the widest vector register of the level.
set(simd_bytes_baseline 16)
set(simd_bytes_avx2 32)
set(simd_bytes_avx512 64)

# add_kernels(<target> <source>...): compiles the sources at every level; what links <target>, an
# object library, links them all.
function(add_kernels target)
  foreach(level IN LISTS FILTER_PROCESSOR_LEVELS)
    set(library ${target}_${level})
    add_library(${library} OBJECT ${ARGN})
    target_link_libraries(${library} PRIVATE project_options)
    target_include_directories(${library} PRIVATE ${PROJECT_SOURCE_DIR}/src)
    target_compile_definitions(${library} PRIVATE
      FILTER_PROCESSOR_LEVEL=${level} FILTER_PROCESSOR_VECTOR_BYTES=${simd_bytes_${level}})
    target_compile_options(${library} PRIVATE -fno-exceptions ${simd_flags_${level}})
    set_target_properties(${library} PROPERTIES
      POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    target_sources(${target} INTERFACE $<TARGET_OBJECTS:${library}>)
  endforeach()
endfunction()
