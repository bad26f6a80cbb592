// End to end: the program's commands, results and exit statuses, with the real plug-in.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "outcome.h"
#include "recordings/image_file.h"
#include "recordings/png_image.h"

namespace gxfilter {
namespace {

using namespace recordings;
using namespace test;

namespace fs = std::filesystem;

class GxfilterProgram : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "gxfilter_test_XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    directory_ = name;
  }
  void TearDown() override { fs::remove_all(directory_); }

  static std::string text_of(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  /// Runs the program with these shell words in the test's own directory.
  Outcome run(const std::string& arguments) const {
    Outcome outcome = run_shell("cd '" + directory_.string() + "' && '" GXFILTER_PROGRAM "' " +
                                arguments + " 2>err.txt");
    outcome.err = text_of(directory_ / "err.txt");
    return outcome;
  }

  Image picture(const std::string& path) const {
    auto image = read_image(directory_ / path, std::nullopt);
    EXPECT_TRUE(image) << path;
    return image ? *image : Image{};
  }

  void save(const std::string& path, const Image& image) const {
    ASSERT_FALSE(write_file(directory_ / path, *encode_png(image)));
  }

  void save(const std::string& path, const std::string& text) const {
    std::ofstream(directory_ / path) << text;
  }

  /// The pictures in a directory; none where there is no such directory.
  size_t count_files(const std::string& path) const {
    std::error_code missing;
    return static_cast<size_t>(
        std::distance(fs::directory_iterator(directory_ / path, missing), {}));
  }

  fs::path directory_;
};

TEST_F(GxfilterProgram, ListsAndDescribesFilters) {
  const Outcome list = run("list");
  EXPECT_EQ(list.status, 0);
  EXPECT_GE(std::count(list.out.begin(), list.out.end(), '\n'), 14);
  EXPECT_PRED2(says, list.out, "13  MgcNoiseRemovalFilter");
  const Outcome table = run("describe HoleFillingFilter");
  EXPECT_EQ(table.status, 0);
  EXPECT_PRED2(says, table.out, "hole_filling_mode");
  EXPECT_PRED2(says, run("describe HoleFillingFilter --json").out, "\"default\": \"0\"");
  EXPECT_EQ(run("describe NoSuchFilter").status, 2);
  EXPECT_EQ(run("synth --out scene --size 64x48 --frames 1 --fringe 65535").status, 0);
  EXPECT_EQ(run("synth --out scene --size 64x48 --frames 1 --fringe 65536").status, 2);
}

TEST_F(GxfilterProgram, AnswersAsProgramsDo) {
  expect_end(run("runn scene"), 2, {"'runn' is not a command", "list, describe, info, run"});
  expect_end(run(""), 2, {"Usage: gxfilter", "synth"});
  EXPECT_PRED2(says, run("--version").out, "gxfilter 1.");
  save("text.so", "no library");
  expect_end(run("list --plugin text.so"), 1, {"text.so"});
}

TEST_F(GxfilterProgram, FillsHolesFromAbove) {
  ASSERT_EQ(run("synth --out scene --size 120x80 --frames 3 --seed 5").status, 0);
  const Outcome outcome = run("run scene --filter HoleFillingFilter --out filled --preview");
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(count_files("filled"), 3U + 1U) << "and a folder of previews";
  EXPECT_EQ(count_files("filled/previews"), 3U);
  EXPECT_EQ(run("run filled --filter HoleFillingFilter --out again").status, 0);
  for (const char* name : {"frame_0000.png", "frame_0001.png", "frame_0002.png"}) {
    Image expected = picture(std::string("scene/") + name);
    for (size_t i = 120; i < expected.pixels.size(); ++i)
      expected.pixels[i] = expected.pixels[i] != 0 ? expected.pixels[i] : expected.pixels[i - 120];
    EXPECT_EQ(picture(std::string("filled/") + name), expected) << name;
  }
}

TEST_F(GxfilterProgram, RunsChainsInOrder) {
  ASSERT_EQ(run("synth --out scene --size 320x240 --holes 80 --frames 1").status, 0);
  save("chain.json", R"([{"filter": "HoleFillingFilter", "params": {"hole_filling_mode": 1}},
                         {"filter": "HoleFillingFilter"}])");
  ASSERT_EQ(run("run scene --chain chain.json --out once").status, 0);
  ASSERT_EQ(run("run scene --filter HoleFillingFilter:hole_filling_mode=1 --out first").status, 0);
  ASSERT_EQ(run("run --filter HoleFillingFilter first --out second").status, 0);
  EXPECT_EQ(picture("once/frame_0000.png"), picture("second/frame_0000.png"));
  EXPECT_NE(picture("once/frame_0000.png"), picture("first/frame_0000.png"));
}

