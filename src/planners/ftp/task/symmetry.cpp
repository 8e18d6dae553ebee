#include "planners/ftp/task/symmetry.h"

#include <algorithm>
#include <optional>
#include <unordered_set>
#include <utility>

#include "model/expression_factory.h"
#include "model/expression_substituter.h"
#include "model/instance.h"
#include "model/types.h"
#include "model/user_type.h"
#include "planners/task/literals.h"
#include "shell/environment.h"
#include "shell/hashing.h"

namespace kelvo::ftp {

using model::Expression;
using model::ExpressionFactory;

namespace {

/// A description that is equal for what is equal, whatever the order in which it is given.
using Words = std::vector<std::uint64_t>;

/// Where two descriptions begin alike, so that they can't be taken for each other.
enum Mark : std::uint64_t { NEVER, LITERALS, TERM, CHANGE, ASSIGNMENT, STEP, OPEN };

std::uint64_t word_of(Expression e) {
  return e == nullptr ? 0 : e->id() + 1;
}

template <typename Key>
std::uint32_t number_in(std::map<Key, std::uint32_t>& numbers, Key&& key) {
  return numbers.try_emplace(std::forward<Key>(key), static_cast<std::uint32_t>(numbers.size()))
      .first->second;
}

}  // namespace

/// Describes lists, and the same lists with two objects exchanged.
class ObjectSymmetry::Finder : public EnvObject {
 public:
  explicit Finder(const GuidedTask& task);

  const std::vector<Expression>& objects() const { return objects_; }
  std::size_t num_objects() const { return objects_.size(); }
  /// Sets hide the objects in them.
  bool has_sets() const { return has_sets_; }
  const std::vector<std::uint32_t>& objects_of_slot(std::uint32_t slot) const {
    return objects_of_slot_[slot];
  }
  const std::vector<std::uint32_t>& objects_of_list(std::uint32_t list) const {
    return objects_of_list_[list];
  }
  /// What objects that are alike have in common, quickly told.
  Words first_look(std::uint32_t object);
  /// Whether the exchange of two objects of one first look maps the task onto itself.
  bool are_alike(std::uint32_t one, std::uint32_t other);
  /// The list that the exchange of two objects that are alike makes of this one.
  std::uint32_t swapped(std::uint32_t list, std::uint32_t one, std::uint32_t other);

 private:
  const StateSpace& space() const { return task_.task().space(); }
  void collect_objects();
  void collect_objects_of_lists();
  std::uint32_t add_object(Expression e);
  void add_objects_of(const Condition& condition, SlotSet& objects);
  void add_objects_of(const Program& program, SlotSet& objects);
  void add_object_of(ValueId value, SlotSet& objects);
  void add_object_of(std::uint32_t slot, ValueId value, SlotSet& objects);

  void exchange(std::uint32_t one, std::uint32_t other);
  Expression mapped(Expression e);
  ValueId mapped(ValueId value);
  std::optional<std::uint32_t> mapped_slot(std::uint32_t slot);

  Words describe(const Condition& condition);
  Words describe_term(Expression e);
  Words describe(const EffectProgram& effect);
  Words describe(std::uint32_t list);
  std::uint64_t number_of(Words&& words) { return number_in(numbers_, std::move(words)); }
  void add_group(const std::vector<const Condition*>& conditions, Words& words);
  void add_slot(std::uint32_t slot, Words& words);
  bool slots_are_alike(std::uint32_t one, std::uint32_t other);
  bool lists_are_alike(std::uint32_t one, std::uint32_t other);
  bool problem_is_alike();
  Words describe_problem();
  std::uint64_t plain_number(std::uint32_t list);

  const GuidedTask& task_;
  std::vector<Expression> objects_;
  std::unordered_map<Expression, std::uint32_t> numbers_of_objects_;
  std::unordered_map<ValueId, std::uint32_t> object_of_value_;
  std::vector<std::vector<std::uint32_t>> objects_of_slot_;
  std::vector<std::vector<std::uint32_t>> slots_of_object_;
  std::vector<std::vector<std::uint32_t>> objects_of_list_;
  std::vector<std::vector<std::uint32_t>> lists_of_object_;
  /// By object: slots that don't name it and have it as their first value.
  std::vector<std::uint32_t> num_values_;

