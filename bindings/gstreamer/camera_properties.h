// What is known of the camera, as properties of an element and as a tag of its stream.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include <gst/gst.h>

#include "recordings/camera.h"

namespace depth_elements {

/// The number of the first of them; their class's other properties are below and above.
inline constexpr guint first_camera_property = 16;

/// Returns the number behind the last.
guint install_camera_properties(GObjectClass& element_class);

/// Facts that properties say, by their numbers.
class CameraProperties {
 public:
  using Change = std::function<void(CameraProperties&)>;

  /// What setting the property does. An error where the value is none that a camera can have.
  static recordings::Result<Change> change_of(guint id, const GValue& value);
  void get(guint id, GValue& value) const;

  /// The file's facts and, winning over them, those of the other properties.
  void add_to(recordings::KnownFacts& known) const;

 private:
  static recordings::Result<Change> change_of_fact(const std::string& key,
                                                   const nlohmann::json& fact);
  static recordings::Result<Change> change_of_file(const std::string& path);
  static recordings::Result<Change> change_of_record(const std::string& fields);

  std::string file_;
  std::string record_; ///< as it was given
  recordings::CameraFacts file_facts_ = recordings::CameraFacts::object();
  recordings::CameraFacts facts_ = recordings::CameraFacts::object();
};

/// The tag that carries facts along a stream: a JSON object as in camera.json.
extern const char* const camera_tag;
void register_camera_tag();

/// The facts of a stream's tag list, null without any, and in tags of a whole file, which do not
/// say of which of its streams they are. Facts that can't be read are an error.
recordings::Result<std::optional<recordings::CameraFacts>> facts_of(const GstTagList& tags);

/// Why a stream's facts, which were checked, say nothing of its frames of this size: they are of a
/// camera with frames of another. Null where they may be of theirs.
recordings::Failure misfit_of(const recordings::CameraFacts& stream_facts,
                              recordings::FrameSize size);

/// Who told a stream's facts.
std::string tag_origin();

/// Everything that is known of a camera, as facts.
recordings::CameraFacts facts_of(const recordings::Camera& camera);

} // namespace depth_elements