TEST_F(GxfilterProgram, TakesNamesOfModes) {
  ASSERT_EQ(run("synth --out scene --size 320x240 --holes 80 --frames 1").status, 0);
  save("chain.json",
       R"([{"filter": "HoleFillingFilter", "params": {"hole_filling_mode": "farest"}}])");
  ASSERT_EQ(run("run scene --filter HoleFillingFilter:hole_filling_mode=2 --out number").status, 0);
  ASSERT_EQ(run("run scene --filter HoleFillingFilter:hole_filling_mode=farest --out name").status,
            0);
  ASSERT_EQ(run("run scene --chain chain.json --out chain").status, 0);
  EXPECT_EQ(picture("name/frame_0000.png"), picture("number/frame_0000.png"));
  EXPECT_EQ(picture("chain/frame_0000.png"), picture("number/frame_0000.png"));
  EXPECT_PRED2(says, run("describe HoleFillingFilter").out, "0 top, 1 nearest, 2 farest");
}

TEST_F(GxfilterProgram, ScoresWhatPresetsMakeOfScenes) {
  ASSERT_EQ(run("synth --out scene --truth --size 320x240 --frames 2").status, 0);
  const auto score = [&](const std::string& arguments) {
    const Outcome outcome = run("score " + arguments + " --json");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return nlohmann::json::parse(outcome.out, nullptr, false);
  };
  EXPECT_EQ(score("scene/truth scene/truth")["rms_error_mm"], 0);
  const auto before = score("scene scene/truth");
  const auto presets = nlohmann::json::parse(run("presets --json").out, nullptr, false);
  // What each of them promises, and whether more of it is better.
  const std::map<std::string, std::pair<const char*, bool>> promises{
      {"light", {"median_error_mm", false}},
      {"robot", {"too_near_percent", false}},
      {"scan", {"rms_error_mm", false}},
      {"segmentation", {"completeness_percent", true}},
      {"small_holes", {"completeness_percent", true}},
      {"still", {"median_error_mm", false}}};
  EXPECT_EQ(presets.size(), promises.size());
  for (const auto& preset : presets) {
    const auto name = preset["name"].get<std::string>();
    SCOPED_TRACE(name);
    EXPECT_PRED2(says, run("presets " + name).out, preset["when_not"].get<std::string>());
    ASSERT_EQ(run("run scene --preset " + name + " --out " + name).status, 0);
    const auto& [figure, more] = promises.at(name);
    const double change = score(name + " scene/truth --input scene")[figure].get<double>() -
                          before[figure].get<double>();
    EXPECT_GT(more ? change : -change, 0) << figure;
  }
  expect_end(run("run scene --preset nosuch --out x"), 2, {"nosuch", "robot", "scan"});
  const std::pair<const char*, const char*> mistakes[] = {
      {"scan/frame_0000.png scene/truth", "frame_0001 of scene/truth"},
      {"codes codes", "disparity"},
      {"small scene/truth", "64x48"}};
  EXPECT_EQ(run("synth --out codes --size 64x48 --frames 2 --pixel-type disparity").status, 0);
  EXPECT_EQ(run("synth --out small --size 64x48 --frames 2").status, 0);
  for (const auto& [arguments, message] : mistakes)
    EXPECT_PRED2(says, run(std::string("score ") + arguments).err, message);
  // In halves of a millimetre and told so, the truth is the same.
  ASSERT_EQ(run("synth --out fine --truth --size 320x240 --frames 2 --depth-unit 0.5").status, 0);
  EXPECT_LT(score("fine/truth scene/truth")["rms_error_mm"], 1);
  EXPECT_GT(score("fine/truth scene/truth --depth-unit 1")["rms_error_mm"], 1000);
}

