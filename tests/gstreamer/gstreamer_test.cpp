// The elements as applications meet them.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <fmt/format.h>

#include "gxfilter/preview.h"
#include "pipeline.h"

namespace gst_test {
namespace {

constexpr FrameSize usual{64, 48};
constexpr FrameSize odd{67, 45};

std::string element_name(std::string filter) {
  for (char& c : filter)
    c = g_ascii_tolower(c);
  return filter.starts_with("depth") ? filter : "depth" + filter;
}

/// The number of a value as GObject has it.
double number_of(GValue& value) {
  if (G_VALUE_HOLDS_ENUM(&value))
    return g_value_get_enum(&value);
  if (G_VALUE_HOLDS_BOOLEAN(&value))
    return g_value_get_boolean(&value);
  GValue number = G_VALUE_INIT;
  g_value_init(&number, G_TYPE_DOUBLE);
  EXPECT_TRUE(g_value_transform(&value, &number));
  return g_value_get_double(&number);
}

/// The type as schemas call it, and the range.
std::tuple<std::string, double, double> kind_of(GParamSpec* property) {
  if (G_IS_PARAM_SPEC_INT(property))
    return {"integer", G_PARAM_SPEC_INT(property)->minimum, G_PARAM_SPEC_INT(property)->maximum};
  if (G_IS_PARAM_SPEC_UINT(property))
    return {"uint32_t", G_PARAM_SPEC_UINT(property)->minimum, G_PARAM_SPEC_UINT(property)->maximum};
  if (G_IS_PARAM_SPEC_FLOAT(property))
    return {"float", G_PARAM_SPEC_FLOAT(property)->minimum, G_PARAM_SPEC_FLOAT(property)->maximum};
  if (G_IS_PARAM_SPEC_ENUM(property)) {
    const GEnumClass& names = *G_PARAM_SPEC_ENUM(property)->enum_class;
    return {"integer", names.minimum, names.maximum};
  }
  return {G_IS_PARAM_SPEC_BOOLEAN(property) ? "bool" : "?", 0, 1};
}

TEST(Elements, PropertiesAreTheSchemas) {
  for (uint64_t i = 0; i < gx_get_filter_count(nullptr); ++i) {
    const std::string filter = gx_get_filter_name(static_cast<int32_t>(i), nullptr);
    SCOPED_TRACE(filter);
    GstElement* const element = gst_element_factory_make(element_name(filter).c_str(), nullptr);
    ASSERT_NE(element, nullptr);
    for (const gexton::Parameter& parameter : gexton::Filter::create(filter).schema()) {
      SCOPED_TRACE(parameter.line);
      GParamSpec* const property =
          g_object_class_find_property(G_OBJECT_GET_CLASS(element), parameter.name.c_str());
      ASSERT_NE(property, nullptr);
      const int flags = G_PARAM_READWRITE | GST_PARAM_CONTROLLABLE | GST_PARAM_MUTABLE_PLAYING;
      EXPECT_EQ(property->flags & flags, flags);
      EXPECT_TRUE(std::string(g_param_spec_get_blurb(property)).starts_with(parameter.description));
      const auto [type, min, max] = kind_of(property);
      EXPECT_EQ(type, parameter.type);
      EXPECT_FLOAT_EQ(static_cast<float>(min), std::stof(parameter.min));
      EXPECT_FLOAT_EQ(static_cast<float>(max), std::stof(parameter.max));
      for (const auto& [name, number] : named_values(parameter))
        EXPECT_EQ(
            g_enum_get_value_by_nick(G_PARAM_SPEC_ENUM(property)->enum_class, name.c_str())->value,
            std::stoi(number));
      GValue value = G_VALUE_INIT;
      g_object_get_property(G_OBJECT(element), property->name, &value);
      EXPECT_FLOAT_EQ(static_cast<float>(number_of(value)), std::stof(parameter.default_value));
      g_value_unset(&value);
    }
    gst_object_unref(element);
  }
}

struct Case {
  const char* filter;
  std::vector<std::pair<std::string, std::string>> values;
  gx_pixel_type type = GX_PIXEL_DEPTH;
};

const Case cases[] = {
    {"DisparityTransform", {{"max_depth", "3000"}}, GX_PIXEL_DISPARITY},
    {"HoleFillingFilter", {{"hole_filling_mode", "1"}}},
    {"NoiseRemovalFilter", {{"max_size", "400"}}},
    {"SpatialAdvancedFilter", {{"alpha", "0.3"}}},
    {"TemporalFilter", {{"weight", "0.2"}}},
    {"DepthResize", {{"scale", "0.5"}, {"dst_width", "33"}, {"dst_height", "22"}}},
    {"EdgeNoiseRemovalFilter", {{"enable_vertical_direction", "1"}}},
    {"HardwareD2DCorrectionFilter", {}},
    {"OpenNIDisparityTransform", {{"dst_width", "40"}, {"dst_height", "30"}}, GX_PIXEL_DISPARITY},
    {"SpatialFastFilter", {{"radius", "5"}}},
    {"SpatialModerateFilter", {{"radius", "3"}}},
    {"FalsePositiveFilter", {{"fpTextureSparsityFilterEnable", "1"}}},
    {"LutNoiseRemovalFilter", {{"min_diff", "100"}}},
    {"MgcNoiseRemovalFilter", {{"max_width_left", "9"}}},
};

/// Packed rows and rows with gaps, in and out, at any width.
TEST(Elements, FramesAreThoseOfTheFilters) {
  for (const Case& test : cases)
    for (const size_t padding : {size_t{0}, size_t{2}, size_t{7}}) {
      SCOPED_TRACE(fmt::format("{}, rows with {} bytes more", test.filter, padding));
      const char* const type = test.type == GX_PIXEL_DEPTH ? "depth" : "disparity";
      std::string launch = element_name(test.filter) + " pixel-type=" + type;
      for (const auto& [key, value] : test.values)
        launch += " " + key + "=" + value;
      Pipeline pipeline(launch, odd);
      Direct direct(test.filter, test.values, {{"pixel_type", type}});
      for (uint32_t frame = 0; frame < 3; ++frame) {
        const Image image = scene(odd, frame, test.type);
        ASSERT_EQ(pipeline.filter(image, padding), direct.filter(image));
      }
      EXPECT_EQ(pipeline.messages(GST_MESSAGE_WARNING), "");
    }
}

TEST(Elements, TimesFlagsAndMetasTravelInBuffersOfThePool) {
  Pipeline pipeline("depthholefillingfilter");
  GstBuffer* const in = make_buffer(scene(usual, 0), 0, 7);
  GST_BUFFER_FLAG_SET(in, GST_BUFFER_FLAG_MARKER);
  gst_buffer_add_video_region_of_interest_meta(in, "face", 1, 2, 3, 4);
  GstCaps* const reference = gst_caps_new_empty_simple("timestamp/x-test");
  gst_buffer_add_reference_timestamp_meta(in, reference, 5, 6);
  gst_caps_unref(reference);
  GstBuffer* const out = gst_harness_push_and_pull(pipeline.harness(), in);
  EXPECT_EQ(GST_BUFFER_PTS(out), 7 * GST_SECOND / 30);
  EXPECT_EQ(GST_BUFFER_DURATION(out), GST_SECOND / 30);
  EXPECT_EQ(GST_BUFFER_OFFSET(out), 7U);
  EXPECT_TRUE(GST_BUFFER_FLAG_IS_SET(out, GST_BUFFER_FLAG_MARKER));
  EXPECT_NE(gst_buffer_get_video_region_of_interest_meta_id(out, 0), nullptr);
  EXPECT_NE(gst_buffer_get_reference_timestamp_meta(out, nullptr), nullptr);
  EXPECT_NE(out->pool, nullptr);
  gst_buffer_unref(out);
}

TEST(Elements, AddNoLatencyAndEndWithTheStream) {
  Pipeline pipeline("depthtemporalfilter");
  gst_harness_set_upstream_latency(pipeline.harness(), 20 * GST_MSECOND);
  pipeline.filter(0);
  EXPECT_EQ(gst_harness_query_latency(pipeline.harness()), 20 * GST_MSECOND);
  EXPECT_TRUE(gst_harness_push_event(pipeline.harness(), gst_event_new_eos()));
  EXPECT_EQ(pipeline.push(scene(usual, 1)), nullptr);
  EXPECT_EQ(pipeline.flow(), GST_FLOW_EOS);
}

TEST(Elements, HoldNothingOfTheHostAfterwards) {
  const gexton::LiveHandles before;
  for (const char* launch : {"depthtemporalfilter", "depthchain chain=DisparityTransform",
                             "depthresize scale=0.5 dst-width=1"})
    Pipeline(launch).filter(0);
  EXPECT_EQ(before.left_over(), "");
}

// ---- history ----

/// Frames 0 and 1, something between, frame 2: how it is worked on.
enum class History { kept, forgotten };

template <class Between>
void expect_history(History expected, Between between, bool discont = false) {
  Pipeline pipeline("depthtemporalfilter");
  Direct direct("TemporalFilter");
  for (uint32_t frame = 0; frame < 2; ++frame)
    EXPECT_EQ(pipeline.filter(frame), direct.filter(scene(usual, frame)));
  between(pipeline);
  Direct anew("TemporalFilter");
  const Image image = scene(usual, 2);
  const Image kept = direct.filter(image);
  const Image forgotten = anew.filter(image);
  ASSERT_NE(kept, forgotten);
  EXPECT_EQ(pipeline.filter(image, 0, discont), expected == History::kept ? kept : forgotten);
}

void push_event(Pipeline& pipeline, GstEvent* event) {
  EXPECT_TRUE(gst_harness_push_event(pipeline.harness(), event));
}

void push_segment(Pipeline& pipeline, GstClockTime start) {
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  segment.start = start;
  push_event(pipeline, gst_event_new_segment(&segment));
}

TEST(History, EndsWhereTheStreamIsInterrupted) {
  expect_history(History::kept, [](Pipeline&) {});
  expect_history(
      History::forgotten, [](Pipeline&) {}, true);
  expect_history(History::forgotten, [](Pipeline& pipeline) {
    push_event(pipeline, gst_event_new_flush_start());
    push_event(pipeline, gst_event_new_flush_stop(TRUE));
    push_segment(pipeline, 0);
  });
  expect_history(History::kept, [](Pipeline& pipeline) { push_segment(pipeline, 0); });
  expect_history(History::forgotten,
                 [](Pipeline& pipeline) { push_segment(pipeline, GST_SECOND); });
  expect_history(History::forgotten, [](Pipeline& pipeline) {
    gst_harness_set_src_caps_str(pipeline.harness(), caps_text(usual, 15).c_str());
  });
}

TEST(History, StaysWhereValuesChange) {
  Pipeline pipeline("depthtemporalfilter");
  Direct direct("TemporalFilter");
  EXPECT_EQ(pipeline.filter(0), direct.filter(scene(usual, 0)));
  g_object_set(pipeline.object(), "weight", 0.9, nullptr);
  direct.set({{"weight", "0.9"}});
  EXPECT_EQ(pipeline.filter(1), direct.filter(scene(usual, 1)));
}

// ---- properties ----

TEST(Properties, ABadValueWarnsAndLeavesTheOldOne) {
  Pipeline pipeline("depthnoiseremovalfilter max-size=200");
  gint max_size = 0;
  g_object_set(pipeline.object(), "max_size", 1001, "bit-size", 7, nullptr);
  g_object_get(pipeline.object(), "max-size", &max_size, nullptr);
  EXPECT_EQ(max_size, 200);
  const std::string warnings = pipeline.messages(GST_MESSAGE_WARNING);
  EXPECT_NE(warnings.find("max_size=1001: out of range; allowed is 1 to 1000"), std::string::npos);
  EXPECT_NE(warnings.find("bit_size must be a number from 8 to 16"), std::string::npos);

  // What only the filter refuses: it takes odd sizes alone.
  Pipeline fast("depthspatialfastfilter radius=5");
  g_object_set(fast.object(), "radius", 4, nullptr);
  EXPECT_NE(fast.messages(GST_MESSAGE_WARNING).find("params out of range"), std::string::npos);
  EXPECT_EQ(fast.filter(0), Direct("SpatialFastFilter", {{"radius", "5"}}).filter(scene(usual, 0)));

  // And what it takes beyond its schema.
  Pipeline resize("depthresize unchecked=true ex-left=700 scale=1 dst-width=764 dst-height=48");
  EXPECT_EQ(resize.filter(0).size, (FrameSize{764, 48}));
}

/// As gst-launch-1.0 sets them.
TEST(Properties, ARefusalBeforeThereIsABusIsToldLater) {
  for (const char* name : {"depthnoiseremovalfilter", "depthcolorize"}) {
    GstElement* const element = gst_element_factory_make(name, nullptr);
    g_object_set(element, "bit-size", 7, nullptr);
    GstBus* const bus = gst_bus_new();
    gst_element_set_bus(element, bus);
    gst_element_set_state(element, GST_STATE_READY);
    GstMessage* message = gst_bus_pop_filtered(bus, GST_MESSAGE_WARNING);
    EXPECT_NE(message, nullptr);
    gst_clear_message(&message);
    gst_bus_set_flushing(bus, TRUE);
    gst_element_set_state(element, GST_STATE_NULL);
    gst_object_unref(element);
    gst_object_unref(bus);
  }
}

TEST(Properties, ErrorsHaveThePluginsText) {
  Pipeline pipeline("depthchain chain=DepthResize:dst_width=5");
  EXPECT_EQ(pipeline.filter(0), Image());
  EXPECT_EQ(pipeline.flow(), GST_FLOW_ERROR);
  EXPECT_NE(pipeline.messages(GST_MESSAGE_ERROR).find("DepthResize fails: incorrect config schema"),
            std::string::npos);

  // Once, however often the elements before try.
  const OwnFolder folder;
  const auto file = folder / "other.json";
  std::ofstream(file) << R"({"width": 10, "height": 10})";
  Pipeline other("depthtemporalfilter camera=" + file.string());
  for (uint32_t frame = 0; frame < 3; ++frame)
    EXPECT_EQ(other.filter(frame), Image());
  const std::string errors = other.messages(GST_MESSAGE_ERROR);
  EXPECT_NE(errors.find("width is 10"), std::string::npos);
  EXPECT_EQ(errors.find("width is 10"), errors.rfind("width is 10"));
}

// ---- sizes ----

TEST(Sizes, FollowTheProperties) {
  Pipeline pipeline("depthresize scale=0.5 dst-width=32 dst-height=24");
  EXPECT_EQ(pipeline.filter(0).size, (FrameSize{32, 24}));
  g_object_set(pipeline.object(), "scale", 2.0, "dst-width", 128, "dst-height", 96, nullptr);
  Direct direct("DepthResize", {{"scale", "2"}, {"dst_width", "128"}, {"dst_height", "96"}});
  EXPECT_EQ(pipeline.filter(1), direct.filter(scene(usual, 1)));
  // One after the other they do not fit, and each is refused.
  for (const auto& [name, value] : {std::pair("dst-width", 64), std::pair("dst-height", 48)}) {
    g_object_set(pipeline.object(), name, value, nullptr);
    EXPECT_EQ(pipeline.filter(0).size, (FrameSize{128, 96}));
  }
  EXPECT_NE(pipeline.messages(GST_MESSAGE_WARNING).find("incorrect config schema"),
            std::string::npos);
  g_object_set(pipeline.object(), "dst-width", 64, "dst-height", 48, "scale", 1.0, nullptr);
  EXPECT_EQ(pipeline.filter(0), scene(usual, 0));
  EXPECT_EQ(pipeline.messages(GST_MESSAGE_ERROR), "");
}

TEST(Sizes, ThatNobodySetsAreFound) {
  for (const auto& [launch, size] :
       {std::pair("depthresize", odd), std::pair("depthresize scale=0.5", FrameSize{33, 22}),
        std::pair("depthresize scale=0.7", FrameSize{46, 31}),
        std::pair("depthresize scale=1 ex-left=3 ex-bottom=-5 ! capsfilter "
                  "caps=video/x-raw,width=70,height=40",
                  FrameSize{70, 40}),
        std::pair("depthresize dst-width=40 dst-height=27", FrameSize{40, 27}),
        std::pair("depthresize ! capsfilter caps=video/x-raw,width=134,height=90",
                  FrameSize{134, 90}),
        // One side told or demanded: the other keeps the ratio.
        std::pair("depthresize dst-width=33", FrameSize{33, 22}),
        std::pair("depthresize ! capsfilter caps=video/x-raw,height=90", FrameSize{134, 90}),
        std::pair("depthresize ! capsfilter caps=\"video/x-raw,width=[1,33],height=[1,40]\"",
                  FrameSize{33, 22}),
        std::pair("depthopennidisparitytransform pixel-type=disparity ! capsfilter "
                  "caps=video/x-raw,width=30,height=20",
                  FrameSize{30, 20}),
        std::pair("depthopennidisparitytransform pixel-type=disparity dst-width=33",
                  FrameSize{33, 22})})
    EXPECT_EQ(Pipeline(launch, odd).filter(scene(odd, 0)).size, size) << launch;
}

/// The default stands for that again.
TEST(Sizes, AreOpenAgainWithTheDefault) {
  Pipeline pipeline("depthresize dst-width=32 dst-height=24");
  EXPECT_EQ(pipeline.filter(0).size, (FrameSize{32, 24}));
  g_object_set(pipeline.object(), "dst-width", 1280, "dst-height", 720, nullptr);
  EXPECT_EQ(pipeline.filter(1).size, usual);
  Pipeline classic("depthopennidisparitytransform pixel-type=disparity dst-width=32 dst-height=24");
  const Image image = scene(usual, 0, GX_PIXEL_DISPARITY);
  EXPECT_EQ(classic.filter(image).size, (FrameSize{32, 24}));
  g_object_set(classic.object(), "dst-height", 0, nullptr);
  EXPECT_EQ(classic.filter(image).size, (FrameSize{32, 24}));
  g_object_set(classic.object(), "dst-width", 0, nullptr);
  EXPECT_EQ(classic.filter(image).size, usual);
}

/// Elements before choose the first of the sizes that an element offers.
TEST(Sizes, OfFramesThatComeInFollowThoseThatAreWanted) {
  for (const auto& [launch, size] :
       {std::pair("depthresize scale=0.5", FrameSize{128, 96}),
        std::pair("depthresize scale=0.7", FrameSize{92, 69}), std::pair("depthresize", usual),
        std::pair("depthchain chain=\"DepthResize:scale=2,dst_width=64,dst_height=48 "
                  "TemporalFilter\"",
                  FrameSize{32, 24})}) {
    Pipeline pipeline(launch);
    GstPad* const pad = gst_element_get_static_pad(pipeline.element(), "sink");
    gst_harness_set_sink_caps_str(pipeline.harness(), caps_text(usual).c_str());
    GstCaps* const caps = gst_pad_query_caps(pad, nullptr);
    gint width = 0;
    gint height = 0;
    const GstStructure* const first = gst_caps_get_structure(caps, 0);
    EXPECT_TRUE(gst_structure_get_int(first, "width", &width) &&
                gst_structure_get_int(first, "height", &height))
        << launch;
    EXPECT_EQ((FrameSize{static_cast<uint32_t>(width), static_cast<uint32_t>(height)}), size)
        << launch;
    gst_caps_unref(caps);
    gst_object_unref(pad);
  }
}

// ---- chains ----

TEST(Chain, IsToldInManyWays) {
  const OwnFolder folder;
  const std::string json =
      R"([{"filter": "TemporalFilter", "params": {"weight": 0.3}},)"
      R"( {"filter": "HoleFillingFilter", "params": {"hole_filling_mode": "nearest"}}])";
  std::ofstream(folder / "chain.json") << json;
  Direct first("TemporalFilter", {{"weight", "0.3"}});
  Direct second("HoleFillingFilter", {{"hole_filling_mode", "1"}});
  std::vector<Image> expected;
  for (uint32_t frame = 0; frame < 2; ++frame)
    expected.push_back(second.filter(first.filter(scene(usual, frame))));
  for (const auto& [property, text] : std::vector<std::pair<const char*, std::string>>{
           {"chain", "TemporalFilter:weight=0.3 HoleFillingFilter:hole_filling_mode=nearest"},
           {"chain", "TemporalFilter: weight = 0.3 ! HoleFillingFilter:hole_filling_mode=1"},
           {"chain", "TemporalFilter:weight=0.3 > HoleFillingFilter: hole_filling_mode=nearest"},
           {"chain", json},
           {"chain-file", (folder / "chain.json").string()}}) {
    SCOPED_TRACE(text);
    Pipeline pipeline("depthchain");
    g_object_set(pipeline.object(), property, text.c_str(), nullptr);
    for (uint32_t frame = 0; frame < 2; ++frame)
      EXPECT_EQ(pipeline.filter(frame), expected[frame]);
    EXPECT_EQ(pipeline.messages(GST_MESSAGE_WARNING), "");
  }
}

TEST(Chain, ChangesWhileItPlays) {
  Pipeline pipeline("depthchain");
  GstBuffer* const in = make_buffer(scene(usual, 0), 0, 0);
  GstBuffer* const out = gst_harness_push_and_pull(pipeline.harness(), in);
  EXPECT_EQ(out, in); // nothing to do, nothing done
  gst_buffer_unref(out);
  g_object_set(pipeline.object(), "chain", "SpatialFastFilter", nullptr);
  EXPECT_EQ(pipeline.filter(1), Direct("SpatialFastFilter").filter(scene(usual, 1)));
  g_object_set(pipeline.object(), "chain", "NoFilter", "preset", "none", nullptr);
  const std::string warnings = pipeline.messages(GST_MESSAGE_WARNING);
  EXPECT_NE(warnings.find("chain: unknown filter 'NoFilter'"), std::string::npos);
  EXPECT_NE(warnings.find("preset: unknown preset 'none'; there are"), std::string::npos);
  gchar* chain = nullptr;
  g_object_get(pipeline.object(), "chain", &chain, nullptr);
  EXPECT_STREQ(chain, "SpatialFastFilter");
  g_free(chain);
  EXPECT_EQ(pipeline.filter(2), Direct("SpatialFastFilter").filter(scene(usual, 2)));
  g_object_set(pipeline.object(), "preset", "scan", nullptr);
  EXPECT_NE(pipeline.filter(3), scene(usual, 3));
}

TEST(Chain, DoesNotStartWithoutTheOneThatWasAskedFor) {
  GstElement* const chain = gst_element_factory_make("depthchain", nullptr);
  g_object_set(chain, "chain", "NoFilter", nullptr);
  EXPECT_EQ(gst_element_set_state(chain, GST_STATE_PAUSED), GST_STATE_CHANGE_FAILURE);
  g_object_set(chain, "chain", "SpatialFastFilter", nullptr);
  EXPECT_EQ(gst_element_set_state(chain, GST_STATE_READY), GST_STATE_CHANGE_SUCCESS);
  gst_element_set_state(chain, GST_STATE_NULL);
  gst_object_unref(chain);
}

// ---- the camera ----

TEST(Camera, TravelsWithTheStream) {
  const recordings::CameraFacts facts{
      {"pixel_type", "disparity"}, {"fx", 300}, {"baseline", 40}, {"depth_unit", 0.5}};
  const Image image = scene(usual, 0, GX_PIXEL_DISPARITY);
  const std::string properties = "pixel-type=disparity fx=300 baseline=40 depth-unit=0.5";
  const Image expected =
      Pipeline("depthchain chain=\"DisparityTransform NoiseRemovalFilter\" " + properties)
          .filter(image);
  EXPECT_NE(expected, Pipeline("depthchain chain=\"DisparityTransform NoiseRemovalFilter\" "
                               "pixel-type=disparity fx=100")
                          .filter(image));
  // Element by element: the second gets depth of the same camera.
  EXPECT_EQ(Pipeline("depthdisparitytransform " + properties + " ! depthnoiseremovalfilter")
                .filter(image),
            expected);
  // Told by a tag of whatever comes before.
  Pipeline tagged("depthchain chain=\"DisparityTransform NoiseRemovalFilter\"");
  push_event(tagged,
             gst_event_new_tag(gst_tag_list_new("depth-camera", facts.dump().c_str(), nullptr)));
  EXPECT_EQ(tagged.filter(image), expected);
  Pipeline wrong("depthtemporalfilter");
  push_event(wrong, gst_event_new_tag(gst_tag_list_new("depth-camera", "{\"fy\": 0}", nullptr)));
  EXPECT_NE(wrong.messages(GST_MESSAGE_WARNING).find("fy must be a number"), std::string::npos);
}

// ---- colours ----

TEST(Colorize, HasThePreviewsColours) {
  using namespace gxfilter;
  const Image image = scene(odd, 0);
  const recordings::FrameView view{image, GX_PIXEL_DEPTH, 1};
  const auto expected = colorized(view, *typical_range(view));
  for (const std::string format :
       {"RGB", "BGR", "RGBA", "BGRA", "ARGB", "ABGR", "RGBx", "BGRx", "xRGB", "xBGR"}) {
    SCOPED_TRACE(format);
    Pipeline pipeline("depthcolorize ! capsfilter caps=video/x-raw,format=" + format, odd);
    GstBuffer* const buffer = pipeline.push(image);
    GstVideoInfo info;
    gst_video_info_set_format(&info, gst_video_format_from_string(format.c_str()), odd.width,
                              odd.height);
    GstVideoFrame frame;
    ASSERT_TRUE(gst_video_frame_map(&frame, &info, buffer, GST_MAP_READ));
    size_t wrong = 0;
    for (size_t i = 0; i < image.pixels.size(); ++i)
      for (guint part = 0; part < 3; ++part) {
        const size_t place = i / odd.width * static_cast<size_t>(info.stride[0]) +
                             i % odd.width * static_cast<size_t>(info.finfo->pixel_stride[0]);
        const auto* const component =
            static_cast<const uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(&frame, part));
        wrong += component[place] != expected.palette[expected.indices[i]][part] ? 1U : 0U;
      }
    EXPECT_EQ(wrong, 0U);
    gst_video_frame_unmap(&frame);
    gst_buffer_unref(buffer);
  }
}

} // namespace
} // namespace gst_test

int main(int argc, char** argv) {
  setenv("GST_PLUGIN_PATH", GST_PLUGIN_FOLDER, 1);
  setenv("GST_REGISTRY", GST_PLUGIN_FOLDER "/test_registry.bin", 1);
  setenv("GST_REGISTRY_FORK", "no", 1);
  testing::InitGoogleTest(&argc, argv);
  gst_init(&argc, &argv);
  const int result = RUN_ALL_TESTS();
  gst_deinit(); // the tracer of leaks looks around now
  return result;
}
