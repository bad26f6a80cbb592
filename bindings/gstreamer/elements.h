// The elements that users see.
#pragma once

#include <string>

#include <gst/gst.h>

#include "gexton_host.hpp"

namespace depth_elements {

/// What a filter's element is called: "depth" and the class name in small letters, which is not
/// said twice.
std::string element_name(const std::string& filter);

/// An element with the filter's parameters as properties.
bool register_filter(GstPlugin& plugin, const std::string& filter);

/// depthchain: any number of filters one behind the other.
bool register_chain(GstPlugin& plugin);

/// depthcolorize: depth as a picture in colours.
bool register_colorize(GstPlugin& plugin);

} // namespace depth_elements
