#pragma once

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "shell/env_object.h"

namespace kelvo {

struct PddlSource;

/// Reads a domain and a problem in the temporal subset of PDDL, in one stream and in any order.
class PddlParser : public EnvObject {
 public:
  explicit PddlParser(Environment& env);
  PddlParser(const PddlParser&) = delete;
  PddlParser& operator=(const PddlParser&) = delete;
  ~PddlParser() override;

  /// The problem of the text, resolved and type-checked. The first error ends the reading: a
  /// `ParserError` with the line for text outside the language, and what the scopes, the name
  /// resolver and the type checker throw. Where the language ends at a known construct, a second
  /// line of the message says what to write instead. The parser can be used again afterwards.
  model::ProblemInstance parse(std::istream& source);

  /// Throws a `ParserError`: the message and the line that is being read. For the grammar only.
  void handle_error(const std::string& msg);
  /// The problem under construction, with unresolved names.
  model::ProblemInstance result() const;
  /// An assignment, at its times, and the part of an expression that means it.
  struct Effect {
    model::Expression assignment;
    model::Expression part;
  };
  /// The assignments that an expression means as an effect or as an initial value: `p`, `(not p)`
  /// and `(= f e)`, inside conjunctions and at times. Anything else is an error.
  std::vector<Effect> condition_to_effect(model::Expression e);

  /// How names with hyphens were written in the last text, by their names in the model.
  const std::map<std::string, std::string>& spellings() const { return spellings_; }

 private:
  void reset();
  [[noreturn]] void raise_error(const std::string& msg);

  /// Both live during a parse only.
  void* flex_scanner_ = nullptr;
  const PddlSource* source_ = nullptr;
  model::ProblemInstance result_;
  std::map<std::string, std::string> spellings_;
};

}  // namespace kelvo
