#include "recordings/camera_info_yaml.h"

#include <cmath>

#include <fmt/format.h>
#include <yaml-cpp/yaml.h>

#include "recordings/byte_reader.h"

namespace recordings {
namespace {

constexpr size_t largest_file = size_t{1} << 20;

/// The numbers under `key` in the order of rows, nothing where the key is missing.
std::vector<double> read_matrix(const YAML::Node& document, const char* key, size_t count) {
  const YAML::Node matrix = document[key];
  if (!matrix)
    return {};
  const YAML::Node data = matrix.IsMap() ? matrix["data"] : matrix;
  auto numbers = data.as<std::vector<double>>();
  if (numbers.size() != count)
    throw YAML::Exception(matrix.Mark(), fmt::format("{} needs {} numbers", key, count));
  return numbers;
}

CameraFacts read_facts(const YAML::Node& document) {
  CameraFacts facts = CameraFacts::object();
  const std::vector<double> camera = read_matrix(document, "camera_matrix", 9);
  const std::vector<double> projection = read_matrix(document, "projection_matrix", 12);
  if (camera.empty())
    throw YAML::Exception(document.Mark(), "no camera_matrix");
  if (document["image_width"])
    facts["width"] = document["image_width"].as<uint32_t>();
  if (document["image_height"])
    facts["height"] = document["image_height"].as<uint32_t>();
  facts["fx"] = camera[0];
  facts["fy"] = camera[4];
  facts["cx"] = camera[2];
  facts["cy"] = camera[5];
  // The fourth number of the first row is -fx * baseline, in metres, where there is a pair.
  if (!projection.empty() && projection[0] > 0 && projection[3] != 0)
    facts["baseline"] = std::abs(projection[3] / projection[0]) * 1000;
  return facts;
}

} // namespace

Result<CameraFacts> parse_camera_info_yaml(std::span<const uint8_t> yaml) {
  if (yaml.size() > largest_file)
    return Error{"too large to be a camera_info file"};
  try {
    const YAML::Node document = YAML::Load(std::string(yaml.begin(), yaml.end()));
    if (!document.IsMap())
      return Error{"not a YAML map of camera_info"};
    return read_facts(document);
  } catch (const YAML::Exception& exception) {
    return Error{fmt::format("not a camera_info file: {}", one_line(exception.what()))};
  }
}

} // namespace recordings
