// Pictures out of files' bytes, and pictures of generated scenes.
#include <algorithm>
#include <numeric>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "answers.h"
#include "gxfilter/scene_options.h"
#include "recordings/frame_names.h"
#include "recordings/npy_array.h"
#include "recordings/pgm_image.h"
#include "recordings/png_image.h"
#include "recordings/raw_image.h"

using namespace recordings;
using namespace playground;

// The page's own decoder: without room for pixels the size and the kind of samples into `header`
// (width, height, bits, grey), with room exactly that many pixels of 16-bit grey. Its words about a
// damaged file into `words`.
// clang-format off
EM_JS(bool, decode_in_page, (const uint8_t* bytes, uint32_t size, uint32_t* header, uint16_t* pixels,
                             uint32_t room, char* words, uint32_t most_words), {
  try {
    const file = HEAPU8.subarray(bytes, bytes + size);
    if (room === 0)
      HEAPU32.set(Module["readPngHeader"](file), header >> 2);
    else
      HEAPU16.set(Module["decodePng"](file, room), pixels >> 1);
    return true;
  } catch (error) {
    stringToUTF8(String(error.message || error), words, most_words);
    return false;
  }
})
// clang-format on

namespace recordings {

Result<Image> decode_png(std::span<const uint8_t> bytes) {
  if (!begins_with(bytes, png_first_bytes))
    return Error{"not a PNG"};
  uint32_t header[4] = {};
  char words[256] = "";
  const auto size = static_cast<uint32_t>(bytes.size());
  if (!decode_in_page(bytes.data(), size, header, nullptr, 0, words, sizeof words))
    return Error{words};
  const auto [width, height, bits, grey] = header;
  if (auto failure = check_size(width, height))
    return *failure;
  if (bits != 16 || grey == 0) {
    return Error{fmt::format("a PNG with {}-bit {} samples; 16-bit grey is needed", bits,
                             grey != 0 ? "grey" : "colour")};
  }
  // Deflate shrinks at most 1032-fold.
  if (uint64_t{width} * height * 2 / 1040 > size)
    return Error{
        fmt::format("truncated PNG: {} bytes can't hold {}x{} pixels", size, width, height)};
  Image image{{width, height}, std::vector<uint16_t>(size_t{width} * height)};
  if (!decode_in_page(bytes.data(), size, header, image.pixels.data(), width * height, words,
                      sizeof words))
    return Error{words};
  return image;
}

} // namespace recordings

namespace {

Result<Image> decode_picture(std::string_view format, std::span<const uint8_t> bytes,
                             std::optional<FrameSize> told_size) {
  if (format == "png")
    return decode_png(bytes);
  if (format == "pgm")
    return decode_pgm(bytes);
  if (format == "bin")
    return decode_bin(bytes);
  if (format == "npy")
    return decode_npy(bytes);
  return decode_raw(bytes, told_size);
}

std::optional<FrameSize> told_size(uint32_t width, uint32_t height) {
  return width != 0 ? std::optional(FrameSize{width, height}) : std::nullopt;
}

ByteOrder order_of(uint32_t big) {
  return big != 0 ? ByteOrder::big : ByteOrder::little;
}

struct Scene {
  SceneSettings settings;
  uint32_t frames = 30;
};

Result<Scene> parse_scene(const nlohmann::json& options) {
  Scene scene;
  CLI::App command;
  gxfilter::add_scene_options(command, scene.settings, scene.frames);
  std::vector<std::string> words; // from the last to the first, as the parser takes them
  for (const auto& [name, value] : options.items()) {
    words.push_back(value.get<std::string>());
    words.push_back("--" + name);
  }
  try {
    command.parse(words);
  } catch (const CLI::Error& error) {
    return Error{error.what(), ErrorKind::request};
  }
  return scene;
}

const char* name_of(gxfilter::SceneOption::Kind kind) {
  switch (kind) {
  case gxfilter::SceneOption::Kind::size:
    return "size";
  case gxfilter::SceneOption::Kind::whole:
    return "whole";
  case gxfilter::SceneOption::Kind::real:
    return "real";
  case gxfilter::SceneOption::Kind::word:
    return "word";
  }
  return "";
}

} // namespace

/// Null where the bytes are no picture of that format; `width` 0 where nobody told a size.
PLAYGROUND_API Image* picture_decode(const char* format, const uint8_t* bytes, uint32_t size,
                                     uint32_t width, uint32_t height) {
  return guarded([&] {
    return released(decode_picture(format, bytes_of(bytes, size), told_size(width, height)));
  });
}

/// Of the beginning of a .npy file: its frames, and where and how they lie.
PLAYGROUND_API const char* npy_describe(const uint8_t* bytes, uint32_t size) {
  return guarded([&]() -> const char* {
    const auto stream = memory_stream(bytes_of(bytes, size), "");
    const auto header = read_npy_header(*stream);
    if (!header) {
      fail(header.error());
      return nullptr;
    }
    return answer({{"frames", header->frames},
                   {"width", header->size.width},
                   {"height", header->size.height},
                   {"big", header->order == ByteOrder::big},
                   {"byColumns", header->by_columns},
                   {"offset", stream->position()}});
  });
}

/// One frame of a .npy file, of its bytes alone.
PLAYGROUND_API Image* npy_decode(const uint8_t* bytes, uint32_t size, uint32_t width,
                                 uint32_t height, uint32_t big, uint32_t by_columns) {
  return guarded([&]() -> Image* {
    const NpyHeader header{1, {width, height}, true, order_of(big), by_columns != 0};
    const auto stream = memory_stream(bytes_of(bytes, size), "");
    auto stored = read_npy_frame(*stream, header);
    if (stored && !*stored)
      stored = Error{"cut off"};
    if (!stored) {
      fail(stored.error());
      return nullptr;
    }
    return new Image(decode_npy_frame(std::move(**stored), header));
  });
}

PLAYGROUND_API void picture_delete(Image* picture) {
  delete picture;
}

/// What can be told of a scene.
PLAYGROUND_API const char* scene_options() {
  return guarded([] {
    Scene scene;
    CLI::App command;
    auto options = nlohmann::json::array();
    for (const gxfilter::SceneOption& option :
         gxfilter::add_scene_options(command, scene.settings, scene.frames))
      options.push_back({{"name", option.name},
                         {"description", option.description},
                         {"default", option.default_value},
                         {"kind", name_of(option.kind)},
                         {"min", option.min},
                         {"max", option.max},
                         {"words", option.words}});
    return answer(options);
  });
}

PLAYGROUND_API Scene* scene_make(const char* options) {
  return guarded([&] { return released(parse_scene(parse(options))); });
}

PLAYGROUND_API const char* scene_describe(const Scene* scene) {
  return guarded([&] {
    return answer({{"frames", scene->frames},
                   {"width", scene->settings.size.width},
                   {"height", scene->settings.size.height},
                   {"facts", scene_facts(scene->settings)}});
  });
}

PLAYGROUND_API Image* scene_render(const Scene* scene, uint32_t frame) {
  return guarded([&] { return new Image(render_scene(scene->settings, frame)); });
}

PLAYGROUND_API void scene_delete(Scene* scene) {
  delete scene;
}

/// A list of names in the order in which a folder's frames come: their places in the given list.
PLAYGROUND_API const char* names_order(const char* names) {
  return guarded([&] {
    const auto given = parse(names).get<std::vector<std::string>>();
    std::vector<size_t> order(given.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::sort(order.begin(), order.end(),
              [&](size_t left, size_t right) { return natural_less(given[left], given[right]); });
    return answer(order);
  });
}
