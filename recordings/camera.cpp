#include "recordings/camera.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

#include <fmt/format.h>

#include "recordings/byte_stream.h"
#include "recordings/camera_info_yaml.h"
#include "recordings/frame_names.h"
#include "recordings/image_file.h"
#include "recordings/json_text.h"

namespace recordings {
namespace {

constexpr double any_positive = std::numeric_limits<float>::max();
constexpr double int32_min = std::numeric_limits<int32_t>::min();
constexpr double int32_max = std::numeric_limits<int32_t>::max();

/// Reads the facts of one JSON object, each once, and remembers the first thing that is wrong.
class FactReader {
 public:
  /// Messages begin with `origin`; keys in them, with `prefix`.
  FactReader(const nlohmann::json& facts, std::string origin, std::string prefix)
      : facts_(facts), origin_(std::move(origin)), prefix_(std::move(prefix)) {
    if (!facts.is_object())
      fail("", "must be an object");
  }

  double number(const char* key, double default_value, double min, double max) {
    const nlohmann::json* value = find(key);
    if (value == nullptr)
      return default_value;
    const double number = value->is_number() ? value->get<double>() : std::nan("");
    if (!(number >= min && number <= max)) {
      fail(key, fmt::format("must be a number from {:g} to {:g}", min, max));
      return default_value;
    }
    return number;
  }

  template <class Integer>
  Integer whole(const char* key, Integer default_value, double min, double max) {
    const double value = number(key, static_cast<double>(default_value), min, max);
    if (value != std::trunc(value)) {
      fail(key, "must be a whole number");
      return default_value;
    }
    return static_cast<Integer>(value);
  }

  /// 0 or 1, also as a number of 8 bits.
  uint8_t flag(const char* key, uint8_t default_value) {
    const nlohmann::json* value = find(key);
    if (value != nullptr && value->is_boolean())
      return value->get<bool>() ? 1 : 0;
    return whole<uint8_t>(key, default_value, 0, 255);
  }

  /// 0 where it is missing.
  uint32_t side(const char* key) {
    return find(key) == nullptr ? 0 : whole<uint32_t>(key, 0, 1, max_side);
  }

  gx_pixel_type pixel_type(const char* key) {
    const nlohmann::json* value = find(key);
    if (value == nullptr || *value == "depth")
      return GX_PIXEL_DEPTH;
    if (*value == "disparity")
      return GX_PIXEL_DISPARITY;
    if (*value != "tof")
      fail(key, "must be \"depth\", \"disparity\" or \"tof\"");
    return GX_PIXEL_TOF_DEPTH;
  }

  /// The value under `key`, null where there is none; every key that is asked for counts as known.
  const nlohmann::json* find(const char* key) {
    known_.insert(key);
    if (!facts_.is_object())
      return nullptr;
    const auto found = facts_.find(key);
    return found == facts_.end() ? nullptr : &*found;
  }

  /// The first thing that was wrong with what was asked for.
  Failure wrong_fact() const { return failure_; }

  /// The same, or a key that nobody asked for, with all that were.
  Failure failure() {
    for (const auto& [key, value] : facts_.items())
      if (!known_.contains(key))
        fail(key, "is not a camera fact");
    if (!failure_)
      return std::nullopt;
    return Error{fmt::format("{} (camera facts are: {}{})", failure_->message, prefix_,
                             fmt::join(known_, ", " + prefix_))};
  }

 private:
  void fail(const std::string& key, const std::string& reason) {
    const std::string name = key.empty() ? prefix_.substr(0, prefix_.find('.')) : prefix_ + key;
    if (!failure_)
      failure_ = Error{fmt::format("{}: {} {}", origin_, name, reason)};
  }

