#include "solver/preprocessing/constraint_encoder.h"

#include <string>

namespace ordax {

/// What is done with the terms of one kind.
class ConstraintEncoder::enc_fun {
 public:
  explicit enc_fun(ConstraintEncoder& owner) : owner_(owner), terms_(owner.terms_) {}
  virtual ~enc_fun() = default;

  /// A term to be encoded in place of `term`, or null.
  virtual TermRef expand(TermRef term) {
    (void)term;
    return nullptr;
  }
  /// What stands for a term with encoded arguments.
  virtual TermRef encode(TermRef term) = 0;

 protected:
  ConstraintEncoder& owner_;
  TermManager& terms_;
};

class ConstraintEncoder::ConstrElimRewriteStep : public RewriteStep {
 public:
  ConstrElimRewriteStep(TermManager& terms, ConstraintEncoder& owner)
      : RewriteStep(terms), owner_(owner) {}

 protected:
  TermRef expand(TermRef term) override {
    enc_fun* encoder = owner_.by_kind_[static_cast<std::size_t>(term->kind())];
    return encoder == nullptr ? nullptr : encoder->expand(term);
  }

  TermRef rebuild(TermRef term, const TermRef* args) override {
    const TermRef result = rebuild_same(term, args);
    enc_fun* encoder = owner_.by_kind_[static_cast<std::size_t>(result->kind())];
    return encoder == nullptr ? result : encoder->encode(result);
  }

 private:
  ConstraintEncoder& owner_;
};

/// An if-then-else becomes v with (not c or v = t) and (c or v = e).
class ConstraintEncoder::TermIteEncoder : public enc_fun {
 public:
  using enc_fun::enc_fun;

  TermRef encode(TermRef term) override {
    if (const TermRef known = owner_.constant_of(term)) return known;
    const TermRef value = owner_.new_constant(term, term, constant_type(term));
    const TermRef condition = term->arg(0);
    const TermRef not_condition = terms_.make_not(condition);
    const TermRef is_then = terms_.make_equal(value, term->arg(1));
    const TermRef is_else = terms_.make_equal(value, term->arg(2));
    owner_.define(terms_.make_or(not_condition, is_then));
    owner_.define(terms_.make_or(condition, is_else));
    return value;
  }

 private:
  // Integral numerals have type Int, but among real variables the constant had better be real: its
  // definition fixes it to a leaf, and the integer layer stays idle.
  const Type* constant_type(TermRef term) const {
    if (term->type()->is_int() && !owner_.has_int_variables_) return terms_.real_type();
    return term->type();
  }
};

/// floor(x) becomes v with v <= x < v + 1.
class ConstraintEncoder::FloorEncoder : public enc_fun {
 public:
  using enc_fun::enc_fun;

  TermRef encode(TermRef term) override {
    if (const TermRef known = owner_.constant_of(term)) return known;
    const TermRef value = owner_.new_constant(term, term, terms_.int_type());
    const TermRef one = terms_.make_number(Number(1));
    const TermRef above = terms_.make_plus(value, one);
    const TermRef below = terms_.make_leq(value, term->arg(0));
    const TermRef too_low = terms_.make_leq(above, term->arg(0));
    owner_.define(below);
    owner_.define(terms_.make_not(too_low));
    return value;
  }
};

class ConstraintEncoder::DivideEncoder : public enc_fun {
 public:
  using enc_fun::enc_fun;

  TermRef encode(TermRef) override {
    throw error("missing feature: nonlinear arithmetic (division by a term)");
  }
};

/// A product with an if-then-else as a factor is the if-then-else of the products. A factor that is
/// built from numbers, their if-then-elses, sums and products is taken apart down to these.
class ConstraintEncoder::TimesIteEncoder : public enc_fun {
 public:
  using enc_fun::enc_fun;

  TermRef expand(TermRef term) override {
    if (is_number(term->arg(0)) || is_number(term->arg(1))) return nullptr;
    const std::uint32_t place = is_choice(term->arg(0))     ? 0
                                : is_choice(term->arg(1))   ? 1
                                : is_term_ite(term->arg(0)) ? 0
                                                            : 1;
    const TermRef choice = term->arg(place);
    const TermRef other = term->arg(1 - place);
    if (is_choice(choice) && is_plus(choice)) {
      const TermRef first = terms_.make_times(choice->arg(0), other);
      const TermRef second = terms_.make_times(choice->arg(1), other);
      return terms_.make_plus(first, second);
    }
    if (is_choice(choice) && is_times(choice)) {
      const TermRef inner = terms_.make_times(choice->arg(1), other);
      return terms_.make_times(choice->arg(0), inner);
    }
    if (!is_term_ite(choice)) return nullptr;
    const TermRef then_term = terms_.make_times(choice->arg(1), other);
    const TermRef else_term = terms_.make_times(choice->arg(2), other);
    return terms_.make_term_ite(choice->arg(0), then_term, else_term);
  }

