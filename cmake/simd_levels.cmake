# The instruction levels that kernels are compiled for, from the same source. All else that knows levels
# is made of this list: the objects, `simd::Level` and the names, and the test of the processor.
#
# add_level(<name> BYTES <of the widest vector register> [FEATURES <of the processor>...] [FLAGS ...])
# adds a level above those before it. It has their features too; each feature is a -m<feature> of the
# compiler and a word that its __builtin_cpu_supports knows. The first level is what every processor of
# the family has.
set(FILTER_PROCESSOR_LEVELS)
set(simd_features)
macro(add_level name)
  cmake_parse_arguments(simd_${name} "" "BYTES" "FEATURES;FLAGS" ${ARGN})
  list(APPEND simd_features ${simd_${name}_FEATURES})
  set(simd_${name}_FEATURES ${simd_features})
  list(APPEND FILTER_PROCESSOR_LEVELS ${name})
endmacro()

add_level(baseline BYTES 16) # SSE2 on x86-64, NEON on 64-bit ARM, SIMD128 on WebAssembly
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
  add_level(sse4 BYTES 16 FEATURES ssse3 sse4.1 popcnt) # small processors for robots and gates
  add_level(avx2 BYTES 32 FEATURES avx2 bmi bmi2)
  add_level(avx512 BYTES 64 FEATURES avx512f avx512bw avx512vl avx512dq
    FLAGS -mprefer-vector-width=512)
endif()

# The list in C++: simd/level_list.h and the source that asks the processor.
set(simd_generated ${PROJECT_BINARY_DIR}/generated)
set(level_detection)
foreach(level IN LISTS FILTER_PROCESSOR_LEVELS)
  set(needs true)
  foreach(feature IN LISTS simd_${level}_FEATURES)
    string(APPEND needs " && __builtin_cpu_supports(\"${feature}\")")
  endforeach()
  string(APPEND level_detection "  case Level::${level}:\n    return ${needs};\n")
endforeach()
list(JOIN FILTER_PROCESSOR_LEVELS ", " level_enumerators)
list(TRANSFORM FILTER_PROCESSOR_LEVELS REPLACE "(.+)" "Level::\\1" OUTPUT_VARIABLE level_values)
list(JOIN level_values ", " level_values)
list(TRANSFORM FILTER_PROCESSOR_LEVELS REPLACE "(.+)" "\"\\1\"" OUTPUT_VARIABLE level_names)
list(JOIN level_names ", " level_names)
foreach(file IN ITEMS level_list.h level_detection.cpp)
  configure_file(src/simd/${file}.in ${simd_generated}/simd/${file} @ONLY)
endforeach()

# add_kernels(<target> <source>...): compiles the sources at every level; what links <target>, an
# object library, links them all.
function(add_kernels target)
  foreach(level IN LISTS FILTER_PROCESSOR_LEVELS)
    set(library ${target}_${level})
    list(TRANSFORM simd_${level}_FEATURES PREPEND -m OUTPUT_VARIABLE feature_flags)
    add_library(${library} OBJECT ${ARGN})
    target_link_libraries(${library} PRIVATE project_options)
    target_include_directories(${library} PRIVATE ${PROJECT_SOURCE_DIR}/src ${simd_generated})
    target_compile_definitions(${library} PRIVATE
      FILTER_PROCESSOR_LEVEL=${level} FILTER_PROCESSOR_VECTOR_BYTES=${simd_${level}_BYTES})
    # Short loops take up to half as long again where they lie badly in the lines that instructions
    # are fetched in: what a kernel costs must not depend on what the linker puts before it.
    target_compile_options(${library} PRIVATE
      -fno-exceptions -falign-functions=64 ${feature_flags} ${simd_${level}_FLAGS})
    set_target_properties(${library} PROPERTIES
      POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    target_sources(${target} INTERFACE $<TARGET_OBJECTS:${library}>)
  endforeach()
endfunction()