  // The exchange under which things are described; an empty substitution for none.
  ExpressionSubstituter::Substitution substitution_;
  std::optional<ExpressionSubstituter> substituter_;
  bool has_failed_ = false;  // a slot has no image
  bool has_sets_ = false;

  std::map<Words, std::uint32_t> numbers_;
  std::map<rational, std::uint32_t> numbers_of_times_;
  std::vector<std::uint64_t> plain_numbers_;  // by list, one more than its number
  std::unordered_map<std::uint64_t, std::vector<std::uint32_t>> lists_of_number_;
};

ObjectSymmetry::Finder::Finder(const GuidedTask& task)
    : EnvObject(task.task().environment()), task_(task) {
  collect_objects();
  collect_objects_of_lists();
}

// --- who names which objects ---

std::uint32_t ObjectSymmetry::Finder::add_object(Expression e) {
  const auto [entry, is_new] =
      numbers_of_objects_.try_emplace(e, static_cast<std::uint32_t>(objects_.size()));
  if (is_new) {
    objects_.push_back(e);
    object_of_value_[space().value_table().id_of(e)] = entry->second;
    slots_of_object_.emplace_back();
    num_values_.push_back(0);
  }
  return entry->second;
}

void ObjectSymmetry::Finder::collect_objects() {
  const ExpressionFactory& ef = environment().expression_factory();
  objects_of_slot_.resize(task_.num_slots());
  for (std::uint32_t slot = 0; slot < task_.num_slots(); ++slot) {
    const Expression key = space().key(slot);
    has_sets_ |= space().type(slot)->is_set();
    for (std::size_t i = 0; i < key->arity(); ++i) {
      if (!ef.is_instance_reference(key->child(i))) continue;
      const std::uint32_t object = add_object(key->child(i));
      std::vector<std::uint32_t>& known = objects_of_slot_[slot];
      if (std::find(known.begin(), known.end(), object) != known.end()) continue;
      known.push_back(object);
      slots_of_object_[object].push_back(slot);
    }
  }
  for (std::uint32_t slot = 0; slot < task_.num_slots(); ++slot) {
    const Expression value = space().value_table().expression(task_.task().initial_values()[slot]);
    if (value != nullptr && ef.is_instance_reference(value)) ++num_values_[add_object(value)];
  }
}

void ObjectSymmetry::Finder::add_object_of(ValueId value, SlotSet& objects) {
  const auto object = object_of_value_.find(value);
  if (object != object_of_value_.end()) objects.add(object->second);
}

void ObjectSymmetry::Finder::add_object_of(std::uint32_t slot, ValueId value, SlotSet& objects) {
  for (const std::uint32_t object : objects_of_slot_[slot]) objects.add(object);
  add_object_of(value, objects);
}

void ObjectSymmetry::Finder::add_objects_of(const Program& program, SlotSet& objects) {
  const ExpressionFactory& ef = environment().expression_factory();
  std::vector<Expression> open{program.expression};
  std::unordered_set<Expression> visited;
  while (!open.empty()) {
    const Expression e = open.back();
    open.pop_back();
    if (!visited.insert(e).second) continue;
    has_sets_ |= ef.is_set_constant(e);
    const auto object = numbers_of_objects_.find(e);
    if (object != numbers_of_objects_.end()) objects.add(object->second);
    for (std::size_t i = 0; i < e->arity(); ++i) open.push_back(e->child(i));
  }
}

void ObjectSymmetry::Finder::add_objects_of(const Condition& condition, SlotSet& objects) {
  if (!condition.is_conjunction || condition.never)
    return add_objects_of(condition.program, objects);
  for_each_literal(space(), condition, [&](const SlotLiteral& literal) {
    add_object_of(literal.slot, literal.value, objects);
  });
}

void ObjectSymmetry::Finder::collect_objects_of_lists() {
  const std::size_t num_lists = task_.lists().size();
  objects_of_list_.resize(num_lists);
  lists_of_object_.resize(num_objects());
  plain_numbers_.resize(num_lists);
  for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < num_lists; ++id) {
    if (!task_.list(id).is_useful) continue;
    SlotSet objects;
    for (std::uint32_t i = 0; i < task_.list(id).num_steps; ++i) {
      const GuidedStep& step = task_.step(id, i);
      for (const Condition* check : step.checks) add_objects_of(*check, objects);
      for (const Condition* opened : step.opened) add_objects_of(*opened, objects);
      for (const EffectProgram* effect : step.effects) {
        for (const Assignment& one : effect->assignments) {
          if (one.target != nullptr) add_objects_of(*one.target, objects);
          if (!one.is_constant) add_objects_of(one.value, objects);
        }
      }
      for_each_change(space(), step, [&](std::uint32_t slot, std::optional<ValueId> value) {
        add_object_of(slot, value.value_or(ValueTable::NONE), objects);
      });
    }
    objects.finish();
    std::vector<std::uint32_t>& members = objects.members;
    members.erase(std::unique(members.begin(), members.end()), members.end());
    for (const std::uint32_t object : members) lists_of_object_[object].push_back(id);
    objects_of_list_[id] = std::move(members);
  }
}

