// What is known about the camera that took a recording.
#pragma once

#include <array>
#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "gexton_sdk.h"
#include "recordings/image.h"

namespace recordings {

struct Camera {
  float depth_unit = 1; ///< millimetres for one unit of a depth pixel
  gx_camera_intrinsic intrinsic{};
  gx_pixel_type pixel_type = GX_PIXEL_DEPTH;
  uint8_t bit_size = 16; ///< significant bits of a pixel
  D2DParameters d2d{};
  std::optional<int64_t> disparity_offset; ///< frame metadata; absent on most cameras
};

/// Facts are a JSON object with any of these keys; what is missing gets a default:
///   width, height      pixels: the size of headerless frames, and of others a check
///   depth_unit         millimetres per unit (1)
///   fx, fy, cx, cy     pixels (0.9 * width, fx, the centre)
///   baseline           millimetres (50)
///   pixel_type         "depth", "disparity" or "tof" ("depth")
///   bit_size           8 to 16 (16)
///   disparity_offset   whole number (none)
///   d2d                object with the fields of D2DParameters; baseline, fx and bitSize
///                      follow the facts above, the rest is a stereo rig with pack mode 2
///                      whose code 0 is invalid
using CameraFacts = nlohmann::json;

/// Every key, in the order of messages.
inline constexpr std::array fact_keys{
    "width", "height", "depth_unit", "pixel_type", "bit_size",         "fx",
    "fy",    "cx",     "cy",         "baseline",   "disparity_offset", "d2d"};

Result<CameraFacts> parse_camera_facts(std::span<const uint8_t> json);
/// A JSON object of facts or, by its name's ending .yaml or .yml, a ROS camera_info file. Errors
/// name the file.
Result<CameraFacts> parse_camera_file(const std::filesystem::path& name,
                                      std::span<const uint8_t> bytes);
Result<CameraFacts> read_camera_file(const std::filesystem::path& path);

/// Names of files that tell of the camera, the first one that is there counts: in a directory
/// camera.json and camera_info.yaml; beside a file INPUT.json and its name with .json in place of
/// the extension come before these. `file` is empty for a directory.
std::vector<std::string> camera_file_names(const std::filesystem::path& file);
/// The one of these that is there, or empty.
std::filesystem::path find_camera_file(const std::filesystem::path& input);

/// `facts` with everything that `overrides` says instead, also inside d2d, whose baseline, fx and
/// bitSize give way to a new baseline, fx or bit_size.
CameraFacts merge_facts(CameraFacts facts, const CameraFacts& overrides);

/// The size of headerless frames, null where the facts don't tell both sides.
Result<std::optional<FrameSize>> raw_frame_size(const CameraFacts& facts);

/// Checks every fact; unknown keys, wrong types and values out of range are errors that begin with
/// `origin` and name the key.
Result<Camera> make_camera(const CameraFacts& facts, FrameSize size,
                           const std::string& origin = "camera facts");

/// Facts from several places, the later winning over the earlier.
class KnownFacts {
 public:
  /// Null, or what is wrong with these facts, with `origin` in front and the valid keys where one
  /// is unknown.
  Failure add(const std::string& origin, const CameraFacts& facts);

  /// Takes back what `origin` said and nobody else since.
  void forget(const std::string& origin);

  const CameraFacts& facts() const { return facts_; }
  /// Who said it, "assumed" where nobody did.
  std::string origin_of(const std::string& key) const;
  /// An error that names who says otherwise where the frames have another size.
  Failure check_size_of(FrameSize frames) const;
  /// The same, but where `recording` says otherwise, all that it says of its camera is forgotten:
  /// a remark then, otherwise nothing.
  Result<std::string> settle_size(FrameSize frames, const std::string& recording);

 private:
  CameraFacts facts_ = CameraFacts::object();
  std::map<std::string, std::string> origins_;
};

/// A fact in force, for people.
struct FactInForce {
  std::string key;
  nlohmann::json value;
  std::string unit;   ///< "mm", "pixels" or nothing
  std::string origin; ///< as `KnownFacts::origin_of`
};

/// In the order of `fact_keys`, those that have a value.
std::vector<FactInForce> facts_in_force(const KnownFacts& known, const Camera& camera,
                                        FrameSize size);

/// Null where every disparity code fits the camera's bit size, as filters that look codes up rely
/// on.
Failure check_codes(ImageView image, const Camera& camera);

} // namespace recordings
