#pragma once

#include <memory>
#include <string>
#include <vector>

namespace kelvo {

/// The typed options of a run, by name.
///
/// Options are grouped by the function that they belong to; an option of a group is accepted on the
/// command line only when that group's function was chosen, and those of the group "generic"
/// always. The value of an option lives under its name alone: one that is registered for several
/// groups has one value, with the default of the last registration. An option of no group keeps its
/// default.
class Configuration {
 public:
  /// The options `version` and `help`, and the positional arguments.
  Configuration();
  Configuration(const Configuration&) = delete;
  Configuration& operator=(const Configuration&) = delete;
  ~Configuration();

  /// A function, which is the group of its options; those may be registered later only.
  void add_function(const std::string& name);

  /// A switch without a value, false unless given.
  void add_boolean_option(const std::string& name, const std::string& description,
                          const std::string& type = "", char short_name = 0);
  void add_integer_option(const std::string& name, const std::string& description,
                          const std::string& type = "", long default_value = 0,
                          char short_name = 0);
  void add_float_option(const std::string& name, const std::string& description,
                        const std::string& type = "", double default_value = 0.0,
                        char short_name = 0);
  /// Without `possible_values` every value is allowed.
  void add_string_option(const std::string& name, const std::string& description,
                         const std::string& type = "", const std::string& default_value = "",
                         const std::vector<std::string>& possible_values = {}, char short_name = 0);
  /// May be repeated on the command line; the values stand in the order given.
  void add_vector_string_option(const std::string& name, const std::string& description,
                                const std::string& type = "",
                                const std::vector<std::string>& possible_values = {},
                                char short_name = 0);

  /// Each setter and getter raises an `InvalidParameterError` for a name that is not an option of
  /// its type.
  void set_value(const std::string& name, bool value);
  void set_value(const std::string& name, long value);
  void set_value(const std::string& name, double value);
  void set_value(const std::string& name, const std::string& value);
  void set_value(const std::string& name, const char* value) {
    set_value(name, std::string(value));
  }
  void set_value(const std::string& name, const std::vector<std::string>& value);

  bool get_boolean_value(const std::string& name) const;
  long get_integer_value(const std::string& name) const;
  double get_float_value(const std::string& name) const;
  const std::string& get_string_value(const std::string& name) const;
  const std::vector<std::string>& get_vector_string_value(const std::string& name) const;

  /// Whether the command line that was read holds the option.
  bool was_given(const std::string& name) const;

  /// Reads the command line and appends the input files. Returns 0, or 1 after it has printed what
  /// is wrong (if anything; `--help` also ends here) and the usage text to standard error.
  int parse_from_command_line(int argc, const char* const* argv,
                              std::vector<std::string>& input_files);

 private:
  // Hides the library that reads the command line, whose headers are slow to compile.
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace kelvo
