#pragma once

#include "plugin/base/i_priv_filter.h"
#include "plugin/base/processing_frame.h"

namespace filter_processor {

/// Stands in the list for a filter that does not exist yet: it has no parameters and refuses every
/// frame.
class UnbuiltFilter final : public IPrivFilter {
 public:
  explicit UnbuiltFilter(const char* class_name) : class_name_(class_name) {}

  const char* get_config_schema() override { return ""; }
  void update_filter_config(std::int32_t /*argc*/, const char** /*argv*/,
                            gx_error** error) override {
    set_filter_error(
        error, class_name_,
        {"not implemented", "update_filter_config", class_name_, GX_EXCEPTION_TYPE_UNKNOWN});
  }
  gx_frame* filter_process(gx_frame* frame, gx_error** error) override {
    ProcessingFrame(class_name_, frame, error).fail_kernel("not implemented", class_name_);
    return nullptr;
  }
  void reset() override {}
  void print_filter_params() override {}

 private:
  const char* class_name_;
};

} // namespace filter_processor
