#pragma once

#include <exception>
#include <sstream>
#include <string>

namespace kelvo {

/// Root of the failures of the program: a class name, ": " and a text built by streaming.
///
/// Thrown at the point of detection and caught only in `main`. A copy continues behind the text of
/// its source.
class KelvoError : public std::exception {
 public:
  KelvoError(const KelvoError& other);
  KelvoError& operator=(const KelvoError&) = delete;
  ~KelvoError() override = default;

  /// The whole text so far. The reference is refreshed by the next call.
  const std::string& message() const;
  const std::string& exception_name() const { return exception_name_; }
  const char* what() const noexcept override;

 protected:
  KelvoError(const std::string& exception_name, const std::string& message);

  std::ostringstream buffer_;

 private:
  std::string exception_name_;
  mutable std::string message_;
};

/// Declares one class of the family. `operator<<` gives back the object as its own class, so that
/// `throw SomeError() << "text" << value;` does not slice.
#define KELVO_DECLARE_EXCEPTION(class_name)              \
  class class_name : public ::kelvo::KelvoError {        \
   public:                                               \
    explicit class_name(const std::string& message = "") \
        : ::kelvo::KelvoError(#class_name, message) {}   \
    class_name(const class_name&) = default;             \
    ~class_name() override = default;                    \
    template <typename T>                                \
    class_name& operator<<(const T& value) {             \
      buffer_ << value;                                  \
      return *this;                                      \
    }                                                    \
  }

/// Duplicate entity in one scope.
KELVO_DECLARE_EXCEPTION(RedefinitionError);
/// Failure in the binding to the solver.
KELVO_DECLARE_EXCEPTION(SmtSolverError);
/// Bad option value, missing input file, bad parameter.
KELVO_DECLARE_EXCEPTION(InvalidParameterError);
/// A violated internal assumption, or a construct that a transformer or translator refuses.
KELVO_DECLARE_EXCEPTION(InternalError);
/// Undefined symbol in name resolution.
KELVO_DECLARE_EXCEPTION(UnresolvedSymbolError);
/// Syntax error of a reader.
KELVO_DECLARE_EXCEPTION(ParserError);
/// An error related to the command line.
KELVO_DECLARE_EXCEPTION(CommandLineError);
/// A temporal network found unsatisfiable where it is assumed to be satisfiable.
KELVO_DECLARE_EXCEPTION(TemporalNetworkIsUnsat);
/// Type-checking failure.
KELVO_DECLARE_EXCEPTION(TypeCheckingError);
/// Failure of the LTL encoder.
KELVO_DECLARE_EXCEPTION(LtlEncoderError);
/// Grounding failure.
KELVO_DECLARE_EXCEPTION(GroundingFailedError);
/// A value left the bounds of its fluent during a search: a signal between parts of a planner.
KELVO_DECLARE_EXCEPTION(OutOfBoundsValue);
/// The grounder met a constant without a value.
KELVO_DECLARE_EXCEPTION(UndefinedConstantError);

}  // namespace kelvo
