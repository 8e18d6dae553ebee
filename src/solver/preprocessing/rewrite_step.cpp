#include "solver/preprocessing/rewrite_step.h"

namespace ordax {

TermRef RewriteStep::rewrite(TermRef root) {
  if (const TermRef* known = memo_.find(root)) return *known;
  frames_.clear();
  enter(root);
  while (!frames_.empty()) {
    Frame& frame = frames_.back();
    const TermRef term = frame.term;
    if (frame.expansion != nullptr) {
      if (const TermRef* result = memo_.find(frame.expansion)) {
        const TermRef finished = finish_expanded(*result);
        memo_.set(term, finished);
        frames_.pop_back();
      } else {
        enter(frame.expansion);
      }
      continue;
    }
    while (frame.next < term->arity() && memo_.contains(term->arg(frame.next))) ++frame.next;
    if (frame.next < term->arity()) {
      enter(term->arg(frame.next));
      continue;
    }
    args_.clear();
    for (std::uint32_t i = 0; i < term->arity(); ++i) {
      args_.push_back(*memo_.find(term->arg(i)));
    }
    const TermRef result = rebuild(term, args_.data());
    memo_.set(term, result);
    frames_.pop_back();
  }
  return *memo_.find(root);
}

void RewriteStep::enter(TermRef term) {
  ++visits_;
  stop_.step();
  const TermRef expansion = expand(term);
  frames_.push_back({term, expansion, 0});
}

TermRef RewriteStep::rebuild_same(TermRef term, const TermRef* args) {
  bool same = true;
  for (std::uint32_t i = 0; i < term->arity(); ++i) same = same && args[i] == term->arg(i);
  return same ? term : rebuild_always(term, args);
}

TermRef RewriteStep::rebuild_always(TermRef term, const TermRef* args) {
  if (term->arity() == 0) return term;
  // The arithmetic heads are chosen anew, for the types of the arguments may have changed.
  switch (term->kind()) {
    case Kind::PLUS:
      return terms_.make_plus(args[0], args[1]);
    case Kind::TIMES:
      return terms_.make_times(args[0], args[1]);
    case Kind::LEQ:
      return terms_.make_leq(args[0], args[1]);
    case Kind::EQUAL:
      return terms_.make_equal(args[0], args[1]);
    case Kind::TERM_ITE:
      return terms_.make_term_ite(args[0], args[1], args[2]);
    default:
      return terms_.make_term(term->symbol, args, term->arity());
  }
}

}  // namespace ordax
