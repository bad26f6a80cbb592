// What `gxfilter validate` and `gxfilter selftest` say of our own plug-in and of plug-ins with one
// fault each.
#include <algorithm>
#include <chrono>
#include <fstream>
#include <ostream>
#include <regex>

#include <nlohmann/json.hpp>

#include "outcome.h"

namespace {

using namespace test;

/// Runs `gxfilter validate` with these shell words; what it says on both streams is `out`.
Outcome validate(const std::string& arguments, const std::string& environment = "") {
  return run_shell(environment + " '" GXFILTER_PROGRAM "' validate " + arguments + " 2>&1");
}

Outcome validate_fault(const std::string& fault, const std::string& filter = "TemporalFilter") {
  const std::string time_limit = fault == "hangs" ? "3" : "60";
  return validate("--time-limit " + time_limit + " --plugin '" GXFILTER_FAULTY_PLUGIN "'",
                  "GXFILTER_TEST_FAULT='" + fault + "' GXFILTER_TEST_FILTER=" + filter);
}

TEST(Validate, FindsThatOurPluginConforms) {
  const Outcome outcome = validate("");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_FALSE(says(outcome.out, "GONE")) << outcome.out;
  std::smatch counts;
  ASSERT_TRUE(
      std::regex_search(outcome.out, counts,
                        std::regex("filters, (\\d+) checks: 0 failed, \\d+ known .*, (\\d+) sk")))
      << outcome.out;
  EXPECT_GE(std::stoi(counts[1]) - std::stoi(counts[2]), 5819) << "a check was lost on the way";
}

TEST(Validate, TellsMoreWhenAsked) {
  const Outcome verbose = validate("--filter NoiseRemovalFilter --verbose");
  EXPECT_PRED2(says, verbose.out,
               "  passed   parameter bounds: min_diff = 0, one step below its minimum of 1: the "
               "error \"params out of range\" in NoiseRemovalFilter::"
               "update_filter_config(min_diff), type 4\n");
  for (const char* place :
       {"first frame", "second frame", "first frame in a set", "second frame in a set"})
    EXPECT_PRED2(says, verbose.out, "made to fail once, in a " + std::string(place) + " with");
  const auto json = nlohmann::json::parse(validate("--filter NoiseRemovalFilter --json").out);
  ASSERT_EQ(json["filters"].size(), 2U) << "the plug-in as a whole, and one filter";
  EXPECT_EQ(json["filters"][1]["filter"], "NoiseRemovalFilter");
  EXPECT_EQ(json["summary"]["checks"],
            json["filters"][0]["checks"].size() + json["filters"][1]["checks"].size());
  EXPECT_PRED2(says, validate("--filter HardwareD2DCorrectionFilter --verbose").out,
               "  skipped  schema: the lines of the schema: the filter has no parameters");
  EXPECT_EQ(validate("--time-limit 86401").status, 2);
  EXPECT_EQ(validate("--filter NoSuchFilter").status, 2);
  EXPECT_EQ(validate("--plugin ./missing.so").status, 1);
}

struct FaultCase {
  std::string fault, complaint;
};

void PrintTo(const FaultCase& fault_case, std::ostream* stream) {
  *stream << fault_case.fault;
}

std::vector<FaultCase> fault_cases() {
  std::vector<FaultCase> cases;
  std::ifstream file(TOOLS_TEST_FILES "/validate_faults.txt");
  for (std::string fault, complaint; std::getline(file, fault);)
    if (!fault.starts_with('#') && std::getline(file >> std::ws, complaint))
      cases.push_back({fault, complaint});
  return cases;
}

class ValidateFault : public testing::TestWithParam<FaultCase> {};

TEST_P(ValidateFault, IsFound) {
  const Outcome outcome = validate_fault(GetParam().fault);
  EXPECT_EQ(outcome.status, 5);
  const std::regex line(
      "(^|\n)(  FAILED   |gxfilter: error: .*: asked for its filters, the plug-in )" +
      GetParam().complaint);
  EXPECT_TRUE(std::regex_search(outcome.out, line)) << outcome.out;
}

INSTANTIATE_TEST_SUITE_P(Faults, ValidateFault, testing::ValuesIn(fault_cases()),
                         [](const testing::TestParamInfo<FaultCase>& test) {
                           std::string name = test.param.fault;
                           std::ranges::replace(name, ' ', '_');
                           return name;
                         });

TEST(Validate, FindsNoFaultWhereThereIsNone) {
  EXPECT_FALSE(fault_cases().empty()) << "their file was not found";
  for (const char* sound : {"", "has bounds of ten digits"}) {
    const Outcome outcome = validate_fault(sound);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_PRED2(says, outcome.out, "\n1 filter, 307 checks: 0 failed");
  }
}

/// A child that lives on keeps the stream open that is read here.
TEST(Validate, TakesAHungCheckAlongWhenItIsKilled) {
  const auto begin = std::chrono::steady_clock::now();
  validate("--plugin '" GXFILTER_FAULTY_PLUGIN "'",
           "GXFILTER_TEST_FAULT=hangs timeout --foreground --signal=KILL 4");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

/// Filters whose reset is known to set values of its own, too.
TEST(Validate, FindsThatResetDoesNothing) {
  for (const char* filter :
       {"EdgeNoiseRemovalFilter", "LutNoiseRemovalFilter", "MgcNoiseRemovalFilter"})
    EXPECT_PRED2(says, validate_fault("resets nothing", filter).out,
                 "  FAILED   reset: other parameters, ");
}

TEST(Validate, SkipsFramesThatTheDefaultsDoNotFit) {
  const Outcome outcome = validate_fault("goes by another name", "DepthResize");
  EXPECT_FALSE(says(outcome.out, "a usual frame gave")) << outcome.out;
  EXPECT_FALSE(says(outcome.out, "FAILED   depth frames")) << outcome.out;
  EXPECT_PRED2(says, outcome.out, " skipped");
}

TEST(Validate, SaysWhenAKnownDifferenceIsGone) {
  const Outcome outcome = validate_fault("has lost a known difference", "HoleFillingFilter");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_PRED2(says, outcome.out, "  GONE     parameter bounds: a known difference did not show: ");
}

TEST(Selftest, FindsOurFiltersAsTheyMustBeAndFaultsInThem) {
  const auto selftest = [](const std::string& fault, const std::string& arguments) {
    return run_shell("GXFILTER_TEST_FAULT='" + fault + "' '" GXFILTER_PROGRAM "' selftest " +
                     arguments);
  };
  const Outcome own = selftest("", "--json");
  EXPECT_EQ(own.status, 0);
  const auto json = nlohmann::json::parse(own.out);
  EXPECT_EQ(json["filters"], 14);
  EXPECT_EQ(std::count(json["levels"].begin(), json["levels"].end(), json["level"]), 1);
  for (const char* fault : {"", "loses the index", "resets nothing"}) { // of the TemporalFilter
    const Outcome other = selftest(fault, "--plugin '" GXFILTER_FAULTY_PLUGIN "'");
    EXPECT_EQ(other.status, 1);
    EXPECT_PRED2(says, other.out, "missing: HoleFillingFilter\n");
    EXPECT_EQ(says(other.out, "differs: TemporalFilter random_20\n"), fault[0] != '\0') << fault;
  }
  for (const auto& [fault, words] : {std::pair{"crashes", "as_made: crashed with signal 6"},
                                     {"exits", "as_made: ended the program with status 0"}}) {
    const Outcome ended = selftest(fault, "--plugin '" GXFILTER_FAULTY_PLUGIN "'");
    EXPECT_EQ(ended.status, 1);
    EXPECT_PRED2(says, ended.out, std::string("ended early: TemporalFilter ") + words);
  }
}

} // namespace
