#pragma once

#include <vector>

#include "solver/base/termination.h"
#include "solver/terms/term_manager.h"
#include "solver/terms/term_walk.h"

namespace ordax {

/// One rewrite over terms, bottom-up with a memo and an explicit stack. The memo lasts until
/// `clear_memo`.
class RewriteStep {
 public:
  explicit RewriteStep(TermManager& terms) : terms_(terms) {}
  RewriteStep(const RewriteStep&) = delete;
  RewriteStep& operator=(const RewriteStep&) = delete;
  virtual ~RewriteStep() = default;

  TermRef rewrite(TermRef root);
  void clear_memo() { memo_.clear(); }
  void set_termination_test(TerminationTest* test) { stop_.set(test); }
  /// Number of terms visited so far.
  std::uint64_t visits() const { return visits_; }

 protected:
  /// A term to be rewritten in place of `term`, or null to go into its arguments.
  virtual TermRef expand(TermRef term) {
    (void)term;
    return nullptr;
  }
  /// The result for a term whose arguments are rewritten.
  virtual TermRef rebuild(TermRef term, const TermRef* args) { return rebuild_same(term, args); }
  /// The last change to what stands for an expanded term.
  virtual TermRef finish_expanded(TermRef result) { return result; }

  /// The term with the head of `term` on other arguments, through the normalising builders.
  TermRef rebuild_same(TermRef term, const TermRef* args);
  /// The same also for its own arguments.
  TermRef rebuild_always(TermRef term, const TermRef* args);

  TermManager& terms_;
  StopPoint stop_;

 private:
  struct Frame {
    TermRef term;
    TermRef expansion;  // null if the arguments are rewritten
    std::uint32_t next;
  };

  void enter(TermRef term);

  TermMap<TermRef> memo_;
  std::vector<Frame> frames_;
  std::vector<TermRef> args_;
  std::uint64_t visits_ = 0;
};

}  // namespace ordax
