// Filters and chains of them for Python.
#include "core/filters.h"

#include <map>
#include <mutex>

#include <fmt/format.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include "core/errors.h"
#include "core/frames.h"
#include "core/traces.h"
#include "core/unlocked.h"
#include "gxfilter/filter_chain.h"
#include "gxfilter/presets.h"
#include "hosting/plugin.h"

namespace python {

using namespace gxfilter;
using namespace recordings;

namespace {

using Values = std::map<std::string, std::string>;

/// The plug-in of this package, which stays loaded until the process ends: arrays and filters may
/// outlive the module.
std::shared_ptr<const hosting::Plugin>& plugin() {
  static auto& loaded = *new std::shared_ptr<const hosting::Plugin>;
  return loaded;
}

void load_plugin(const std::filesystem::path& path) {
  plugin() = value_or_raise(hosting::Plugin::load(path));
}

/// Instances and chains hold their locks while they wait for nobody but filters, and ask for them
/// without the interpreter's lock; so nobody waits in a circle. Between two frames of a stack
/// Python may run handlers of signals, on the same thread: they may use the same filter.
using Lock = std::recursive_mutex;

/// One filter with its parameters.
class Instance {
 public:
  Instance(FilterRequest request, bool unchecked)
      : request_(std::move(request)),
        ranges_(unchecked ? Ranges::left_to_the_filter : Ranges::checked) {
    begin();
  }

  const std::string& name() const { return request_.name; }
  bool unchecked() const { return ranges_ == Ranges::left_to_the_filter; }
  std::filesystem::path record() const { return request_.record; }

  /// Every parameter as the filter has it, in the schema's order.
  std::vector<std::string> values() {
    auto values = unlocked([&]() -> Result<std::vector<std::string>> {
      const std::lock_guard guard(lock_);
      return complete_values(request_, schema_, ranges_);
    });
    return value_or_raise(std::move(values));
  }

  /// Sets these parameters and leaves the others, all or nothing.
  void set(const Values& values) {
    raise_if(unlocked([&]() -> Failure {
      const std::lock_guard guard(lock_);
      const Quiet quiet;
      if (!filter_)
        return closed();
      FilterRequest changed = request_;
      for (const auto& [key, value] : values)
        changed.values[key] = value;
      if (auto failure = configure(*filter_, changed, ranges_)) {
        // Some filters keep the values before the refused one.
        if (auto second = configure(*filter_, request_, ranges_))
          return second;
        return explained(*failure, changed);
      }
      request_ = std::move(changed);
      return std::nullopt;
    }));
  }

  /// As new, with the same parameters.
  void reset() {
    raise_if(unlocked([&]() -> Failure {
      const std::lock_guard guard(lock_);
      return filter_ ? renew() : closed();
    }));
  }

  void close() {
    unlocked([&] {
      const std::lock_guard guard(lock_);
      filter_.reset();
      return true;
    });
  }
  bool is_closed() {
    return unlocked([&] {
      const std::lock_guard guard(lock_);
      return !filter_;
    });
  }

  /// Without the interpreter's lock.
  Result<gexton::Frame> process(gx_frame& frame) {
    const std::lock_guard guard(lock_);
    if (!filter_)
      return *closed();
    const Quiet quiet;
    gexton::ErrorSlot slot;
    gexton::Frame filtered = filter_->process(frame, slot);
    if (filtered && !slot)
      return filtered;
    return Error{fmt::format("{} fails: {}", name(), slot ? slot.text() : "no frame and no error"),
                 ErrorKind::processing};
  }

 private:
  void begin() {
    raise_if(unlocked([&] { return renew(); }));
  }

  Failure renew() {
    const Quiet quiet;
    auto filter = make_filter(plugin(), request_, ranges_);
    if (!filter)
      return explained(filter.error(), request_);
    schema_ = filter->schema();
    filter_.emplace(std::move(*filter));
    return std::nullopt;
  }

  Failure closed() const { return Error{name() + " is closed", ErrorKind::request}; }

  /// What is refused before the filter sees it, with what the filter itself says of it.
  Error explained(Error error, const FilterRequest& request) const {
    if (ranges_ == Ranges::left_to_the_filter)
      return error;
    const auto filter = make_filter(plugin(), request, Ranges::left_to_the_filter);
    if (!filter && filter.error().message != error.message)
      error.message += "\n" + filter.error().message.substr(0, filter.error().message.find('\n'));
    return error;
  }

