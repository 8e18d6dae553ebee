#include "solver/api/smtlib2_api_tracer.h"

#include "solver/api/option_parser.h"
#include "solver/terms/smtlib_text.h"
#include "solver/terms/term_walk.h"

namespace ordax {
namespace {

// A longer text of a term becomes a definition, so that lines stay readable; a value is asked for
// only while its term can be written with less than the second.
constexpr std::size_t LONGEST_INLINE = 200;
constexpr std::size_t LONGEST_VALUE = 5000;

std::string name_of(TermRef term) {
  std::string text(".t");
  text += std::to_string(term->id);
  return text;
}

}  // namespace

SmtLib2ApiTracer::SmtLib2ApiTracer(std::FILE* stream, bool scoped,
                                   const Configuration& configuration)
    : stream_(stream), scoped_(scoped) {
  if (configuration.debug.api_call_trace_dump_config) {
    for (const OptionRow& row : option_table()) {
      line("; option " + std::string(row.name) + " = " +
           OptionParser::value_text(row, configuration));
    }
  }
  // Either declarations outlive pops, or they are written anew after one.
  if (!scoped_) line("(set-option :global-declarations true)");
  if (configuration.model_generation) line("(set-option :produce-models true)");
  line("(set-logic ALL)");
}

SmtLib2ApiTracer::~SmtLib2ApiTracer() {
  leave_assumptions();
  line("(exit)");
  if (stream_ != stdout) std::fclose(stream_);
}

void SmtLib2ApiTracer::line(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stream_);
  std::fputc('\n', stream_);
  std::fflush(stream_);  // the last line of a session that ends badly is the one that matters
}

void SmtLib2ApiTracer::comment(const char* text) {
  line(std::string("; ") + text);
}

// The text comes first: writing it may define terms, which are lines of their own before this one.
void SmtLib2ApiTracer::assert_formula(TermRef formula) {
  leave_assumptions();
  const std::string text = text_of(formula);
  line("(assert " + text + ")");
}

void SmtLib2ApiTracer::push() {
  leave_assumptions();
  levels_.push_back({named_stack_.size(), declared_stack_.size(), sort_stack_.size()});
  line("(push 1)");
}

// A pop without a push is the caller's mistake, which the session refuses; the script leaves it
// out. With scoped declarations all names since the push are unknown again.
void SmtLib2ApiTracer::pop() {
  leave_assumptions();
  if (levels_.empty()) return;
  const Level level = levels_.back();
  levels_.pop_back();
  if (scoped_) {
    for (std::size_t i = level.named; i < named_stack_.size(); ++i) named_.erase(named_stack_[i]);
    for (std::size_t i = level.declared; i < declared_stack_.size(); ++i) {
      declared_.erase(declared_stack_[i]);
    }
    for (std::size_t i = level.sorts; i < sort_stack_.size(); ++i) sorts_.erase(sort_stack_[i]);
    named_stack_.resize(level.named);
    declared_stack_.resize(level.declared);
    sort_stack_.resize(level.sorts);
  }
  line("(pop 1)");
}

void SmtLib2ApiTracer::reset() {
  leave_assumptions();
  levels_.clear();
  if (scoped_) {
    named_.clear();
    declared_.clear();
    sorts_.clear();
    named_stack_.clear();
    declared_stack_.clear();
    sort_stack_.clear();
  }
  line("(reset-assertions)");
}

void SmtLib2ApiTracer::solve(const std::vector<TermRef>& assumptions) {
  leave_assumptions();
  if (assumptions.empty()) {
    line("(check-sat)");
    return;
  }
  // Assumptions of the language are literals only; a scope serves for any formula. It stays open
  // for the values that are asked for.
  push();
  for (const TermRef assumption : assumptions) assert_formula(assumption);
  line("(check-sat)");
  under_assumptions_ = true;
}

// Closes the scope of the last check under assumptions. Every call but a question for values comes
// through here first.
void SmtLib2ApiTracer::leave_assumptions() {
  if (!under_assumptions_) return;
  under_assumptions_ = false;
  pop();
}