TEST_F(GxfilterProgram, SaysWhyAFilterDidNothing) {
  ASSERT_EQ(run("synth --out scene --size 64x48 --frames 2").status, 0);
  const std::pair<const char*, const char*> cases[] = {
      {"DisparityTransform",
       "2 frames: it acts on disparity (it got 64x48 depth, 1 mm a unit; max_"},
      {"HardwareD2DCorrectionFilter", "it acts on depth with a disparity offset"},
      {"SpatialModerateFilter:radius=1 --unchecked", "no generated frame either"},
  };
  for (const auto& [filter, message] : cases) {
    expect_end(run(std::string("run scene --overwrite --out results --filter ") + filter), 0,
               {message});
  }
  expect_end(run("run scene/frame_0000.png --out one --filter TemporalFilter"), 0,
             {"with frame 2 of"});
  expect_end(run("run one --out full --filter HoleFillingFilter --filter HoleFillingFilter"), 0,
             {"found nothing"});
  expect_end(run("run scene --out resized --filter DepthResize"), 4,
             {"it got 64x48 depth", "dst_width=1280"});
  const Outcome busy = run("run scene --out busy --filter NoiseRemovalFilter");
  EXPECT_FALSE(says(busy.err, "changed nothing")) << busy.err;
}

TEST_F(GxfilterProgram, RefusesBadRequestsBeforeReadingAnyFrame) {
  ASSERT_EQ(run("synth --out scene --size 64x48 --frames 1").status, 0);
  save("chain.json", R"([{"filter": "HoleFillingFilter", "params": {"mode": 1}}])");
  const std::pair<const char*, const char*> cases[] = {
      {"--filter NoSuchFilter", "NoSuchFilter"},
      {"--filter HoleFillingFilter:mode=1", "hole_filling_mode, integer, 0, 2"},
      {"--filter HoleFillingFilter:hole_filling_mode=3", "hole_filling_mode, integer, 0, 2"},
      {"--filter HoleFillingFilter:hole_filling_mode=3abc",
       "HoleFillingFilter: hole_filling_mode=3abc"},
      {"--filter HoleFillingFilter --filter HoleFillingFilter:x", "key=value"},
      {"--chain chain.json", "hole_filling_mode, integer, 0, 2"},
      {"--chain missing.json", "missing.json"},
      {"--filter HoleFillingFilter --no-such-option", "--no-such-option"},
      {"--filter HoleFillingFilter --preview --crop 32x24", "--crop"},
      {"--filter HoleFillingFilter --out a.JPG", "a.JPG: a format that is not written"},
      {"--filter HoleFillingFilter --out - --format raw --resume", "--resume"},
      {"", "no filter"},
  };
  for (const auto& [arguments, message] : cases) {
    SCOPED_TRACE(arguments);
    const bool names_output = std::string_view(arguments).find("--out") != std::string_view::npos;
    expect_end(run(std::string("run scene ") + (names_output ? "" : "--out results ") + arguments),
               2, {message});
    EXPECT_EQ(count_files("results"), 0U);
  }
  expect_end(run("synth --out noisy --noise nan"), 2, {"--noise"});
  EXPECT_FALSE(fs::exists(directory_ / "noisy"));
  const Outcome outcome =
      run("run scene/frame_0000.png --filter TemporalFilter --out a.png "
          "--match '*' --topic /x --crop 1x1+0+0 --out-format pgm --format png");
  expect_end(outcome, 0, {"--match: ", "--topic: ", "--crop: ", "--out-format: ", "--format: "});
}

TEST_F(GxfilterProgram, KeepsWhatCameBeforeABadFrame) {
  ASSERT_EQ(run("synth --out scene --size 64x48 --frames 31").status, 0);
  const Image good = picture("scene/frame_0030.png");
  save("scene/frame_0030.png", Image{{48, 64}, good.pixels});
  const Outcome outcome = run("run scene --filter HoleFillingFilter --out results");
  expect_end(outcome, 3, {"frame_0030.png", "48x64"});
  EXPECT_EQ(count_files("results"), 30U);
  EXPECT_PRED2(says, outcome.out, "HoleFillingFilter      30");
  const std::string both =
      run("run scene --filter HoleFillingFilter --out results --overwrite 2>&1; true").out;
  EXPECT_LT(both.find("HoleFillingFilter      30"), both.find("gxfilter: error: ")) << both;
}

TEST_F(GxfilterProgram, MakesTheSameWithAnyNumberOfThreads) {
  ASSERT_EQ(run("synth --out scene --size 96x64 --frames 40").status, 0);
  const std::string chain =
      "run scene --filter TemporalFilter --filter NoiseRemovalFilter --preview";
  std::string expected;
  for (const std::string jobs : {"1", "2", "7"}) {
    ASSERT_EQ(run(chain + " --jobs " + jobs + " --out " + jobs).status, 0);
    EXPECT_EQ(count_files(jobs + "/previews"), 40U);
    const std::string found = run_shell("cd '" + directory_.string() + "' && cat " + jobs +
                                        "/*.png " + jobs + "/previews/*.png | cksum")
                                  .out;
    expected = expected.empty() ? found : expected;
    EXPECT_EQ(found, expected) << jobs;
  }
}

