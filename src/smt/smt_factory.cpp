#include "smt/smt_factory.h"

#include "shell/errors.h"
#include "shell/hashing.h"

namespace kelvo::smt {

std::size_t SmtFactory::RationalHash::operator()(const rational& value) const {
  std::size_t h = std::hash<integer>()(numerator(value));
  hash_combine(h, denominator(value));
  return h;
}

SmtFactory::SmtFactory(Environment& env)
    : EnvObject(env),
      boolean_type_(
          own(std::make_unique<SmtType>(SmtTypeKind::BOOLEAN, FunctionSignature().first))),
      real_type_(own(std::make_unique<SmtType>(SmtTypeKind::REAL, FunctionSignature().first))),
      integer_type_(
          own(std::make_unique<SmtType>(SmtTypeKind::INTEGER, FunctionSignature().first))) {
  for (std::size_t code = 0; code < operators_.size(); ++code) {
    operators_[code] = std::make_unique<FormulaPayload>(static_cast<Kind>(code));
  }
}

SmtFactory::~SmtFactory() = default;

const SmtType* SmtFactory::own(std::unique_ptr<SmtType> type) {
  types_.push_back(std::move(type));
  return types_.back().get();
}

const SmtType* SmtFactory::function_type(const std::vector<const SmtType*>& arguments,
                                         const SmtType* result) {
  const SmtType*& type = function_types_[FunctionSignature(arguments, result)];
  if (type == nullptr) type = own(std::make_unique<SmtType>(result->kind(), arguments));
  return type;
}

template <typename P, typename... Args>
Formula SmtFactory::make_leaf(Args&&... args) {
  leaf_payloads_.push_back(std::make_unique<P>(std::forward<Args>(args)...));
  return node_mgr_.make_node(leaf_payloads_.back().get());
}

Formula SmtFactory::make_rational_constant(const rational& value) {
  Formula& f = rationals_[value];
  if (f == nullptr) f = make_leaf<RationalPayload>(value);
  return f;
}

Formula SmtFactory::make_integer_constant(const integer& value) {
  Formula& f = integers_[value];
  if (f == nullptr) f = make_leaf<IntegerPayload>(value);
  return f;
}

Formula SmtFactory::make_variable(const std::string& name, const SmtType* type) {
  Formula& f = variables_[name];
  if (f == nullptr) {
    f = make_leaf<SymbolPayload>(name, type);
  } else if (get_variable_type(f) != type) {
    throw RedefinitionError() << "Variable '" << name << "' already defined as "
                              << kind_word(get_variable_type(f)->kind());
  }
  return f;
}

Formula SmtFactory::make_fresh_variable(const SmtType* type, const char* prefix) {
  std::string name;
  do {
    name = (prefix == nullptr ? "__fv_" : prefix) + std::to_string(next_fresh_++);
  } while (variables_.contains(name));
  return make_variable(name, type);
}

Formula SmtFactory::make_function_application(Formula head, const Formulas& arguments) {
  auto& payload = applications_[head];
  if (payload == nullptr) payload = std::make_unique<FunctionApplicationPayload>(head);
  return node_mgr_.make_node(payload.get(), arguments.size(), arguments.begin(), arguments.end());
}

const std::string& SmtFactory::get_variable_name(Formula f) const {
  if (!is_variable(f)) throw InvalidParameterError("A variable was expected");
  return payload_of<SymbolPayload>(f).name();
}

const SmtType* SmtFactory::get_variable_type(Formula f) const {
  if (!is_variable(f)) throw InvalidParameterError("A variable was expected");
  return payload_of<SymbolPayload>(f).type();
}

const rational& SmtFactory::get_rational_constant(Formula f) const {
  if (!is_rational_constant(f)) throw InvalidParameterError("A rational constant was expected");
  return payload_of<RationalPayload>(f).value();
}

const integer& SmtFactory::get_integer_constant(Formula f) const {
  if (!is_integer_constant(f)) throw InvalidParameterError("An integer constant was expected");
  return payload_of<IntegerPayload>(f).value();
}

Formula SmtFactory::get_function_symbol(Formula f) const {
  if (kind_of(f) != Kind::FUNCTION_APPLICATION) {
    throw InvalidParameterError("A function application was expected");
  }
  return payload_of<FunctionApplicationPayload>(f).head();
}

}  // namespace kelvo::smt
