#pragma once

#include <memory>

/// Names of the model's objects and their shared handles.
namespace kelvo::model {

class ParametricObject;
class ParameterImpl;
class FluentImpl;
class ConstantImpl;
class ActionImpl;
class InstanceImpl;
class FunctionValueImpl;
class ProblemInstanceImpl;
class TypeBase;
class UserTypeImpl;
class SetTypeBase;
class ModelFactory;
class ExpressionFactory;
class ExpressionTypeChecker;

using Parameter = std::shared_ptr<ParameterImpl>;
using Fluent = std::shared_ptr<FluentImpl>;
using Constant = std::shared_ptr<ConstantImpl>;
using Action = std::shared_ptr<ActionImpl>;
using Instance = std::shared_ptr<InstanceImpl>;
using FunctionValue = std::shared_ptr<FunctionValueImpl>;
using ProblemInstance = std::shared_ptr<ProblemInstanceImpl>;
using Type = std::shared_ptr<TypeBase>;
using UserType = std::shared_ptr<UserTypeImpl>;
using SetType = std::shared_ptr<SetTypeBase>;

}  // namespace kelvo::model
