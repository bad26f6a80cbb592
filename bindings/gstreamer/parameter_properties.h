// Parameters of a schema as properties of an element.
#pragma once

#include <optional>
#include <string>

#include <gst/gst.h>

#include "gexton_host.hpp"

namespace depth_elements {

/// A property for a parameter: its type, range, default and description are those of the schema, a
/// parameter with named values is an enumeration. `owner` is the element's type name. Values out of
/// the range reach the element, which refuses them aloud.
GParamSpec* property_of(const gexton::Parameter& parameter, const std::string& owner,
                        GObjectClass& element_class);

/// The value as filters take it, and back. The text has to be a number or a name of the parameter;
/// the value already has the property's type.
std::string text_of(const GValue& value);
void set_value(GValue& value, const gexton::Parameter& parameter, const std::string& text);

/// Number properties that hand on whatever they are given, so that their element can say what is
/// wrong with it and keep what it has.
GParamSpec* open_double(const char* name, const char* nick, const char* blurb, double minimum,
                        double maximum, double default_value, GParamFlags flags);
GParamSpec* open_int(const char* name, const char* nick, const char* blurb, int32_t minimum,
                     int32_t maximum, int32_t default_value, GParamFlags flags);

} // namespace depth_elements
