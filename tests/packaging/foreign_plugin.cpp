// A plug-in of this interface that is none of ours: the same ten names, five filters.

#include "filter_processor.h"

uint64_t gx_get_filter_count(gx_error**) {
  return 5;
}
const char* gx_get_filter_name(int32_t, gx_error**) {
  return "foreign";
}
const char* gx_get_commit_hash(void) {
  return "foreign";
}
gx_priv_filter_context* gx_create_filter(uint64_t, gx_error**) {
  return nullptr;
}
void gx_priv_filter_context_destroy(gx_priv_filter_context*) {}
const char* gx_priv_filter_get_config_schema(gx_priv_filter*) {
  return "foreign";
}
void gx_priv_filter_update_config(gx_priv_filter*, int32_t, const char**, gx_error**) {}
void gx_priv_filter_set_config_data(gx_priv_filter*, const uint8_t*, uint64_t, gx_error**) {}
gx_frame* gx_priv_filter_process(gx_priv_filter*, gx_frame*, gx_error**) {
  return nullptr;
}
void gx_priv_filter_reset(gx_priv_filter*) {}