  const nlohmann::json& facts_;
  std::string origin_;
  std::string prefix_;
  std::set<std::string> known_;
  Failure failure_;
};

D2DParameters read_d2d(FactReader& reader, double baseline, double fx, uint8_t bit_size) {
  D2DParameters d2d{};
  d2d.zpd = reader.number("zpd", 0, -any_positive, any_positive);
  d2d.zpps = reader.number("zpps", 0, -any_positive, any_positive);
  d2d.baseline = static_cast<float>(reader.number("baseline", baseline, 0, any_positive));
  d2d.fx = reader.number("fx", fx, 0, any_positive);
  d2d.bitSize = reader.whole<uint8_t>("bitSize", bit_size, 8, 16);
  d2d.unit = static_cast<float>(reader.number("unit", 1, 0, any_positive));
  d2d.minDisparity =
      static_cast<float>(reader.number("minDisparity", 0, -any_positive, any_positive));
  d2d.packMode = reader.whole<uint8_t>("packMode", 2, 0, 255);
  d2d.dispOffset = static_cast<float>(reader.number("dispOffset", 0, -any_positive, any_positive));
  d2d.invalidDisp = reader.whole<int32_t>("invalidDisp", 0, int32_min, int32_max);
  d2d.dispIntPlace = reader.whole<int32_t>("dispIntPlace", 8, int32_min, int32_max);
  d2d.isDualCamera = reader.flag("isDualCamera", 1);
  return d2d;
}

gx_camera_intrinsic read_intrinsic(FactReader& reader, FrameSize size) {
  const double fx = reader.number("fx", 0.9 * size.width, 1e-3, any_positive);
  const double fy = reader.number("fy", fx, 1e-3, any_positive);
  const double cx = reader.number("cx", (size.width - 1.0) / 2, -any_positive, any_positive);
  const double cy = reader.number("cy", (size.height - 1.0) / 2, -any_positive, any_positive);
  // The record's size fields are too narrow for the largest frames; the profile has the full size.
  constexpr uint32_t widest = std::numeric_limits<int16_t>::max();
  return {static_cast<float>(fx),
          static_cast<float>(fy),
          static_cast<float>(cx),
          static_cast<float>(cy),
          static_cast<int16_t>(std::min(size.width, widest)),
          static_cast<int16_t>(std::min(size.height, widest))};
}

/// The number that reads as the same float32, with the fewest digits.
nlohmann::json shortest(float number) {
  return nlohmann::json::parse(fmt::format("{}", number), nullptr, false);
}

} // namespace

Result<CameraFacts> parse_camera_facts(std::span<const uint8_t> json) {
  auto facts = parse_json(json);
  if (facts && !facts->is_object())
    return Error{"not a JSON object of camera facts"};
  return facts;
}

Result<CameraFacts> parse_camera_file(const std::filesystem::path& name,
                                      std::span<const uint8_t> bytes) {
  const std::string ending = lower_case_extension(name);
  const bool is_yaml = ending == ".yaml" || ending == ".yml";
  auto facts = is_yaml ? parse_camera_info_yaml(bytes) : parse_camera_facts(bytes);
  if (!facts)
    return Error{fmt::format("{}: {}", name.string(), facts.error().message)};
  return facts;
}

Result<CameraFacts> read_camera_file(const std::filesystem::path& path) {
  const auto bytes = read_file(path);
  if (!bytes)
    return bytes.error();
  return parse_camera_file(path, *bytes);
}

std::vector<std::string> camera_file_names(const std::filesystem::path& file) {
  std::vector<std::string> names;
  if (!file.empty())
    names = {file.string() + ".json",
             std::filesystem::path(file).replace_extension(".json").string()};
  names.insert(names.end(), {"camera.json", "camera_info.yaml"});
  return names;
}

std::filesystem::path find_camera_file(const std::filesystem::path& input) {
  std::error_code code;
  if (input == standard_stream)
    return {};
  const bool is_folder = std::filesystem::is_directory(input, code);
  const std::filesystem::path folder = is_folder ? input : input.parent_path();
  for (const std::string& name : camera_file_names(is_folder ? "" : input.filename()))
    if (std::filesystem::is_regular_file(folder / name, code))
      return folder / name;
  return {};
}

CameraFacts merge_facts(CameraFacts facts, const CameraFacts& overrides) {
  constexpr std::pair<const char*, const char*> repeated[] = {
      {"baseline", "baseline"}, {"fx", "fx"}, {"bit_size", "bitSize"}};
  for (const auto& [fact, field] : repeated)
    if (overrides.contains(fact) && facts.contains("d2d") && facts["d2d"].is_object())
      facts["d2d"].erase(field);
  facts.merge_patch(overrides);
  return facts;
}

Result<std::optional<FrameSize>> raw_frame_size(const CameraFacts& facts) {
  if (!facts.contains("width") || !facts.contains("height"))
    return std::optional<FrameSize>();
  FactReader reader(facts, "camera facts", "");
  const FrameSize size{reader.side("width"), reader.side("height")};
  if (auto failure = reader.wrong_fact())
    return *failure;
  if (auto failure = check_size(size.width, size.height))
    return *failure;
  return std::optional(size);
}

Result<Camera> make_camera(const CameraFacts& facts, FrameSize size, const std::string& origin) {
  FactReader reader(facts, origin, "");
  reader.side("width");
  reader.side("height");
  Camera camera;
  camera.depth_unit = static_cast<float>(reader.number("depth_unit", 1, 1e-6, 1e6));
  camera.intrinsic = read_intrinsic(reader, size);
  camera.pixel_type = reader.pixel_type("pixel_type");
  camera.bit_size = reader.whole<uint8_t>("bit_size", 16, 8, 16);
  const double baseline = reader.number("baseline", 50, 0, any_positive);
  if (reader.find("disparity_offset") != nullptr)
    camera.disparity_offset = reader.whole<int64_t>("disparity_offset", 0, int32_min, int32_max);
  const nlohmann::json* d2d = reader.find("d2d");
  const nlohmann::json none = nlohmann::json::object();
  FactReader d2d_reader(d2d != nullptr ? *d2d : none, origin, "d2d.");
  camera.d2d =
      read_d2d(d2d_reader, baseline, static_cast<double>(camera.intrinsic.fx), camera.bit_size);
  if (auto failure = reader.failure())
    return *failure;
  if (auto failure = d2d_reader.failure())
    return *failure;
  return camera;
}

Failure KnownFacts::add(const std::string& origin, const CameraFacts& facts) {
  constexpr FrameSize any_size{1, 1};
  if (const auto camera = make_camera(facts, any_size, origin); !camera)
    return camera.error();
  facts_ = merge_facts(std::move(facts_), facts);
  for (const auto& [key, value] : facts.items())
    origins_[key] = origin;
  return std::nullopt;
}

std::string KnownFacts::origin_of(const std::string& key) const {
  const auto found = origins_.find(key);
  return found != origins_.end() ? found->second : "assumed";
}

void KnownFacts::forget(const std::string& origin) {
  for (const auto& [key, said_by] : origins_)
    if (said_by == origin)
      facts_.erase(key);
  std::erase_if(origins_, [&](const auto& item) { return item.second == origin; });
}

Failure KnownFacts::check_size_of(FrameSize frames) const {
  const std::pair<const char*, uint32_t> sides[] = {{"width", frames.width},
                                                    {"height", frames.height}};
  for (const auto& [key, side] : sides) {
    if (facts_.contains(key) && facts_[key] != side) {
      return Error{fmt::format("{}: {} is {}, but the frames are {}x{}", origin_of(key), key,
                               facts_[key].dump(), frames.width, frames.height)};
    }
  }
  return std::nullopt;
}

Result<std::string> KnownFacts::settle_size(FrameSize frames, const std::string& recording) {
  std::string remark;
  auto failure = check_size_of(frames);
  if (failure && (origin_of("width") == recording || origin_of("height") == recording)) {
    remark = failure->message + "; what it says of its camera is left aside";
    forget(recording);
    failure = check_size_of(frames);
  }
  if (failure)
    return *failure;
  return remark;
}

std::vector<FactInForce> facts_in_force(const KnownFacts& known, const Camera& camera,
                                        FrameSize size) {
  const auto pixel_type = camera.pixel_type == GX_PIXEL_DISPARITY ? "disparity"
                          : camera.pixel_type == GX_PIXEL_DEPTH   ? "depth"
                                                                  : "tof";
  std::vector<FactInForce> facts = {
      {"width", size.width, "pixels", ""},
      {"height", size.height, "pixels", ""},
      {"depth_unit", shortest(camera.depth_unit), "mm", ""},
      {"pixel_type", pixel_type, "", ""},
      {"bit_size", camera.bit_size, "", ""},
      {"fx", shortest(camera.intrinsic.fx), "pixels", ""},
      {"fy", shortest(camera.intrinsic.fy), "pixels", ""},
      {"cx", shortest(camera.intrinsic.cx), "pixels", ""},
      {"cy", shortest(camera.intrinsic.cy), "pixels", ""},
      {"baseline", shortest(camera.d2d.baseline), "mm", ""},
  };
  if (camera.disparity_offset)
    facts.push_back({"disparity_offset", *camera.disparity_offset, "", ""});
  if (known.facts().contains("d2d"))
    facts.push_back({"d2d", known.facts()["d2d"], "", ""});
  for (FactInForce& fact : facts) {
    const bool is_size = fact.key == "width" || fact.key == "height";
    // The record's own baseline wins over the fact that it follows otherwise.
    const bool is_of_record = fact.key == "baseline" && known.facts().contains("d2d") &&
                              known.facts()["d2d"].contains("baseline");
    fact.origin = is_size ? "the frames" : known.origin_of(is_of_record ? "d2d" : fact.key);
  }
  return facts;
}

Failure check_codes(ImageView image, const Camera& camera) {
  const unsigned bits = std::min(camera.bit_size, camera.d2d.bitSize);
  if (camera.pixel_type != GX_PIXEL_DISPARITY || bits >= 16)
    return std::nullopt;
  const auto largest = std::ranges::max_element(image.pixels);
  if (*largest >> bits == 0)
    return std::nullopt;
  const auto position = static_cast<uint64_t>(largest - image.pixels.begin());
  return Error{fmt::format("disparity code {} at ({}, {}) has more than {} bits", *largest,
                           position % image.size.width, position / image.size.width, bits)};
}

} // namespace recordings
