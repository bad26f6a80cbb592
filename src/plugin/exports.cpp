#include "filter_processor.h"

#include <memory>
#include <new>
#include <stdexcept>

#include "plugin/base/errors.h"
#include "plugin/filter_factory.h"

/// Behind the host's opaque pointer: the only lasting reference to a filter.
struct gx_priv_filter {
  std::shared_ptr<filter_processor::IPrivFilter> filter;
};

namespace {

using filter_processor::getFilterFactory;

/// Names the exported function and the argument that an exception is reported under.
struct Entry {
  const char* function;
  const char* args;
};

/// Runs `body` and turns an exception into a host error: the barrier behind which no exception
/// goes.
template <typename Body>
auto guarded(const Entry& entry, gx_error** error, Body body) noexcept -> decltype(body()) {
  const auto report = [&](const char* message, gx_exception_type type) {
    filter_processor::set_filter_error(error, GX_STATUS_ERROR, message, entry.function, entry.args,
                                       type);
  };
  try {
    return body();
  } catch (const std::invalid_argument& exception) {
    report(exception.what(), GX_EXCEPTION_TYPE_INVALID_VALUE);
  } catch (const std::out_of_range& exception) {
    report(exception.what(), GX_EXCEPTION_TYPE_INVALID_VALUE);
  } catch (const std::exception& exception) {
    report(exception.what(), GX_EXCEPTION_TYPE_UNKNOWN);
  } catch (...) {
    report("unknown exception", GX_EXCEPTION_TYPE_UNKNOWN);
  }
  return decltype(body())();
}

/// Runs `body`; an exception gives `otherwise`, for the functions that report nothing.
template <typename Result, typename Body>
Result guarded_or(Result otherwise, Body body) noexcept {
  try {
    return body();
  } catch (...) {
    return otherwise;
  }
}

gx_priv_filter_context* new_context(int index) {
  const auto factory = getFilterFactory();
  auto context = std::make_unique<gx_priv_filter_context>();
  auto handle = std::make_unique<gx_priv_filter>();
  handle->filter = factory->createFilter(index);

  context->filter = handle.release();
  context->destroy = gx_priv_filter_context_destroy;
  context->get_config_schema = gx_priv_filter_get_config_schema;
  context->update_config = gx_priv_filter_update_config;
  context->set_config_data = gx_priv_filter_set_config_data;
  context->process = gx_priv_filter_process;
  context->reset = gx_priv_filter_reset;
  return context.release();
}

} // namespace

uint64_t gx_get_filter_count(gx_error** /*error*/) {
  return guarded_or(uint64_t{0}, [] {
    return static_cast<uint64_t>(int64_t{getFilterFactory()->getFilterCount()});
  });
}

const char* gx_get_filter_name(int32_t index, gx_error** /*error*/) {
  return guarded_or("UnknownFilter", [&] { return getFilterFactory()->getFilterName(index); });
}

const char* gx_get_commit_hash(void) {
  return "2c544ce";
}

gx_priv_filter_context* gx_create_filter(uint64_t index, gx_error** error) {
  if (index >= gx_get_filter_count(error))
    return nullptr;
  return guarded_or<gx_priv_filter_context*>(nullptr,
                                             [&] { return new_context(static_cast<int>(index)); });
}

void gx_priv_filter_context_destroy(gx_priv_filter_context* context) {
  if (context == nullptr)
    return;
  delete context->filter;
  context->filter = nullptr;
  delete context;
}

const char* gx_priv_filter_get_config_schema(gx_priv_filter* filter) {
  return filter == nullptr ? nullptr : filter->filter->get_config_schema();
}

void gx_priv_filter_update_config(gx_priv_filter* filter, int32_t argc, const char** argv,
                                  gx_error** error) {
  if (filter == nullptr)
    return;
  guarded({"gx_priv_filter_update_config", "argv"}, error,
          [&] { filter->filter->update_filter_config(argc, argv, error); });
}

void gx_priv_filter_set_config_data(gx_priv_filter* filter, const uint8_t* data, uint64_t size,
                                    gx_error** error) {
  if (filter == nullptr)
    return;
  guarded({"gx_priv_filter_set_config_data", "data"}, error,
          [&] { filter->filter->set_filter_config_data(data, size, error); });
}

gx_frame* gx_priv_filter_process(gx_priv_filter* filter, gx_frame* frame, gx_error** error) {
  if (filter == nullptr)
    return nullptr;
  return guarded({"gx_priv_filter_process", "frame"}, error,
                 [&] { return filter->filter->filter_process(frame, error); });
}

void gx_priv_filter_reset(gx_priv_filter* filter) {
  if (filter == nullptr)
    return;
  guarded({"gx_priv_filter_reset", "filter"}, nullptr, [&] { filter->filter->reset(); });
}
