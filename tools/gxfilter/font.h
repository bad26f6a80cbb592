// A small built-in bitmap font.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace gxfilter {

inline constexpr uint32_t glyph_width = 5;
inline constexpr uint32_t glyph_height = 8; // seven rows and one below the base line
inline constexpr uint32_t glyph_advance = 6;

/// The columns of a character from left to right, the lowest bit on top; a blank box for characters
/// outside printable ASCII.
const std::array<uint8_t, glyph_width>& glyph(char character);

} // namespace gxfilter
