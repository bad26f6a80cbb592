// A plug-in with a single fault. It offers one filter of the real plug-in and passes every call on
// to it, but for what the environment variable GXFILTER_TEST_FAULT asks it to do wrong.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include "gexton_host.hpp"

struct gx_priv_filter {
  gexton::FilterContext real;
  int number; // of the instance
  bool doomed = false;
};

namespace {

std::string variable(const char* name, const char* otherwise) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : otherwise;
}

bool fault_is(std::string_view fault) {
  static const std::string wanted = variable("GXFILTER_TEST_FAULT", "");
  return wanted == fault;
}

const std::string& filter_name() {
  static const std::string name = variable("GXFILTER_TEST_FILTER", "TemporalFilter");
  return name;
}

template <class Function>
Function real(const char* name) {
#if defined(_WIN32)
  static const HMODULE library = LoadLibraryA(REAL_PLUGIN);
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
#else
  static void* const library = dlopen(REAL_PLUGIN, RTLD_NOW | RTLD_LOCAL);
  return reinterpret_cast<Function>(dlsym(library, name));
#endif
}

gx_priv_filter_context* create_real() {
  const auto index = gexton::find_filter(
      filter_name(), real<decltype(&gx_get_filter_count)>("gx_get_filter_count"),
      real<decltype(&gx_get_filter_name)>("gx_get_filter_name"));
  return real<decltype(&gx_create_filter)>("gx_create_filter")(index.value(), nullptr);
}

void refuse(const std::string& message, const std::string& function, const char* args, int type,
            gx_error** error) {
  if (error != nullptr)
    *error = gx_create_error(GX_STATUS_ERROR, message.c_str(), function.c_str(), args,
                             static_cast<gx_exception_type>(type));
}

void refuse_weight(gx_error** error) {
  refuse("params out of range", "TemporalFilter::update_filter_config", "weight", 4, error);
}

/// Puts an error with other words in place of the one in the slot.
void reword(const char* args, int type, gx_error** error) {
  gx_error* const old = *error;
  refuse(gx_error_get_message(old), gx_error_get_function(old), args, type, error);
  gx_delete_error(old);
}

void forget(gx_error** error) {
  gx_delete_error(*error);
  *error = nullptr;
}

bool error_is(gx_error** error, std::string_view message) {
  return error != nullptr && *error != nullptr && gx_error_get_message(*error) == message;
}

/// Faults of what goes in, before the real filter sees it. Without a fault no host call is made
/// here: it would meet the failures that are meant for the filter.
void spoil_input(gx_frame* frame) {
  const auto is_depth = [frame] { return gx_frame_get_type(frame, nullptr) == GX_FRAME_DEPTH; };
  if (fault_is("writes the input") && is_depth()) {
    gx_frame_get_data(frame, nullptr)[0] ^= 1;
  } else if (fault_is("changes an attribute") && is_depth()) {
    gx_depth_frame_set_value_scale(frame, 9, nullptr);
  } else if (fault_is("gives back what it does not hold") && is_depth()) {
    gx_delete_frame(frame, nullptr);
  } else if (fault_is("keeps a profile") && is_depth()) {
    static_cast<void>(gx_frame_get_stream_profile(frame, nullptr));
  } else if (fault_is("writes the colour frame of a set") &&
             gx_frame_get_type(frame, nullptr) == GX_FRAME_SET) {
    for (uint32_t i = gexton_frameset_get_count(frame, nullptr); i-- > 0;) {
      const gexton::Frame member{gexton_frameset_get_frame(frame, i, nullptr)};
      if (gx_frame_get_type(member.get(), nullptr) == GX_FRAME_COLOR)
        gx_frame_get_data(member.get(), nullptr)[0] ^= 1;
    }
  } else if (fault_is("crashes") && is_depth()) {
    const uint64_t index = gx_frame_get_index(frame, nullptr);
    if (index == 7 || index == 1006) // frames of validate's and of selftest's
      std::abort();
  }
}

bool blanks_next_frame = false;

