// What changes while a pipeline plays: properties from any thread, sizes, chains, cameras, and what
// elements do with changes that can't be.
#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include <fmt/format.h>

#include "naive/false_positive.h"
#include "pipeline.h"
#include "support/allocation_faults.h"

namespace gst_test {
namespace {

constexpr FrameSize usual{64, 48};

void push_event(Pipeline& pipeline, GstEvent* event) {
  EXPECT_TRUE(gst_harness_push_event(pipeline.harness(), event));
}

void push_camera(Pipeline& pipeline, const char* json, GstTagScope scope = GST_TAG_SCOPE_STREAM) {
  GstTagList* const tags = gst_tag_list_new("depth-camera", json, nullptr);
  gst_tag_list_set_scope(tags, scope);
  push_event(pipeline, gst_event_new_tag(tags));
}

void begin_another_stream(Pipeline& pipeline, GstFormat format = GST_FORMAT_TIME) {
  push_event(pipeline, gst_event_new_stream_start("another"));
  gst_harness_set_src_caps_str(pipeline.harness(), caps_text(usual).c_str());
  GstSegment segment;
  gst_segment_init(&segment, format);
  push_event(pipeline, gst_event_new_segment(&segment));
}

/// What elements behind are told of the camera, by the last of the events since the last call.
recordings::CameraFacts told_camera(Pipeline& pipeline) {
  recordings::CameraFacts facts;
  while (GstEvent* const event = gst_harness_try_pull_event(pipeline.harness())) {
    if (GST_EVENT_TYPE(event) == GST_EVENT_TAG) {
      GstTagList* tags = nullptr;
      gst_event_parse_tag(event, &tags);
      const char* text = nullptr;
      if (gst_tag_list_peek_string_index(tags, "depth-camera", 0, &text) != FALSE)
        facts = recordings::CameraFacts::parse(text);
    }
    gst_event_unref(event);
  }
  return facts;
}

template <class Value>
Value property(Pipeline& pipeline, const char* name) {
  Value value{};
  g_object_get(pipeline.object(), name, &value, nullptr);
  return value;
}

std::string text_property(Pipeline& pipeline, const char* name) {
  gchar* const text = property<gchar*>(pipeline, name);
  std::string copy = text != nullptr ? text : "";
  g_free(text);
  return copy;
}

/// The bytes of what the element makes of an image.
std::string bytes_of(Pipeline& pipeline, const Image& image, size_t padding = 0) {
  GstBuffer* const buffer = pipeline.push(image, padding);
  if (buffer == nullptr)
    return "";
  std::string bytes(gst_buffer_get_size(buffer), '\0');
  gst_buffer_extract(buffer, 0, bytes.data(), bytes.size());
  gst_buffer_unref(buffer);
  return bytes;
}

size_t count(const std::string& text, const std::string& part) {
  size_t times = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++times;
  return times;
}

// ---- sizes ----

TEST(Changes, ChainsThatResizeComeAndGo) {
  const char* const half = "DepthResize:scale=0.5,dst_width=32,dst_height=24";
  const char* const doubled = "TemporalFilter DepthResize:scale=2,dst_width=128,dst_height=96";
  Pipeline pipeline(fmt::format("depthchain chain={}", half));
  EXPECT_EQ(pipeline.filter(0).size, (FrameSize{32, 24}));
  for (const auto& [chain, size] :
       std::vector<std::pair<const char*, FrameSize>>{{"TemporalFilter", usual},
                                                      {doubled, {128, 96}},
                                                      {half, {32, 24}},
                                                      {"", usual},
                                                      {half, {32, 24}},
                                                      {"TemporalFilter", usual}}) {
    g_object_set(pipeline.object(), "chain", chain, nullptr);
    for (uint32_t frame = 0; frame < 2; ++frame)
      EXPECT_EQ(pipeline.filter(frame).size, size) << chain;
  }
  EXPECT_EQ(pipeline.messages(GST_MESSAGE_ERROR), "");
  EXPECT_EQ(pipeline.messages(GST_MESSAGE_WARNING), "");
}

/// Refused once, told once, and the pipeline goes on as if nothing had been.
TEST(Changes, SizesThatCantBeLeaveTheOldOnes) {
  struct SizeCase {
    const char* launch;
    gint width, height;
    const char* reason;
  };
  for (const auto& [launch, width, height, reason] : {
           SizeCase{"depthresize scale=0.5 dst-width=32 dst-height=24", 64, 48,
                    "incorrect config schema"},
           SizeCase{"depthresize scale=0.5 dst-width=32 dst-height=24 ! capsfilter "
                    "caps=video/x-raw,width=32,height=24",
                    48, 36, "take no frames of 48x36"},
       }) {
    SCOPED_TRACE(launch);
    Pipeline pipeline(launch);
    EXPECT_EQ(pipeline.filter(0).size, (FrameSize{32, 24}));
    if (width == 48)
      g_object_set(pipeline.object(), "scale", 0.75, "dst-width", width, "dst-height", height,
                   nullptr);
    else
      g_object_set(pipeline.object(), "dst-width", width, "dst-height", height, nullptr);
    for (uint32_t frame = 1; frame < 4; ++frame)
      EXPECT_EQ(pipeline.filter(frame).size, (FrameSize{32, 24}));
    EXPECT_EQ(count(pipeline.messages(GST_MESSAGE_WARNING), reason), 1U);
    EXPECT_EQ(property<gint>(pipeline, "dst-width"), 32);
    EXPECT_EQ(property<gint>(pipeline, "dst-height"), 24);
    EXPECT_EQ(property<gfloat>(pipeline, "scale"), 0.5F);
    gst_harness_set_src_caps_str(pipeline.harness(), caps_text(usual, 15).c_str());
    EXPECT_EQ(pipeline.filter(4).size, (FrameSize{32, 24}));
    EXPECT_EQ(pipeline.messages(GST_MESSAGE_ERROR), "");
  }
}

/// What was set on other threads before and during a negotiation holds for all of it.
TEST(Changes, ComeFromAnyThread) {
  Pipeline pipeline("depthresize scale=0.5 dst-width=32 dst-height=24");
  std::atomic<bool> is_over = false;
  std::thread setter([&] {
    for (int i = 0; !is_over; ++i) {
      const bool is_half = i % 2 == 0;
      g_object_set(pipeline.object(), "scale", is_half ? 0.5 : 1.0, "dst-width", is_half ? 32 : 64,
                   "dst-height", is_half ? 24 : 48, nullptr);
      if (i % 3 == 0)
        g_object_set(pipeline.object(), "fx", 100.0 + i, "dst-width", 7, nullptr); // can't be
    }
  });
  std::thread asker([&] {
    GstPad* const pad = gst_element_get_static_pad(pipeline.element(), "sink");
    while (!is_over)
      gst_caps_unref(gst_pad_query_caps(pad, nullptr));
    gst_object_unref(pad);
  });
  for (uint32_t frame = 0; frame < 150; ++frame) {
    if (frame % 10 == 0)
      gst_harness_set_src_caps_str(pipeline.harness(), caps_text(usual, 1 + frame % 4).c_str());
    const Image image = pipeline.filter(scene(usual, frame % 4));
    ASSERT_TRUE(image.size == usual || image.size == (FrameSize{32, 24})) << frame;
  }
  is_over = true;
  setter.join();
  asker.join();
  EXPECT_EQ(pipeline.messages(GST_MESSAGE_ERROR), "");
}

/// Values that only go together, of two threads, and a third that sets something else.
TEST(Changes, OfThreadsDoNotMix) {
  Pipeline pipeline("depthcolorize near=10 far=100");
  const std::pair<double, double> ends[] = {{10, 100}, {1000, 2000}};
  const auto set = [&](const std::pair<double, double>& pair) {
    g_object_set(pipeline.object(), "near", pair.first, "far", pair.second, nullptr);
  };
  const auto read = [&] {
    return std::pair(property<gdouble>(pipeline, "near"), property<gdouble>(pipeline, "far"));
  };
  std::atomic<bool> is_over = false;
  std::thread other([&] {
    for (int i = 0; !is_over; ++i)
      g_object_set(pipeline.object(), "fx", 100.0 + i % 50, nullptr);
  });
  size_t old_values = 0;
  for (size_t i = 0; i < 2000; ++i) {
    set(ends[i % 2]);
    old_values += read() != ends[i % 2] ? 1U : 0U;
  }
  EXPECT_EQ(old_values, 0U);
  std::thread same([&] {
    for (size_t i = 0; i < 2000; ++i)
      set(ends[i % 2]);
  });
  for (size_t i = 0; i < 2000; ++i)
    set(ends[i / 3 % 2]);
  same.join();
  is_over = true;
  other.join();
  EXPECT_TRUE(read() == ends[0] || read() == ends[1]);
  g_object_set(pipeline.object(), "fx", 77.0, nullptr);
  EXPECT_EQ(property<gdouble>(pipeline, "fx"), 77.0);
  EXPECT_EQ(pipeline.messages(GST_MESSAGE_WARNING), "");
}

// ---- what is refused, and what is not ----

/// In whatever order, as what is refused alone may go with what comes later.
TEST(Changes, AreJudgedTogether) {
  GstElement* const element = gst_element_factory_make("depthresize", nullptr);
  const auto read = [&] {
    gint left = 0;
    g_object_get(element, "ex-left", &left, nullptr);
    return left;
  };
  g_object_set(element, "ex-left", 700, nullptr);
  EXPECT_EQ(read(), 0);
  g_object_set(element, "ex-left", 700, "ex-top", 7000, "ex-right", 7000, "unchecked", TRUE,
               nullptr);
  EXPECT_EQ(read(), 700);
  gst_object_unref(element);
}

TEST(Changes, ThatAreRefusedLaterAreNotified) {
  Pipeline pipeline("depthresize scale=0.5 dst-width=32 dst-height=24");
  pipeline.filter(0);
  std::vector<gint> seen;
  const auto see = +[](GObject* object, GParamSpec* /*property*/, std::vector<gint>* values) {
    gint value = 0;
    g_object_get(object, "dst-width", &value, nullptr);
    values->push_back(value);
  };
  g_signal_connect(pipeline.object(), "notify::dst-width", G_CALLBACK(see), &seen);
  g_object_set(pipeline.object(), "dst-width", 40, nullptr);
  pipeline.filter(1);
  EXPECT_EQ(seen, (std::vector<gint>{40, 32}));
}

/// A controller would fill the bus; another user hears of it again once a value was accepted.
TEST(Changes, OfOnePropertyAreRefusedAloudOnce) {
  Pipeline pipeline("depthspatialfastfilter");
  const auto warnings = [&](std::initializer_list<gint> radii) {
    for (const gint radius : radii)
      g_object_set(pipeline.object(), "radius", radius, nullptr);
    return count(pipeline.messages(GST_MESSAGE_WARNING), "params out of range");
  };
  EXPECT_EQ(warnings({4, 2, 4, 2}), 1U);
  EXPECT_EQ(warnings({5, 4, 2, 3}), 1U);
}

/// A child of a bin has a bus that leads nowhere until the bin is in a pipeline.
TEST(Changes, OfChildrenOfABinAreRefusedAloud) {
  GstElement* const bin = gst_bin_new(nullptr);
  GstElement* const element = gst_element_factory_make("depthnoiseremovalfilter", nullptr);
  gst_bin_add(GST_BIN(bin), element);
  g_object_set(element, "max-size", 5000, nullptr);
  GstElement* const pipeline = gst_pipeline_new(nullptr);
  gst_bin_add(GST_BIN(pipeline), bin);
  GstBus* const bus = gst_element_get_bus(pipeline);
  gst_element_set_state(pipeline, GST_STATE_READY);
  GstMessage* message = gst_bus_pop_filtered(bus, GST_MESSAGE_WARNING);
  EXPECT_NE(message, nullptr);
  gst_clear_message(&message);
  gst_element_set_state(pipeline, GST_STATE_NULL);
  gst_object_unref(bus);
  gst_object_unref(pipeline);
}

TEST(Changes, OnlyWhatIsRefusedGoes) {
  Pipeline pipeline("depthspatialfastfilter radius=5");
  g_object_set(pipeline.object(), "radius", 4, "fx", 300.0, nullptr);
  EXPECT_EQ(property<gint>(pipeline, "radius"), 5);
  EXPECT_EQ(property<gdouble>(pipeline, "fx"), 300.0);
  EXPECT_EQ(count(pipeline.messages(GST_MESSAGE_WARNING), "params out of range"), 1U);

  Pipeline chain("depthchain chain=SpatialFastFilter:radius=5");
  chain.filter(0);
  g_object_set(chain.object(), "chain", "SpatialFastFilter:radius=4", nullptr);
  EXPECT_EQ(text_property(chain, "chain"), "SpatialFastFilter:radius=5");
  EXPECT_EQ(chain.filter(1),
            Direct("SpatialFastFilter", {{"radius", "5"}}).filter(scene(usual, 1)));
}

TEST(Changes, DoNotMakeUpForAChainThatWasRefused) {
  GstElement* const chain = gst_element_factory_make("depthchain", nullptr);
  g_object_set(chain, "chain", "NoFilter", nullptr);
  g_object_set(chain, "fx", 300.0, nullptr);
  EXPECT_EQ(gst_element_set_state(chain, GST_STATE_READY), GST_STATE_CHANGE_FAILURE);
  g_object_set(chain, "chain", "", nullptr);
  EXPECT_EQ(gst_element_set_state(chain, GST_STATE_READY), GST_STATE_CHANGE_SUCCESS);
  gst_element_set_state(chain, GST_STATE_NULL);
  gst_object_unref(chain);
}

// ---- history ----

TEST(Changes, WithoutFiltersHistoryEnds) {
  Pipeline pipeline("depthchain chain=TemporalFilter");
  pipeline.filter(0);
  g_object_set(pipeline.object(), "chain", "", nullptr);
  EXPECT_EQ(pipeline.filter(1), scene(usual, 1));
  g_object_set(pipeline.object(), "chain", "TemporalFilter", nullptr);
  EXPECT_EQ(pipeline.filter(2), Direct("TemporalFilter").filter(scene(usual, 2)));
}

TEST(Changes, OfNothingKeepTheHistory) {
  const OwnFolder folder;
  const auto record = folder / "record";
  const auto write = [&](const naive::false_positive::Record& fields) {
    std::ofstream(record, std::ios::binary)
        << '\0' << std::string(fields.bytes.begin(), fields.bytes.end()); // the first means nothing
  };
  write(naive::false_positive::default_record(64, 48));
  const std::string chain = "FalsePositiveFilter:@" + record.string() + " TemporalFilter";
  const auto last = [&](bool is_set_again, bool is_rewritten) {
    write(naive::false_positive::default_record(64, 48));
    Pipeline pipeline("depthchain");
    g_object_set(pipeline.object(), "chain", chain.c_str(), nullptr);
    for (uint32_t frame = 0; frame < 2; ++frame)
      pipeline.filter(frame);
    if (is_rewritten) {
      auto other = naive::false_positive::default_record(64, 48);
      other.f32(75, 0.5F);
      write(other);
    }
    if (is_set_again)
      g_object_set(pipeline.object(), "chain", chain.c_str(), nullptr);
    const Image image = pipeline.filter(2);
    EXPECT_EQ(pipeline.messages(GST_MESSAGE_WARNING), "");
    EXPECT_EQ(pipeline.messages(GST_MESSAGE_ERROR), "");
    return image;
  };
  const Image kept = last(false, false);
  EXPECT_EQ(last(true, false), kept);
  EXPECT_NE(last(true, true), kept);
}

TEST(Changes, UseRecordsAsTheyWereWhenTheyWereNamed) {
  const OwnFolder folder;
  const auto record = folder / "a record.bin";
  const auto fields = naive::false_positive::default_record(64, 48);
  std::ofstream(record, std::ios::binary)
      << '\0' << std::string(fields.bytes.begin(), fields.bytes.end());
  Pipeline pipeline("depthchain");
  const std::string chain = "FalsePositiveFilter:@\"" + record.string() + "\" TemporalFilter";
  g_object_set(pipeline.object(), "chain", chain.c_str(), nullptr);
  pipeline.filter(0);
  std::filesystem::remove(record);
  EXPECT_EQ(pipeline.filter(scene(usual, 1), 0, true).size, usual);
  gst_harness_set_src_caps_str(pipeline.harness(), caps_text(usual, 15).c_str());
  EXPECT_EQ(pipeline.filter(2).size, usual);
  g_object_set(pipeline.object(), "fx", 200.0, nullptr);
  EXPECT_EQ(pipeline.filter(3).size, usual);
  EXPECT_EQ(property<gdouble>(pipeline, "fx"), 200.0);
  EXPECT_EQ(pipeline.messages(GST_MESSAGE_WARNING), "");
  EXPECT_EQ(pipeline.messages(GST_MESSAGE_ERROR), "");

  // What was never told can't be taken back.
  g_object_set(pipeline.object(), "preset", "", "chain-file", nullptr, nullptr);
  EXPECT_EQ(text_property(pipeline, "chain"), chain);
  g_object_set(pipeline.object(), "chain", "", nullptr);
  EXPECT_EQ(pipeline.filter(4), scene(usual, 4));
}

// ---- the camera ----

TEST(Changes, OfTheCameraReachElementsBehindAnEmptyChain) {
  const Image image = scene(usual, 0, GX_PIXEL_DISPARITY);
  const std::string camera = "pixel-type=disparity baseline=40 fx=";
  const std::string behind = " ! depthdisparitytransform ! depthnoiseremovalfilter";
  const auto expected = [&](const char* fx) {
    return Pipeline("depthchain chain=\"DisparityTransform NoiseRemovalFilter\" " + camera + fx)
        .filter(image);
  };
  ASSERT_NE(expected("300"), expected("100"));
  Pipeline pipeline("depthchain " + camera + "300" + behind);
  EXPECT_EQ(pipeline.filter(image), expected("300"));
  g_object_set(pipeline.object(), "fx", 100.0, nullptr);
  EXPECT_EQ(pipeline.filter(image), expected("100"));

  // And what filters made of it goes with them.
  Pipeline chain("depthchain chain=DisparityTransform pixel-type=disparity");
  chain.filter(image);
  EXPECT_EQ(told_camera(chain)["pixel_type"], "depth");
  g_object_set(chain.object(), "chain", "", nullptr);
  chain.filter(image);
  EXPECT_EQ(told_camera(chain)["pixel_type"], "disparity");
}

TEST(Changes, CamerasOfFramesOfAnotherSizeAreRefused) {
  const OwnFolder folder;
  const auto file = folder / "small.json";
  std::ofstream(file) << R"({"width": 10, "height": 10, "fx": 100})";
  Pipeline pipeline("depthtemporalfilter");
  Direct direct("TemporalFilter");
  EXPECT_EQ(pipeline.filter(0), direct.filter(scene(usual, 0)));
  g_object_set(pipeline.object(), "camera", file.c_str(), nullptr);
  EXPECT_EQ(pipeline.filter(1), direct.filter(scene(usual, 1)));
  EXPECT_EQ(count(pipeline.messages(GST_MESSAGE_WARNING), "width is 10"), 1U);
  EXPECT_EQ(text_property(pipeline, "camera"), "");
  push_camera(pipeline, R"({"width": 10, "height": 10, "fx": 100})");
  EXPECT_EQ(pipeline.filter(2), direct.filter(scene(usual, 2)));
  EXPECT_EQ(count(pipeline.messages(GST_MESSAGE_WARNING), "width is 10"), 1U);
  EXPECT_EQ(pipeline.messages(GST_MESSAGE_ERROR), "");

  Pipeline colorize("depthcolorize far=4000");
  const std::string colors = bytes_of(colorize, scene(usual, 0));
  g_object_set(colorize.object(), "camera", file.c_str(), nullptr);
  EXPECT_EQ(bytes_of(colorize, scene(usual, 0)), colors);
  EXPECT_EQ(text_property(colorize, "camera"), "");
  push_camera(colorize, R"({"width": 10, "height": 10, "depth_unit": 0.1})");
  EXPECT_EQ(bytes_of(colorize, scene(usual, 0)), colors);
  EXPECT_EQ(count(colorize.messages(GST_MESSAGE_WARNING), "width is 10"), 2U);
  EXPECT_EQ(colorize.messages(GST_MESSAGE_ERROR), "");
}

/// What the stream says of its camera is true as long as frames have the camera's size.
TEST(Changes, OfTheSizeDoNotEndAStreamThatToldItsCamera) {
  const FrameSize small{32, 24};
  Pipeline pipeline("depthnoiseremovalfilter");
  push_camera(pipeline, R"({"width": 64, "height": 48, "depth_unit": 0.1})");
  const Image told = pipeline.filter(0);
  const Image untold = Pipeline("depthnoiseremovalfilter", small).filter(0);
  ASSERT_NE(told, Pipeline("depthnoiseremovalfilter").filter(0));
  gst_harness_set_src_caps_str(pipeline.harness(), caps_text(small).c_str());
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(pipeline.filter(scene(small, 0)), untold);
  EXPECT_EQ(count(pipeline.messages(GST_MESSAGE_WARNING), "width is 64"), 1U);
  push_camera(pipeline, R"({"width": 32, "height": 24, "depth_unit": 0.1})");
  EXPECT_NE(pipeline.filter(scene(small, 0)), untold);
  push_camera(pipeline, R"({"width": 64, "height": 48, "depth_unit": 0.1})");
  gst_harness_set_src_caps_str(pipeline.harness(), caps_text(usual).c_str());
  EXPECT_EQ(pipeline.filter(0), told);
  EXPECT_EQ(pipeline.messages(GST_MESSAGE_WARNING), "");
  EXPECT_EQ(pipeline.messages(GST_MESSAGE_ERROR), "");
}

TEST(Changes, AnotherStreamKnowsNothingOfTheCameraBefore) {
  const Image image = scene(usual, 0);
  const char* const facts = R"({"depth_unit": 0.1, "fx": 525})";
  // Its unit decides what is a speckle.
  const Image plain = Pipeline("depthnoiseremovalfilter").filter(image);
  Pipeline filter("depthnoiseremovalfilter");
  push_camera(filter, facts);
  ASSERT_NE(filter.filter(image), plain);
  EXPECT_EQ(told_camera(filter)["fx"], 525);
  begin_another_stream(filter);
  EXPECT_EQ(filter.filter(image), plain);
  EXPECT_EQ(told_camera(filter), nullptr);
  push_camera(filter, facts, GST_TAG_SCOPE_GLOBAL);
  EXPECT_EQ(filter.filter(image), plain);

  const std::string colors = bytes_of(*std::make_unique<Pipeline>("depthcolorize far=4000"), image);
  Pipeline colorize("depthcolorize far=4000");
  push_camera(colorize, facts);
  ASSERT_NE(bytes_of(colorize, image), colors);
  begin_another_stream(colorize);
  EXPECT_EQ(bytes_of(colorize, image), colors);
  push_camera(colorize, facts, GST_TAG_SCOPE_GLOBAL);
  EXPECT_EQ(bytes_of(colorize, image), colors);
}

// ---- colours ----

TEST(Colorize, ChoosesItsRangeAnewForOtherPixels) {
  const Image image = scene(usual, 0);
  Pipeline pipeline("depthcolorize");
  const std::string before = bytes_of(pipeline, image);
  // The same picture, as the range has the unit too.
  g_object_set(pipeline.object(), "depth-unit", 0.5, nullptr);
  EXPECT_EQ(bytes_of(pipeline, image), before);
  g_object_set(pipeline.object(), "pixel-type", 1, nullptr);
  EXPECT_EQ(bytes_of(pipeline, image),
            bytes_of(*std::make_unique<Pipeline>("depthcolorize pixel-type=disparity"), image));
  for (const size_t padding : {size_t{2}, size_t{7}})
    EXPECT_EQ(bytes_of(*std::make_unique<Pipeline>("depthcolorize"), image, padding), before);
}

TEST(Colorize, RefusesBadEndsOfItsRange) {
  Pipeline pipeline("depthcolorize near=500");
  GParamSpec* const near =
      g_object_class_find_property(G_OBJECT_GET_CLASS(pipeline.element()), "near");
  EXPECT_TRUE(near->flags & GST_PARAM_CONTROLLABLE);
  EXPECT_EQ(G_PARAM_SPEC_DOUBLE(near)->maximum, 1e9);
  g_object_set(pipeline.object(), "near", -1.0, nullptr);
  g_object_set(pipeline.object(), "far", 400.0, nullptr);
  const std::string warnings = pipeline.messages(GST_MESSAGE_WARNING);
  EXPECT_EQ(count(warnings, "near=-1: out of range"), 1U);
  EXPECT_EQ(count(warnings, "near=500 is not nearer than far=400"), 1U);
  EXPECT_EQ(property<gdouble>(pipeline, "near"), 500.0);
  EXPECT_EQ(property<gdouble>(pipeline, "far"), 0.0);
}

// ---- streams that are unlike others ----

size_t criticals = 0;

TEST(Streams, OfOtherFormatsThanTimeAreFiltered) {
  const auto count_critical = [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {
    ++criticals;
  };
  criticals = 0;
  const guint handler =
      g_log_set_handler("GStreamer", G_LOG_LEVEL_CRITICAL, count_critical, nullptr);
  for (const char* launch : {"depthtemporalfilter", "depthcolorize"}) {
    Pipeline pipeline(launch);
    begin_another_stream(pipeline, GST_FORMAT_BYTES);
    EXPECT_NE(bytes_of(pipeline, scene(usual, 0)), "");
  }
  g_log_remove_handler("GStreamer", handler);
  EXPECT_EQ(criticals, 0U);
}

/// The next elements offer buffers whose rows have gaps.
GstPadProbeReturn offer_wide_rows(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer /*data*/) {
  GstQuery* const query = gst_pad_probe_info_get_query(info);
  if (GST_QUERY_TYPE(query) != GST_QUERY_ALLOCATION)
    return GST_PAD_PROBE_OK;
  GstCaps* caps = nullptr;
  gst_query_parse_allocation(query, &caps, nullptr);
  GstBufferPool* const pool = gst_video_buffer_pool_new();
  GstStructure* const config = gst_buffer_pool_get_config(pool);
  GstVideoAlignment alignment;
  gst_video_alignment_reset(&alignment);
  alignment.padding_right = 24;
  alignment.padding_top = 3;
  gst_buffer_pool_config_set_params(config, caps, 64 * 1024, 0, 0);
  gst_buffer_pool_config_add_option(config, GST_BUFFER_POOL_OPTION_VIDEO_META);
  gst_buffer_pool_config_add_option(config, GST_BUFFER_POOL_OPTION_VIDEO_ALIGNMENT);
  gst_buffer_pool_config_set_video_alignment(config, &alignment);
  gst_buffer_pool_set_config(pool, config);
  gst_query_add_allocation_pool(query, pool, 64 * 1024, 0, 0);
  gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
  gst_object_unref(pool);
  return GST_PAD_PROBE_HANDLED;
}

TEST(Streams, GoToPoolsWithRowsOfAnyLength) {
  Pipeline pipeline("depthtemporalfilter");
  gst_pad_add_probe(pipeline.harness()->sinkpad, GST_PAD_PROBE_TYPE_QUERY_DOWNSTREAM,
                    offer_wide_rows, nullptr, nullptr);
  gst_harness_set_src_caps_str(pipeline.harness(), caps_text(usual, 15).c_str());
  Direct direct("TemporalFilter");
  for (uint32_t frame = 0; frame < 2; ++frame) {
    GstBuffer* const buffer = pipeline.push(scene(usual, frame));
    ASSERT_NE(buffer, nullptr);
    const GstVideoMeta* const meta = gst_buffer_get_video_meta(buffer);
    ASSERT_NE(meta, nullptr);
    EXPECT_GT(meta->stride[0], 128);
    EXPECT_EQ(pipeline.unpack(buffer), direct.filter(scene(usual, frame)));
  }
}

/// Buffers were laid out for filters, which take any rows; those behind may know of no gaps.
TEST(Streams, HaveTheRowsThatElementsBehindTake) {
  Pipeline pipeline("depthchain chain=TemporalFilter");
  pipeline.filter(scene(usual, 0), 7);
  const auto reconfigured = [&] {
    size_t times = 0;
    while (GstEvent* const event = gst_harness_try_pull_upstream_event(pipeline.harness())) {
      times += GST_EVENT_TYPE(event) == GST_EVENT_RECONFIGURE ? 1U : 0U;
      gst_event_unref(event);
    }
    return times;
  };
  reconfigured();
  g_object_set(pipeline.object(), "chain", "", nullptr);
  GstBuffer* packed = pipeline.push(scene(usual, 1), 7);
  ASSERT_NE(packed, nullptr);
  EXPECT_EQ(gst_buffer_get_video_meta(packed), nullptr);
  EXPECT_EQ(gst_buffer_get_size(packed), size_t{64} * 48 * 2);
  EXPECT_EQ(GST_BUFFER_OFFSET(packed), 1U);
  EXPECT_EQ(pipeline.unpack(packed), scene(usual, 1));
  EXPECT_GT(reconfigured(), 0U);
  // Those that take any are given them as they are.
  gst_harness_add_propose_allocation_meta(pipeline.harness(), GST_VIDEO_META_API_TYPE, nullptr);
  EXPECT_TRUE(gst_harness_push_upstream_event(pipeline.harness(), gst_event_new_reconfigure()));
  GstBuffer* const padded = pipeline.push(scene(usual, 2), 7);
  EXPECT_NE(gst_buffer_get_video_meta(padded), nullptr);
  EXPECT_EQ(pipeline.unpack(padded), scene(usual, 2));
}

TEST(Streams, EndWithABufferThatHoldsNoFrame) {
  const auto short_of = [](gsize bytes) {
    GstBuffer* const buffer = make_buffer(scene(usual, 0), 8, 0);
    gst_buffer_resize(buffer, 0, static_cast<gssize>(gst_buffer_get_size(buffer) - bytes));
    return buffer;
  };
  for (const char* launch : {"depthtemporalfilter", "depthchain", "depthcolorize"}) {
    SCOPED_TRACE(launch);
    for (GstBuffer* buffer :
         {gst_buffer_new_allocate(nullptr, 20, nullptr), short_of(9),
          make_buffer(scene({60, 48}, 0), 0, 0), make_buffer(scene({64, 49}, 0), 0, 0)}) {
      Pipeline pipeline(launch);
      EXPECT_EQ(gst_harness_push(pipeline.harness(), buffer), GST_FLOW_ERROR);
      EXPECT_EQ(count(pipeline.messages(GST_MESSAGE_ERROR), "a buffer "), 1U);
    }
    // The last row needs no gap behind it, and frames may lie in several pieces.
    Pipeline pipeline(launch);
    const std::string whole = bytes_of(pipeline, scene(usual, 0), 8);
    GstBuffer* buffer = short_of(8);
    GstMemory* const all = gst_buffer_get_all_memory(buffer);
    gst_buffer_remove_all_memory(buffer);
    gst_buffer_append_memory(buffer, gst_memory_copy(all, 0, 1000));
    gst_buffer_append_memory(buffer, gst_memory_copy(all, 1000, -1));
    gst_memory_unref(all);
    Pipeline other(launch);
    buffer = gst_harness_push_and_pull(other.harness(), buffer);
    ASSERT_NE(buffer, nullptr);
    std::string bytes(gst_buffer_get_size(buffer), '\0');
    gst_buffer_extract(buffer, 0, bytes.data(), bytes.size());
    gst_buffer_unref(buffer);
    EXPECT_TRUE(bytes == whole);
  }
}

TEST(Streams, LeavePlacesBehindWhereTheSizeChanges) {
  Pipeline pipeline("depthresize scale=0.5");
  GstBuffer* const in = make_buffer(scene(usual, 0), 0, 7);
  gst_buffer_add_video_region_of_interest_meta(in, "face", 1, 2, 3, 4);
  GstCaps* const reference = gst_caps_new_empty_simple("timestamp/x-test");
  gst_buffer_add_reference_timestamp_meta(in, reference, 5, 6);
  gst_caps_unref(reference);
  GstBuffer* const out = gst_harness_push_and_pull(pipeline.harness(), in);
  EXPECT_EQ(gst_buffer_get_video_region_of_interest_meta_id(out, 0), nullptr);
  EXPECT_NE(gst_buffer_get_reference_timestamp_meta(out, nullptr), nullptr);
  gst_buffer_unref(out);
}

TEST(Streams, HaveCapsWithinTheFilterThatIsAskedWith) {
  for (const auto& [launch, pad_name, filter, expected] :
       {std::tuple("depthresize", "sink", "video/x-raw,format=GRAY16_LE,width=[1,20]", true),
        std::tuple("depthresize", "sink", "video/x-raw,format=RGB", false),
        std::tuple("depthtemporalfilter", "src", "video/x-raw,width=64,height=48", true),
        std::tuple("depthtemporalfilter", "src", "video/x-raw,width=65", false),
        std::tuple("depthcolorize", "src", "video/x-raw,format={RGB,GRAY16_LE}", true),
        std::tuple("depthcolorize", "src", "video/x-raw,format=GRAY16_LE", false)}) {
    SCOPED_TRACE(fmt::format("{} {} {}", launch, pad_name, filter));
    Pipeline pipeline(launch);
    GstPad* const pad = gst_element_get_static_pad(pipeline.element(), pad_name);
    GstCaps* const asked = gst_caps_from_string(filter);
    GstCaps* const answer = gst_pad_query_caps(pad, asked);
    EXPECT_NE(gst_caps_is_empty(answer) != FALSE, expected);
    EXPECT_TRUE(gst_caps_is_subset(answer, asked));
    gst_caps_unref(answer);
    gst_caps_unref(asked);
    gst_object_unref(pad);
  }
}

/// Memory for pixels that is short wherever it is asked for, in properties, queries, negotiations
/// and frames: the application is told and goes on. Where a few bytes can't be had, GLib ends the
/// process.
TEST(Streams, OutliveShortMemory) {
  REQUIRE_ALLOCATION_FAULTS();
  const Image image = scene(usual, 0);
  const std::string other_caps = caps_text(usual, 15);
  for (const char* launch :
       {"depthresize scale=0.5", "depthchain chain=TemporalFilter", "depthcolorize"}) {
    SCOPED_TRACE(launch);
    size_t refusals = 0;
    bool was_short = true;
    for (uint64_t n = 1; was_short; ++n) {
      Pipeline pipeline(launch);
      gst_buffer_unref(pipeline.push(image));
      GstPad* const pad = gst_element_get_static_pad(pipeline.element(), "src");
      test::fail_nth_allocation(n, 2048);
      g_object_set(pipeline.object(), "fx", 300.0, "depth-unit", 0.5, nullptr);
      gst_caps_unref(gst_pad_query_caps(pad, nullptr));
      gst_harness_set_src_caps_str(pipeline.harness(), other_caps.c_str());
      GstBuffer* const buffer = pipeline.push(image, 7);
      was_short = !test::allocation_fault_pending();
      test::fail_nth_allocation(0);
      gst_object_unref(pad);
      if (buffer != nullptr)
        gst_buffer_unref(buffer);
      else
        ASSERT_NE(pipeline.messages(GST_MESSAGE_ERROR), "") << n;
      refusals += buffer == nullptr ? 1U : 0U;
    }
    EXPECT_GT(refusals, 0U);
  }
}

} // namespace
} // namespace gst_test
