#include "core/frames.h"

#include <fmt/format.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include "core/errors.h"
#include "core/unlocked.h"
#include "recordings/json_text.h"

namespace python {

using namespace recordings;

namespace {

PyTypeObject* frame_type = nullptr; // held by the module
PyTypeObject* host_frame_type = nullptr;

/// A reference to a Python object that may go on any thread, with the interpreter's lock or
/// without.
struct AnyThreadReference {
  PyObject* object;

  explicit AnyThreadReference(py::handle handle) : object(handle.inc_ref().ptr()) {}
  AnyThreadReference(AnyThreadReference&& other) noexcept
      : object(std::exchange(other.object, nullptr)) {}
  AnyThreadReference& operator=(AnyThreadReference&&) = delete;
  ~AnyThreadReference() {
    if (object == nullptr || !Py_IsInitialized()) // what is left at the end goes with the process
      return;
    const PyGILState_STATE state = lock_interpreter(PyGILState_Ensure);
    Py_DECREF(object);
    PyGILState_Release(state);
  }
};

[[noreturn]] void raise_type(const std::string& text) {
  throw py::type_error(text);
}

py::module_ numpy() {
  return py::module_::import("numpy");
}

/// The object as an array without converting anything.
py::array array_of(py::handle object) {
  if (py::isinstance<py::array>(object))
    return py::reinterpret_borrow<py::array>(object);
  const bool gives_memory = PyObject_CheckBuffer(object.ptr()) != 0 ||
                            py::hasattr(object, "__array_interface__") ||
                            py::hasattr(object, "__array__");
  if (!gives_memory || PyBytes_Check(object.ptr()) || PyByteArray_Check(object.ptr()))
    raise_type(fmt::format("depth must be a NumPy array of uint16, got {}",
                           std::string(py::str(py::type::of(object).attr("__name__")))));
  return numpy().attr("asarray")(object);
}

std::string shape_of(const py::array& array) {
  std::string text;
  for (py::ssize_t i = 0; i < array.ndim(); ++i)
    text += fmt::format("{}{}", i == 0 ? "" : " x ", array.shape(i));
  return text.empty() ? "no dimensions" : text;
}

void check_type(const py::array& array, const char* what) {
  const py::dtype type = array.dtype();
  if (type.kind() == 'u' && type.itemsize() == sizeof(uint16_t)) {
    if (type.byteorder() == '=' || type.byteorder() == '|')
      return;
    raise_type(
        fmt::format("{} must be uint16 in the machine's byte order, got '{}': convert it with "
                    ".astype(numpy.uint16)",
                    what, std::string(py::str(type.attr("str")))));
  }
  std::string help = "convert it yourself, with the unit that you mean";
  if (type.kind() == 'f')
    help += ", such as numpy.rint(metres * 1000).astype(numpy.uint16)";
  raise_type(fmt::format("{} must be uint16, got {}: {}", what,
                         std::string(py::str(py::handle(type))), help));
}

/// The dimensions as a stack's.
Pixels check_shape(const py::array& array) {
  const std::string shape = shape_of(array);
  if (array.ndim() != 2 && array.ndim() != 3)
    throw py::value_error(fmt::format(
        "depth must be H x W, or N x H x W for a stack of frames; got an array of {}", shape));
  const bool is_stack = array.ndim() == 3;
  if (array.size() == 0)
    throw py::value_error(fmt::format("depth is empty: {}", shape));
  if (is_stack && array.shape(2) == 1 && array.shape(1) > 1)
    throw py::value_error(fmt::format(
        "{} is read as N x H x W; if it is H x W with one channel, pass depth[..., 0]", shape));
  const auto height = static_cast<uint64_t>(array.shape(is_stack ? 1 : 0));
  const auto width = static_cast<uint64_t>(array.shape(is_stack ? 2 : 1));
  if (auto failure = check_size(width, height))
    throw py::value_error(fmt::format("depth of {}: {}", shape, failure->message));
  return {array,
          nullptr,
          is_stack ? static_cast<size_t>(array.shape(0)) : 1,
          is_stack,
          {static_cast<uint32_t>(width), static_cast<uint32_t>(height)}};
}

bool is_plain(const py::array& array) {
  constexpr int plain =
      py::detail::npy_api::NPY_ARRAY_C_CONTIGUOUS_ | py::detail::npy_api::NPY_ARRAY_ALIGNED_;
  return (array.flags() & plain) == plain;
}

/// What a Frame stands on, where its pixels are still all of those.
HostFrame* host_frame_of(const py::array& array) {
  if (frame_type == nullptr || !PyObject_TypeCheck(array.ptr(), frame_type))
    return nullptr;
  const py::object base = array.base();
  if (!base || Py_TYPE(base.ptr()) != host_frame_type)
    return nullptr;
  auto* const host_frame = base.cast<HostFrame*>();
  const std::vector<py::ssize_t> shape(array.shape(), array.shape() + array.ndim());
  return shape == host_frame->shape() && is_plain(array) ? host_frame : nullptr;
}

/// A Frame of this shape around `pixels`, which belong to `base`.
py::object new_frame(std::vector<py::ssize_t> shape, const uint16_t* pixels, HostFrame base) {
  const auto& api = py::detail::npy_api::get();
  py::object owner = py::cast(std::move(base));
  constexpr int flags =
      py::detail::npy_api::NPY_ARRAY_C_CONTIGUOUS_ | py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
  auto array = py::reinterpret_steal<py::object>(api.PyArray_NewFromDescr_(
      frame_type, py::dtype::of<uint16_t>().release().ptr(), static_cast<int>(shape.size()),
      shape.data(), nullptr, const_cast<uint16_t*>(pixels), flags, nullptr));
  if (!array || api.PyArray_SetBaseObject_(array.ptr(), owner.release().ptr()) != 0)
    throw py::error_already_set();
  return array;
}

std::optional<int64_t> time_of(const HostFrame& frame) {
  return frame.info ? frame.info->time_ns : std::nullopt;
}

/// A Frame of somebody's own array, also of a stack: with facts, a time stamp and a name.
py::object frame_of_array(py::handle object, const Facts* facts, std::optional<int64_t> time_ns,
                          const std::string& name) {
  const Pixels pixels = look_at_array(object);
  KnownFacts known;
  if (facts != nullptr)
    raise_if(known.add("camera", facts->facts));
  auto setup = value_or_raise(make_setup(std::move(known), pixels.size));
  for (size_t i = 0; i + 1 < pixels.count; ++i)
    if (auto failure = check_codes(pixels.image(i), setup->camera))
      throw py::value_error(failure->message);
  auto frame = value_or_raise(wrap(pixels.array, pixels.image(pixels.count - 1), 0, *setup));
  auto info = std::make_shared<const FrameInfo>(FrameInfo{0, name, time_ns});
  HostFrame base{std::move(frame), std::move(setup), std::move(info), {}, true};
  if (pixels.is_stack)
    base.memory = pixels.array;
  py::object result = pixels.is_stack ? to_stack(std::move(base)) : to_array(std::move(base));
  if (!pixels.array.writeable())
    result.attr("setflags")(false);
  return result;
}

} // namespace

Result<SharedSetup> make_setup(KnownFacts known, FrameSize size) {
  if (auto failure = known.check_size_of(size))
    return Error{failure->message, ErrorKind::request};
  auto camera = make_camera(known.facts(), size);
  if (!camera)
    return camera.error();
  auto profile = make_profile(size, *camera);
  if (!profile)
    return profile.error();
  return SharedSetup(
      std::make_shared<const Setup>(Setup{std::move(known), *camera, size, std::move(*profile)}));
}

std::vector<py::ssize_t> HostFrame::shape() const {
  if (memory) {
    const auto array = memory.cast<py::array>();
    return {array.shape(), array.shape() + array.ndim()};
  }
  const auto view = value_or_raise(look_at(*frame));
  return {view.size.height, view.size.width};
}

Result<CameraFacts> HostFrame::facts() const {
  const auto camera = camera_of(*frame, setup->camera);
  if (!camera)
    return camera.error();
  const auto view = look_at(*frame);
  if (!view)
    return view.error();
  CameraFacts facts = CameraFacts::object();
  for (const FactInForce& fact : facts_in_force(setup->known, *camera, view->size))
    facts[fact.key] = fact.value;
  return facts;
}

void set_frame_class(py::type frame_class) {
  frame_type = reinterpret_cast<PyTypeObject*>(frame_class.release().ptr());
}

py::object to_array(HostFrame frame) {
  const auto view = value_or_raise(look_at(*frame.frame));
  return new_frame({view.size.height, view.size.width}, view.pixels.data(), std::move(frame));
}

py::object to_stack(HostFrame frame) {
  const auto memory = frame.memory.cast<py::array>();
  const auto* const pixels = static_cast<const uint16_t*>(memory.data());
  return new_frame({memory.shape(0), memory.shape(1), memory.shape(2)}, pixels, std::move(frame));
}

ImageView Pixels::image(size_t index) const {
  const size_t frame_pixels = size.pixel_count();
  const auto* const first = static_cast<const uint16_t*>(array.data());
  return {size, {first + index * frame_pixels, frame_pixels}};
}

Pixels look_at_array(py::handle object) {
  const py::array array = array_of(object);
  check_type(array, "depth");
  const bool is_common = Py_TYPE(array.ptr()) == py::detail::npy_api::get().PyArray_Type_ ||
                         Py_TYPE(array.ptr()) == frame_type;
  if (!is_common && py::hasattr(array, "mask"))
    raise_type("depth must not be a masked array: 0 marks pixels without data, use .filled(0)");
  Pixels pixels = check_shape(array);
  pixels.host_frame = host_frame_of(array);
  if (!is_plain(array))
    pixels.array = array.attr("copy")("C");
  return pixels;
}

Result<gexton::Frame> wrap(const py::array& array, ImageView image, uint64_t index,
                           const Setup& setup) {
  if (auto failure = check_codes(image, setup.camera))
    return Error{failure->message, ErrorKind::request};
  gexton::ErrorSlot slot;
  gexton::Frame frame = gexton::wrap_pixels(GX_FRAME_DEPTH, *setup.profile, image.pixels.data(),
                                            AnyThreadReference(array), slot);
  if (slot)
    return Error{slot.text(), ErrorKind::processing};
  if (auto failure = describe_frame(*frame, index, setup.camera))
    return *failure;
  return frame;
}

FrameView view_of(py::handle object) {
  const Pixels pixels = look_at_array(object);
  if (pixels.is_stack)
    throw py::value_error("a picture shows one frame: pass one of the stack, such as depth[0]");
  if (pixels.host_frame != nullptr)
    return value_or_raise(view_frame(*pixels.host_frame->frame));
  const ImageView image = pixels.image(0);
  return {{image.size, {image.pixels.begin(), image.pixels.end()}}};
}

void check_out(py::handle out, const Pixels& input) {
  if (!py::isinstance<py::array>(out))
    raise_type("out must be a NumPy array");
  const auto array = py::reinterpret_borrow<py::array>(out);
  check_type(array, "out");
  if (py::hasattr(array, "mask"))
    raise_type("out must not be a masked array");
  if (!array.writeable())
    throw py::value_error("out is read-only");
  if (array.ndim() != input.array.ndim())
    throw py::value_error(fmt::format("out must have {} dimensions as the input has, not {}",
                                      input.array.ndim(), array.ndim()));
  if (input.is_stack && array.shape(0) != input.array.shape(0))
    throw py::value_error(fmt::format("out must hold {} frames as the input does, not {}",
                                      input.array.shape(0), array.shape(0)));
}

void add_frames(py::module_& module) {
  py::class_<Facts>(module, "Facts").def(py::init([](const std::string& json) {
    auto facts = value_or_raise(
        parse_camera_facts({reinterpret_cast<const uint8_t*>(json.data()), json.size()}));
    KnownFacts known;
    if (auto failure = known.add("camera", facts))
      throw py::value_error(failure->message);
    return Facts{std::move(facts)};
  }));
  auto host_frame =
      py::class_<HostFrame>(module, "HostFrame")
          .def_property_readonly(
              "facts", [](const HostFrame& self) { return value_or_raise(self.facts()).dump(); })
          .def_property_readonly(
              "shape", [](const HostFrame& self) { return py::tuple(py::cast(self.shape())); })
          .def_property_readonly("time_ns", &time_of)
          .def_property_readonly("name", [](const HostFrame& self) {
            return self.info ? self.info->name : std::string();
          });
  host_frame_type = reinterpret_cast<PyTypeObject*>(host_frame.ptr());
  module.def("set_frame_class", &set_frame_class);
  module.def("frame_of_array", &frame_of_array, py::arg("array"), py::arg("facts").none(true),
             py::arg("time_ns"), py::arg("name"));
  module.def("read_camera_file", [](const std::filesystem::path& path) {
    return value_or_raise(read_camera_file(path)).dump();
  });
  py::list keys;
  for (const char* key : fact_keys)
    keys.append(key);
  module.attr("fact_keys") = py::tuple(keys);
}

} // namespace python