// --- the exchange of two objects ---

void ObjectSymmetry::Finder::exchange(std::uint32_t one, std::uint32_t other) {
  substitution_.clear();
  substituter_.reset();
  has_failed_ = false;
  if (one == other) return;
  substitution_ = {{objects_[one], objects_[other]}, {objects_[other], objects_[one]}};
  substituter_.emplace(environment(), substitution_);
}

Expression ObjectSymmetry::Finder::mapped(Expression e) {
  return substituter_ && e != nullptr ? (*substituter_)(e) : e;
}

ValueId ObjectSymmetry::Finder::mapped(ValueId value) {
  if (!substituter_ || !object_of_value_.contains(value)) return value;
  return space().value_table().id_of(mapped(space().value_table().expression(value)));
}

std::optional<std::uint32_t> ObjectSymmetry::Finder::mapped_slot(std::uint32_t slot) {
  if (!substituter_) return slot;
  const auto found = space().fluent_index().find(mapped(space().key(slot)));
  if (found == space().fluent_index().end()) return std::nullopt;
  return static_cast<std::uint32_t>(found->second);
}

// --- descriptions ---

void ObjectSymmetry::Finder::add_slot(std::uint32_t slot, Words& words) {
  const std::optional<std::uint32_t> image = mapped_slot(slot);
  has_failed_ |= !image;
  words.push_back(image.value_or(0));
}

Words ObjectSymmetry::Finder::describe(const Condition& condition) {
  if (condition.never) return {NEVER};
  if (!condition.is_conjunction) return describe_term(condition.program.expression);
  std::vector<Words> literals;
  for_each_literal(space(), condition, [&](const SlotLiteral& literal) {
    Words words;
    add_slot(literal.slot, words);
    words.push_back(mapped(literal.value));
    words.push_back(literal.is_equal ? 1 : 0);
    literals.push_back(std::move(words));
  });
  std::sort(literals.begin(), literals.end());
  Words result{LITERALS};
  for (const Words& one : literals) result.insert(result.end(), one.begin(), one.end());
  return result;
}

// Its conjuncts in any order; below them, the order counts.
Words ObjectSymmetry::Finder::describe_term(Expression e) {
  const ExpressionFactory& ef = environment().expression_factory();
  Words conjuncts;
  std::vector<Expression> open{e};
  std::unordered_set<Expression> visited;
  while (!open.empty()) {
    const Expression one = open.back();
    open.pop_back();
    if (!visited.insert(one).second) continue;
    if (!ef.is_and(one)) {
      conjuncts.push_back(word_of(mapped(one)));
      continue;
    }
    for (std::size_t i = 0; i < one->arity(); ++i) open.push_back(one->child(i));
  }
  std::sort(conjuncts.begin(), conjuncts.end());
  conjuncts.insert(conjuncts.begin(), TERM);
  return conjuncts;
}

