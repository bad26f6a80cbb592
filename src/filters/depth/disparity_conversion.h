#pragma once

#include <memory>
#include <optional>

#include "filters/depth/disparity_lookup_kernels.h"
#include "filters/depth/disparity_table.h"
#include "plugin/base/i_priv_filter.h"
#include "plugin/base/instance_lock.h"
#include "plugin/base/parameters.h"
#include "plugin/base/processing_frame.h"

namespace filter_processor {

/// What the filters that turn disparity frames into depth frames have in common: they follow the
/// camera's record in a stream profile, keep a table from disparity code to depth for it, and map
/// every pixel through that table. Frames that hold no disparity come back as copies.
///
/// The profile is taken when size, format or bit size of the frames change: a new one with the same
/// three is not looked at. The record is read from the kept one at every frame.
///
/// `lock` guards the depth parameters and the table: a frame and an update may come from two
/// threads. The stream profile belongs to the processing thread.
class DisparityConversion : public IPrivFilter {
 public:
  /// The table is built again before the next frame is mapped.
  void reset() override;
  void print_filter_params() override;

 protected:
  /// The depths that a filter makes: its first three parameters.
  struct DepthRange {
    uint32_t max, min; ///< millimetres
    float unit = 1.0F; ///< millimetres for one unit of the output
  };

  explicit DisparityConversion(const DepthRange& range) : depth_range(range) {}
  DisparityConversion(const DisparityConversion&) = delete;
  DisparityConversion& operator=(const DisparityConversion&) = delete;
  ~DisparityConversion() = default;

  /// The whole of a filter's filter_process; `filter` is the class name.
  gx_frame* process(const char* filter, gx_frame* frame, gx_error** error);

  /// None where a value is out of range: then all three are ignored, without an error.
  static std::optional<DepthRange> read_depth_range(const Parameters& parameters);

  /// Whether the range is to be stored. A change of the minimal depth alone is ignored.
  bool differs(const std::optional<DepthRange>& range) const;

  /// Stores the range if it differs; to be called while `lock` is held for an update.
  void store(const std::optional<DepthRange>& range);

  /// Fills `table`, which is zero, for the record's bit size, or fails the call.
  virtual void fill_table(ProcessingFrame& call, DisparityTable& table) = 0;

  /// Makes the output of a disparity frame; `lock` is held.
  virtual void convert(ProcessingFrame& call, gx_format format, FrameSize size) = 0;

  /// Makes the output a depth frame of the input's size, each pixel of its buffer mapped by `map`:
  /// also those that a buffer holds beyond the frame's rows.
  void convert_same_size(ProcessingFrame& call, DisparityLookupKernels::Map map);

  /// Builds the table again where there is none, or where its codes are not as wide as the frame's.
  void fit_table(ProcessingFrame& call, uint8_t bit_size);

  /// Sets the bit size and the value scale of the output's depths.
  void describe_depths(ProcessingFrame& call) const;

  DepthOutput depth_output() const;

  InstanceLock lock;
  D2DParameters d2d_parameters{}; ///< with the bit size of the table's codes
  DepthRange depth_range;
  bool params_changed = false;
  float value_scale = 1.0F; ///< 1 / the range's unit, as of the last change
  float metadata_disparity_offset = 0.0F;
  uint8_t output_bit_size = 0;
  uint32_t table_size = 0;
  std::unique_ptr<DisparityTable> lookup_table;
  OwnedProfile cached_profile; ///< as of the last change of size, format or bit size
  uint8_t cached_bit_size = 0; ///< the frame's bit size that went with it

 private:
  void follow_profile(ProcessingFrame& call, gx_format format, FrameSize size);
  void follow_offset(ProcessingFrame& call);
  void follow_record(ProcessingFrame& call, const D2DParameters& record);
  void build_table(ProcessingFrame& call);
};

} // namespace filter_processor
