// Frames with the camera's facts, as `gxfilter run` makes them.
#include "answers.h"
#include "recordings/host_frame.h"

using namespace recordings;
using namespace playground;

namespace {

/// What all frames of a run share.
struct Session {
  KnownFacts known;
  FrameSize size;
  Camera camera;
  gexton::Profile profile;
  std::string remark;
};

/// A frame as the page shows it; the fields' order is known there.
struct View {
  uint32_t width;
  uint32_t height;
  const uint16_t* pixels;
  uint32_t pixel_type;
  float unit; ///< millimetres
  float fx;
  float fy;
  float cx;
  float cy;
};

constexpr const char* of_recording = "the recording";

Result<Session> begin(const nlohmann::json& facts, FrameSize size) {
  Session session;
  session.size = size;
  for (const auto& said : facts) // what comes later wins
    if (auto failure = session.known.add(said["origin"], said["facts"]))
      return *failure;
  const auto remark = session.known.settle_size(size, of_recording);
  if (!remark)
    return remark.error();
  session.remark = *remark;
  const auto camera = make_camera(session.known.facts(), size);
  if (!camera)
    return camera.error();
  session.camera = *camera;
  auto profile = make_profile(size, session.camera);
  if (!profile)
    return profile.error();
  session.profile = std::move(*profile);
  return session;
}

nlohmann::json made_with(const Session& session) {
  const Camera& camera = session.camera;
  const D2DParameters& d2d = camera.d2d;
  return {
      {"width", session.size.width},
      {"height", session.size.height},
      {"fx", camera.intrinsic.fx},
      {"fy", camera.intrinsic.fy},
      {"cx", camera.intrinsic.cx},
      {"cy", camera.intrinsic.cy},
      {"depthUnit", camera.depth_unit},
      {"bitSize", camera.bit_size},
      {"pixelType", static_cast<int>(camera.pixel_type)},
      {"disparityOffset",
       camera.disparity_offset ? nlohmann::json(*camera.disparity_offset) : nlohmann::json()},
      {"d2d",
       nlohmann::json::array(
           {nlohmann::json::array({"zpd", d2d.zpd}), nlohmann::json::array({"zpps", d2d.zpps}),
            nlohmann::json::array({"baseline", d2d.baseline}),
            nlohmann::json::array({"fx", d2d.fx}), nlohmann::json::array({"bitSize", d2d.bitSize}),
            nlohmann::json::array({"unit", d2d.unit}),
            nlohmann::json::array({"minDisparity", d2d.minDisparity}),
            nlohmann::json::array({"packMode", d2d.packMode}),
            nlohmann::json::array({"dispOffset", d2d.dispOffset}),
            nlohmann::json::array({"invalidDisp", d2d.invalidDisp}),
            nlohmann::json::array({"dispIntPlace", d2d.dispIntPlace}),
            nlohmann::json::array({"isDualCamera", d2d.isDualCamera})})}};
}

Failure check_frame(const Session& session, const Image& image) {
  if (image.size == session.size)
    return check_codes(image, session.camera);
  return Error{std::to_string(image.size.width) + "x" + std::to_string(image.size.height) +
               " pixels in a recording of " + std::to_string(session.size.width) + "x" +
               std::to_string(session.size.height)};
}

} // namespace

/// `facts`: a list of origin and facts, "the recording" for what that says itself, the later wins.
PLAYGROUND_API Session* session_make(const char* facts, uint32_t width, uint32_t height) {
  return guarded([&] { return released(begin(parse(facts), {width, height})); });
}

/// A remark, the facts in force, and everything that frames are made with.
PLAYGROUND_API const char* session_describe(const Session* session) {
  return guarded([&] {
    auto facts = nlohmann::json::array();
    for (const FactInForce& fact : facts_in_force(session->known, session->camera, session->size)) {
      const std::string value =
          fact.value.is_string() ? fact.value.get<std::string>() : fact.value.dump();
      facts.push_back(
          {{"key", fact.key}, {"value", value}, {"unit", fact.unit}, {"origin", fact.origin}});
    }
    return answer({{"remark", session->remark}, {"facts", facts}, {"made", made_with(*session)}});
  });
}

PLAYGROUND_API void session_delete(Session* session) {
  delete session;
}

/// The names of camera files beside a frame, the first one that is there counts; those in a folder
/// for an empty name.
PLAYGROUND_API const char* camera_names(const char* file) {
  return guarded([&] { return answer(camera_file_names(file)); });
}

/// Facts of a camera file; an error says what is wrong with them.
PLAYGROUND_API const char* camera_parse(const char* name, const uint8_t* bytes, uint32_t size) {
  return guarded([&]() -> const char* {
    const auto facts = parse_camera_file(name, bytes_of(bytes, size));
    if (facts)
      return answer(*facts);
    fail(facts.error());
    return nullptr;
  });
}

/// The size of headerless frames that facts tell, as [width, height], or null.
PLAYGROUND_API const char* camera_raw_size(const char* facts) {
  return guarded([&]() -> const char* {
    const auto size = raw_frame_size(parse(facts));
    if (!size) {
      fail(size.error());
      return nullptr;
    }
    return answer(*size ? nlohmann::json{(*size)->width, (*size)->height} : nlohmann::json());
  });
}

PLAYGROUND_API uint32_t picture_width(const Image* picture) {
  return picture->size.width;
}

PLAYGROUND_API uint32_t picture_height(const Image* picture) {
  return picture->size.height;
}

/// The frame of that number.
PLAYGROUND_API gx_frame* frame_make(const Session* session, const Image* picture, uint32_t index) {
  return guarded([&]() -> gx_frame* {
    if (auto failure = check_frame(*session, *picture)) {
      fail(*failure);
      return nullptr;
    }
    auto frame = make_frame(*picture, index, *session->profile, session->camera);
    if (frame)
      return frame->release();
    fail(frame.error());
    return nullptr;
  });
}

/// Until the next call, and as long as the frame lives.
PLAYGROUND_API const View* frame_look(const Session* session, const gx_frame* frame) {
  return guarded([&]() -> const View* {
    static View view;
    const auto pixels = look_at(*frame);
    const auto camera = camera_of(*frame, session->camera);
    if (!pixels || !camera) {
      fail(pixels ? camera.error() : pixels.error());
      return nullptr;
    }
    const gx_camera_intrinsic& lens = camera->intrinsic;
    view = {pixels->size.width,
            pixels->size.height,
            pixels->pixels.data(),
            static_cast<uint32_t>(pixels->pixel_type),
            pixels->value_scale,
            lens.fx,
            lens.fy,
            lens.cx,
            lens.cy};
    return &view;
  });
}

/// What the frame's pixels hold, in the word that a camera's facts have for it.
PLAYGROUND_API const char* frame_pixel_type(const Session* session, const gx_frame* frame) {
  return guarded([&]() -> const char* {
    const auto camera = camera_of(*frame, session->camera);
    if (!camera) {
      fail(camera.error());
      return nullptr;
    }
    for (const FactInForce& fact : facts_in_force(session->known, *camera, session->size))
      if (fact.key == "pixel_type")
        return answer(fact.value);
    fail({"the camera has no pixel type"});
    return nullptr;
  });
}

PLAYGROUND_API void frame_delete(gx_frame* frame) {
  gx_delete_frame(frame, nullptr);
}
