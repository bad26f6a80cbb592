#include "plugin/platform.h"

#if defined(_WIN32)

#include <windows.h>

namespace filter_processor::platform {

double performance_milliseconds() {
  LARGE_INTEGER frequency;
  LARGE_INTEGER count;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&count);
  return 1000.0 * static_cast<double>(count.QuadPart) / static_cast<double>(frequency.QuadPart);
}

} // namespace filter_processor::platform

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH)
    DisableThreadLibraryCalls(module);
  return TRUE;
}

#else

#include <chrono>

namespace filter_processor::platform {

double performance_milliseconds() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration<double, std::milli>(now).count();
}

} // namespace filter_processor::platform

#endif
