#pragma once

#include <iosfwd>
#include <string>

#include "model/model_fwd.h"
#include "shell/env_object.h"

namespace kelvo {

struct AnmlSource;

/// Reads a problem in ANML.
class AnmlParser : public EnvObject {
 public:
  explicit AnmlParser(Environment& env);
  AnmlParser(const AnmlParser&) = delete;
  AnmlParser& operator=(const AnmlParser&) = delete;
  ~AnmlParser() override;

  /// The problem of the text, resolved and type-checked. The first error ends the reading: a
  /// `ParserError` with the line for text outside the language, and what the scopes, the name
  /// resolver and the type checker throw. The parser can be used again afterwards.
  model::ProblemInstance parse(std::istream& source);

  /// Throws a `ParserError`: the message and the line that is being read. For the grammar only.
  void handle_error(const std::string& msg);
  /// The problem under construction, with unresolved names.
  model::ProblemInstance result() const;

 private:
  void reset();
  [[noreturn]] void raise_error(const std::string& msg);

  /// Both live during a parse only.
  void* flex_scanner_ = nullptr;
  const AnmlSource* source_ = nullptr;
  model::ProblemInstance result_;
};

}  // namespace kelvo
