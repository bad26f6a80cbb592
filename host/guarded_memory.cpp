#include "guarded_memory.h"

#include <new>

#if !defined(_WIN32)
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace gexton_sdk {

#if defined(_WIN32)

uint8_t* allocate_guarded(size_t, size_t) {
  throw std::bad_alloc();
}

void free_guarded(uint8_t*, size_t, size_t) noexcept {}

#else

namespace {

constexpr size_t rounded_up(size_t size, size_t multiple) {
  return (size + multiple - 1) / multiple * multiple;
}

/// The pages that hold a buffer: accessible bytes, then one page that is not.
struct Pages {
  explicit Pages(size_t size)
      : page(static_cast<size_t>(sysconf(_SC_PAGESIZE))), accessible(rounded_up(size, page)) {}

  size_t page;
  size_t accessible;
};

} // namespace

uint8_t* allocate_guarded(size_t size, size_t alignment) {
  const Pages pages(size);
  void* const start =
      mmap(nullptr, pages.accessible + pages.page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (start == MAP_FAILED)
    throw std::bad_alloc();
  if (mprotect(start, pages.accessible, PROT_READ | PROT_WRITE) != 0) {
    munmap(start, pages.accessible + pages.page);
    throw std::bad_alloc();
  }
  return static_cast<uint8_t*>(start) + pages.accessible - rounded_up(size, alignment);
}

void free_guarded(uint8_t* bytes, size_t size, size_t alignment) noexcept {
  const Pages pages(size);
  munmap(bytes + rounded_up(size, alignment) - pages.accessible, pages.accessible + pages.page);
}

#endif

} // namespace gexton_sdk