/// Faults of what comes out.
gx_frame* spoil_output(gx_frame* output, gx_frame* input, const gx_priv_filter& filter) {
  if (fault_is("leaks a frame")) {
    gexton_frame_add_reference(output, nullptr);
  } else if (fault_is("returns the input")) {
    gx_delete_frame(output, nullptr);
    return input;
  } else if (fault_is("differs between instances")) {
    gx_frame_get_data(output, nullptr)[0] = static_cast<uint8_t>(filter.number);
  } else if (blanks_next_frame) {
    const gexton::Frame depth = gexton::depth_frame_of(*output);
    if (uint8_t* const pixels = gx_frame_get_data(depth.get(), nullptr)) // may fail, too
      std::fill_n(pixels, gx_frame_get_data_size(depth.get(), nullptr), uint8_t{0});
    blanks_next_frame = false;
  } else if (fault_is("cuts the output")) {
    gx_frame_update_data(output, gx_frame_get_data(output, nullptr), 10, nullptr);
  } else if (fault_is("loses the index")) {
    gexton_frame_set_index(output, 3, nullptr);
  } else if (fault_is("puts the input into the set") &&
             gx_frame_get_type(output, nullptr) == GX_FRAME_SET) {
    gx_delete_frame(output, nullptr);
    return gexton::make_frame_set({gexton::depth_frame_of(*input).get()}).release();
  }
  return output;
}

/// Faults of a call that the real filter failed.
gx_frame* spoil_failure(gx_frame* frame, gx_error** error) {
  const bool host_failed = error_is(error, "injected fault");
  const bool is_short = error_is(error, "invalid frame data size error");
  if ((host_failed && fault_is("ignores host errors")) ||
      (is_short && fault_is("takes short frames")) ||
      (error_is(error, "invalid frame type error") && fault_is("takes any frame"))) {
    forget(error);
    return gx_create_frame_from_other_frame(frame, true, nullptr);
  }
  blanks_next_frame |= host_failed && fault_is("gives zeros after a failure");
  if (host_failed && fault_is("says too much"))
    std::puts("and so on");
  if (host_failed && fault_is("leaks when the host fails"))
    static_cast<void>(gx_frame_get_stream_profile(frame, nullptr));
  if (is_short && fault_is("reads beyond a short frame")) {
    const uint32_t pixels =
        gx_video_frame_get_width(frame, nullptr) * gx_video_frame_get_height(frame, nullptr);
    const volatile uint8_t* data = gx_frame_get_data(frame, nullptr);
    if (data != nullptr) // a read there would be noticed without guards as well
      static_cast<void>(data[2 * pixels - 1]);
  }
  return nullptr;
}

/// The text with the first occurrence replaced, if there is one.
std::string replaced(std::string text, std::string_view what, std::string_view with) {
  const size_t found = text.find(what);
  return found != std::string::npos ? text.replace(found, what.size(), with) : text;
}

} // namespace

uint64_t gx_get_filter_count(gx_error**) {
  if (fault_is("throws when asked for its filters"))
    throw std::runtime_error("none\ntoday");
  if (fault_is("claims filters without number"))
    return std::numeric_limits<uint64_t>::max();
  return fault_is("offers nothing") ? 0 : 1;
}

const char* gx_get_filter_name(int32_t index, gx_error** error) {
  static const std::string other_place = filter_name();
  static int calls = 0;
  if (fault_is("writes a slot that is not its") && error != nullptr)
    *error = nullptr;
  if (fault_is("has names that move") && index == 0 && ++calls % 2 == 0)
    return other_place.c_str();
  if (fault_is("has no name"))
    return nullptr;
  if (index == 0 && fault_is("goes by another name"))
    return "OtherName";
  return index == 0 || fault_is("names everything") ? filter_name().c_str() : "UnknownFilter";
}

const char* gx_get_commit_hash() {
  return fault_is("has no commit") ? nullptr : "faulty";
}

gx_priv_filter_context* gx_create_filter(uint64_t index, gx_error**) {
  static int instances = 0;
  const uint64_t seen = fault_is("cuts the index") ? static_cast<uint32_t>(index) : index;
  if (seen != 0)
    return nullptr;
  auto* const filter = new gx_priv_filter{gexton::FilterContext(create_real()), ++instances};
  auto* reset = gx_priv_filter_reset;
  if (fault_is("has a reset of its own"))
    reset = [](gx_priv_filter* instance) { gx_priv_filter_reset(instance); };
  return new gx_priv_filter_context{gx_priv_filter_context_destroy,
                                    filter,
                                    reset,
                                    gx_priv_filter_get_config_schema,
                                    gx_priv_filter_update_config,
                                    gx_priv_filter_set_config_data,
                                    gx_priv_filter_process};
}

