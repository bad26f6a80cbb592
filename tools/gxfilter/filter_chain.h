// Which filters a run applies and how each is configured.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "gxfilter/parameter_text.h"
#include "hosting/plugin.h"

namespace gxfilter {

/// A filter as the user asks for it; parameters that are not named keep the schema's defaults.
struct FilterRequest {
  std::string name;
  std::map<std::string, std::string> values;
  std::filesystem::path record; ///< configuration record given in place of parameters, or empty
  /// What the record holds, for those who make filters of it more than once, as a file may change
  /// under its name. Null: `configure` reads it.
  std::optional<std::vector<uint8_t>> record_bytes = {};
};

/// "NAME", "NAME:key=value,key=value" or "NAME:@FILE" (a configuration record).
recordings::Result<FilterRequest> parse_filter_request(const std::string& text);

/// Null once `record_bytes` are what the request's record holds now, if it names one.
recordings::Failure read_record(FilterRequest& request);

/// A chain of filters and what it is good for.
struct Preset {
  std::string description; ///< a sentence, or empty
  std::string when_not;    ///< when not to use it, or empty
  std::vector<FilterRequest> chain;
};

/// A JSON object of "description", "when_not" and "chain", or the chain's list alone. Its entries
/// are
/// {"filter": NAME, "params": {key: value}} or {"filter": NAME, "record": FILE}.
recordings::Result<Preset> parse_preset(std::string_view json);
recordings::Result<Preset> read_preset(const std::filesystem::path& path);

/// The values for every parameter of the schema in its order. An unknown key, and a value that
/// `value_text` refuses, is a usage error that quotes the schema.
recordings::Result<std::vector<std::string>>
complete_values(const FilterRequest& request, const std::vector<gexton::Parameter>& schema,
                Ranges ranges);

/// "NAME key=value, key=value" with the parameters that differ from the schema's defaults, in its
/// order.
std::string describe_request(const FilterRequest& request,
                             const std::vector<gexton::Parameter>& schema);

/// Null once the filter is configured as asked. A value that the filter rejects is a usage error
/// that quotes the schema too.
recordings::Failure configure(hosting::Filter& filter, const FilterRequest& request, Ranges ranges);

/// A filter that is ready for its first frame.
recordings::Result<hosting::Filter>
make_filter(const std::shared_ptr<const hosting::Plugin>& plugin, const FilterRequest& request,
            Ranges ranges);

/// Filters in their order, and what was asked of each.
struct Chain {
  std::shared_ptr<const hosting::Plugin> plugin;
  std::vector<FilterRequest> requests;
  std::vector<hosting::Filter> filters;

  /// "A > B key=value", with what differs from the defaults.
  std::string caption() const;
};

recordings::Result<Chain> make_chain(const std::shared_ptr<const hosting::Plugin>& plugin,
                                     std::vector<FilterRequest> requests, Ranges ranges);

} // namespace gxfilter
