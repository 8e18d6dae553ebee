#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "solver/api/api_tracer.h"
#include "solver/base/configuration.h"
#include "solver/base/hash_table.h"
#include "solver/terms/term_manager.h"

namespace ordax {

/// Writes a session as an SMT-LIB v2 script. Shared and long subterms get a name by `define-fun`,
/// so the script stays linear in the number of distinct terms and no line nests deeply.
class SmtLib2ApiTracer : public ApiTracer {
 public:
  /// Takes the stream over, and closes it unless it is standard output. With `scoped`, declarations
  /// vanish at the pop of their backtrack point and are written again when needed.
  SmtLib2ApiTracer(std::FILE* stream, bool scoped, const Configuration& configuration);
  SmtLib2ApiTracer(const SmtLib2ApiTracer&) = delete;
  SmtLib2ApiTracer& operator=(const SmtLib2ApiTracer&) = delete;
  ~SmtLib2ApiTracer() override;

  void assert_formula(TermRef formula) override;
  void push() override;
  void pop() override;
  void reset() override;
  void solve(const std::vector<TermRef>& assumptions) override;
  void get_model_value(TermRef term) override;
  void comment(const char* text) override;

 private:
  std::string text_of(TermRef root);
  std::string expression(TermRef term);
  std::string argument(TermRef term, bool as_real);
  void declare(const Symbol* symbol);
  std::string sort_text(const Type* type);
  void define(TermRef term, const std::string& text);
  void line(const std::string& text);
  void leave_assumptions();

  std::FILE* stream_;
  bool scoped_;
  HashMap<TermRef, std::string, TermHash> texts_;  // of the formula being written
  HashSet<TermRef, TermHash> named_;
  HashSet<std::uint32_t> declared_;  // by id of the symbol
  HashSet<std::uint32_t> sorts_;     // by id of the type
  // What a pop makes unknown again, in order.
  std::vector<TermRef> named_stack_;
  std::vector<std::uint32_t> declared_stack_;
  std::vector<std::uint32_t> sort_stack_;
  struct Level {
    std::size_t named;
    std::size_t declared;
    std::size_t sorts;
  };
  std::vector<Level> levels_;
  bool under_assumptions_ = false;  // the scope of the last check with assumptions is open
  bool with_model_ = false;         // writing a term while a model stands
  bool writable_ = true;            // nothing new was needed for it
};

}  // namespace ordax