TEST_F(GxfilterProgram, TellsTheDigestOfItsPixels) {
  ASSERT_EQ(run("synth --out scene --size 64x48 --frames 5").status, 0);
  const std::string chain =
      "run scene --filter TemporalFilter --filter HoleFillingFilter --digest ";
  const std::string sum =
      run(chain + "--out - --out-format raw 2>notes | sha256sum").out.substr(0, 64);
  ASSERT_EQ(sum.size(), 64U);
  EXPECT_PRED2(says, text_of(directory_ / "notes"), "digest " + sum);
  for (const char* output :
       {"pictures --jobs 7", "pictures --resume", "all.npy", "all.npy --resume"})
    EXPECT_PRED2(says, run(chain + "--out " + output).out, "digest " + sum) << output;
  EXPECT_PRED2(says, run(chain + "--json --out json").out, "\"digest\": \"" + sum + "\"");
  EXPECT_PRED2(says, run("run scene --filter TemporalFilter --json --out none").out,
               "\"digest\": null");
}

TEST_F(GxfilterProgram, LosesNoResult) {
  ASSERT_EQ(run("synth --out scene --size 64x48 --frames 6").status, 0);
  const std::string chain = "run scene --filter TemporalFilter --out ";
  ASSERT_EQ(run(chain + "whole").status, 0);
  expect_end(run(chain + "whole"), 2, {"whole/frame_0000.png", "--overwrite", "--resume"});
  EXPECT_EQ(run(chain + "whole --overwrite").status, 0);
  // Of a run that stopped, a frame in the middle and the end are missing.
  ASSERT_EQ(run(chain + "part").status, 0);
  for (const char* name : {"frame_0002.png", "frame_0004.png", "frame_0005.png"})
    fs::remove(directory_ / "part" / name);
  const Outcome resumed = run(chain + "part --resume --json");
  EXPECT_EQ(resumed.status, 0) << resumed.err;
  EXPECT_PRED2(says, resumed.out, "\"kept\": 3");
  for (const char* name : {"frame_0002.png", "frame_0003.png", "frame_0005.png"})
    EXPECT_EQ(picture(std::string("part/") + name), picture(std::string("whole/") + name)) << name;
  expect_end(run("run scene --filter HoleFillingFilter --out part --resume"), 2,
             {"part/frame_0000.png is not what"});
  EXPECT_EQ(picture("part/frame_0000.png"), picture("whole/frame_0000.png"));
  expect_end(run("run scene --filter HoleFillingFilter --out - --format raw >/dev/full"), 1,
             {"standard output: No space left on device"});
  ASSERT_EQ(run_shell("mkdir '" + (directory_ / "taken").string() + "' && mkdir '" +
                      (directory_ / "taken/frame_0001.png").string() + "'")
                .status,
            0);
  expect_end(run(chain + "taken --overwrite"), 1, {"frame_0001.png: Is a directory"});
  EXPECT_EQ(count_files("taken"), 2U) << "nothing half done is left behind";
}