void gx_priv_filter_context_destroy(gx_priv_filter_context* context) {
  if (context != nullptr) {
    if (context->filter->doomed)
      std::abort();
    delete context->filter;
    delete context;
  }
}

const char* gx_priv_filter_get_config_schema(gx_priv_filter* filter) {
  if (filter == nullptr && fault_is("crashes on null"))
    std::abort();
  if (filter == nullptr)
    return nullptr;
  static const std::string text = filter->real->get_config_schema(filter->real->filter);
  static const std::string spoiled =
      fault_is("has a short line in the schema") ? text + "\nmore, float, 0, 1, 1, 1"
      : fault_is("has a default out of range") ? replaced(text, "0.1, difference", "7, difference")
      : fault_is("has a name twice")           ? replaced(text, "weight,", "diff_scale,")
      : fault_is("has bounds of ten digits")   ? replaced(text, "weight, float, 0.1, 1, 0.01, 0.4",
                                                          "weight, integer, 1, 2147483647, 1, 5")
                                               : text;
  const bool moves = fault_is("has a schema for each instance") && filter->number % 2 == 0;
  return (moves ? text : spoiled).c_str();
}

void gx_priv_filter_update_config(gx_priv_filter* filter, int32_t argc, const char** argv,
                                  gx_error** error) {
  if (filter == nullptr && fault_is("crashes on updates of null"))
    std::abort();
  if (filter == nullptr)
    return;
  if (fault_is("exits"))
    std::_Exit(0);
  if (fault_is("throws what is no exception"))
    throw 7;
  if (argc == 2 && fault_is("has bounds of ten digits")) {
    const long long weight = std::atoll(argv[1]);
    if (weight < 1 || weight > std::numeric_limits<int32_t>::max()) {
      refuse_weight(error);
      return;
    }
    argv[1] = "0.4"; // whatever was asked for
  }
  if (error == nullptr && fault_is("relies on a slot"))
    std::abort();
  filter->real->update_config(filter->real->filter, argc, argv, error);
  const bool out_of_range = error_is(error, "params out of range");
  if (argc == 2 && std::string_view(argv[1]) == "1" && fault_is("refuses a maximum")) {
    refuse_weight(error);
  } else if ((out_of_range && fault_is("takes any value")) ||
             (error_is(error, "the number of params error") && fault_is("takes any count"))) {
    forget(error);
  } else if (out_of_range && fault_is("keeps what it refuses")) {
    const char* other[] = {"1", "1"};
    filter->real->update_config(filter->real->filter, 2, other, nullptr);
  } else if (out_of_range && fault_is("names another parameter")) {
    reword("parameter", 4, error);
  } else if (out_of_range && fault_is("has an exception type of 0")) {
    reword(gx_error_get_args(*error), 0, error);
  } else if (error_is(error, "invalid hole filling mode params") &&
             fault_is("has lost a known difference")) {
    reword("hole_filling_mode", 4, error);
  }
}

void gx_priv_filter_set_config_data(gx_priv_filter* filter, const uint8_t* data, uint64_t size,
                                    gx_error** error) {
  if (filter == nullptr)
    return;
  if (size == 291 && fault_is("has a strange opinion of records")) {
    refuse("too long", "record", "size", 0, error);
    return;
  }
  filter->real->set_config_data(filter->real->filter, data, size, error);
}

gx_frame* gx_priv_filter_process(gx_priv_filter* filter, gx_frame* frame, gx_error** error) {
  if (filter == nullptr)
    return nullptr;
  if (frame == nullptr) {
    if (fault_is("complains about null"))
      refuse("null", "process", "frame", 4, error);
    return nullptr;
  }
  filter->doomed = fault_is("crashes at its end") && gx_video_frame_get_width(frame, nullptr) == 64;
  spoil_input(frame);
  gx_frame* const output = filter->real->process(filter->real->filter, frame, error);
  return output != nullptr ? spoil_output(output, frame, *filter) : spoil_failure(frame, error);
}

void gx_priv_filter_reset(gx_priv_filter* filter) {
  if (filter == nullptr)
    return;
  if (fault_is("hangs")) {
    std::this_thread::sleep_for(std::chrono::seconds(100));
    std::_Exit(1); // where nobody else has ended it
  }
  if (!fault_is("resets nothing"))
    filter->real->reset(filter->real->filter);
}
