#pragma once

#include "filters/noise/speckle/rules-inl.h"
#include "filters/noise/speckle/workspace-inl.h"

// Which runs belong to one region.
namespace filter_processor::speckle {
inline namespace FILTER_PROCESSOR_LEVEL {
namespace {

/// Sets of runs, each known by its first run, the root; and the steps between them that are allowed
/// in one direction only.
class Sets {
 public:
  explicit Sets(const RegionArrays& arrays)
      : parents_(arrays.parents), facts_(arrays.facts), edges_(arrays.edges) {}

  void add(uint32_t run) { parents_[run] = run; }

  /// Puts a run that is a set of its own into that of an earlier one.
  void put(uint32_t run, uint32_t earlier) { parents_[run] = parents_[earlier]; }

  /// The earlier root stays one, so that a region's root is its first run.
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

  /// Of two pixels of these runs, with these thresholds, one only may expand to the other.
  void add_edge(uint32_t run_a, Pixel threshold_a, uint32_t run_b, Pixel threshold_b) {
    if (parents_[run_a] == parents_[run_b])
      return;
    const bool a_expands = Rules::first_expands(threshold_a, threshold_b);
    Edge& edge = edges_[edge_count_++];
    edge.from = a_expands ? run_a : run_b;
    edge.to = a_expands ? run_b : run_a;
  }

  uint32_t edge_count() const { return edge_count_; }

  /// Lets the regions, in the order in which they begin, take what edges lead to. What has an
  /// earlier root is taken already.
  void follow_edges(uint32_t run_count) {
    list_edges(run_count);
    for (uint32_t root = 0; root < run_count; ++root) {
      if (facts_[root].ring == no_edge || parents_[root] != root)
        continue;
      uint32_t edge = open_ring(facts_[root].ring, no_edge);
      while (edge != no_edge) {
        const uint32_t target = root_of(edges_[edge].to);
        edge = edges_[edge].next;
        if (target > root) {
          parents_[target] = root;
          if (facts_[target].ring != no_edge)
            edge = open_ring(facts_[target].ring, edge);
        }
      }
    }
  }

  /// Makes a run point to its root, which it returns, once all earlier ones do.
  uint32_t settle(uint32_t run) {
    const uint32_t root = parents_[parents_[run]]; // of an earlier run, or of this one
    parents_[run] = root;
    return root;
  }

  /// The root of a settled run.
  uint32_t settled_root(uint32_t run) const { return parents_[run]; }

 private:
  uint32_t root_of(uint32_t run) {
    while (parents_[run] != run) {
      parents_[run] = parents_[parents_[run]];
      run = parents_[run];
    }
    return run;
  }

  /// Sorts the edges that leave a region into one ring for each root.
  void list_edges(uint32_t run_count) {
    for (uint32_t run = 0; run < run_count; ++run) {
      settle(run);
      facts_[run].ring = no_edge;
    }
    for (uint32_t i = 0; i < edge_count_; ++i) {
      Edge& edge = edges_[i];
      const uint32_t root = parents_[edge.from];
      edge.to = parents_[edge.to];
      if (edge.to == root)
        continue;
      edge.next = i;
      facts_[root].ring = insert_ring(facts_[root].ring, i);
    }
  }

  /// Joins two rings, each given by its last edge; the first may be none.
  uint32_t insert_ring(uint32_t ring, uint32_t added) {
    if (ring == no_edge)
      return added;
    const uint32_t first = edges_[ring].next;
    edges_[ring].next = edges_[added].next;
    edges_[added].next = first;
    return ring;
  }

  /// Makes a ring a list that goes on with the edge `next`, and returns its first edge.
  uint32_t open_ring(uint32_t ring, uint32_t next) {
    const uint32_t first = edges_[ring].next;
    edges_[ring].next = next;
    return first;
  }

  uint32_t* parents_;
  RootFact* facts_;
  Edge* edges_;
  uint32_t edge_count_ = 0;
};

} // namespace
} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor::speckle
