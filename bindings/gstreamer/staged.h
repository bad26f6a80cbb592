// Settings that change on any thread and are followed on one, with what is refused on the way.
// Knows nothing of GStreamer.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <utility>
#include <vector>

#include "recordings/result.h"

namespace depth_elements {

/// A change of settings. `key` says of what: of one key the last change alone counts.
template <class Settings>
struct Change {
  unsigned key = 0;
  std::function<void(Settings&)> apply;
};

template <class Settings>
using Changes = std::vector<Change<Settings>>;

/// What came of changes.
template <class Settings>
struct Decision {
  Settings settings;
  Changes<Settings> kept;
  std::vector<recordings::Error> refusals; ///< no text twice
};

/// Makes those changes that leave settings in which `check` finds nothing: all, as some only go
/// together; otherwise all but one; otherwise each that goes with those before it.
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
      return {std::move(settings), std::move(others), {*failure}};
  }
  decision = {base, {}, {}};
  for (const auto& change : changes) {
    Settings settings = decision.settings;
    change.apply(settings);
    if (const recordings::Failure refusal = check(settings)) {
      const bool is_known = std::ranges::any_of(
          decision.refusals, [&](const auto& other) { return other.message == refusal->message; });
      if (!is_known)
        decision.refusals.push_back(*refusal);
      continue;
    }
    decision.settings = std::move(settings);
    decision.kept.push_back(change);
  }
  if (decision.kept.empty()) // then what is wrong with all of them says more than with each
    decision.refusals = {*failure};
  return decision;
}

/// Changes are staged and settled on any thread. The thread that follows takes what was settled,
/// decides on it and says what is in force.
template <class Settings>
class Staged {
 public:
  explicit Staged(Settings settings) : in_force_(std::move(settings)) {}

  // ---- any thread ----

  /// Calls `read` with the settings as their user sees them: with all that is under way.
  template <class Read>
  auto look(Read read) const {
    const std::lock_guard lock(mutex_);
    return read(with({&taken_, &settled_, &staged_}));
  }
  /// As they are but for what `settle` has not seen yet.
  Settings settled() const {
    const std::lock_guard lock(mutex_);
    return with({&taken_, &settled_});
  }
  /// Counts from `settle` on, so that changes which are made at once count together.
  void stage(Change<Settings> change) {
    const std::lock_guard lock(mutex_);
    add(staged_, std::move(change));
  }
  /// Hands what was staged on, but for what `check` refuses, which is as if it had not been.
  template <class Check>
  Decision<Settings> settle(Check check) {
    std::unique_lock lock(mutex_);
    const Settings base = with({&taken_, &settled_});
    const Changes<Settings> changes = std::exchange(staged_, {});
    lock.unlock(); // nobody waits for a check
    Decision<Settings> decision = decide(base, changes, check);
    if (decision.kept.empty())
      return decision;
    lock.lock();
    ++revision_;
    for (const auto& change : decision.kept)
      add(settled_, change);
    return decision;
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
  Settings with(std::initializer_list<const Changes<Settings>*> lists) const {
    Settings settings = in_force_;
    for (const auto* list : lists)
      for (const auto& change : *list)
        change.apply(settings);
    return settings;
  }
  /// There are never more changes than keys.
  static void add(Changes<Settings>& changes, Change<Settings> change) {
    std::erase_if(changes, [&](const auto& other) { return other.key == change.key; });
    changes.push_back(std::move(change));
  }

  mutable std::mutex mutex_; ///< for all but the number
  Settings in_force_;
  Changes<Settings> taken_, settled_, staged_;
  std::atomic<uint64_t> revision_{0};
};

} // namespace depth_elements
