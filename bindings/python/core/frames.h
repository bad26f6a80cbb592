// NumPy arrays as the host's frames and back, without copies where that can be.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include "gexton_host.hpp"
#include "recordings/camera.h"
#include "recordings/frame_source.h"
#include "recordings/host_frame.h"

namespace python {

namespace py = pybind11;

/// What a Camera says, checked.
struct Facts {
  recordings::CameraFacts facts;
};

/// The camera of frames of one size, in the forms in which it is asked for.
struct Setup {
  recordings::KnownFacts known;
  recordings::Camera camera;
  recordings::FrameSize size;
  gexton::Profile profile;
};
using SharedSetup = std::shared_ptr<const Setup>;

/// Facts of other sizes than the frames', and facts that no camera has, are errors.
recordings::Result<SharedSetup> make_setup(recordings::KnownFacts known,
                                           recordings::FrameSize size);

/// What a Frame of Python stands on: the host's frame that holds its pixels, and where it comes
/// from.
struct HostFrame {
  gexton::Frame frame;
  SharedSetup setup; ///< of the frames at the beginning of the chain
  std::shared_ptr<const recordings::FrameInfo> info = {}; ///< null: of no recording
  py::object memory = {};     ///< of a stack of frames, of which `frame` is the last; else null
  bool is_first_hand = false; ///< no filter has seen it: its facts are those of the setup

  /// Of the whole Frame around it.
  std::vector<py::ssize_t> shape() const;
  /// The facts in force for this frame, behind the filters that it went through.
  recordings::Result<recordings::CameraFacts> facts() const;
};

/// Tells this module the class of Frames.
void set_frame_class(py::type frame_class);

/// A Frame around the pixels of a host's frame.
py::object to_array(HostFrame frame);
/// A Frame of three dimensions around `frame.memory`.
py::object to_stack(HostFrame frame);

/// One frame, or a stack of frames of one size.
struct Pixels {
  py::array array;       ///< C-contiguous, aligned; borrowed where the caller's was so
  HostFrame* host_frame; ///< where the array is a Frame with all its pixels; else null
  size_t count;          ///< of frames
  bool is_stack;
  recordings::FrameSize size;

  recordings::ImageView image(size_t index) const;
};

/// Takes uint16 arrays of H x W or N x H x W, also objects that give theirs out without a copy.
/// Anything else is a TypeError or a ValueError that says what to do.
Pixels look_at_array(py::handle object);

/// A host's frame around pixels of an array, which stays alive as long.
recordings::Result<gexton::Frame> wrap(const py::array& array, recordings::ImageView image,
                                       uint64_t index, const Setup& setup);

/// What pictures are made of: the pixels with their meaning, as a Frame says it.
recordings::FrameView view_of(py::handle object);

/// Checks what results are written to before anything is processed.
void check_out(py::handle out, const Pixels& input);

void add_frames(py::module_& module);

} // namespace python
