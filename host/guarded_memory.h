#pragma once

#include <cstddef>
#include <cstdint>

namespace gexton_sdk {

#if defined(_WIN32)
inline constexpr bool can_guard_memory = false;
#else
inline constexpr bool can_guard_memory = true;
#endif

/// `size` bytes, not 0, that are followed by a page without access as closely as `alignment` (a
/// power of 2) allows. Throws std::bad_alloc; where memory can't be guarded, always.
uint8_t* allocate_guarded(size_t size, size_t alignment);

/// With the arguments that they were allocated with.
void free_guarded(uint8_t* bytes, size_t size, size_t alignment) noexcept;

} // namespace gexton_sdk
