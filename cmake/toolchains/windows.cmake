# 64-bit Windows with Debian's MinGW-w64; programs run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
# As cmake/platform.cmake has it, for libraries that are built from other sources.
set(CMAKE_C_FLAGS_INIT -Wa,-muse-unaligned-vector-move)
set(CMAKE_CXX_FLAGS_INIT -Wa,-muse-unaligned-vector-move)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/wine.sh)
include(${CMAKE_CURRENT_LIST_DIR}/cross_dependencies.cmake)
