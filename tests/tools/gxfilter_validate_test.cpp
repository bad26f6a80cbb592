// What `gxfilter validate` says of our own plug-in and of plug-ins with one fault each.
#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <ostream>
#include <regex>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>

namespace {

struct Outcome {
  int status;
  std::string out;
};

/// Runs `gxfilter validate` with these shell words, with what it says on both streams.
Outcome validate(const std::string& arguments, const std::string& environment = "") {
  const std::string command =
      environment + " '" GXFILTER_PROGRAM "' validate " + arguments + " 2>&1";
  std::FILE* const pipe = popen(command.c_str(), "r");
  Outcome outcome{-1, ""};
  std::array<char, 4096> bytes;
  while (const size_t count = std::fread(bytes.data(), 1, bytes.size(), pipe))
    outcome.out.append(bytes.data(), count);
  const int status = pclose(pipe);
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return outcome;
}

Outcome validate_fault(const std::string& fault, const std::string& filter = "TemporalFilter") {
  const std::string time_limit = fault == "hangs" ? "3" : "60";
  return validate("--time-limit " + time_limit + " --plugin '" GXFILTER_FAULTY_PLUGIN "'",
                  "GXFILTER_TEST_FAULT='" + fault + "' GXFILTER_TEST_FILTER=" + filter);
}

TEST(Validate, FindsThatOurPluginConforms) {
  const Outcome outcome = validate("");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out.find("GONE"), std::string::npos) << outcome.out;
  std::smatch counts;
  ASSERT_TRUE(
      std::regex_search(outcome.out, counts,
                        std::regex("filters, (\\d+) checks: 0 failed, \\d+ known .*, (\\d+) sk")))
      << outcome.out;
  EXPECT_GE(std::stoi(counts[1]) - std::stoi(counts[2]), 5819) << "a check was lost on the way";
}

TEST(Validate, TellsMoreWhenAsked) {
  const Outcome verbose = validate("--filter NoiseRemovalFilter --verbose");
  EXPECT_NE(
      verbose.out.find("  passed   parameter bounds: min_diff = 0, one step below its minimum "
                       "of 1: the error \"params out of range\" in NoiseRemovalFilter::"
                       "update_filter_config(min_diff), type 4\n"),
      std::string::npos)
      << verbose.out;
  for (const char* place :
       {"first frame", "second frame", "first frame in a set", "second frame in a set"}) {
    EXPECT_NE(verbose.out.find("made to fail once, in a " + std::string(place) + " with"),
              std::string::npos)
        << place;
  }
  const auto json = nlohmann::json::parse(validate("--filter NoiseRemovalFilter --json").out);
  ASSERT_EQ(json["filters"].size(), 2U) << "the plug-in as a whole, and one filter";
  EXPECT_EQ(json["filters"][1]["filter"], "NoiseRemovalFilter");
  EXPECT_EQ(json["summary"]["checks"],
            json["filters"][0]["checks"].size() + json["filters"][1]["checks"].size());
  EXPECT_NE(
      validate("--filter HardwareD2DCorrectionFilter --verbose")
          .out.find("  skipped  schema: the lines of the schema: the filter has no parameters"),
      std::string::npos);
  EXPECT_EQ(validate("--time-limit 86401").status, 2);
  EXPECT_EQ(validate("--filter NoSuchFilter").status, 2);
  EXPECT_EQ(validate("--plugin ./missing.so").status, 1);
}

struct FaultCase {
  const char* fault;
  const char* complaint; // pattern of a line
};

void PrintTo(const FaultCase& fault_case, std::ostream* stream) {
  *stream << fault_case.fault;
}

class ValidateFault : public testing::TestWithParam<FaultCase> {};

TEST_P(ValidateFault, IsFound) {
  const Outcome outcome = validate_fault(GetParam().fault);
  EXPECT_EQ(outcome.status, 5);
  const std::regex line(
      "(^|\n)(  FAILED   |gxfilter: error: .*: asked for its filters, the plug-in )" +
      std::string(GetParam().complaint));
  EXPECT_TRUE(std::regex_search(outcome.out, line)) << outcome.out;
}

