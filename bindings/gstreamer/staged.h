// Settings that change on any thread and are followed on one, with what is refused on the way.
// Knows nothing of GStreamer.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "recordings/result.h"

namespace depth_elements {

/// A change of settings.
template <class Settings>
struct Change {
  unsigned key = 0;      ///< says of what: of one key the last change alone counts
  const char* name = ""; ///< for people; as long as the process
  std::function<void(Settings&)> apply;
};

template <class Settings>
using Changes = std::vector<Change<Settings>>;

using Names = std::vector<const char*>;

template <class Settings>
Names names_of(const Changes<Settings>& changes) {
  Names names;
  for (const auto& change : changes)
    names.push_back(change.name);
  return names;
}

/// The names of those that are not among the others.
template <class Settings>
Names names_without(const Changes<Settings>& changes, const Changes<Settings>& others) {
  Names names;
  for (const auto& change : changes)
    if (std::ranges::find(others, change.key, &Change<Settings>::key) == others.end())
      names.push_back(change.name);
  return names;
}

/// Why changes were not made.
struct Refusal {
  recordings::Error error;
  Names names; ///< of the changes
};

/// What came of changes.
template <class Settings>
struct Decision {
  Settings settings;
  Changes<Settings> kept;
  std::vector<Refusal> refusals; ///< no text twice
};

inline void add_refusal(std::vector<Refusal>& refusals, const recordings::Error& error,
                        const char* name) {
  for (Refusal& other : refusals)
    if (other.error.message == error.message)
      return other.names.push_back(name);
  refusals.push_back({error, {name}});
}

/// Makes those changes that leave settings in which `check` finds nothing: all, as some only go
/// together; otherwise all but one; otherwise each that goes with others, in whatever order.
template <class Settings, class Check>
Decision<Settings> decide(const Settings& base, const Changes<Settings>& changes, Check check) {
  const auto apply_all = [&](const Changes<Settings>& some) {
    Settings settings = base;
    for (const auto& change : some)
      change.apply(settings);
    return settings;
  };
  Decision<Settings> decision{apply_all(changes), changes, {}};
  const recordings::Failure failure = check(decision.settings);
  if (!failure)
    return decision;
  // What was set last is asked first.
  for (size_t i = changes.size(); changes.size() > 1 && i-- > 0;) {
    Changes<Settings> others = changes;
    others.erase(others.begin() + static_cast<ptrdiff_t>(i));
    Settings settings = apply_all(others);
    if (!check(settings))
      return {std::move(settings), std::move(others), {{*failure, {changes[i].name}}}};
  }
  decision = {base, {}, {}};
  Changes<Settings> left = changes;
  for (bool is_over = false; !is_over;) { // until nothing goes with what came behind it either
    decision.refusals.clear();
    Changes<Settings> refused;
    for (const auto& change : left) {
      Settings settings = decision.settings;
      change.apply(settings);
      if (const recordings::Failure refusal = check(settings)) {
        add_refusal(decision.refusals, *refusal, change.name);
        refused.push_back(change);
        continue;
      }
      decision.settings = std::move(settings);
      decision.kept.push_back(change);
    }
    is_over = refused.empty() || refused.size() == left.size();
    left = std::move(refused);
  }
  if (decision.kept.empty()) // then what is wrong with all of them says more than with each
    decision.refusals = {{*failure, names_of(changes)}};
  return decision;
}

/// Changes are staged and settled on any thread. The thread that follows takes what was settled,
/// decides on it and says what is in force.
///
/// What one thread stages counts together. Whose batch is whole is known from notifications:
/// GObject sends one as soon as no thread is inside a call that sets properties, on the thread that
/// leaves last, for all that were inside together. So all is whole that was staged before something
/// of which the notified thread knows that it was before the notification: its own last change.
template <class Settings>
class Staged {
 public:
  explicit Staged(Settings settings) : in_force_(std::move(settings)) {}

  // ---- any thread ----

  /// Calls `read` with the settings as their user sees them: with all that is under way.
  template <class Read>
  auto look(Read read) const {
    const std::lock_guard lock(mutex_);
    Settings settings = settled_settings();
    for (const auto* batches : {&checked_, &staged_})
      for (const Batch& batch : *batches)
        apply(batch.changes, settings);
    return read(settings);
  }
  /// As they are but for what `settle` has not seen yet.
  Settings settled() const {
    const std::lock_guard lock(mutex_);
    return settled_settings();
  }
  /// Counts from `settle` on, so that changes which are made at once count together.
  void stage(Change<Settings> change) {
    const std::lock_guard lock(mutex_);
    const auto thread = std::this_thread::get_id();
    auto own = std::ranges::find(staged_, thread, &Batch::thread);
    if (own == staged_.end())
      own = staged_.insert(own, {thread, 0, {std::move(change)}});
    else
      add(own->changes, std::move(change));
    own->number = ++last_number_;
    std::rotate(own, own + 1, staged_.end()); // in the order of their numbers
  }