Words ObjectSymmetry::Finder::describe(const EffectProgram& effect) {
  Words parts;
  kelvo::for_each_change(space(), effect, [&](std::uint32_t slot, std::optional<ValueId> value) {
    if (!value) return;  // by the assignments below
    Words words{CHANGE};
    add_slot(slot, words);
    words.push_back(mapped(*value));
    parts.push_back(number_of(std::move(words)));
  });
  for (const Assignment& one : effect.assignments) {
    if (one.target == nullptr && one.is_constant) continue;
    Words words{ASSIGNMENT, one.target != nullptr, one.is_constant};
    if (one.target != nullptr) {
      words.push_back(word_of(mapped(one.target->expression)));
    } else {
      add_slot(one.slot, words);
    }
    words.push_back(one.is_constant ? mapped(one.constant) : word_of(mapped(one.value.expression)));
    parts.push_back(number_of(std::move(words)));
  }
  if (effect.never) parts.push_back(number_of({NEVER}));
  std::sort(parts.begin(), parts.end());
  return parts;
}

void ObjectSymmetry::Finder::add_group(const std::vector<const Condition*>& conditions,
                                       Words& words) {
  Words group;
  for (const Condition* condition : conditions) group.push_back(number_of(describe(*condition)));
  std::sort(group.begin(), group.end());
  words.push_back(group.size());
  words.insert(words.end(), group.begin(), group.end());
}

Words ObjectSymmetry::Finder::describe(std::uint32_t number) {
  const auto time_of = [&](const rational& time) {
    return number_in(numbers_of_times_, rational(time));
  };
  const GuidedList& list = task_.list(number);
  Words words{list.has_fixed_duration, list.has_upper, time_of(list.exact_lower),
              time_of(list.exact_upper)};
  for (std::uint32_t i = 0; i < list.num_steps; ++i) {
    const GuidedStep& step = task_.step(number, i);
    words.insert(words.end(), {STEP, step.at_end_node, time_of(step.exact_offset)});
    add_group(step.checks, words);
    add_group(step.opened, words);
    Words effects;
    for (const EffectProgram* effect : step.effects) {
      effects.push_back(number_of(describe(*effect)));
    }
    std::sort(effects.begin(), effects.end());
    words.push_back(effects.size());
    words.insert(words.end(), effects.begin(), effects.end());
  }
  for (const OpenSet& open : list.open_at) {
    words.push_back(OPEN);
    add_group(open.conditions, words);
  }
  return words;
}

Words ObjectSymmetry::Finder::describe_problem() {
  Words words = describe(GuidedTask::PROBLEM);
  add_group(task_.goals(), words);
  std::vector<const Condition*> initial;
  for (const std::uint32_t program : task_.task().initial_conditions()) {
    initial.push_back(&task_.task().condition(program));
  }
  add_group(initial, words);
  return words;
}

// --- what is alike ---

Words ObjectSymmetry::Finder::first_look(std::uint32_t object) {
  const ExpressionFactory& ef = environment().expression_factory();
  const Expression reference = objects_[object];
  const model::UserType type = ef.get_instance_from_reference(reference)->type();
  std::vector<Words> slots;
  for (const std::uint32_t slot : slots_of_object_[object]) {
    const Expression key = space().key(slot);
    const ValueId value = task_.task().initial_values()[slot];
    Words words{reinterpret_cast<std::uintptr_t>(key->payload())};
    for (std::size_t i = 0; i < key->arity(); ++i) words.push_back(key->child(i) == reference);
    words.push_back(object_of_value_.contains(value) ? ValueTable::NONE : value);
    slots.push_back(std::move(words));
  }
  std::sort(slots.begin(), slots.end());
  Words result{reinterpret_cast<std::uintptr_t>(type.get()), lists_of_object_[object].size(),
               num_values_[object]};
  for (const Words& one : slots) result.insert(result.end(), one.begin(), one.end());
  return result;
}

