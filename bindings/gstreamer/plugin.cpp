// What GStreamer loads: registers the elements.
#include "elements.h"

#include "camera_properties.h"
#include "filter_line.h"

namespace {

gboolean register_elements(GstPlugin* plugin) {
  using namespace depth_elements;
  register_camera_tag();
  const auto names = linked_plugin()->filter_names();
  bool is_complete =
      static_cast<bool>(names) && register_chain(*plugin) && register_colorize(*plugin);
  for (size_t i = 0; is_complete && i < names->size(); ++i)
    is_complete = register_filter(*plugin, (*names)[i]);
  return is_complete ? TRUE : FALSE;
}

} // namespace

#define PACKAGE "FilterProcessor"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, filterprocessor,
                  "Filters for the images of depth cameras", register_elements,
                  FILTER_PROCESSOR_VERSION, "Apache 2.0", "FilterProcessor", "FilterProcessor")