TEST_F(GxfilterProgram, KeepsFilesWholeAndInputsAsTheyAre) {
  ASSERT_EQ(run("synth --out scene --size 64x48 --frames 3").status, 0);
  const std::string chain = "run scene --filter TemporalFilter --out ";
  expect_end(run(chain + "one.png"), 2, {"one.png holds one frame"});
  EXPECT_FALSE(fs::exists(directory_ / "one.png"));
  ASSERT_EQ(run(chain + "all.npy").status, 0);
  const Outcome kept = run(chain + "all.npy --resume --json");
  EXPECT_EQ(kept.status, 0) << kept.err;
  EXPECT_PRED2(says, kept.out, "\"kept\": 3");
  save("broken.npy", text_of(directory_ / "all.npy").substr(0, 7000));
  expect_end(run(chain + "broken.npy --resume"), 2, {"broken.npy is not a whole result"});
  expect_end(run(chain + "x --out-format jpg"), 2, {"jpg: a format that is not written"});
  for (const char* folder : {"scene", "results", "scene/../results/."})
    expect_end(run(chain + "results --preview-dir " + folder), 2, {"apart from inputs"});
  EXPECT_EQ(count_files("scene"), 4U);
  fs::create_directory(directory_ / "tum");
  fs::rename(directory_ / "scene", directory_ / "tum/depth");
  save("tum/depth.txt", "1.5 depth/frame_0000.png\n2.5 depth/frame_0001.png\n");
  expect_end(run("run tum --filter TemporalFilter --out tum/depth --overwrite"), 2,
             {"would replace an input"});
  ASSERT_EQ(run("run tum --filter TemporalFilter --out tum.mcap").status, 0);
  EXPECT_PRED2(says, run("info tum.mcap").out, "frames  2");
  expect_end(run("info tum --json >/dev/full"), 1, {"standard output: No space left"});
  expect_end(run("info tum --fx -5"), 2, {"options: fx"});
  // A link is replaced like any file; what it leads to stays.
  const std::string before = text_of(directory_ / "all.npy");
  fs::create_symlink("all.npy", directory_ / "link.npy");
  ASSERT_EQ(run("run tum --filter TemporalFilter --out link.npy --overwrite").status, 0);
  EXPECT_EQ(text_of(directory_ / "all.npy"), before);
}

TEST_F(GxfilterProgram, WritesTheCameraOfTheResult) {
  ASSERT_EQ(run("synth --out scene --size 80x64 --frames 2").status, 0);
  const std::string doubled = " --filter DepthResize:dst_width=160,dst_height=128,scale=2 --out ";
  ASSERT_EQ(run("run scene --fx 100" + doubled + "new.mcap").status, 0);
  EXPECT_PRED2(says, run("info new.mcap").out, "fx 200 pixels");
  ASSERT_EQ(run("run scene --filter TemporalFilter --out old.mcap").status, 0);
  ASSERT_EQ(run("run old.mcap" + doubled + "over.mcap").status, 0);
  expect_end(run("info over.mcap"), 0, {"width is 80", "left aside"});
}

TEST_F(GxfilterProgram, LeavesOutFramesThatCannotBeRead) {
  ASSERT_EQ(run("synth --out scene --size 64x48 --frames 5").status, 0);
  save("scene/frame_0000.png", "text");
  save("scene/frame_0003.png", Image{{48, 64}, std::vector<uint16_t>(3072, 700)});
  expect_end(run("run scene --filter TemporalFilter --out results --skip-bad"), 6,
             {"scene/frame_0000.png: not a PNG", "frame_0003.png: 48x64", "2 of 5"});
  EXPECT_EQ(count_files("results"), 3U);
  expect_end(run("info scene"), 6, {});
  EXPECT_PRED2(says, run("info scene").out, "1 of 4 frames have another size");
  ASSERT_EQ(run("run --filter TemporalFilter --out direct scene/frame_0001.png "
                "scene/frame_0002.png scene/frame_0004.png")
                .status,
            0);
  EXPECT_EQ(picture("results/frame_0004.png"), picture("direct/frame_0004.png"));
  save("bad.png", "text");
  expect_end(run("run bad.png --filter TemporalFilter --out none --skip-bad"), 3, {"no frame"});
}

TEST_F(GxfilterProgram, StandsInPipes) {
  ASSERT_EQ(run("synth --out scene --size 64x48 --frames 4").status, 0);
  ASSERT_EQ(run("run scene --filter HoleFillingFilter --filter TemporalFilter --out direct").status,
            0);
  const std::string size = " --size 64x48 --camera scene/camera.json";
  for (const std::string format : {"raw", "png", "pgm"}) {
    const std::string program = "'" GXFILTER_PROGRAM "' run - --format " + format + size;
    const Outcome outcome =
        run("run scene --filter HoleFillingFilter --out - --format " + format + " 2>/dev/null | " +
            program + " --filter TemporalFilter --out " + format);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_PRED2(says, outcome.out, "TemporalFilter       4") << "the table stays out of the pipe";
    EXPECT_EQ(picture(format + "/frame_000003.png"), picture("direct/frame_0003.png")) << format;
  }
  const std::string cut = "run scene --filter HoleFillingFilter --out - --format raw 2>/dev/null | "
                          "head -c 7000 | '" GXFILTER_PROGRAM "' run - --format raw" +
                          size + " --filter TemporalFilter --out cut";
  expect_end(run(cut), 0, {"cut off in frame 1"});
  EXPECT_EQ(count_files("cut"), 1U);
  expect_end(run("run - --filter TemporalFilter --out x </dev/null"), 2, {"--format"});
  ASSERT_EQ(mkfifo((directory_ / "named.npy").c_str(), 0600), 0);
  const std::string named = "cd '" + directory_.string() +
                            "'; '" GXFILTER_PROGRAM
                            "' run scene --filter HoleFillingFilter --out - --format npy "
                            "2>/dev/null >named.npy & cd '" +
                            directory_.string() + "'; '" GXFILTER_PROGRAM "' info named.npy";
  EXPECT_PRED2(says, run_shell(named).out, "frames  4");
}