// The first values agree. What has one of the two as its value and names neither can't be mapped
// onto itself.
bool ObjectSymmetry::Finder::slots_are_alike(std::uint32_t one, std::uint32_t other) {
  const std::vector<ValueId>& values = task_.task().initial_values();
  std::size_t num_values = 0;
  for (const std::uint32_t object : {one, other}) {
    for (const std::uint32_t slot : slots_of_object_[object]) {
      const std::optional<std::uint32_t> image = mapped_slot(slot);
      if (!image || values[*image] != mapped(values[slot])) return false;
      const auto of_value = object_of_value_.find(values[slot]);
      if (of_value != object_of_value_.end() && of_value->second == object) ++num_values;
    }
  }
  for (const std::uint32_t object : {one, other}) {
    for (const std::uint32_t slot : slots_of_object_[object]) {
      const auto of_value = object_of_value_.find(values[slot]);
      const std::uint32_t partner = object == one ? other : one;
      const std::vector<std::uint32_t>& named = objects_of_slot_[slot];
      if (of_value == object_of_value_.end() || of_value->second != partner) continue;
      if (std::find(named.begin(), named.end(), partner) == named.end()) ++num_values;
    }
  }
  return num_values == num_values_[one] + num_values_[other];
}

std::uint64_t ObjectSymmetry::Finder::plain_number(std::uint32_t list) {
  if (plain_numbers_[list] == 0) {
    exchange(0, 0);
    plain_numbers_[list] = number_of(describe(list)) + 1;
    lists_of_number_[plain_numbers_[list] - 1].push_back(list);
  }
  return plain_numbers_[list] - 1;
}

// The lists that name one of the two, as they are and as they become, are the same.
bool ObjectSymmetry::Finder::lists_are_alike(std::uint32_t one, std::uint32_t other) {
  Words before;
  std::vector<std::uint32_t> lists = lists_of_object_[one];
  lists.insert(lists.end(), lists_of_object_[other].begin(), lists_of_object_[other].end());
  std::sort(lists.begin(), lists.end());
  lists.erase(std::unique(lists.begin(), lists.end()), lists.end());
  for (const std::uint32_t list : lists) before.push_back(plain_number(list));
  exchange(one, other);
  Words after;
  for (const std::uint32_t list : lists) after.push_back(number_of(describe(list)));
  if (has_failed_) return false;
  std::sort(before.begin(), before.end());
  std::sort(after.begin(), after.end());
  return before == after;
}

bool ObjectSymmetry::Finder::are_alike(std::uint32_t one, std::uint32_t other) {
  exchange(0, 0);
  const Words problem = describe_problem();
  exchange(one, other);
  if (!slots_are_alike(one, other)) return false;
  if (describe_problem() != problem || has_failed_) return false;
  return lists_are_alike(one, other);
}

// Equal lists can stand for each other: the first of them is taken.
std::uint32_t ObjectSymmetry::Finder::swapped(std::uint32_t list, std::uint32_t one,
                                              std::uint32_t other) {
  for (const std::uint32_t candidate : lists_of_object_[other]) plain_number(candidate);
  exchange(one, other);
  const auto found = lists_of_number_.find(number_of(describe(list)));
  return found == lists_of_number_.end() ? list : found->second.front();
}

// --- the classes ---