// A declaration or definition would take the model away from the solver that replays the script, so
// a value is asked for only if its term can be written with what is known already.
void SmtLib2ApiTracer::get_model_value(TermRef term) {
  with_model_ = true;
  writable_ = true;
  const std::string text = text_of(term);
  with_model_ = false;
  if (writable_) line("(get-value (" + text + "))");
}

// Two walks: the first counts the parents of each term, the second writes the terms bottom up, and
// gives a definition to each that is shared or long. Linear in the graph, not in the tree.
std::string SmtLib2ApiTracer::text_of(TermRef root) {
  texts_.clear();
  HashMap<TermRef, std::uint32_t, TermHash> parents;
  HashSet<TermRef, TermHash> visited;
  std::vector<TermRef> stack;
  walk_post_order(
      root, stack, [&](TermRef t) { return visited.contains(t); },
      [&](TermRef t) {
        visited.insert(t);
        for (std::uint32_t i = 0; i < t->arity(); ++i) ++parents[t->arg(i)];
      });
  walk_post_order(
      root, stack, [&](TermRef t) { return texts_.contains(t); },
      [&](TermRef t) {
        if (named_.contains(t)) {
          texts_.insert(t, name_of(t));
          return;
        }
        std::string text = expression(t);
        const std::uint32_t* count = parents.find(t);
        const bool shared = count != nullptr && *count > 1;
        if (with_model_) {
          if (text.size() > LONGEST_VALUE) writable_ = false;
          if (!writable_) text.clear();
        } else if (t->arity() > 0 && (shared || text.size() > LONGEST_INLINE)) {
          define(t, text);
          text = name_of(t);
        }
        texts_.insert(t, std::move(text));
      });
  return *texts_.find(root);
}

void SmtLib2ApiTracer::define(TermRef term, const std::string& text) {
  line("(define-fun " + name_of(term) + " () " + sort_text(term->type()) + " " + text + ")");
  named_.insert(term);
  named_stack_.push_back(term);
}

// Integers where reals are expected are converted in the text: the language has no subtypes.
std::string SmtLib2ApiTracer::argument(TermRef term, bool as_real) {
  if (!as_real || !term->type()->is_int()) return *texts_.find(term);
  if (is_number(term)) return smtlib_numeral(number_of(term), true);
  return "(to_real " + *texts_.find(term) + ")";
}

// One term over the texts of its arguments, which are written already.
std::string SmtLib2ApiTracer::expression(TermRef term) {
  if (is_number(term)) return smtlib_numeral(number_of(term), !term->type()->is_int());
  std::string head;
  if (const char* const name = smtlib_operator(term->kind())) {
    head = name;
  } else {
    declare(term->symbol);
    head = smtlib_symbol(term->symbol);
  }
  if (term->arity() == 0) return head;
  std::string text = "(" + head;
  for (std::uint32_t i = 0; i < term->arity(); ++i) {
    const Type* expected = term->symbol->type->components[i + 1];
    text += ' ';
    text += argument(term->arg(i), expected->is_arithmetic() && !expected->is_int());
  }
  return text + ")";
}

// Before its first use.
void SmtLib2ApiTracer::declare(const Symbol* symbol) {
  if (declared_.contains(symbol->id)) return;
  if (with_model_) {
    writable_ = false;
    return;
  }
  declared_.insert(symbol->id);
  declared_stack_.push_back(symbol->id);
  std::string arguments;
  for (std::uint32_t i = 0; i < symbol->arity; ++i) {
    if (i > 0) arguments += " ";
    arguments += sort_text(symbol->type->components[i + 1]);
  }
  const std::string result = sort_text(symbol->result);
  line("(declare-fun " + smtlib_symbol(symbol) + " (" + arguments + ") " + result + ")");
}

// Types of the user are declared before their first use, between bars for whatever they are called.
std::string SmtLib2ApiTracer::sort_text(const Type* type) {
  if (type->is_bool() || type->is_arithmetic()) return type->name;
  const std::string text = between_bars(type->name);
  if (sorts_.insert(type->id)) {
    sort_stack_.push_back(type->id);
    line("(declare-sort " + text + " 0)");
  }
  return text;
}

}  // namespace ordax