TEST_F(GxfilterProgram, FinishesWhatIsUnderWayWhenItIsInterrupted) {
  // The third frame comes after the signal, to a program that waits for it.
  Outcome outcome = run_shell(
      "cd '" + directory_.string() +
      "'; mkfifo frames; '" GXFILTER_PROGRAM
      "' run - --format raw --size 8x4 --filter TemporalFilter --out results <frames 2>err.txt & "
      "program=$!; while [ ! -p frames ]; do sleep 0.01; done; exec 3>frames; head -c 128 "
      "/dev/zero >&3; "
      "while [ ! -e results/frame_000001.png ]; do sleep 0.01; done; sleep 1; kill -TERM $program; "
      "head -c 64 /dev/zero >&3; exec 3>&-; wait $program");
  outcome.err = text_of(directory_ / "err.txt");
  expect_end(outcome, 130, {"interrupted: 3 frames are in results", "--resume"});
  EXPECT_EQ(count_files("results"), 3U);
}

TEST_F(GxfilterProgram, EndsAtOnceWhenItIsInterruptedTwice) {
  // Frames never come, and what was begun is not left behind. An emulated program takes its time
  // until it waits for the next frame.
  const Outcome outcome = run_shell(
      "cd '" + directory_.string() +
      "'; mkfifo frames; '" GXFILTER_PROGRAM
      "' run - --format raw --size 8x4 --filter TemporalFilter --out all.npy <frames 2>err.txt & "
      "program=$!; exec 3>frames; head -c 640 /dev/zero >&3; "
      "tries=0; until ls -A | grep -q part || [ $tries = 1000 ]; do tries=$((tries + 1)); sleep "
      "0.01; done; sleep 1; for i in 1 2; do kill -TERM $program; sleep 1; done; wait "
      "$program");
  EXPECT_EQ(outcome.status, 128 + SIGTERM);
  EXPECT_EQ(count_files("."), 2U) << "the pipe and the errors";
}

TEST_F(GxfilterProgram, SaysWhatIsInARecording) {
  fs::create_directory(directory_ / "recording");
  save("recording/a.png", Image{{4, 1}, {0, 100, 200, 300}});
  save("recording/b.png", Image{{4, 1}, {0, 0, 50, 60}});
  save("recording/camera_info.yaml",
       "image_width: 4\nimage_height: 1\ncamera_matrix:\n  rows: 3\n  cols: 3\n"
       "  data: [600, 0, 2, 0, 610, 0.5, 0, 0, 1]\n"
       "projection_matrix:\n  data: [600, 0, 2, -30, 0, 610, 0.5, 0, 0, 0, 1, 0]\n");
  const Outcome text = run("info recording --depth-unit 0.5");
  EXPECT_EQ(text.status, 0) << text.err;
  for (const char* part : {"frames  2", "size    4x1", "50 to 300 (25 to 150 mm), 62.5 %",
                           "camera_info.yaml: fx 600 pixels, fy 610 pixels, cx 2 pixels",
                           "baseline 50 mm", "options: depth_unit 0.5 mm", "assumed: pixel_type"})
    EXPECT_PRED2(says, text.out, part);
  EXPECT_PRED2(says, run("info recording --json").out, "\"frames\": 2");
  save("recording/camera_info.yaml", "camera_matrix: {data: [1, 2]}");
  expect_end(run("info recording"), 3, {"camera_info.yaml", "camera_matrix needs 9 numbers"});
  save("camera.json", R"({"width": 5, "fxx": 1})");
  expect_end(run("info recording --camera camera.json"), 3, {"camera.json: fxx", "depth_unit"});
  save("camera.json", R"({"width": 5})");
  expect_end(run("info recording --camera camera.json"), 3, {"camera.json: width is 5", "4x1"});
  fs::remove(directory_ / "recording/camera_info.yaml");
  expect_end(run("run recording --filter HoleFillingFilter --out x --size 5x1"), 3,
             {"options: width is 5"});
}