ObjectSymmetry::ObjectSymmetry(const GuidedTask& task) : finder_(std::make_unique<Finder>(task)) {
  const std::uint32_t num_objects =
      finder_->has_sets() ? 0 : static_cast<std::uint32_t>(finder_->num_objects());
  // By first look, in the order in which they are met: the classes.
  std::map<Words, std::vector<std::vector<std::uint32_t>>> known;
  for (std::uint32_t object = 0; object < num_objects; ++object) {
    std::vector<std::vector<std::uint32_t>>& candidates = known[finder_->first_look(object)];
    const auto found = std::find_if(candidates.begin(), candidates.end(), [&](const auto& one) {
      return finder_->are_alike(one.front(), object);
    });
    if (found == candidates.end()) {
      candidates.push_back({object});
    } else {
      found->push_back(object);
    }
  }
  for (const auto& [look, candidates] : known) {
    for (const std::vector<std::uint32_t>& one : candidates) {
      if (one.size() > 1) classes_.push_back(one);
    }
  }
  std::sort(classes_.begin(), classes_.end());
  if (is_trivial()) {
    finder_.reset();
    return;
  }
  class_of_.assign(num_objects, NONE);
  for (std::uint32_t i = 0; i < classes_.size(); ++i) {
    for (const std::uint32_t object : classes_[i]) class_of_[object] = i;
  }
  const StateSpace& space = task.task().space();
  const auto add = [&](const std::vector<std::uint32_t>& objects, std::vector<std::uint32_t>& to) {
    for (const std::uint32_t object : objects) {
      if (class_of_[object] != NONE) to.push_back(object);
    }
  };
  objects_of_list_.resize(task.lists().size());
  for (std::uint32_t list = CompiledTask::FIRST_ACTION; list < task.lists().size(); ++list) {
    add(finder_->objects_of_list(list), objects_of_list_[list]);
  }
  objects_of_order_slot_.resize(task.num_order_slots());
  for (std::uint32_t slot = 0; slot < task.num_slots(); ++slot) {
    const std::uint32_t order_slot = task.order_slot(slot);
    if (order_slot == GuidedTask::NO_ORDER) continue;
    add(finder_->objects_of_slot(slot), objects_of_order_slot_[order_slot]);
    if (space.type(slot)->is_user_defined()) {
      object_slots_.push_back({space.place(slot).position, order_slot});
    }
  }
  for (std::uint32_t object = 0; object < num_objects; ++object) {
    if (class_of_[object] == NONE) continue;
    object_of_value_[space.value_table().id_of(finder_->objects()[object])] = object;
  }
  is_touched_.resize(num_objects);
}

ObjectSymmetry::~ObjectSymmetry() = default;

std::vector<std::vector<Expression>> ObjectSymmetry::classes() const {
  std::vector<std::vector<Expression>> result;
  for (const std::vector<std::uint32_t>& one : classes_) {
    result.emplace_back();
    for (const std::uint32_t object : one) result.back().push_back(finder_->objects()[object]);
  }
  return result;
}

// --- in a state ---

// A slot that names the object, or had or has it as its value, was used; or an action is open that
// names it.
void ObjectSymmetry::look_at(const GuidedState& state) {
  if (is_trivial()) return;
  std::fill(is_touched_.begin(), is_touched_.end(), false);
  for (std::size_t slot = 0; slot < objects_of_order_slot_.size(); ++slot) {
    const SlotUsers& users = state.slots[slot];
    if (users.writer == SlotUsers::NONE && users.readers == SlotUsers::NONE) continue;
    for (const std::uint32_t object : objects_of_order_slot_[slot]) touch(object);
  }
  for (const ObjectSlot& slot : object_slots_) {
    if (state.slots[slot.order_slot].writer == SlotUsers::NONE) continue;
    const auto object = object_of_value_.find(state.ids[slot.position]);
    if (object != object_of_value_.end()) touch(object->second);
  }
  for (const OpenAction& open : state.open) {
    for (const std::uint32_t object : objects_of_list_[open.list]) touch(object);
  }
}

// Each of the objects that is untouched gives way to the first one of its class that is, unless the
// list names that one as well.
std::uint32_t ObjectSymmetry::representative(std::uint32_t list) {
  if (is_trivial() || objects_of_list_[list].empty()) return list;
  const std::vector<std::uint32_t> objects = objects_of_list_[list];
  std::uint32_t result = list;
  for (const std::uint32_t object : objects) {
    if (is_touched_[object]) continue;
    const std::vector<std::uint32_t>& named = objects_of_list_[result];
    for (const std::uint32_t other : classes_[class_of_[object]]) {
      if (other >= object) break;
      if (is_touched_[other] || std::binary_search(named.begin(), named.end(), other)) continue;
      result = swapped(result, object, other);
      break;
    }
  }
  return result;
}

std::uint32_t ObjectSymmetry::swapped(std::uint32_t list, std::uint32_t one, std::uint32_t other) {
  const auto [entry, is_new] = swaps_.try_emplace(SwapKey{list, one, other}, list);
  if (is_new) entry->second = finder_->swapped(list, one, other);
  return entry->second;
}

}  // namespace kelvo::ftp
