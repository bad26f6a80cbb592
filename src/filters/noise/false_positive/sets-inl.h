#pragma once

#include "filters/noise/false_positive/region_kernels.h"
#include "simd/lanes-inl.h"

// Which runs belong to one region.
namespace filter_processor::false_positive {
inline namespace FILTER_PROCESSOR_LEVEL {
namespace {

/// Sets of runs, each known by its first run, the root; and the steps between them that are allowed
/// in one direction only.
class Sets {
 public:
  /// `rings` has an entry for each run, and is not in use once the edges have been followed.
  Sets(uint32_t* parents, uint32_t* rings, RunEdge* edges)
      : parents_(parents), rings_(rings), edges_(edges) {}

  void add(uint32_t first, uint32_t end) {
    for (uint32_t run = first; run < end; ++run)
      parents_[run] = run;
  }

  /// Puts a run that is a set of its own into that of an earlier one.
  void put(uint32_t run, uint32_t earlier) { parents_[run] = parents_[earlier]; }

  /// The earlier root stays one.
  void unite(uint32_t a, uint32_t b) {
    if (parents_[a] == parents_[b])
      return;
    a = root_of(a);
    b = root_of(b);
    if (a < b)
      parents_[b] = a;
    else
      parents_[a] = b;
  }

  void add_edge(uint32_t from, uint32_t to) {
    if (parents_[from] != parents_[to])
      edges_[edge_count_++] = {from, to};
  }

  /// Regions take, in the order in which they begin, the sets to which edges lead; what has an
  /// earlier root is taken already.
  void follow_edges(uint32_t run_count) {
    if (edge_count_ == 0)
      return;
    list_edges(run_count);
    for (uint32_t root = 0; root < run_count; ++root)
      if (rings_[root] != no_edge && parents_[root] == root)
        follow_edges_of(root);
  }

  /// Makes a run point to its root, which it returns, once all earlier ones do.
  uint32_t settle(uint32_t run) {
    const uint32_t root = parents_[parents_[run]]; // of an earlier run, or of this one
    parents_[run] = root;
    return root;
  }

 private:
  static constexpr uint32_t no_edge = 0xffffffff;

  uint32_t root_of(uint32_t run) {
    while (parents_[run] != run) {
      parents_[run] = parents_[parents_[run]];
      run = parents_[run];
    }
    return run;
  }

  void follow_edges_of(uint32_t root) {
    uint32_t edge = open_ring(rings_[root], no_edge);
    while (edge != no_edge) {
      const uint32_t target = root_of(edges_[edge].to);
      edge = edges_[edge].from;
      if (target > root) {
        parents_[target] = root;
        if (rings_[target] != no_edge)
          edge = open_ring(rings_[target], edge);
      }
    }
  }

  /// Sorts the edges that leave a set into one ring for each root, given by its last edge.
  void list_edges(uint32_t run_count) {
    for (uint32_t run = 0; run < run_count; ++run) {
      settle(run);
      rings_[run] = no_edge;
    }
    for (uint32_t i = 0; i < edge_count_; ++i) {
      RunEdge& edge = edges_[i];
      uint32_t& ring = rings_[parents_[edge.from]];
      edge.to = parents_[edge.to];
      edge.from = i;
      if (ring != no_edge) {
        edge.from = edges_[ring].from;
        edges_[ring].from = i;
      }
      ring = i;
    }
  }

  /// Makes a ring a list that goes on with the edge `next`, and returns its first edge.
  uint32_t open_ring(uint32_t ring, uint32_t next) {
    const uint32_t first = edges_[ring].from;
    edges_[ring].from = next;
    return first;
  }

  uint32_t* parents_;
  uint32_t* rings_;
  RunEdge* edges_;
  uint32_t edge_count_ = 0;
};

} // namespace
} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor::false_positive