TEST_F(GxfilterProgram, NamesTheInputThatCannotBeRead) {
  save("good.png", Image{{8, 2}, std::vector<uint16_t>(16, 700)});
  save("text.png", "not a picture\n");
  save("text.txt", "not a picture\n");
  save("short.bin", std::string("\2\0\0\0\10\0\0\0xx", 10));
  save("empty.png", "");
  fs::create_directory(directory_ / "empty");
  const std::string png = text_of(directory_ / "good.png");
  save("cut.png", png.substr(0, png.size() - 8));
  for (const char* input : {"text.png", "text.txt", "short.bin", "empty.png", "cut.png",
                            "missing.png", "empty", "good.png/x.png"}) {
    expect_end(
        run(std::string("run good.png ") + input + " --filter HoleFillingFilter --out results"), 3,
        {input});
    EXPECT_EQ(count_files("results"), input == std::string("empty") ? 0U : 1U) << input;
    fs::remove_all(directory_ / "results");
  }
}

TEST_F(GxfilterProgram, ReadsHeaderlessFramesBesideACameraFile) {
  fs::create_directory(directory_ / "recording");
  save("recording/10.raw", std::string(16, '\1'));
  save("recording/camera.json", R"({"width": 4, "height": 2, "depth_unit": 0.5})");
  EXPECT_EQ(run("run recording --filter HoleFillingFilter --out results").status, 0);
  EXPECT_EQ(picture("results/10.png").pixels, std::vector<uint16_t>(8, 0x0101));
  EXPECT_EQ(run("run recording --size 2x2 --filter HoleFillingFilter --out other").status, 3);
  save("recording/camera.json", R"({"width": 4, "height": 2, "unit": 0.5})");
  expect_end(run("run recording --filter HoleFillingFilter --out other"), 3, {"unit"});
}

constexpr const char* with_probe = " --plugin '" GXFILTER_PROBE_PLUGIN "' ";

/// Frames of 16 x 2 pixels, enough for everything that the probe writes.
class GxfilterWithProbe : public GxfilterProgram {
 protected:
  void SetUp() override {
    GxfilterProgram::SetUp();
    fs::create_directory(directory_ / "recording");
    for (const char* name : {"f9.png", "f10.png", "f11.png", "f100.png"})
      save(std::string("recording/") + name, Image{{16, 2}, std::vector<uint16_t>(32, 99)});
  }

  Outcome probe(const std::string& arguments) const {
    fs::remove_all(directory_ / "results");
    return run("run --out results" + std::string(with_probe) + arguments);
  }

  std::vector<uint16_t> first_pixels(const std::string& path, size_t count) const {
    auto pixels = picture(path).pixels;
    pixels.resize(count);
    return pixels;
  }
};

TEST_F(GxfilterWithProbe, HandsFramesOverInOrderWithTheCamerasFacts) {
  save("recording/camera.json",
       R"({"depth_unit": 0.25, "fx": 300, "baseline": 40, "d2d": {"packMode": 3}})");
  const Outcome outcome = probe("recording --filter ProbeFilter:second=-2 --fx 310 "
                                "--pixel-type disparity --bit-size 12 --disparity-offset 6");
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  // Index, pixel type, bits, scale / 1000, fx, baseline, pack mode, disparity offset, size of the
  // record, resets, configurations, then the parameters.
  std::vector<uint16_t> expected{0, 2, 12, 250, 310, 40, 3, 6, 0, 0, 1, 7, 65534};
  for (const char* name : {"f9.png", "f10.png", "f11.png", "f100.png"}) {
    EXPECT_EQ(first_pixels(std::string("results/") + name, expected.size()), expected) << name;
    ++expected[0];
  }
  EXPECT_FALSE(says(outcome.out, "LEAK"));
}

TEST_F(GxfilterWithProbe, ConfiguresEachKindOfFilterInItsWay) {
  ASSERT_EQ(probe("recording --filter ProbeFilter").status, 0);
  EXPECT_EQ(first_pixels("results/f9.png", 13),
            (std::vector<uint16_t>{0, 0, 16, 1000, 14, 50, 2, 0, 0, 0, 1, 7, 3}))
      << "the schema's defaults, and the camera's";
  ASSERT_EQ(probe("recording --filter SchemalessFilter").status, 0);
  const auto schemaless = first_pixels("results/f9.png", 12);
  EXPECT_EQ(schemaless[9], 1) << "resets";
  EXPECT_EQ(schemaless[10], 0) << "configurations";
  save("record", std::string(290, 'r'));
  ASSERT_EQ(probe("recording --filter RecordFilter:@record").status, 0);
  EXPECT_EQ(first_pixels("results/f9.png", 9)[8], 290);
  expect_end(probe("recording --filter ProbeFilter:@record"), 2, {"no record wanted"});
  EXPECT_EQ(probe("recording --filter RecordFilter:@missing").status, 2);
}