  FilterRequest request_;
  Ranges ranges_;
  std::vector<gexton::Parameter> schema_;
  std::optional<hosting::Filter> filter_; ///< null: closed
  Lock lock_;
};

/// Filters one behind the other, which may take part in other chains too.
class Pipeline {
 public:
  Pipeline(std::vector<std::shared_ptr<Instance>> instances, const Facts* facts)
      : instances_(std::move(instances)), facts_(facts != nullptr ? facts->facts : CameraFacts()) {}

  py::object process(py::handle frames, const py::object& out) {
    const Pixels pixels = look_at_array(frames);
    if (!out.is_none()) {
      check_out(out, pixels);
      if (py::module_::import("numpy").attr("shares_memory")(out, pixels.array).cast<bool>())
        throw py::value_error("out shares memory with the input");
    }
    return pixels.is_stack ? process_stack(pixels, out) : process_frame(pixels, out);
  }

 private:
  py::object process_frame(const Pixels& pixels, const py::object& out) {
    HostFrame result = run(pixels, 0);
    if (out.is_none())
      return to_array(std::move(result));
    copy_into(out, to_array(std::move(result)));
    return out;
  }

  py::object process_stack(const Pixels& pixels, const py::object& out) {
    const std::unique_lock guard = lock();
    py::object results = out;
    HostFrame result;
    for (size_t i = 0; i < pixels.count; ++i) {
      result = run(pixels, i);
      const auto view = value_or_raise(look_at(*result.frame));
      if (results.is_none())
        results = py::array_t<uint16_t>(
            std::vector<size_t>{pixels.count, view.size.height, view.size.width});
      copy_into(results[py::int_(i)],
                to_array({gexton::share(*result.frame), result.setup, {}, {}}));
      if (PyErr_CheckSignals() != 0)
        throw py::error_already_set();
    }
    if (!out.is_none())
      return out;
    result.memory = results;
    return to_stack(std::move(result));
  }

  static void copy_into(const py::object& out, const py::object& result) {
    const auto to = out.cast<py::array>();
    const auto from = result.cast<py::array>();
    if (to.shape(0) != from.shape(0) || to.shape(1) != from.shape(1))
      throw py::value_error(
          fmt::format("frames of {} x {} pixels (H x W) come out, out holds {} x {}", from.shape(0),
                      from.shape(1), to.shape(0), to.shape(1)));
    const auto& api = py::detail::npy_api::get();
    if (api.PyArray_CopyInto_(to.ptr(), from.ptr()) != 0)
      throw py::error_already_set();
  }

  /// Frame i on its way through all filters.
  HostFrame run(const Pixels& pixels, size_t i) {
    const HostFrame* const source = pixels.host_frame;
    const bool goes_on = source != nullptr && !pixels.is_stack && facts_.empty();
    const std::unique_lock guard = lock();
    const SharedSetup setup = goes_on ? source->setup : setup_for(source, pixels.size);
    // Given back when the interpreter's lock is held again, which its array needs.
    if (goes_on)
      check_pixels(*source);
    const gexton::Frame input =
        goes_on ? gexton::share(*source->frame)
                : value_or_raise(wrap(pixels.array, pixels.image(i), index_, *setup));
    ++index_;
    auto result = unlocked([&]() -> Result<gexton::Frame> {
      gexton::Frame frame;
      for (const auto& instance : instances_) {
        auto filtered = instance->process(frame ? *frame : *input);
        if (!filtered)
          return filtered.error();
        frame = std::move(*filtered);
      }
      return frame;
    });
    return {
        value_or_raise(std::move(result)), setup, source != nullptr ? source->info : nullptr, {}};
  }

  /// Somebody may have written codes into the frame that it can't have.
  static void check_pixels(const HostFrame& source) {
    const auto view = value_or_raise(look_at(*source.frame));
    if (view.pixel_type != GX_PIXEL_DISPARITY)
      return;
    const auto camera = value_or_raise(camera_of(*source.frame, source.setup->camera));
    if (const auto failure = check_codes({view.size, view.pixels}, camera))
      throw py::value_error(failure->message);
  }

  /// That of the last frame, where this one is of the same recording and size.
  const SharedSetup& setup_for(const HostFrame* source, FrameSize size) {
    const SharedSetup origin = source != nullptr ? source->setup : nullptr;
    const bool is_first_hand = source == nullptr || source->is_first_hand;
    if (setup_ && serves_others_ && is_first_hand && origin_ == origin && setup_->size == size)
      return setup_;
    KnownFacts known;
    if (source != nullptr)
      raise_if(known.add("the frame", value_or_raise(source->facts())));
    if (!facts_.empty())
      raise_if(known.add("camera", facts_));
    setup_ = value_or_raise(make_setup(std::move(known), size));
    origin_ = origin;
    serves_others_ = is_first_hand;
    return setup_;
  }

