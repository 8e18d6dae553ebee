#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "shell/errors.h"
#include "temporal/bound.h"

namespace kelvo {

/// How a time point is hashed by `TNInterpreter` and in solutions. Specialise it for a type whose
/// `std::hash` is coarse: one search asks for the numbers of very many time points.
template <typename T>
struct TimePointHash {
  std::size_t operator()(const T& time_point) const {
    // Fibonacci hashing spreads the small numbers that identity hashes give.
    return std::hash<T>()(time_point) * static_cast<std::size_t>(0x9e3779b97f4a7c15ULL);
  }
};

/// Numbers time points in the order in which they are first seen. One interpreter serves all
/// networks of a search, which store the numbers only.
template <typename T>
class TNInterpreter {
 public:
  /// The number of `time_point`, the next free one at first sight.
  std::uint32_t get_id(const T& time_point) {
    const auto [entry, is_new] = time_points_.try_emplace(time_point, last_id_);
    if (is_new) {
      time_points_map_back_.push_back(time_point);
      ++last_id_;
    }
    return entry->second;
  }

  /// The time point with this number; raises `InternalError` if there is none.
  const T& get_t(std::uint32_t id) const {
    if (id >= last_id_) throw InternalError();
    return time_points_map_back_[id];
  }

 private:
  std::uint32_t last_id_ = 0;
  std::unordered_map<T, std::uint32_t, TimePointHash<T>> time_points_;
  std::vector<T> time_points_map_back_;
};

/// One layer of difference constraints on top of the layers of its ancestors. Constraints that
/// leave one point form a list that runs through the layers from the newest entry to the oldest,
/// so that a lookup touches only layers that hold the point, and a new layer copies one head per
/// point and no constraint.
///
/// A layer that has children must not change any more, and must outlive them. Points are small
/// dense numbers; a constraint between points s and e with bound b means time(s) - time(e) <= b.
template <typename R>
class ConstraintBank {
 public:
  using Constraint = std::tuple<std::uint32_t, std::uint32_t, Bound<R>>;

  ConstraintBank() = default;

  /// A new layer on `parent`, which is borrowed and may be null.
  explicit ConstraintBank(const ConstraintBank* parent) : parent_(parent) {
    if (parent == nullptr) return;
    heads_ = parent->heads_;
    num_below_ = parent->size();
    num_layers_ = parent->num_layers_ + 1;
  }

  /// Another layer with the same constraints on the same parent.
  ConstraintBank(const ConstraintBank& other)
      : parent_(other.parent_),
        entries_(other.entries_),
        entry_by_key_(other.entry_by_key_),
        heads_(other.heads_),
        num_below_(other.num_below_),
        num_layers_(other.num_layers_) {
    for (Head& head : heads_) {
      if (head.layer == &other) head.layer = this;
    }
  }
  ConstraintBank& operator=(const ConstraintBank&) = delete;
  ~ConstraintBank() = default;

  /// Enters the constraint in this layer. False if the layer already holds one for the two points
  /// that isn't weaker; a weaker one is replaced.
  bool add_constraint(std::uint32_t start, std::uint32_t end, const Bound<R>& bound) {
    if (start >= heads_.size()) heads_.resize(start + 1);
    if (const std::uint32_t known = find_own(start, end); known != NONE) {
      if (!(entries_[known].bound > bound)) return false;
      entries_[known].bound = bound;
      return true;
    }
    const std::uint32_t added = static_cast<std::uint32_t>(entries_.size());
    entries_.push_back({heads_[start], start, end, bound});
    heads_[start] = {this, added};
    index(added);
    return true;
  }

