# WebAssembly with Debian's Emscripten; programs run in Node.js.
set(ENV{NODE_PATH} /usr/share/nodejs) # the modules of Emscripten's own tools
include(${CMAKE_CURRENT_LIST_DIR}/cross_dependencies.cmake)
include(/usr/share/emscripten/cmake/Modules/Platform/Emscripten.cmake)
# Where Node has fetch, Emscripten's loader takes it for a browser's and asks it for files.
set(CMAKE_CROSSCOMPILING_EMULATOR node --no-experimental-fetch)
