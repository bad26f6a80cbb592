// Checks of what a filter shows before it gets a frame: the record, the schema text, and what null
// handles do.
#include <algorithm>
#include <charconv>
#include <optional>
#include <set>

#include <fmt/format.h>

#include "conformance/checks.h"
#include "conformance/inputs.h"
#include "conformance/probes.h"

namespace conformance {

using namespace hosting;

namespace {

struct ContextDestroyer {
  decltype(&gx_priv_filter_context_destroy) destroy;
  void operator()(gx_priv_filter_context* context) const { destroy(context); }
};
using ContextHandle = std::unique_ptr<gx_priv_filter_context, ContextDestroyer>;

ContextHandle create(const Subject& subject, gx_error** slot = nullptr) {
  const auto& functions = subject.functions();
  ContextHandle context(functions.create_filter(subject.index, slot), {functions.context_destroy});
  if (context == nullptr)
    throw Unable(fmt::format("creating filter {} gave null", subject.index));
  return context;
}

void check_record(const Subject& subject, Findings& findings) {
  const auto& functions = subject.functions();
  MarkedSlot slot;
  findings.doing("creating an instance");
  const ContextHandle context = create(subject, slot.receive());
  findings.expect("untouched", slot.state());
  const auto word = [&findings](const char* name, auto came, auto exported) {
    findings.doing(fmt::format("the record's word {}", name));
    findings.expect(came == exported, "the exported function",
                    came == nullptr ? "null" : "another function");
  };
  word("0, destroy", context->destroy, functions.context_destroy);
  word("2, reset", context->reset, functions.reset);
  word("3, get_config_schema", context->get_config_schema, functions.get_config_schema);
  word("4, update_config", context->update_config, functions.update_config);
  word("5, set_config_data", context->set_config_data, functions.set_config_data);
  word("6, process", context->process, functions.process);

  findings.doing("the record's word 1, the filter");
  findings.expect(context->filter != nullptr, "a handle", "null");
  findings.doing("a second instance");
  const ContextHandle other = create(subject);
  findings.expect(context != other && context->filter != other->filter, "handles of its own",
                  "a handle of the first instance");
}

std::string same_text(const char* first, const char* second) {
  if (first == second)
    return "the same pointer";
  return first != nullptr && second != nullptr && std::string_view(first) == second
             ? "another pointer to an equal text"
             : "another text";
}

void check_schema_pointer(const Subject& subject, Findings& findings) {
  const ContextHandle context = create(subject);
  const auto schema_of = [&subject](const ContextHandle& of) {
    return subject.functions().get_config_schema(of->filter);
  };
  findings.doing("the schema text");
  const char* text = schema_of(context);
  findings.expect(text != nullptr, "a text", "null");
  findings.doing("the schema text a second time");
  findings.expect("the same pointer", same_text(text, schema_of(context)));
  findings.doing("the schema text of another instance");
  const ContextHandle other = create(subject);
  findings.expect("the same pointer", same_text(text, schema_of(other)));
}

std::optional<double> number(const std::string& text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size())
    return std::nullopt;
  return value;
}

void check_line(const gexton::Parameter& parameter, size_t index, Findings& findings) {
  const auto doing = [&](const std::string& what) {
    findings.doing(fmt::format("line {} of the schema, {}", index + 1, what));
  };
  doing("fields");
  const auto commas = std::ranges::count(parameter.line, ',');
  findings.expect(commas >= 6, "seven or more with commas between",
                  fmt::format("{} in '{}'", commas + 1, parameter.line));
  doing("type");
  findings.expect(parameter.type == "integer" || parameter.type == "float" ||
                      parameter.type == "bool" || parameter.type == "uint32_t",
                  "integer, float, bool or uint32_t", fmt::format("'{}'", parameter.type));
  const auto min = number(parameter.min);
  const auto max = number(parameter.max);
  const auto step = number(parameter.step);
  const auto usual = number(parameter.default_value);
  doing("minimum, maximum, step and default");
  const std::string values = fmt::format("'{}', '{}', '{}', '{}'", parameter.min, parameter.max,
                                         parameter.step, parameter.default_value);
  findings.expect(min && max && step && usual, "numbers", values);
  if (min && max && step && usual) {
    doing("their order");
    findings.expect(*min <= *usual && *usual <= *max, "minimum <= default <= maximum", values);
    doing("step");
    findings.expect(*step > 0, "more than 0", parameter.step);
  }
}

void check_schema(const Subject& subject, Findings& findings) {
  const Filter filter = subject.make_filter();
  if (filter.schema().empty()) {
    findings.doing("the lines of the schema");
    findings.skip("the filter has no parameters");
  }
  std::set<std::string> names;
  for (size_t i = 0; i < filter.schema().size(); ++i) {
    check_line(filter.schema()[i], i, findings);
    const std::string& name = filter.schema()[i].name;
    findings.doing(fmt::format("line {} of the schema, name", i + 1));
    findings.expect(!name.empty() && names.insert(name).second, "a name of its own",
                    name.empty() ? "no name" : fmt::format("{} once more", name));
  }
}

void check_null_handles(const Subject& subject, Findings& findings) {
  const auto& functions = subject.functions();
  MarkedSlot slot;
  const Input input(pixel_kinds[0]);
  const FrameState before(input.frame());
  const char* value = "1";
  const uint8_t byte = 0;

  findings.doing("destroying null");
  functions.context_destroy(nullptr);
  findings.survived();
  findings.doing("resetting null");
  functions.reset(nullptr);
  findings.survived();
  findings.doing("the schema text of null");
  findings.expect(functions.get_config_schema(nullptr) == nullptr, "null", "a text");
  findings.doing("updating the parameters of null, the error slot");
  functions.update_config(nullptr, 1, &value, slot.receive());
  findings.expect("untouched", slot.state());
  findings.doing("setting the configuration record of null, the error slot");
  functions.set_config_data(nullptr, &byte, 1, slot.receive());
  findings.expect("untouched", slot.state());
  findings.doing("processing a frame with null");
  findings.expect(functions.process(nullptr, input.get(), slot.receive()) == nullptr, "null",
                  "a frame");
  findings.doing("processing a frame with null, the error slot");
  findings.expect("untouched", slot.state());
  findings.doing("processing a frame with null, the frame");
  findings.expect(unchanged, before.changes_to(FrameState(input.frame())));
}

} // namespace

Checks contract_checks() {
  return {{"context record", check_record},
          {"schema pointer", check_schema_pointer},
          {"schema", check_schema},
          {"null handles", check_null_handles}};
}

} // namespace conformance