const FaultCase fault_cases[] = {
    {"throws when asked for its filters", "threw an exception: none today\n$"},
    {"claims filters without number", "claims to have 18446744073709551615 filters\n$"},
    {"throws what is no exception", "parameter bounds: the defaults: threw an exception that is no "
                                    "std::exception"},
    {"offers nothing", "number of filters: the number of filters: 0, expected at least one"},
    {"has no commit", "commit: the commit text: null, expected some text"},
    {"has no name", "names: the name of filter 0: null, expected a text"},
    {"has names that move", "names: the name of filter 0 a second time: another pointer"},
    {"names everything", "names: the name of filter -1, outside the list: TemporalFilter, expected "
                         "UnknownFilter"},
    {"writes a slot that is not its", "names: the error slot of the names: overwritten with null"},
    {"cuts the index", "indices: creating filter 4294967296, outside the list: a filter"},
    {"has a reset of its own", "context record: the record's word 2, reset: another function"},
    {"has a schema for each instance", "schema pointer: the schema text of another instance: "
                                       "another pointer to an equal text"},
    {"has a short line in the schema", "schema: line 3 of the schema, fields: 6 in 'more, "},
    {"has a default out of range", "schema: line 1 of the schema, their order: '0.1', '1', '0.01', "
                                   "'7', expected minimum <= default <= maximum"},
    {"has a name twice", "schema: line 2 of the schema, name: diff_scale once more"},
    {"crashes on null", "null handles: the schema text of null: crashed with signal 6"},
    {"crashes on updates of null", "null handles: updating the parameters of null.*: crashed"},
    {"exits", "parameter bounds: the defaults: ended the program with status 0"},
    {"hangs", "repetition: reset and the same .*: still at it after 3 s"},
    {"takes any value", "parameter bounds: weight = 1.01, one step above its maximum of 1: no "
                        "error, expected the error \"params out of range\" in TemporalFilter::"
                        "update_filter_config\\(weight\\), type 4"},
    {"keeps what it refuses", "parameter bounds: frames after weight = 1.01, one step above its "
                              "maximum of 1: other frames, expected those of before"},
    {"refuses a maximum", "parameter bounds: weight = 1, its maximum: the error .* expected no "
                          "error"},
    {"names another parameter", "parameter bounds: diff_scale = 0.09, .*\\(parameter\\), type 4, "
                                "expected .*\\(diff_scale\\), type 4"},
    {"has an exception type of 0", "parameter bounds: .* type 0, expected .* type 4"},
    {"takes any count", "parameter counts: 1 string instead of 2: no error, expected the error "},
    {"has a strange opinion of records", "configuration records: a record of 291 bytes: .* type 0"},
    {"leaks a frame", "depth frames: after this check: 4 frame\\(s\\) more alive than before"},
    {"gives back what it does not hold", ".*release\\(s\\) of a handle that was not held"},
    {"keeps a profile", "destruction: destroying an instance that saw .*: .*stream profile\\(s\\) "
                        "more alive"},
    {"writes the input", "depth frames: the input of a depth frame .*: changed pixels, expected "},
    {"changes an attribute", "depth frames: the input of a depth frame .*: changed value scale"},
    {"returns the input", "depth frames: a depth frame .*: the input itself and no error.*\n"
                          "  FAILED   depth frames: a depth frame "},
    {"cuts the output", "depth frames: the size of the new frame .*: 10 bytes for a profile of "
                        "64x40"},
    {"loses the index", "depth frames: the index of the new frame .*: 3, expected 7"},
    {"crashes", "depth frames: a depth frame .*: crashed with signal 6 .*\n  FAILED .*"},
    // While it tries whether a frame passes at all, before a check's first item; "reset" gets
    // through.
    {"crashes at its end", "repetition: beginning: crashed.*\n  FAILED   refusals: beginning: "
                           "crashed.*\n  FAILED   short frames: beginning: crashed"},
    {"puts the input into the set", "frame sets: the depth frame of the new set .*: the input's "
                                    "own, expected a new frame"},
    {"writes the colour frame of a set", "frame sets: the colour frame of the set that went in "
                                         ".*: changed pixels, expected unchanged"},
    {"gives zeros after a failure",
     "host failures: the frame after each failure in a first frame with .*: other pixels after .* "
     "had "
     "failed, expected the .*\n(.*\n)*  FAILED .* in a first frame in a set with .*: other "
     "pixels "},
    {"differs between instances", "repetition: three frames through a second instance .*: other "
                                  "pixels in frame 1"},
    {"resets nothing", "repetition: reset and the same parameters, .*: other pixels in frame"},
    {"takes any frame", "refusals: a colour frame: a new frame and no error, expected no frame"},
    {"complains about null",
     "refusals: the error slot of a null frame: overwritten with the error"},
    {"takes short frames", "short frames: a frame of 4992 bytes instead of 5120 .*: a copy of the "
                           "frame and no error, expected no frame and the error \"invalid frame "},
    // An address sanitizer turns the signal of a bad access into an exit status.
    {"reads beyond a short frame",
     "short frames: a frame of [1-9].* bytes instead of .*: (crashed with "
     "signal 11|ended the program with status 1)"},
    {"ignores host errors", "host failures: .*: host call 1 \\(gx_frame_get_type\\) made to fail: "
                            "a new frame and no error, expected no frame and the error"},
    {"says too much", "host failures: .* made to fail: printed \"gx_error was raised"},
    {"leaks when the host fails", "host failures: .* made to fail: 1 stream profile\\(s\\) more"},
    {"relies on a slot", "missing error slot: -1 strings without an error slot: crashed with"},
};

INSTANTIATE_TEST_SUITE_P(Faults, ValidateFault, testing::ValuesIn(fault_cases),
                         [](const testing::TestParamInfo<FaultCase>& test) {
                           std::string name = test.param.fault;
                           std::ranges::replace_if(
                               name, [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
                           return name;
                         });

TEST(Validate, FindsNoFaultWhereThereIsNone) {
  for (const char* sound : {"", "has bounds of ten digits"}) {
    const Outcome outcome = validate_fault(sound);
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_NE(outcome.out.find("\n1 filter, 307 checks: 0 failed"), std::string::npos)
        << outcome.out;
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
       {"EdgeNoiseRemovalFilter", "LutNoiseRemovalFilter", "MgcNoiseRemovalFilter"}) {
    const Outcome outcome = validate_fault("resets nothing", filter);
    EXPECT_NE(outcome.out.find("  FAILED   reset: other parameters, "), std::string::npos)
        << outcome.out;
  }
}

TEST(Validate, SkipsFramesThatTheDefaultsDoNotFit) {
  const Outcome outcome = validate_fault("goes by another name", "DepthResize");
  EXPECT_EQ(outcome.out.find("a usual frame gave"), std::string::npos) << outcome.out;
  EXPECT_EQ(outcome.out.find("FAILED   depth frames"), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find(" skipped"), std::string::npos) << outcome.out;
}

TEST(Validate, SaysWhenAKnownDifferenceIsGone) {
  const Outcome outcome = validate_fault("has lost a known difference", "HoleFillingFilter");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_NE(outcome.out.find("  GONE     parameter bounds: a known difference did not show: "),
            std::string::npos)
      << outcome.out;
}

} // namespace
