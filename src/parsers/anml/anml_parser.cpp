#include "parsers/anml/anml_parser.h"

#include <istream>
#include <utility>

#include "model/problem_instance.h"
#include "model/source_map.h"
#include "parsers/anml/anml_builder.h"
#include "parsers/anml/anml_source.h"
#include "parsers/name_resolver.h"
#include "shell/concat_stream.h"
#include "shell/environment.h"
#include "shell/errors.h"

// The entry points of the generated code, whose headers would bring their macros along.
int kelvo_anml_lex_init_extra(kelvo::AnmlSource* source, void** scanner);
int kelvo_anml_lex_destroy(void* scanner);
int kelvo_anml_parse(void* scanner, kelvo::AnmlBuilder& builder);

namespace kelvo {

AnmlParser::AnmlParser(Environment& env) : EnvObject(env) {}

AnmlParser::~AnmlParser() {
  reset();
}

void AnmlParser::reset() {
  if (flex_scanner_ != nullptr) kelvo_anml_lex_destroy(flex_scanner_);
  flex_scanner_ = nullptr;
  source_ = nullptr;
  result_ = nullptr;
}

model::ProblemInstance AnmlParser::parse(std::istream& source) {
  // The scanner and the raw problem go when the parse ends, also by an exception.
  struct Reset {
    AnmlParser& parser;
    ~Reset() { parser.reset(); }
  };
  reset();
  const Reset at_end{*this};

  result_ = std::make_shared<model::ProblemInstanceImpl>(environment());
  model::StatementLines lines;
  {
    AnmlBuilder builder(*this, *result_);
    AnmlSource text(source, builder);
    source_ = &text;
    if (kelvo_anml_lex_init_extra(&text, &flex_scanner_) != 0) raise_error("out of memory");
    if (kelvo_anml_parse(flex_scanner_, builder) != 0) raise_error("syntax error");
    kelvo_anml_lex_destroy(flex_scanner_);
    flex_scanner_ = nullptr;
    source_ = nullptr;
    lines = builder.take_lines();
  }
  NameResolver resolver(environment());
  const model::ProblemInstance problem = resolver(result_, lines);
  environment().source_map().add(std::move(lines), parts_of(source));
  return problem;
}

void AnmlParser::handle_error(const std::string& msg) {
  raise_error(msg);
}

void AnmlParser::raise_error(const std::string& msg) {
  if (source_ == nullptr) throw ParserError(msg);
  throw ParserError(msg) << " at line " << source_->line;
}

model::ProblemInstance AnmlParser::result() const {
  return result_;
}

}  // namespace kelvo