  /// Waits without the interpreter's lock.
  std::unique_lock<Lock> lock() {
    std::unique_lock guard(lock_, std::try_to_lock);
    if (!guard.owns_lock())
      unlocked([&] {
        guard.lock();
        return true;
      });
    return guard;
  }

  std::vector<std::shared_ptr<Instance>> instances_;
  CameraFacts facts_;
  SharedSetup origin_; ///< what the frames came with that `setup_` is for
  SharedSetup setup_;
  bool serves_others_ = false; ///< frames of the same origin have the same facts
  uint64_t index_ = 0;
  Lock lock_;
};

// ---- chains as text ----

using RequestParts = std::tuple<std::string, Values, std::string>;

RequestParts parts_of(const FilterRequest& request) {
  return {request.name, request.values, request.record.string()};
}

py::dict to_dict(const Preset& preset) {
  py::dict dict;
  dict["description"] = preset.description;
  dict["when_not"] = preset.when_not;
  py::list chain;
  for (const FilterRequest& request : preset.chain)
    chain.append(parts_of(request));
  dict["chain"] = chain;
  return dict;
}

py::dict presets_of(const std::filesystem::path& directory) {
  py::dict presets;
  for (const auto& [name, preset] : value_or_raise(read_presets({directory})))
    presets[py::str(name)] = to_dict(preset);
  return presets;
}

py::dict to_dict(const gexton::Parameter& parameter) {
  py::dict names;
  for (const auto& [name, value] : gexton::named_values(parameter))
    names[py::str(name)] = value;
  py::dict dict;
  dict["name"] = parameter.name;
  dict["type"] = parameter.type;
  dict["min"] = parameter.min;
  dict["max"] = parameter.max;
  dict["step"] = parameter.step;
  dict["default"] = parameter.default_value;
  dict["description"] = parameter.description;
  dict["line"] = parameter.line;
  dict["allowed"] = allowed_values(parameter);
  dict["names"] = names;
  return dict;
}

/// Name and parameters of every filter, in the plug-in's order.
py::list schemas() {
  py::list filters;
  for (const std::string& name : value_or_raise(plugin()->filter_names())) {
    const auto filter = value_or_raise(hosting::Filter::create(plugin(), name));
    py::list parameters;
    for (const auto& parameter : filter.schema())
      parameters.append(to_dict(parameter));
    filters.append(py::make_tuple(name, parameters));
  }
  return filters;
}

} // namespace

void add_filters(py::module_& module) {
  py::class_<Instance, std::shared_ptr<Instance>>(module, "Instance")
      .def(py::init([](std::string name, Values values, const std::string& record, bool unchecked) {
             return std::make_shared<Instance>(
                 FilterRequest{std::move(name), std::move(values), record}, unchecked);
           }),
           py::arg("name"), py::arg("values"), py::arg("record") = "", py::arg("unchecked") = false)
      .def_property_readonly("values", &Instance::values)
      .def_property_readonly("unchecked", &Instance::unchecked)
      .def_property_readonly("record", [](const Instance& self) { return self.record().string(); })
      .def_property_readonly("closed", &Instance::is_closed)
      .def("set", &Instance::set, py::arg("values"))
      .def("reset", &Instance::reset)
      .def("close", &Instance::close);
  py::class_<Pipeline>(module, "Pipeline")
      .def(py::init<std::vector<std::shared_ptr<Instance>>, const Facts*>(), py::arg("instances"),
           py::arg("facts").none(true))
      .def("process", &Pipeline::process, py::arg("frames"), py::arg("out").none(true));
  module.def("load_plugin", &load_plugin, py::arg("path"));
  module.def("plugin_commit", [] { return plugin()->commit(); });
  module.def("schemas", &schemas);
  module.def("parse_filter", [](const std::string& text) {
    return parts_of(value_or_raise(parse_filter_request(text)));
  });
  module.def("parse_chain",
             [](const std::string& json) { return to_dict(value_or_raise(parse_preset(json))); });
  module.def("presets", &presets_of, py::arg("directory"));
  module.def("find_preset", [](const std::filesystem::path& directory, const std::string& name) {
    const auto presets = value_or_raise(read_presets({directory}));
    return to_dict(value_or_raise(find_preset(presets, name)));
  });
}

} // namespace python
