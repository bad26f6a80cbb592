// Checks of update_config and set_config_data.
#include <cstdlib>
#include <set>

#include <fmt/format.h>

#include "conformance/our_filters.h"
#include "conformance/probes.h"
#include "conformance/settings.h"

namespace conformance {

using namespace hosting;

namespace {

std::string update_function(const Subject& subject) {
  return subject.filter + "::update_filter_config";
}

/// "no error", or an error as a filter reports what it refuses: type 4, status 1, these names.
void expect_refusal_or_none(Findings& findings, const std::string& function,
                            const std::string& args, const gx_error* error) {
  const std::string came = describe(error);
  const std::string refusal = describe_error(message_of(error), function, args);
  findings.expect(error == nullptr || came == refusal, error == nullptr ? no_error : refusal, came);
}

// ---- bounds ----

class BoundsCheck {
 public:
  BoundsCheck(const Subject& subject, Findings& findings)
      : subject_(subject), findings_(findings), filter_(subject.make_filter()),
        defaults_(default_values(filter_.schema())), setting_(settings_of(filter_).front()) {}

  void run() {
    try_defaults("the defaults");
    Filter undisturbed = make_configured(subject_, setting_);
    expected_ = pixels_of(undisturbed);
    for (size_t i = 0; i < defaults_.size(); ++i) {
      const gexton::Parameter& parameter = filter_.schema()[i];
      const double step = std::strtod(parameter.step.c_str(), nullptr);
      accept(i, parameter.min, "its minimum");
      accept(i, parameter.max, "its maximum");
      refuse(i, beyond(parameter, parameter.min, -step),
             "one step below its minimum of " + parameter.min);
      refuse(i, beyond(parameter, parameter.max, step),
             "one step above its maximum of " + parameter.max);
    }
    try_defaults("the defaults after all that");
  }

 private:
  /// Whole numbers must not get an exponent, which filters don't read.
  static std::string beyond(const gexton::Parameter& parameter, const std::string& bound,
                            double step) {
    const double value = std::strtod(bound.c_str(), nullptr) + step;
    return parameter.type == "float" ? fmt::format("{:.9g}", value) : fmt::format("{:.0f}", value);
  }

  void try_defaults(const char* what) {
    findings_.doing(what);
    findings_.expect(no_error, update(filter_, defaults_));
  }

  /// Tries the value with all others at their defaults.
  std::string try_value(size_t i, const std::string& value, const std::string& what,
                        gexton::ErrorSlot& slot) {
    findings_.doing(fmt::format("{} = {}, {}", filter_.schema()[i].name, value, what));
    std::vector<std::string> values = defaults_;
    values[i] = value;
    filter_.update_config(values, slot);
    return describe(slot.get());
  }

  void accept(size_t i, const std::string& value, const std::string& what) {
    gexton::ErrorSlot slot;
    findings_.expect(no_error, try_value(i, value, what, slot));
  }

  /// Some filters word their refusals in their own way: the message is not compared.
  void refuse(size_t i, const std::string& value, const std::string& what) {
    gexton::ErrorSlot slot;
    const std::string came = try_value(i, value, what, slot);
    const std::string message = slot ? message_of(slot.get()) : out_of_range;
    findings_.expect(describe_error(message, update_function(subject_), filter_.schema()[i].name),
                     came);
    findings_.doing(fmt::format("frames after {} = {}, {}", filter_.schema()[i].name, value, what));
    Filter filter = make_configured(subject_, setting_);
    std::vector<std::string> values = setting_.values;
    values[i] = value;
    update(filter, values);
    findings_.expect(pixels_of(filter) == expected_, "those of before", "other frames");
  }

  /// The pixels that frames of all kinds give one after the other; none where there is no frame.
  static std::vector<std::string> pixels_of(Filter& filter) {
    std::vector<std::string> pixels;
    for (const PixelKind& kind : pixel_kinds) {
      for (uint32_t number = 0; number < 2; ++number) {
        const Input input(kind, usual_size, number);
        gexton::ErrorSlot slot;
        pixels.push_back(conformance::pixels_of(try_frame(filter, input.frame(), slot)));
      }
    }
    return pixels;
  }