  TermRef encode(TermRef term) override { return term; }

 private:
  // True if the term has finitely many values: numbers, chosen between, added and multiplied.
  bool is_choice(TermRef root) {
    if (const std::uint8_t* known = choices_.find(root)) return *known != 0;
    std::vector<TermRef> stack;
    walk_post_order(
        root, stack,
        [&](TermRef t) {
          const bool inner = is_term_ite(t) || is_plus(t) || is_times(t);
          if (!inner && !choices_.contains(t)) choices_.set(t, is_number(t) ? 1 : 0);
          return choices_.contains(t);
        },
        [&](TermRef t) {
          bool all = true;
          for (std::uint32_t i = is_term_ite(t) ? 1 : 0; i < t->arity(); ++i) {
            const std::uint8_t* part = choices_.find(t->arg(i));
            all = all && part != nullptr && *part != 0;
          }
          choices_.set(t, all ? 1 : 0);
        });
    return *choices_.find(root) != 0;
  }

  TermMap<std::uint8_t> choices_;  // of all runs: terms do not change
};

ConstraintEncoder::ConstraintEncoder(TermManager& terms)
    : terms_(terms),
      step_(std::make_unique<ConstrElimRewriteStep>(terms, *this)),
      by_kind_(NUM_KINDS, nullptr) {
  const auto add = [&](Kind kind, std::unique_ptr<enc_fun> encoder) {
    by_kind_[static_cast<std::size_t>(kind)] = encoder.get();
    encoders_.push_back(std::move(encoder));
  };
  add(Kind::TERM_ITE, std::make_unique<TermIteEncoder>(*this));
  add(Kind::FLOOR, std::make_unique<FloorEncoder>(*this));
  add(Kind::DIVIDE, std::make_unique<DivideEncoder>(*this));
  add(Kind::TIMES, std::make_unique<TimesIteEncoder>(*this));
}

ConstraintEncoder::~ConstraintEncoder() = default;

void ConstraintEncoder::set_termination_test(TerminationTest* test) {
  step_->set_termination_test(test);
}

TermRef ConstraintEncoder::encode(TermRef formula) {
  std::vector<TermRef> definitions;
  TermRef result = encode(formula, definitions);
  for (const TermRef definition : definitions) result = terms_.make_and(result, definition);
  return result;
}

TermRef ConstraintEncoder::encode(TermRef formula, std::vector<TermRef>& definitions) {
  definitions_.clear();
  if (!has_int_variables_) {
    std::vector<TermRef> stack;
    TermSet seen;
    walk_post_order(
        formula, stack, [&](TermRef t) { return seen.contains(t); },
        [&](TermRef t) {
          seen.insert(t);
          const bool integer = t->type()->is_int();
          if (integer && (t->kind() == Kind::USER || is_floor(t))) has_int_variables_ = true;
        });
  }
  step_->clear_memo();
  // The arguments of a defined term are encoded before it, so definitions hold nothing to encode.
  const TermRef result = step_->rewrite(formula);
  definitions.insert(definitions.end(), definitions_.begin(), definitions_.end());
  return result;
}

void ConstraintEncoder::pop() {
  for (std::size_t i = levels_.back(); i < encoded_.size(); ++i) constants_.erase(encoded_[i]);
  encoded_.resize(levels_.back());
  levels_.pop_back();
}

TermRef ConstraintEncoder::constant_of(TermRef term) const {
  const TermRef* constant = constants_.find(term);
  return constant == nullptr ? nullptr : *constant;
}

TermRef ConstraintEncoder::new_constant(TermRef term, TermRef encoded, const Type* type) {
  const TermRef value = terms_.make_internal_constant(".constr" + std::to_string(term->id), type);
  constants_.set(encoded, value);
  encoded_.push_back(encoded);
  return value;
}

}  // namespace ordax