  /// Whether some layer holds a constraint between the two points that isn't weaker.
  bool subsumes(std::uint32_t start, std::uint32_t end, const Bound<R>& bound) const {
    for (const ConstraintBank* layer = layer_of(start); layer != nullptr;
         layer = layer->parent_ == nullptr ? nullptr : layer->parent_->layer_of(start)) {
      // Layers only ever gain stronger constraints, so the newest decides.
      const std::uint32_t known = layer->find_own(start, end);
      if (known != NONE) return !(layer->entries_[known].bound > bound);
    }
    return false;
  }

  /// Calls `visit(end, bound)` for the constraints that leave `start`, newest layer first, until
  /// it returns false. Returns false if it did.
  template <typename Visitor>
  bool for_each_neighbor(std::uint32_t start, Visitor&& visit) const {
    if (start >= heads_.size()) return true;
    for (Head at = heads_[start]; at.layer != nullptr;) {
      const Entry& entry = at.layer->entries_[at.entry];
      if (!visit(entry.end, entry.bound)) return false;
      at = entry.next;
    }
    return true;
  }

  /// The constraints that leave `start`, those of the lowest layer first.
  std::vector<Constraint> neighbors(std::uint32_t start) const {
    std::vector<Constraint> result;
    for_each_neighbor(start, [&](std::uint32_t end, const Bound<R>& bound) {
      result.emplace_back(start, end, bound);
      return true;
    });
    std::reverse(result.begin(), result.end());
    return result;
  }

  /// All constraints, those of the lowest layer first, within a layer by start and end.
  std::vector<Constraint> constraints() const {
    std::vector<const ConstraintBank*> layers;
    for (const ConstraintBank* layer = this; layer != nullptr; layer = layer->parent_) {
      layers.push_back(layer);
    }
    std::vector<Constraint> result;
    result.reserve(size());
    for (auto layer = layers.rbegin(); layer != layers.rend(); ++layer) {
      const auto first = static_cast<std::ptrdiff_t>(result.size());
      for (const Entry& entry : (*layer)->entries_) {
        result.emplace_back(entry.start, entry.end, entry.bound);
      }
      std::sort(result.begin() + first, result.end(), [](const auto& a, const auto& b) {
        return std::tie(std::get<0>(a), std::get<1>(a)) < std::tie(std::get<0>(b), std::get<1>(b));
      });
    }
    return result;
  }

  /// The number of constraints in all layers.
  std::size_t size() const { return num_below_ + entries_.size(); }

  std::size_t layers() const { return num_layers_; }

 private:
  static constexpr std::uint32_t NONE = 0xffffffff;
  // A layer of a search holds a handful of entries; only a network that is filled at one go grows
  // beyond this, and is then looked up by key.
  static constexpr std::size_t MAX_SCANNED_ENTRIES = 64;

  // The newest constraint that leaves a point.
  struct Head {
    const ConstraintBank* layer = nullptr;
    std::uint32_t entry = 0;
  };

  struct Entry {
    Head next;  // the constraint with the same start that was entered before
    std::uint32_t start;
    std::uint32_t end;
    Bound<R> bound;
  };

  static std::uint64_t pack(std::uint32_t start, std::uint32_t end) {
    return (static_cast<std::uint64_t>(start) << 32) | end;
  }

  // The highest layer, from this one down, with a constraint that leaves `start`.
  const ConstraintBank* layer_of(std::uint32_t start) const {
    return start < heads_.size() ? heads_[start].layer : nullptr;
  }

  std::uint32_t find_own(std::uint32_t start, std::uint32_t end) const {
    if (layer_of(start) != this) return NONE;
    if (!entry_by_key_.empty()) {
      const auto known = entry_by_key_.find(pack(start, end));
      return known == entry_by_key_.end() ? NONE : known->second;
    }
    for (Head at = heads_[start]; at.layer == this; at = entries_[at.entry].next) {
      if (entries_[at.entry].end == end) return at.entry;
    }
    return NONE;
  }