TEST_F(GxfilterWithProbe, QuotesOnlyTheRejectedParameter) {
  for (const char* arguments : {"second=6", "second=abc", "second=6 --unchecked"}) {
    const Outcome outcome =
        probe(std::string("recording --filter ProbeFilter:first=1,") + arguments);
    expect_end(outcome, 2, {"second , float,-5, 5, 1, 3, x"});
    EXPECT_EQ(says(outcome.err, "probe::update"), says(arguments, "unchecked")) << outcome.err;
    EXPECT_FALSE(says(outcome.err, "first,integer")) << outcome.err;
    EXPECT_EQ(count_files("results"), 0U);
  }
  EXPECT_EQ(probe("recording --filter ProbeFilter:first=101 --unchecked").status, 0);
  EXPECT_EQ(probe("recording --filter ProbeFilter:first=1x --unchecked").status, 2);
}

TEST_F(GxfilterWithProbe, StopsWhereAFilterFails) {
  const Outcome outcome = probe("recording --filter ProbeFilter --filter FailingFilter");
  expect_end(outcome, 4,
             {"f11.png", "FailingFilter", "probe message", "probe::process", "probe args"});
  EXPECT_EQ(count_files("results"), 2U);
  EXPECT_FALSE(says(outcome.out, "LEAK"));
  expect_end(probe("recording --filter SilentFilter"), 4, {"no frame and no error"});
  EXPECT_EQ(count_files("results"), 0U);
}

TEST_F(GxfilterWithProbe, RefusesCodesBeyondTheCamerasBits) {
  save("recording/f11.png", Image{{16, 2}, std::vector<uint16_t>(32, 4096)});
  const std::string arguments = "recording --filter ProbeFilter --bit-size 12 --pixel-type ";
  EXPECT_EQ(probe(arguments + "depth").status, 0);
  expect_end(probe(arguments + "disparity"), 3, {"f11.png"});
  EXPECT_EQ(count_files("results"), 2U);
}

TEST_F(GxfilterWithProbe, ChoosesTheRecordingInADirectory) {
  save("recording/notes.txt", "taken on a rainy day\n");
  expect_end(probe("recording --filter ProbeFilter"), 0, {"notes.txt"});
  save("recording/f9.bin", std::string("\1\0\0\0\20\0\0\0", 8) + std::string(32, 'x'));
  expect_end(probe("recording --filter ProbeFilter"), 2, {"--match"});
  EXPECT_EQ(probe("recording --match '*.bin' --filter ProbeFilter").status, 0);
  EXPECT_EQ(count_files("results"), 1U);
  expect_end(run("run --out recording recording --match '*.png' --filter ProbeFilter" +
                 std::string(with_probe)),
             2, {"would replace an input"});
  EXPECT_EQ(probe("recording/f9.bin recording/f9.png --filter ProbeFilter").status, 2)
      << "two frames with one result";
}

TEST_F(GxfilterWithProbe, CountsInTheClosingTable) {
  const Outcome outcome = probe("recording --filter ProbeFilter");
  // Of 32 valid pixels 13 are overwritten, four of them with 0; from the second frame on the index
  // is no 0 any more.
  EXPECT_NE(outcome.out.find("averages per frame"), std::string::npos);
  std::istringstream row(outcome.out.substr(outcome.out.find("ProbeFilter")));
  std::string name;
  double frames = 0, median = 0, p95 = 0, changed = 0, before = 0, after = 0;
  row >> name >> frames >> median >> p95 >> changed >> before >> after;
  EXPECT_EQ(frames, 4);
  EXPECT_LE(median, p95);
  EXPECT_NEAR(changed, 13, 0.05);
  EXPECT_NEAR(before, 32, 0.05);
  EXPECT_NEAR(after, 32 - 4 - 0.25, 0.06);
  EXPECT_EQ(outcome.out.find('\r'), std::string::npos) << "no progress bar outside terminals";
}

} // namespace
} // namespace gxfilter
