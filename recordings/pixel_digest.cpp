#include "recordings/pixel_digest.h"

#include <array>
#include <bit>
#include <new>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <mbedtls/md.h>

namespace recordings {

static_assert(std::endian::native == std::endian::little, "pixels are taken as they lie in memory");

struct PixelDigest::State {
  mbedtls_md_context_t context;
};

PixelDigest::PixelDigest() : state_(std::make_unique<State>()) {
  constexpr int without_key = 0;
  mbedtls_md_init(&state_->context);
  if (mbedtls_md_setup(&state_->context, mbedtls_md_info_from_type(MBEDTLS_MD_SHA256),
                       without_key) != 0)
    throw std::bad_alloc();
  mbedtls_md_starts(&state_->context);
}

PixelDigest::~PixelDigest() {
  mbedtls_md_free(&state_->context);
}

void PixelDigest::add(ImageView image) {
  mbedtls_md_update(&state_->context, reinterpret_cast<const unsigned char*>(image.pixels.data()),
                    image.pixels.size_bytes());
}

std::string PixelDigest::text() {
  std::array<unsigned char, 32> digest{};
  mbedtls_md_finish(&state_->context, digest.data());
  return fmt::format("{:02x}", fmt::join(digest, ""));
}

} // namespace recordings
