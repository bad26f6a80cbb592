// The command line's readers on arbitrary input. The first byte chooses the reader.
#include <array>

#include <fmt/format.h>

#include "fuzz/fuzzing.h"
#include "gxfilter/filter_chain.h"
#include "recordings/camera.h"
#include "recordings/camera_info_yaml.h"
#include "recordings/frame_names.h"
#include "recordings/host_frame.h"
#include "recordings/image_file.h"
#include "recordings/pgm_image.h"
#include "recordings/picture_source.h"
#include "recordings/pixel_bytes.h"
#include "recordings/png_image.h"
#include "recordings/raw_image.h"
#include "recordings/recording.h"

namespace gxfilter {
namespace {

using namespace hosting;
using namespace recordings;

using fuzzing::Input;
using fuzzing::require;
using Bytes = std::vector<uint8_t>;

void check_error(const Error& error) {
  require(!error.message.empty() && error.message.back() != '\n', "an error says what is wrong");
}

// ---- pictures ----

Bytes encode_bin(const Image& image) {
  Bytes header;
  for (const uint32_t side : {image.size.height, image.size.width})
    for (unsigned shift = 0; shift < 32; shift += 8)
      header.push_back(static_cast<uint8_t>(side >> shift & 0xff));
  append_pixels(header, image, ByteOrder::little);
  return header;
}

/// A picture that was read is the same again after each way through a file.
void check_image(const Result<Image>& image) {
  if (!image) {
    check_error(image.error());
    return;
  }
  require(!check_size(image->size.width, image->size.height), "a picture is within the limits");
  require(image->pixels.size() == image->size.pixel_count(), "a picture has all its pixels");
  const auto same = [&](const Result<Image>& again) { return again && *again == *image; };
  require(same(decode_pgm(*encode_pgm(*image))), "PGM keeps a picture");
  require(same(decode_bin(encode_bin(*image))), "bin keeps a picture");
  require(same(decode_raw(*encode_raw(*image), image->size)), "raw keeps a picture");
  const auto png = encode_png(*image);
  require(png && same(decode_png(*png)), "PNG keeps a picture");
}

/// A pipe gives the pictures that were put into it, and then whatever may follow.
void read_picture_stream(Input& input) {
  const char* name = input.pick("a.png", "a.pgm", "a.raw", "a.bin");
  SourceOptions options;
  options.told_size = FrameSize{input.below(8) + 1U, input.below(8) + 1U};
  const std::span<const uint8_t> bytes = input.take_all();
  const auto source =
      open_picture_stream(memory_stream(bytes, "pipe"), *format_of_name(name), options);
  for (uint64_t count = 0;; ++count) {
    auto next = source->next();
    if (!next)
      return check_error(next.error());
    if (!*next)
      return;
    require((*next)->info.index == count && count < bytes.size(), "frames are counted");
    check_image((*next)->decode());
  }
}

void read_any_picture(Input& input) {
  const char* name = input.pick("a.png", "a.PGM", "a.raw", "a.bin", "a", "a.txt", ".png");
  std::optional<FrameSize> size;
  if (input.byte() % 2 == 0)
    size = {input.number<uint16_t>(), input.number<uint16_t>()};
  check_image(decode_image(name, input.take_all(), size));
}

// ---- camera facts ----

void check_camera(const Camera& camera, const Image& image) {
  require(camera.bit_size >= 8 && camera.bit_size <= 16, "bits of a 16-bit pixel");
  require(camera.depth_unit > 0 && camera.intrinsic.fx > 0 && camera.intrinsic.fy > 0,
          "lengths are positive");
  require(camera.d2d.bitSize >= 8 && camera.d2d.bitSize <= 16, "bits of a 16-bit code");
  if (const Failure failure = check_codes(image, camera))
    check_error(*failure);
  const auto profile = make_profile(image.size, camera);
  require(bool(profile), "a camera's facts make a profile");
  const auto frame = make_frame(image, 7, **profile, camera);
  require(bool(frame), "a picture makes a frame");
  const auto view = view_frame(**frame);
  require(view && view->image == image && view->pixel_type == camera.pixel_type &&
              view->value_scale == camera.depth_unit,
          "a frame says what it was made from");
}

void read_facts(Input& input) {
  const Image image{{2, 1}, {input.number<uint16_t>(), 0}};
  const size_t own_length = input.number<uint16_t>();
  const auto facts = parse_camera_facts(input.take(own_length));
  const auto overrides = parse_camera_facts(input.take_all());
  if (!facts)
    return check_error(facts.error());
  require(merge_facts(*facts, CameraFacts::object()) == *facts, "nothing overrides nothing");
  const CameraFacts merged = overrides ? merge_facts(*facts, *overrides) : *facts;
  const auto raw_size = raw_frame_size(merged);
  if (!raw_size)
    check_error(raw_size.error());
  else if (*raw_size)
    require(!check_size((*raw_size)->width, (*raw_size)->height), "a size is within the limits");
  const auto camera = make_camera(merged, image.size);
  if (!camera)
    return check_error(camera.error());
  check_camera(*camera, image);
}

// ---- texts ----

std::string text_of(std::span<const uint8_t> bytes) {
  return {bytes.begin(), bytes.end()};
}

/// The next text up to a zero byte, which ends it.
std::string take_text(std::string& rest) {
  const size_t length = std::min(rest.find('\0'), rest.size());
  std::string text = rest.substr(0, length);
  rest.erase(0, length + 1);
  return text;
}

void check_request(const Result<FilterRequest>& request,
                   const std::vector<gexton::Parameter>& schema) {
  if (!request)
    return check_error(request.error());
  require(request->record.empty() || request->values.empty(), "parameters or a record");
  const auto values = complete_values(*request, schema, Ranges::checked);
  if (!values)
    return check_error(values.error());
  require(values->size() == schema.size(), "a value for each parameter");
  for (const auto& [key, value] : request->values) {
    const gexton::Parameter* parameter = find_parameter(schema, key);
    require(parameter != nullptr &&
                same_value(*parameter, (*values)[static_cast<size_t>(parameter - schema.data())],
                           value),
            "each value is at its parameter's place");
  }
}

void read_schema(std::string text) {
  const std::string request = take_text(text);
  const std::vector<gexton::Parameter> schema = gexton::parse_schema(text);
  for (const gexton::Parameter& parameter : schema) {
    require(!parameter.line.empty() && gexton::trim(parameter.line) == parameter.line,
            "a line has no blanks around it");
    const auto again = gexton::parse_schema(parameter.line);
    require(again.size() == 1 && again[0].name == parameter.name &&
                again[0].default_value == parameter.default_value &&
                again[0].description == parameter.description,
            "a line reads the same alone");
    require(find_parameter(schema, parameter.name)->name == parameter.name, "names are found");
    for (const auto& [name, value] : named_values(parameter))
      require(same_value(parameter, name, value), "a name stands for its value");
  }
  check_request(parse_filter_request(request), schema);
}

void read_filter_request(std::string text) {
  const auto request = parse_filter_request(text);
  check_request(request, {});
  const bool record_like = request && !request->values.empty() && // once it comes first
                           request->values.begin()->first.starts_with('@');
  if (request && request->record.empty() && !record_like) {
    require(!request->name.empty() && gexton::trim(request->name) == request->name,
            "a request has a name");
    std::string again = request->name + ":";
    for (const auto& [key, value] : request->values)
      again += key + "=" + value + ",";
    const auto repeated = parse_filter_request(again);
    require(repeated && repeated->name == request->name && repeated->values == request->values,
            "a request reads the same when it is put together again");
  }
}

void read_chain_text(std::string text) {
  const auto preset = parse_preset(text);
  if (!preset)
    return check_error(preset.error());
  for (const FilterRequest& request : preset->chain)
    check_request(request, {});
}

void read_camera_info(std::string text) {
  const auto facts =
      parse_camera_info_yaml({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
  if (!facts)
    return check_error(facts.error());
  KnownFacts known;
  if (const Failure failure = known.add("file", *facts))
    check_error(*failure);
}

void compare_names(std::string text) {
  std::array<std::string, 3> names;
  for (std::string& name : names)
    name = take_text(text);
  for (const std::string& a : names) {
    for (const std::string& b : names) {
      require(natural_less(a, b) + natural_less(b, a) == (a != b), "of two names one is less");
      for (const std::string& c : names) {
        require(!natural_less(a, b) || !natural_less(b, c) || natural_less(a, c),
                "less than less is less");
      }
    }
  }
}

void read_size_text(std::string text) {
  const auto size = parse_size(text);
  if (size) {
    require(!check_size(size->width, size->height), "a size is within the limits");
    require(parse_size(fmt::format("{}x{}", size->width, size->height)) == size,
            "a size reads the same again");
  }
}

void read(Input& input) {
  constexpr std::array text_readers{read_schema,   read_filter_request, read_chain_text,
                                    compare_names, read_size_text,      read_camera_info};
  const unsigned kind = input.below(7 + text_readers.size());
  switch (kind) {
  case 0:
    return check_image(decode_png(input.take_all()));
  case 1:
    return check_image(decode_pgm(input.take_all()));
  case 2:
    return check_image(decode_bin(input.take_all()));
  case 3: {
    const FrameSize size{input.number<uint32_t>(), input.number<uint32_t>()};
    return check_image(decode_raw(input.take_all(), size));
  }
  case 4:
    return read_any_picture(input);
  case 5:
    return read_facts(input);
  case 6 + text_readers.size():
    return read_picture_stream(input);
  default:
    return text_readers[kind - 6](text_of(input.take_all()));
  }
}

} // namespace
} // namespace gxfilter

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzzing::Input input({data, size});
  gxfilter::read(input);
  return 0;
}