  void index(std::uint32_t added) {
    if (entries_.size() <= MAX_SCANNED_ENTRIES) return;
    for (std::uint32_t i = entry_by_key_.empty() ? 0 : added; i <= added; ++i) {
      entry_by_key_.emplace(pack(entries_[i].start, entries_[i].end), i);
    }
  }

  const ConstraintBank* parent_ = nullptr;
  std::vector<Entry> entries_;                                     // of this layer
  std::unordered_map<std::uint64_t, std::uint32_t> entry_by_key_;  // empty for a small layer
  std::vector<Head> heads_;                                        // of all layers, by start
  std::size_t num_below_ = 0;
  std::size_t num_layers_ = 1;
};

/// A simple temporal network: a conjunction of difference constraints between time points. It
/// decides consistency incrementally and gives each time point its least value that isn't
/// negative, which is the schedule of least makespan.
///
/// Strict constraints are tightened by `get_epsilon()`; values that differ by no more than
/// `get_approximation_tolerance()` count as equal. A network may be extended by children once it is
/// immutable; a child shares the constraints of its parent and copies only one distance and one
/// list head per time point.
template <typename T, typename R>
class TemporalNetwork {
  struct Key {};  // keeps construction to `make`

 public:
  using Ptr = std::shared_ptr<TemporalNetwork>;
  using Interpreter = TNInterpreter<T>;
  /// For lookup only: the order of iteration says nothing.
  using Solution = std::unordered_map<T, R, TimePointHash<T>>;

  /// An empty network.
  static Ptr make() { return std::make_shared<TemporalNetwork>(Key()); }

  /// A network with all constraints of `parent`. Without `clone`, the parent must be immutable;
  /// with it, the result is independent of what happens to the parent later.
  static Ptr make(const std::shared_ptr<const TemporalNetwork>& parent, bool clone = false) {
    if (clone) return std::make_shared<TemporalNetwork>(Key(), *parent);
    if (!parent->immutable_) throw InternalError("Trying to extend a non-immutable STN");
    return std::make_shared<TemporalNetwork>(Key(), parent);
  }

  explicit TemporalNetwork(Key) {}
  TemporalNetwork(Key, const std::shared_ptr<const TemporalNetwork>& parent)
      : sat_(parent->sat_),
        solved_(parent->solved_),
        distances_(parent->distances_),
        points_by_id_(parent->points_by_id_),
        bank_(&parent->bank_),
        below_(parent) {}
  TemporalNetwork(Key, const TemporalNetwork& source)
      : sat_(source.sat_),
        solved_(source.solved_),
        distances_(source.distances_),
        points_by_id_(source.points_by_id_),
        bank_(source.bank_),
        unpropagated_(source.unpropagated_),
        below_(source.below_) {}
  TemporalNetwork(const TemporalNetwork&) = delete;
  TemporalNetwork& operator=(const TemporalNetwork&) = delete;

  // A search may leave a chain of any length; it is released without recursion.
  ~TemporalNetwork() {
    std::shared_ptr<const TemporalNetwork> last = std::move(below_);
    while (last != nullptr && last.use_count() == 1) {
      std::shared_ptr<const TemporalNetwork> next = std::move(last->below_);
      last = std::move(next);
    }
  }

  /// a - b >= bound
  void add_ge(Interpreter& interpreter, const T& a, const T& b, const R& bound) {
    add(interpreter, b, a, -bound);
  }
  /// a - b <= bound
  void add_le(Interpreter& interpreter, const T& a, const T& b, const R& bound) {
    add(interpreter, a, b, bound);
  }
  /// a - b > bound
  void add_gt(Interpreter& interpreter, const T& a, const T& b, const R& bound) {
    add(interpreter, b, a, -bound - get_epsilon());
  }
  /// a - b < bound
  void add_lt(Interpreter& interpreter, const T& a, const T& b, const R& bound) {
    add(interpreter, a, b, bound - get_epsilon());
  }

