// Which filters a run applies and how each is configured.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "hosting/plugin.h"

namespace gxfilter {

/// A filter as the user asks for it; parameters that are not named keep the schema's defaults.
struct FilterRequest {
  std::string name;
  std::map<std::string, std::string> values;
  std::filesystem::path record; // configuration record given in place of parameters, or empty
};

/// "NAME", "NAME:key=value,key=value" or "NAME:@FILE" (a configuration record).
recordings::Result<FilterRequest> parse_filter_request(const std::string& text);

/// A JSON list of {"filter": NAME, "params": {key: value}} or {"filter": NAME, "record": FILE}.
recordings::Result<std::vector<FilterRequest>> parse_chain(std::string_view json);
recordings::Result<std::vector<FilterRequest>> read_chain(const std::filesystem::path& path);

/// Why `value` looks wrong beside the schema (no number, outside the advertised range), or empty.
/// Filters enforce ranges of their own, so this can only be a hint.
std::string doubt_about(const gexton::Parameter& parameter, const std::string& value);

/// The values for every parameter of the schema in its order. An unknown key is a usage error.
recordings::Result<std::vector<std::string>>
complete_values(const FilterRequest& request, const std::vector<gexton::Parameter>& schema);

/// A filter that is ready for its first frame. A value that the filter rejects is a usage error
/// that quotes the schema; values that merely look wrong beside the schema are added to `notes`.
recordings::Result<hosting::Filter>
make_filter(const std::shared_ptr<const hosting::Plugin>& plugin, const FilterRequest& request,
            std::vector<std::string>& notes);

} // namespace gxfilter
