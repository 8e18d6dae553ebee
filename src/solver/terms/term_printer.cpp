#include "solver/terms/term_printer.h"

#include <algorithm>
#include <vector>

#include "solver/base/hash_table.h"
#include "solver/terms/smtlib_text.h"
#include "solver/terms/term_walk.h"

namespace ordax {
namespace {

// Terms are graphs, and a text that spells them out may be exponentially long. Up to so many nodes
// that is what people want to read; beyond, shared terms get names.
constexpr std::size_t LARGE_TREE = 10000;

using Sizes = HashMap<TermRef, std::size_t, TermHash>;

// Number of nodes of the tree that `root` unfolds to, saturating above LARGE_TREE.
std::size_t tree_size(TermRef root) {
  Sizes sizes;
  std::vector<TermRef> stack;
  walk_post_order(
      root, stack, [&](TermRef t) { return sizes.contains(t); },
      [&](TermRef t) {
        std::size_t size = 1;
        for (std::uint32_t i = 0; i < t->arity(); ++i) {
          size = std::min(LARGE_TREE + 1, size + *sizes.find(t->arg(i)));
        }
        sizes.insert(t, size);
      });
  return *sizes.find(root);
}

// Writes a term as a list with its head in front, either with the solver's own names or in the
// standard language. No method recurses: terms may be a million levels deep.
class Printer {
 public:
  explicit Printer(std::size_t limit, bool standard = false) : limit_(limit), standard_(standard) {}

  std::string plain(TermRef root) {
    write(root);
    return finish();
  }

  // Nested `let`s, each of one shared term, the oldest outermost: a term is younger than what it is
  // made of, so that each binding uses only names that are bound already.
  std::string with_names(TermRef root) {
    const std::vector<TermRef> shared = shared_terms(root);
    for (const TermRef t : shared) {
      text_ += "(let ((" + name(t) + " ";
      write(t);
      text_ += ")) ";
      named_.insert(t);
      if (full()) return finish();
    }
    write(root);
    text_.append(shared.size(), ')');
    return finish();
  }

 private:
  struct Frame {
    TermRef term;
    std::uint32_t next;
  };

  // The operator or name of a term.
  std::string head(TermRef t) const {
    if (!standard_ || is_number(t)) return std::string(t->symbol->name);
    const char* const known = smtlib_operator(t->kind());
    return known != nullptr ? known : smtlib_symbol(t->symbol);
  }
  // The name of a shared term, which no user's symbol meets.
  std::string name(TermRef t) const {
    if (standard_) return ".t" + std::to_string(t->id);
    std::string text(1, '`');
    text += std::to_string(t->id);
    text += '`';
    return text;
  }
  bool full() const { return limit_ != 0 && text_.size() > limit_; }

  // The compound terms with two or more parents, older ones first.
  static std::vector<TermRef> shared_terms(TermRef root) {
    HashMap<TermRef, std::size_t, TermHash> parents;
    HashSet<TermRef, TermHash> visited;
    std::vector<TermRef> shared;
    std::vector<TermRef> stack;
    walk_post_order(
        root, stack, [&](TermRef t) { return visited.contains(t); },
        [&](TermRef t) {
          visited.insert(t);
          for (std::uint32_t i = 0; i < t->arity(); ++i) {
            const TermRef child = t->arg(i);
            if (child->arity() > 0 && ++parents[child] == 2) shared.push_back(child);
          }
        });
    std::sort(shared.begin(), shared.end(), [](TermRef a, TermRef b) { return a->id < b->id; });
    return shared;
  }

  // Each frame is a list that is open, with the argument that comes next.
  void write(TermRef root) {
    std::vector<Frame> stack;
    open(root, stack);
    while (!stack.empty() && !full()) {
      Frame& frame = stack.back();
      if (frame.next == frame.term->arity()) {
        text_ += ')';
        stack.pop_back();
        continue;
      }
      text_ += ' ';
      const TermRef child = frame.term->arg(frame.next++);
      open(child, stack);
    }
  }

  void open(TermRef t, std::vector<Frame>& stack) {
    if (t->arity() == 0) {
      text_ += head(t);
    } else if (named_.contains(t)) {
      text_ += name(t);
    } else {
      text_ += '(';
      text_ += head(t);
      stack.push_back({t, 0});
    }
  }

  // A text that has reached the limit says that it was cut.
  std::string finish() {
    if (full()) {
      text_.resize(limit_);
      text_ += "...";
    }
    return std::move(text_);
  }

  std::size_t limit_;
  bool standard_;
  std::string text_;
  HashSet<TermRef, TermHash> named_;
};

}  // namespace

std::string print_term(TermRef term, std::size_t limit) {
  Printer printer(limit);
  if (limit != 0 || tree_size(term) <= LARGE_TREE) return printer.plain(term);
  return printer.with_names(term);
}

std::string print_term_as_smtlib(TermRef term) {
  Printer printer(0, /*standard=*/true);
  return tree_size(term) <= LARGE_TREE ? printer.plain(term) : printer.with_names(term);
}

}  // namespace ordax