  /// Propagates what is pending and says whether the network is consistent.
  bool check_feasibility() const {
    if (solved_) return sat_;
    solved_ = true;
    sat_ = true;
    while (sat_ && !unpropagated_.empty()) {
      const Constraint pending = std::move(unpropagated_.back());
      unpropagated_.pop_back();
      const auto& [start, end, bound] = pending;
      if (bank_.subsumes(start, end, bound)) continue;
      bank_.add_constraint(start, end, bound);
      sat_ = propagate(start, end, bound.value);
    }
    unpropagated_.clear();
    return sat_;
  }

  /// The value of each time point. The solution operations raise `TemporalNetworkIsUnsat` on an
  /// inconsistent network.
  Solution get_min_makespan_solution(const Interpreter& interpreter) const {
    require_consistency();
    Solution result;
    result.reserve(points_by_id_.size());
    for (const IdPoint& known : points_by_id_) {
      result.emplace(interpreter.get_t(known.id), distances_[known.point]);
    }
    return result;
  }

  /// The time points at each value; those at one value in the order of their numbers.
  std::map<R, std::vector<T>> get_min_makespan_aggregate_solution(
      const Interpreter& interpreter) const {
    require_consistency();
    std::map<R, std::vector<T>> result;
    for (const IdPoint& known : points_by_id_) {
      result[distances_[known.point]].push_back(interpreter.get_t(known.id));
    }
    return result;
  }

  /// The value of one time point, which must be one of the network.
  R get_min_makespan_solution_value(Interpreter& interpreter, const T& time_point) const {
    require_consistency();
    const std::uint32_t id = interpreter.get_id(time_point);
    const auto known = position_of(id);
    if (known == points_by_id_.end() || known->id != id) {
      throw InternalError("The time point does not belong to the temporal network");
    }
    return distances_[known->point];
  }

  /// The largest value of any time point, 0 for a network without time points.
  R get_min_makespan() const {
    require_consistency();
    R result(0);
    for (const R& distance : distances_) {
      if (result < distance) result = distance;
    }
    return result;
  }

  /// What a strict constraint is tightened by.
  static const R& get_epsilon() {
    static const R epsilon(0.01);
    return epsilon;
  }
  static const R& get_approximation_tolerance() {
    static const R tolerance(0.0001);
    return tolerance;
  }

  /// Propagates all constraints, then forbids change.
  void make_immutable() {
    check_feasibility();
    immutable_ = true;
  }
  bool immutable() const { return immutable_; }

  /// Writes the network as a GraphViz graph: propagated constraints are marked P, pending ones U.
  void print_dot(std::ostream& os, const Interpreter& interpreter) const {
    std::vector<std::uint32_t> ids(distances_.size());
    os << "digraph{\n";
    for (const IdPoint& known : points_by_id_) {
      ids[known.point] = known.id;
      os << " " << known.id << "[label=\"" << interpreter.get_t(known.id) << "\"];\n";
    }
    const auto print = [&](const Constraint& constraint, const char* mark) {
      const auto& [start, end, bound] = constraint;
      os << " " << ids[start] << " -> " << ids[end] << "[label=\"" << mark << " " << bound
         << "\"];\n";
    };
    for (const Constraint& constraint : bank_.constraints()) print(constraint, "P");
    for (auto pending = unpropagated_.rbegin(); pending != unpropagated_.rend(); ++pending) {
      print(*pending, "U");
    }
    os << "}\n";
  }

  const ConstraintBank<R>& propagated_constraints() const { return bank_; }

 private:
  using Constraint = typename ConstraintBank<R>::Constraint;

  // The points of a network are numbered from 0 as they are added, independently of the numbers of
  // the interpreter, which serves many networks. A child keeps the numbers of its parent.
  struct IdPoint {
    std::uint32_t id;
    std::uint32_t point;
  };

  // The first-in first-out queue of a propagation, kept between propagations to spare allocation.
  struct Scratch {
    std::vector<std::uint32_t> queue;
    std::vector<char> is_queued;  // all false between propagations
  };

