#pragma once

#include <string>

#include "model/parametric_object.h"
#include "model/problem_instance.h"
#include "model/user_type.h"
#include "parsers/scoped_table.h"
#include "shell/env_object.h"

namespace kelvo {

/// The first pass over a problem that was just read: every declaration gets its types in place of
/// placeholders, and members of user types get their paths. Bodies of actions stay as they were
/// read; the statements of the problem are left out.
///
/// User types keep their identity: their members are replaced in place. A member that has a path
/// already was resolved by an earlier reading, and is left alone.
class TypeResolver : public EnvObject {
 public:
  explicit TypeResolver(Environment& env);

  /// The declarations of the problem. Throws `UnresolvedSymbolError` for a type name that nobody
  /// declares.
  model::ProblemInstance operator()(const model::ProblemInstance& raw);

 private:
  void enter_user_types(const model::TypeScope& scope);
  void resolve_base_types(const model::TypeScope& scope) const;
  void resolve_members(model::UserTypeImpl& type);

  model::Type resolve(const model::Type& type) const;
  model::Parameters resolve(const model::Parameters& parameters) const;
  model::Constant resolve(const model::Constant& constant) const;
  model::Fluent resolve(const model::Fluent& fluent) const;
  model::Action resolve(const model::Action& action) const;
  model::Instance resolve(const model::Instance& instance) const;

  ScopedTable<std::string, model::Type> types_;
  model::Path path_;
};

}  // namespace kelvo