  const Subject& subject_;
  Findings& findings_;
  Filter filter_;
  std::vector<std::string> defaults_;
  Setting setting_; ///< fits the frames
  std::vector<std::string> expected_;
};

void check_bounds(const Subject& subject, Findings& findings) {
  BoundsCheck(subject, findings).run();
}

// ---- counts and texts ----

void check_counts(const Subject& subject, Findings& findings) {
  Filter filter = subject.make_filter();
  std::vector<std::string> values = default_values(filter.schema());
  values.emplace_back("1");
  std::vector<const char*> texts = gexton::argument_texts(values);
  const auto count = static_cast<int32_t>(filter.schema().size());
  const gx_priv_filter_context& context = filter.context();
  for (const int32_t wrong : std::set<int32_t>{-1, 0, count - 1, count + 1}) {
    if (wrong == count)
      continue;
    findings.doing(fmt::format("{} string{} instead of {}", wrong, wrong == 1 ? "" : "s", count));
    gexton::ErrorSlot slot;
    context.update_config(context.filter, wrong, wrong > 0 ? texts.data() : nullptr,
                          slot.receive());
    findings.expect(describe_error("the number of params error", update_function(subject), "argc"),
                    describe(slot.get()));
  }
}

void check_texts(const Subject& subject, Findings& findings) {
  Filter filter = subject.make_filter();
  const auto defaults = default_values(filter.schema());
  for (size_t i = 0; i < defaults.size(); ++i) {
    for (const char* text : {"", "abc", "1e999", "-99999999999999999999", "nan"}) {
      findings.doing(fmt::format("{} = '{}'", filter.schema()[i].name, text));
      auto values = defaults;
      values[i] = text;
      gexton::ErrorSlot slot;
      filter.update_config(values, slot);
      const bool sound =
          !slot || (gx_error_get_exception_type(slot.get()) == GX_EXCEPTION_TYPE_INVALID_VALUE &&
                    gx_error_get_status(slot.get()) == GX_STATUS_ERROR);
      findings.expect(sound, "no error, or one of type 4 and status 1", describe(slot.get()));
    }
  }
  if (defaults.empty()) {
    findings.doing("texts that are no numbers");
    findings.skip("the filter has no parameters");
  }
}

// ---- configuration records ----

void check_records(const Subject& subject, Findings& findings) {
  Filter filter = subject.make_filter();
  const Setting setting = settings_of(filter).front();
  const Input input(pixel_kinds[0]);
  const gx_priv_filter_context& context = filter.context();
  struct Record {
    const char* data; ///< null or the byte that fills it
    uint64_t size;
  };
  for (const auto& [data, size] : std::initializer_list<Record>{{nullptr, 0},
                                                                {nullptr, record_size},
                                                                {"\0", 0},
                                                                {"\0", 1},
                                                                {"\0", 4},
                                                                {"\0", record_size - 1},
                                                                {"\0", record_size},
                                                                {"\1", record_size + 1},
                                                                {"\1", 4096}}) {
    findings.doing(data == nullptr ? fmt::format("a record of {} bytes at null", size)
                                   : fmt::format("a record of {} bytes", size));
    // Of exactly this size, so that a read beyond it is noticed where the sanitizer looks.
    const std::vector<uint8_t> bytes(size, data != nullptr ? static_cast<uint8_t>(*data) : 0);
    gexton::ErrorSlot slot;
    context.set_config_data(context.filter, data != nullptr ? bytes.data() : nullptr, size,
                            slot.receive());
    const std::string function = slot ? gx_error_get_function(slot.get()) : "";
    expect_refusal_or_none(findings, function, "data", slot.get());
  }
  findings.doing("a frame after these records");
  static_cast<void>(working_settings(subject));
  findings.expect(no_error, update(filter, setting.values));
  const gexton::Frame output = process(filter, input);
  findings.survived();
}

} // namespace

Checks parameter_checks() {
  return {{"parameter bounds", check_bounds},
          {"parameter counts", check_counts},
          {"parameter texts", check_texts},
          {"configuration records", check_records}};
}

} // namespace conformance
