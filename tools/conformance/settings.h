// The parameters with which filters are tried.
#pragma once

#include <string>
#include <vector>

#include "conformance/checks.h"
#include "conformance/inputs.h"
#include "conformance/probes.h"

namespace conformance {

std::vector<std::string> default_values(const std::vector<gexton::Parameter>& schema);

/// Changes the value of the parameter of that name, if the filter has one.
void set_value(const hosting::Filter& filter, std::vector<std::string>& values, const char* name,
               const std::string& value);

/// Parameters with which a filter works on frames of the usual size.
struct Setting {
  std::string label;
  std::vector<std::string> values;
};
std::vector<Setting> settings_of(const hosting::Filter& filter,
                                 recordings::FrameSize size = usual_size);

/// The same. Throws Inapplicable where the filter says that the first of them fit no usual frame.
std::vector<Setting> working_settings(const Subject& subject);

/// "no error" or the error's description.
std::string update(hosting::Filter& filter, const std::vector<std::string>& values);

/// A new instance with the setting. Throws Unable where that is refused.
hosting::Filter make_configured(const Subject& subject, const Setting& setting);

/// The pixels of a new frame, none where there is none.
std::string pixels_of(const Output& output);

/// The frame that the filter makes of the input. Throws Unable where there is none.
gexton::Frame process(hosting::Filter& filter, const Input& input);

} // namespace conformance
