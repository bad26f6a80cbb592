// The compiler's C library on Windows knows no UTF-8, and std::filesystem::path converts texts with
// it. Programs that link this convert UTF-8 instead, which is what they take, give and keep in
// files: the linker puts __wrap_mbrtowc in the place of mbrtowc.
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cwchar>

namespace {

constexpr size_t invalid = static_cast<size_t>(-1);
constexpr size_t incomplete = static_cast<size_t>(-2);

/// The bytes of a character that begins so; 0 where none does.
size_t length_of(uint8_t first) {
  if (first < 0x80)
    return 1;
  if (first >= 0xC2 && first < 0xE0)
    return 2;
  if (first >= 0xE0 && first < 0xF0)
    return 3;
  return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

bool is_valid(uint32_t character, size_t length) {
  constexpr uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool is_surrogate = character >= 0xD800 && character < 0xE000;
  return character >= least[length] && character <= 0x10FFFF && !is_surrogate;
}

} // namespace

extern "C" size_t __wrap_mbrtowc(wchar_t* to, const char* from, size_t size, mbstate_t* state) {
  static mbstate_t own_state{};
  mbstate_t& second_half = state != nullptr ? *state : own_state;
  if (from == nullptr)
    return 0;
  if (size == 0)
    return incomplete;
  // Characters beyond 16 bits give two halves: the first takes three bytes, the second the last
  // one.
  if (second_half != 0) {
    if (to != nullptr)
      *to = static_cast<wchar_t>(second_half);
    second_half = 0;
    return 1;
  }
  const auto first = static_cast<uint8_t>(*from);
  const size_t length = length_of(first);
  uint32_t character = length == 1 ? first : first & (0x7FU >> length);
  for (size_t i = 1; i < length; ++i) {
    if (i == size)
      return incomplete;
    const auto next = static_cast<uint8_t>(from[i]);
    if ((next & 0xC0) != 0x80) {
      errno = EILSEQ;
      return invalid;
    }
    character = character << 6 | (next & 0x3FU);
  }
  if (length == 0 || !is_valid(character, length)) {
    errno = EILSEQ;
    return invalid;
  }
  const bool is_pair = character >= 0x10000;
  if (is_pair)
    second_half = static_cast<mbstate_t>(0xDC00 + (character & 0x3FF));
  if (to != nullptr)
    *to = static_cast<wchar_t>(is_pair ? 0xD7C0 + (character >> 10) : character);
  if (character == 0)
    return 0;
  return is_pair ? 3 : length;
}