  /// What came of changes that nothing stood in the way of, and of others.
  struct Outcome {
    Changes<Settings> kept;
    std::vector<Refusal> refusals;
  };

  /// To be called for every notification of a property. Hands on what is whole of what was staged,
  /// but for what `check` refuses, which is as if it had not been. Where others have staged more,
  /// `notify` is called with the name of such a change and has to have it notified: this thread,
  /// from within, if nobody is setting properties, or otherwise the one that ends last.
  template <class Check, class Notify>
  Outcome settle(Check check, Notify notify) {
    Outcome outcome = settle_whole(check);
    while (const char* const name = begin_asking()) {
      notify(name);
      if (!end_asking())
        break;
    }
    return outcome;
  }
  /// Another number whenever something was settled.
  uint64_t revision() const { return revision_; }

  // ---- the thread that follows ----

  struct Taken {
    Settings in_force;
    Changes<Settings> changes;
    uint64_t revision = 0;
  };
  /// What was settled since. It is seen as before until `put_in_force`; until then it is taken
  /// again.
  Taken take() {
    const std::lock_guard lock(mutex_);
    for (auto& change : std::exchange(settled_, {}))
      add(taken_, std::move(change));
    return {in_force_, taken_, revision_};
  }
  /// What came of all that was taken.
  void put_in_force(Settings settings) {
    const std::lock_guard lock(mutex_);
    in_force_ = std::move(settings);
    taken_.clear();
  }

 private:
  /// Changes of one thread, newer than those of lower numbers.
  struct Batch {
    std::thread::id thread;
    uint64_t number = 0;
    Changes<Settings> changes;
  };
  /// A thread that asked for a notification, after everything up to that number was staged.
  struct Asking {
    std::thread::id thread;
    uint64_t number = 0;
  };

  static void apply(const Changes<Settings>& changes, Settings& settings) {
    for (const auto& change : changes)
      change.apply(settings);
  }
  /// There are never more changes than keys.
  static void add(Changes<Settings>& changes, Change<Settings> change) {
    std::erase_if(changes, [&](const auto& other) { return other.key == change.key; });
    changes.push_back(std::move(change));
  }
  Settings settled_settings() const {
    Settings settings = in_force_;
    apply(taken_, settings);
    apply(settled_, settings);
    return settings;
  }

  template <class Check>
  Outcome settle_whole(Check check) {
    if (const std::lock_guard lock(mutex_); staged_.empty() && checked_.empty())
      return {};
    // One after the other, so that newer changes are never before older ones; nobody waits here but
    // who has set something too.
    const std::lock_guard settling(settling_);
    Outcome outcome;
    std::unique_lock lock(mutex_);
    take_whole_batches();
    while (!checked_.empty()) {
      const Settings base = settled_settings();
      const Changes<Settings> changes = checked_.front().changes;
      lock.unlock();
      Decision<Settings> decision = decide(base, changes, check);
      lock.lock();
      checked_.erase(checked_.begin());
      revision_ += decision.kept.empty() ? 0 : 1;
      for (const auto& change : decision.kept) {
        add(settled_, change);
        outcome.kept.push_back(change);
      }
      for (auto& refusal : decision.refusals)
        outcome.refusals.push_back(std::move(refusal));
    }
    return outcome;
  }
  void take_whole_batches() {
    const auto thread = std::this_thread::get_id();
    uint64_t whole = 0;
    for (const Batch& batch : staged_)
      whole = batch.thread == thread ? std::max(whole, batch.number) : whole;
    for (const Asking& asking : asking_)
      whole = asking.thread == thread ? std::max(whole, asking.number) : whole;
    while (!staged_.empty() && staged_.front().number <= whole) {
      checked_.push_back(std::move(staged_.front()));
      staged_.erase(staged_.begin());
    }
  }

  /// The name of a change of another thread; null where there is none, and on a thread that asks
  /// already.
  const char* begin_asking() {
    const std::lock_guard lock(mutex_);
    const auto thread = std::this_thread::get_id();
    if (staged_.empty() || std::ranges::find(asking_, thread, &Asking::thread) != asking_.end())
      return nullptr;
    asking_.push_back({thread, last_number_});
    return staged_.front().changes.front().name;
  }
  /// Whether the notification came to this thread: then nothing is left of what was asked for.
  bool end_asking() {
    const std::lock_guard lock(mutex_);
    const auto own = std::ranges::find(asking_, std::this_thread::get_id(), &Asking::thread);
    const uint64_t number = own->number;
    asking_.erase(own);
    return staged_.empty() || staged_.front().number > number;
  }

  std::mutex settling_;
  mutable std::mutex mutex_; ///< for all but the revision
  Settings in_force_;
  Changes<Settings> taken_, settled_;
  std::vector<Batch> checked_, staged_;
  std::vector<Asking> asking_;
  uint64_t last_number_ = 0;
  std::atomic<uint64_t> revision_{0};
};

} // namespace depth_elements
