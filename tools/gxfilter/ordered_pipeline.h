// Work on a row of items in stages that overlap, with results that don't depend on how many threads
// take part. Threads of the standard library alone, so that it goes wherever the program does.
#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "recordings/result.h"

namespace gxfilter {

template <class Item>
struct Stage {
  bool in_order; ///< one item at a time, as they come from the source; else any number at a time
  std::function<recordings::Failure(Item&)> work;
};

/// Takes items from a source through all stages.
///
/// The source and every stage that is `in_order` see the items one after the other, each call after
/// the one before has returned, on changing threads. No more than `most_items` are under way at a
/// time. When the source or a stage fails, what comes before the failing item is still completed
/// and what comes after it is dropped, wherever it is; of several failures the first item's is
/// returned. Exceptions end the whole and leave through `run`.
template <class Item>
class OrderedPipeline {
 public:
  /// Null at the end.
  using Source = std::function<recordings::Result<std::unique_ptr<Item>>()>;

  OrderedPipeline(Source source, std::vector<Stage<Item>> stages, size_t most_items)
      : source_(std::move(source)), stages_(std::move(stages)), turn_(stages_.size(), 0),
        most_items_(most_items) {}

  /// Once, with `jobs` threads, of which the caller's is one.
  recordings::Failure run(unsigned jobs) {
    {
      std::vector<std::jthread> threads;
      for (unsigned i = 1; i < jobs; ++i)
        threads.emplace_back([this] { work(); });
      work();
    }
    if (exception_)
      std::rethrow_exception(exception_);
    return failure_;
  }

 private:
  struct Entry {
    uint64_t number;
    std::unique_ptr<Item> item;
    size_t stage = 0;
    bool busy = false;
  };

  void work() {
    std::unique_lock lock(mutex_);
    while (true) {
      if (Entry* entry = find_ready()) {
        advance(*entry, lock);
      } else if (may_take()) {
        take(lock);
      } else if (entries_.empty() && !taking_) {
        changed_.notify_all();
        return;
      } else {
        changed_.wait(lock);
        continue;
      }
      changed_.notify_all();
    }
  }

  /// The oldest first: what is nearest to its end makes room for others.
  Entry* find_ready() {
    for (Entry& entry : entries_)
      if (!entry.busy && (!stages_[entry.stage].in_order || turn_[entry.stage] == entry.number))
        return &entry;
    return nullptr;
  }

  void advance(Entry& entry, std::unique_lock<std::mutex>& lock) {
    const Stage<Item>& stage = stages_[entry.stage];
    entry.busy = true;
    auto failure = unlocked(lock, [&] { return stage.work(*entry.item); });
    entry.busy = false;
    if (stage.in_order)
      ++turn_[entry.stage];
    ++entry.stage;
    if (failure)
      end_before(entry.number, std::move(failure));
    remove_finished();
  }

  bool may_take() const { return !taking_ && !ended_ && entries_.size() < most_items_; }

  void take(std::unique_lock<std::mutex>& lock) {
    taking_ = true;
    std::unique_ptr<Item> item;
    auto failure = unlocked(lock, [&]() -> recordings::Failure {
      auto next = source_();
      if (!next)
        return next.error();
      item = std::move(*next);
      return std::nullopt;
    });
    taking_ = false;
    if (failure)
      end_before(taken_, std::move(failure));
    else if (item == nullptr)
      ended_ = true;
    else if (taken_ < end_)
      entries_.push_back({taken_++, std::move(item)});
  }

  /// Exceptions are kept for `run`, and nothing more is done after one.
  template <class Work>
  recordings::Failure unlocked(std::unique_lock<std::mutex>& lock, Work&& work) {
    recordings::Failure failure;
    std::exception_ptr exception;
    lock.unlock();
    try {
      failure = work();
    } catch (...) {
      exception = std::current_exception();
    }
    lock.lock();
    if (exception) {
      exception_ = exception;
      end_before(0, std::nullopt);
    }
    return failure;
  }

  void end_before(uint64_t number, recordings::Failure failure) {
    ended_ = true;
    if (number >= end_)
      return;
    end_ = number;
    failure_ = std::move(failure);
  }

  void remove_finished() {
    std::erase_if(entries_, [this](const Entry& entry) {
      return !entry.busy && (entry.stage == stages_.size() || entry.number >= end_);
    });
  }

  const Source source_;
  const std::vector<Stage<Item>> stages_;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::list<Entry> entries_;   ///< in the order of their numbers
  std::vector<uint64_t> turn_; ///< of each stage: the item that it takes next, if in order
  const size_t most_items_;
  uint64_t taken_ = 0;
  uint64_t end_ = UINT64_MAX; ///< items from this number on are dropped
  bool taking_ = false;
  bool ended_ = false;
  recordings::Failure failure_;
  std::exception_ptr exception_;
};

} // namespace gxfilter
