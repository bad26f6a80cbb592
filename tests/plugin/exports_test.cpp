#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "plugin/filter_factory.h"
#include "support/filter_facts.h"
#include "support/schema.h"

namespace {

std::vector<std::string> names() {
  std::vector<std::string> names;
  for (uint64_t i = 0; i < gx_get_filter_count(nullptr); ++i)
    names.emplace_back(gx_get_filter_name(static_cast<int32_t>(i), nullptr));
  return names;
}

TEST(Registry, ListsTheFiltersInTheirOrderWithSchemasOfWhichNoLetterChangesUnseen) {
  std::ostringstream expected;
  expected << std::ifstream(TEST_FILES "/plugin/schemas.txt").rdbuf();
  std::string listed;
  for (const std::string& name : names()) {
    const test::Filter filter(name);
    listed +=
        "---- " + name + "\n" + filter.context().get_config_schema(filter.context().filter) + "\n";
  }
  EXPECT_EQ(listed, expected.str()) << "Hosts rely on it and show it.";
  EXPECT_EQ(filter_processor::getFilterFactory()->createFilter(-1), nullptr);
  EXPECT_STREQ(gx_get_commit_hash(), "2c544ce");
}

TEST(FilterFacts, HaveARowForEachFilter) {
  std::set<std::string> rows;
  for (const test::FilterFacts& filter : test::all_filters())
    rows.insert(filter.name);
  for (const std::string& name : names())
    EXPECT_EQ(rows.erase(name), 1U) << name << " has no row in tests/support/filter_facts.h";
  for (const std::string& row : rows)
    ADD_FAILURE() << row << " of tests/support/filter_facts.h is no filter";
}

/// The words of the record in their order, which have a type of their own each.
constexpr gx_priv_filter_context words = {
    gx_priv_filter_context_destroy, nullptr,
    gx_priv_filter_reset,           gx_priv_filter_get_config_schema,
    gx_priv_filter_update_config,   gx_priv_filter_set_config_data,
    gx_priv_filter_process};
static_assert(sizeof words == 7 * sizeof(void*));

TEST(Context, ARecordWithoutItsHandleIsFreedAlone) {
  auto* context = gx_create_filter(1, nullptr);
  auto* filter = std::exchange(context->filter, nullptr);
  context->destroy(context);
  gx_priv_filter_reset(filter);
  context = new gx_priv_filter_context{};
  context->filter = filter;
  gx_priv_filter_context_destroy(context);
}

/// Throws what its first parameter says from every operation.
class ThrowingFilter final : public filter_processor::IPrivFilter {
 public:
  const char* get_config_schema() override { return ""; }
  void update_filter_config(int32_t, const char** argv, gx_error**) override {
    kind = argv[0];
    raise();
  }
  void set_filter_config_data(const uint8_t*, uint64_t, gx_error**) override { raise(); }
  gx_frame* filter_process(gx_frame*, gx_error**) override { return raise(); }
  void reset() override { raise(); }
  void print_filter_params() override {}

 private:
  gx_frame* raise() const {
    if (kind == "invalid")
      throw std::invalid_argument("no number");
    if (kind == "range")
      throw std::out_of_range("too far");
    if (kind == "memory")
      throw std::bad_alloc();
    throw 42;
  }
  std::string kind;
};

TEST(ExceptionBarrier, ReportsWhatAFilterThrows) {
  auto* context = gx_create_filter(1, nullptr);
  auto& filter =
      *reinterpret_cast<std::shared_ptr<filter_processor::IPrivFilter>*>(context->filter);
  filter = std::make_shared<ThrowingFilter>();
  const struct {
    const char* kind;
    std::string message, type;
  } cases[] = {{"invalid", "no number", "4"},
               {"range", "too far", "4"},
               {"memory", std::bad_alloc().what(), "0"},
               {"number", "unknown exception", "0"}};
  test::ErrorSlot error;
  for (const auto& each : cases) {
    const char* value = each.kind;
    const auto expected = [&](const char* where) {
      return each.message + " | " + where + " | " + each.type;
    };
    context->update_config(context->filter, 1, &value, error.receive());
    EXPECT_EQ(error.text(), expected("gx_priv_filter_update_config | argv"));
    context->set_config_data(context->filter, nullptr, 0, error.receive());
    EXPECT_EQ(error.text(), expected("gx_priv_filter_set_config_data | data"));
    EXPECT_EQ(context->process(context->filter, nullptr, error.receive()), nullptr);
    EXPECT_EQ(error.text(), expected("gx_priv_filter_process | frame"));
    context->process(context->filter, nullptr, nullptr); // nowhere to report to
    context->reset(context->filter);
  }
  context->destroy(context);
}

/// Nobody may read it.
const char* const unreadable = reinterpret_cast<const char*>(8);

/// That each bound holds, and that a refusal changes nothing, `gxfilter validate` checks.
TEST(Updates, RefuseValuesBeyondTheirTypeAndReadNoFurther) {
  for (const test::FilterFacts& facts : test::all_filters()) {
    if (!facts.refuses_by_name)
      continue;
    const std::string& name = facts.name;
    test::Filter filter(name);
    const auto parameters = test::schema_of(filter);
    ASSERT_FALSE(parameters.empty()) << name;
    std::vector<const char*> values(parameters.size(), unreadable);
    for (size_t i = 0; i < values.size() && !parameters[i].name.starts_with("ex_"); ++i) {
      const auto& parameter = parameters[i];
      const bool of_table = parameter.name.starts_with("max_lut_");
      // In range when it is cut to 16 or to 8 bits.
      const std::string wrong = parameter.whole ? parameter.text(parameter.max + 65536) : "nan";
      values[i] = wrong.c_str();
      EXPECT_EQ(filter.update(values), "params out of range | " + name +
                                           "::update_filter_config | " +
                                           (of_table ? "max_lut" : parameter.name) + " | 4");
      values[i] = parameter.default_value.c_str();
    }
  }
}

TEST(Updates, HaveTheirOwnBoundsWhereTheSchemaHasOthers) {
  const struct {
    const char* filter;
    size_t index;
    const char *accepted, *refused;
  } cases[] = {{"LutNoiseRemovalFilter", 15, "10000", "10001"},
               {"LutNoiseRemovalFilter", 0, "1", "0"},
               {"EdgeNoiseRemovalFilter", 6, "1024", "1025"},
               {"MgcNoiseRemovalFilter", 8, "1024", "1025"},
               {"SpatialModerateFilter", 2, "-2147483648", "8"},
               {"DepthResize", 2, "0.1", "0.09"}};
  for (const auto& [name, index, accepted, refused] : cases) {
    test::Filter filter(name);
    test::Values values = test::default_values(filter);
    values[index] = accepted;
    EXPECT_EQ(filter.update(values), "") << name;
    values[index] = refused;
    EXPECT_NE(filter.update(values), "") << name;
  }
}

} // namespace