  void add(Interpreter& interpreter, const T& start, const T& end, R value) {
    if (immutable_) throw InternalError("Trying to change an immutable TemporalNetwork");
    const std::uint32_t start_id = interpreter.get_id(start);
    const std::uint32_t end_id = interpreter.get_id(end);
    const std::uint32_t start_point = add_time_point(start_id);
    const std::uint32_t end_point = add_time_point(end_id);
    // An inconsistent network stays so, whatever is added.
    if (solved_ && sat_) solved_ = false;
    unpropagated_.emplace_back(start_point, end_point, Bound<R>{std::move(value), false});
  }

  typename std::vector<IdPoint>::const_iterator position_of(std::uint32_t id) const {
    return std::lower_bound(
        points_by_id_.begin(), points_by_id_.end(), id,
        [](const IdPoint& known, std::uint32_t wanted) { return known.id < wanted; });
  }

  std::uint32_t add_time_point(std::uint32_t id) {
    const auto known = position_of(id);
    if (known != points_by_id_.end() && known->id == id) return known->point;
    const std::uint32_t point = static_cast<std::uint32_t>(distances_.size());
    distances_.emplace_back(0);
    points_by_id_.insert(known, {id, point});
    return point;
  }

  void require_consistency() const {
    if (!check_feasibility()) throw TemporalNetworkIsUnsat();
  }

  // Invariant while the network is consistent: distance(e) >= distance(s) - bound for each
  // constraint (s, e, bound) up to the tolerance, and each distance is the least such value, at
  // least 0. A new constraint can break it only behind its end point, so propagation starts there;
  // if that raises the end point through the new constraint again, there is a positive cycle
  // (Cesta and Oddi, "Gaining efficiency and flexibility in the simple temporal problem", 1996).
  bool propagate(std::uint32_t start, std::uint32_t end, const R& bound) const {
    const R& tolerance = get_approximation_tolerance();
    if (!raise(end, distances_[start] - bound, tolerance)) return true;
    if (start == end) return false;

    static thread_local Scratch scratch;
    std::vector<std::uint32_t>& queue = scratch.queue;
    std::vector<char>& is_queued = scratch.is_queued;
    if (is_queued.size() < distances_.size()) is_queued.resize(distances_.size(), 0);
    queue.assign(1, end);
    is_queued[end] = 1;
    std::size_t head = 0;
    bool consistent = true;
    while (consistent && head < queue.size()) {
      const std::uint32_t x = queue[head++];
      is_queued[x] = 0;
      consistent = bank_.for_each_neighbor(x, [&](std::uint32_t y, const Bound<R>& c) {
        if (!raise(y, distances_[x] - c.value, tolerance)) return true;
        // Whichever layer's constraint between the two points this is, it closes the cycle.
        if (x == start && y == end) return false;
        if (is_queued[y] == 0) {
          is_queued[y] = 1;
          queue.push_back(y);
        }
        return true;
      });
    }
    for (; head < queue.size(); ++head) is_queued[queue[head]] = 0;
    return consistent;
  }

  bool raise(std::uint32_t point, const R& value, const R& tolerance) const {
    if (!(value - distances_[point] > tolerance)) return false;
    distances_[point] = value;
    return true;
  }

  // Propagation on demand changes no answer: hence mutable.
  mutable bool sat_ = false;
  mutable bool solved_ = false;
  mutable std::vector<R> distances_;   // by point, each point's least value so far
  std::vector<IdPoint> points_by_id_;  // sorted by id
  mutable ConstraintBank<R> bank_;
  mutable std::vector<Constraint> unpropagated_;  // the newest at the back, taken first
  bool immutable_ = false;
  // Keeps the layers below alive; movable out of a dying network.
  mutable std::shared_ptr<const TemporalNetwork> below_;
};

}  // namespace kelvo
