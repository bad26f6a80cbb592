#pragma once

#include "filters/noise/speckle/rules-inl.h"
#include "filters/noise/speckle/workspace-inl.h"

// Which runs belong to one region.
namespace filter_processor::speckle {
inline namespace FILTER_PROCESSOR_LEVEL {
namespace {

/// Sets of runs, each known by its first run, the root; and the steps between them that are allowed
/// in one direction only. Every run's parent is a root or was one: only roots that others took in,
/// the merged ones, have to be visited again for all runs to know what their region came to.
class Sets {
 public:
  Sets(const RegionArrays& arrays, size_t edge_room)
      : parents_(arrays.parents), sizes_(arrays.sizes), merged_(arrays.merged),
        targets_(arrays.targets), left_(arrays.left), rings_(arrays.rings), edges_(arrays.edges),
        edges_end_(edges_ + edge_room) {}

  /// Adds the next `count` runs, whose sizes are known, as sets of their own, and so that questions
  /// about a group more can be asked, some that don't exist.
  void add(uint32_t count) {
    constexpr uint32_t group = RegionArrays::group;
    for (uint32_t i = 0; i < count + group; i += group)
      for (uint32_t k = 0; k < group; ++k)
        parents_[run_count_ + i + k] = run_count_ + i + k;
    const uint32_t first = run_count_;
    run_count_ += count;
    for (size_t word = (first + word_bits - 1) / word_bits; word * word_bits < run_count_; ++word)
      merged_[word] = 0;
  }

  uint32_t run_count() const { return run_count_; }

  /// Puts a run that is a set of its own into that of an earlier one.
  void put(uint32_t run, uint32_t earlier) {
    const uint32_t parent = parents_[earlier];
    parents_[run] = parent;
    sizes_[parent] += sizes_[run];
  }

  /// The earlier root stays one, so that a region's root is its first run.
  void unite(uint32_t a, uint32_t b) {
    if (parents_[a] == parents_[b])
      return;
    a = root_of(a);
    b = root_of(b);
    if (a < b)
      merge(b, a);
    else if (b < a)
      merge(a, b);
  }

  /// A pixel of one run may expand to one of the other, but not back.
  void add_edge(uint32_t from, uint32_t to) {
    Edge& edge = edges_[edge_count_];
    edge.from = from;
    edge.to = to;
    edge_count_ += parents_[from] != parents_[to] ? 1 : 0;
  }

  uint32_t edge_count() const { return edge_count_; }

  /// Unites what edges lead from and to, and forgets them.
  void unite_edges() {
    for (uint32_t i = 0; i < edge_count_; ++i)
      unite(edges_[i].from, edges_[i].to);
    edge_count_ = 0;
  }

  /// Once all is summed up: about how many samples are in sets of more than `limit`; 0 where there
  /// is no such set.
  uint32_t samples_beyond(int32_t limit) const {
    uint32_t samples = 0;
    for (uint32_t run = 0; run < run_count_; ++run)
      samples += sizes_[run] > limit ? static_cast<uint32_t>(sizes_[run]) : 0;
    return samples;
  }

  /// Brings the sizes of all roots up to date.
  void sum_up() {
    for_each_run(merged_, [&](uint32_t run) {
      sizes_[settle(run)] += sizes_[run];
      sizes_[run] = 0;
    });
  }

  /// Once all is summed up: lets the regions, in the order in which they begin, take what edges
  /// lead to. A set belongs to the region of the earliest root that reaches it.
  void follow_edges() {
    if (edge_count_ == 0)
      return;
    find_roots();
    const uint32_t passed = pass_first_labels_on();
    if (!pass_labels_on(passed))
      take_all(passed);
    count_taken();
  }

  /// Makes the sizes of the roots known to all runs of their regions.
  void publish_sizes() {
    for_each_run(merged_, [&](uint32_t run) { sizes_[run] = sizes_[settle(run)]; });
  }

  /// The size of a run's region, once published.
  int32_t size_of(uint32_t run) const { return sizes_[parents_[run]]; }

 private:
  template <typename Visit>
  void for_each_run(const uint64_t* bits, Visit visit) const {
    for (size_t word = 0; word * word_bits < run_count_; ++word)
      for_each_bit(bits[word],
                   [&](unsigned bit) { visit(static_cast<uint32_t>(word * word_bits + bit)); });
  }

  void merge(uint32_t root, uint32_t into) {
    parents_[root] = into;
    merged_[root / word_bits] |= uint64_t{1} << root % word_bits;
  }

  /// Makes a merged run point to its root, which it returns, once all earlier ones do.
  uint32_t settle(uint32_t run) {
    const uint32_t root = parents_[parents_[run]];
    parents_[run] = root;
    return root;
  }

  uint32_t root_of(uint32_t run) {
    while (parents_[run] != run) {
      parents_[run] = parents_[parents_[run]];
      run = parents_[run];
    }
    return run;
  }

  /// The root of any run, once merged ones are settled.
  uint32_t settled_root(uint32_t run) const { return parents_[parents_[run]]; }

  /// Makes the edges go from root to root, without those within a set.
  void find_roots() {
    clear(targets_);
    uint32_t kept = 0;
    for (uint32_t i = 0; i < edge_count_; ++i) {
      const uint32_t from = settled_root(edges_[i].from);
      const uint32_t to = settled_root(edges_[i].to);
      edges_[kept].from = from;
      edges_[kept].to = to;
      targets_[to / word_bits] |= uint64_t{from != to} << to % word_bits;
      kept += from != to ? 1 : 0;
    }
    edge_count_ = kept;
  }

  /// Labels, which are the earliest roots known so far, pass along each edge. Those of roots to
  /// which no edge leads are final and never pass again: such edges go to the end of the array.
  /// Returns the number of the others.
  uint32_t pass_first_labels_on() {
    uint32_t kept = 0;
    Edge* done = edges_end_;
    for (uint32_t i = 0; i < edge_count_; ++i) {
      const Edge edge = edges_[i];
      pass_label_on(edge);
      const bool is_target = is_in(targets_, edge.from);
      edges_[kept] = edge;
      *(done - 1) = edge;
      kept += is_target ? 1 : 0;
      done -= is_target ? 0 : 1;
    }
    return kept;
  }

  /// Mostly a few passes over the first `count` edges, in turns from either end, find all labels:
  /// false where they don't.
  bool pass_labels_on(uint32_t count) {
    constexpr int most_turns = 8;
    for (int turn = 0; turn < most_turns; ++turn) {
      uint32_t changes = 0;
      for (uint32_t i = count; i > 0; --i)
        changes |= pass_label_on(edges_[i - 1]);
      if (changes == 0)
        return true;
      changes = 0;
      for (uint32_t i = 0; i < count; ++i)
        changes |= pass_label_on(edges_[i]);
      if (changes == 0)
        return true;
    }
    return false;
  }

  /// Not 0 where that changes anything.
  [[gnu::always_inline]] uint32_t pass_label_on(const Edge& edge) {
    const uint32_t old = parents_[edge.to];
    const uint32_t label = simd::min(old, parents_[edge.from]);
    parents_[edge.to] = label;
    return old ^ label;
  }

  void count_taken() {
    for_each_run(targets_, [&](uint32_t target) {
      const uint32_t root = parents_[target];
      sizes_[root] += root != target ? sizes_[target] : 0;
    });
    for (size_t word = 0; word * word_bits < run_count_; ++word)
      merged_[word] |= targets_[word];
  }

  /// The same region by region, once the edges that passed labels only once stand at the end of the
  /// array. What has an earlier root is taken already.
  void take_all(uint32_t passed) {
    __builtin_memmove(edges_ + passed, edges_end_ - (edge_count_ - passed),
                      (edge_count_ - passed) * sizeof(Edge));
    list_edges();
    for_each_run(left_, [&](uint32_t root) {
      if (parents_[root] == root)
        take_from(root);
    });
  }

  /// Sorts the edges into one ring for each root that they leave, and forgets all labels.
  void list_edges() {
    clear(left_);
    for (uint32_t i = 0; i < edge_count_; ++i) {
      const uint32_t root = edges_[i].from;
      parents_[edges_[i].to] = edges_[i].to;
      edges_[i].next = i;
      rings_[root] = insert_ring(is_in(left_, root) ? rings_[root] : no_edge, i);
      left_[root / word_bits] |= uint64_t{1} << root % word_bits;
    }
  }

  void clear(uint64_t* bits) const {
    for (size_t word = 0; word * word_bits < run_count_; ++word)
      bits[word] = 0;
  }

  static bool is_in(const uint64_t* bits, uint32_t run) {
    return (bits[run / word_bits] >> run % word_bits & 1) != 0;
  }

  void take_from(uint32_t root) {
    uint32_t edge = open_ring(rings_[root], no_edge);
    while (edge != no_edge) {
      const uint32_t target = edges_[edge].to;
      edge = edges_[edge].next;
      if (parents_[target] != target || target <= root)
        continue;
      parents_[target] = root;
      if (is_in(left_, target))
        edge = open_ring(rings_[target], edge);
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
  int32_t* sizes_;
  uint64_t* merged_;
  uint64_t* targets_;
  uint64_t* left_;
  uint32_t* rings_;
  Edge* edges_;
  Edge* edges_end_;
  uint32_t run_count_ = 0;
  uint32_t edge_count_ = 0;
};

} // namespace
} // namespace FILTER_PROCESSOR_LEVEL
} // namespace filter_processor::speckle
