#include "shell/configuration.h"

#include <algorithm>
#include <array>
#include <boost/program_options.hpp>
#include <charconv>
#include <exception>
#include <iostream>
#include <map>
#include <set>
#include <utility>

#include "shell/errors.h"

namespace kelvo {

namespace po = boost::program_options;

namespace {

constexpr unsigned line_length = 80;
constexpr unsigned description_column = 40;
constexpr const char* generic_group = "generic";

po::options_description make_description(const std::string& caption) {
  return po::options_description(caption, line_length, description_column);
}

std::string option_spelling(const std::string& name, char short_name) {
  return short_name == 0 ? name : name + "," + short_name;
}

/// The shortest text that reads back as the value: 0.99 and not 0.98999999999999999.
std::string float_text(double value) {
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
  return std::string(text.data(), end);
}

std::string with_possible_values(const std::string& description,
                                 const std::vector<std::string>& values) {
  if (values.empty()) return description;
  std::string text = description + "\nOptions are: [";
  for (const std::string& value : values) {
    if (&value != &values.front()) text += ", ";
    text += value;
  }
  return text + "].";
}

template <typename Values>
auto& find_option(Values& values, const std::string& name) {
  const auto found = values.find(name);
  if (found == values.end()) throw InvalidParameterError() << "Undefined option " << name;
  return found->second;
}

}  // namespace

/// The maps are ordered so that the messages of a wrong command line come in a fixed order.
struct Configuration::Impl {
  std::vector<std::string> functions_;
  std::map<std::string, po::options_description> opts_;
  po::options_description positional_ = make_description("Positional options");
  po::positional_options_description p_;
  std::map<std::string, bool> bool_opts_;
  std::map<std::string, long> long_opts_;
  std::map<std::string, double> double_opts_;
  std::map<std::string, std::string> string_opts_;
  std::map<std::string, std::vector<std::string>> vec_string_opts_;
  std::map<std::string, std::vector<std::string>> possible_values_;
  std::set<std::string> given_;

  void add_group(const std::string& name, const std::string& caption) {
    opts_.emplace(name, make_description(caption));
  }

  /// Shows the option under its group, if it has one.
  void describe(const std::string& name, const std::string& description, const std::string& group,
                char short_name, const po::value_semantic* value) {
    std::unique_ptr<const po::value_semantic> owned(value);
    const auto found = opts_.find(group);
    if (found == opts_.end()) return;
    const std::string spelling = option_spelling(name, short_name);
    found->second.add_options()(spelling.c_str(), owned.release(), description.c_str());
  }

  void add_other_groups(po::options_description& visible) const {
    for (const auto& [name, group] : opts_) {
      if (name != generic_group) visible.add(group);
    }
  }

  bool is_allowed(const std::string& name, const std::string& value) const {
    const std::vector<std::string>& allowed = possible_values_.at(name);
    return allowed.empty() || std::find(allowed.begin(), allowed.end(), value) != allowed.end();
  }

  /// As `is_allowed`, with a message when it is not.
  bool check_value(const std::string& name, const std::string& value) const {
    if (is_allowed(name, value)) return true;
    std::cerr << value << " is not a valid value for option " << name << '\n';
    return false;
  }

  po::variables_map read(int argc, const char* const* argv, const po::options_description& all,
                         bool allow_unknown) const;
  bool copy_values(const po::variables_map& given, std::vector<std::string>& input_files);
};

/// A fresh map each time: values stored by one pass would hide those of the next.
po::variables_map Configuration::Impl::read(int argc, const char* const* argv,
                                            const po::options_description& all,
                                            bool allow_unknown) const {
  po::command_line_parser parser(argc, argv);
  parser.options(all).positional(p_);
  if (allow_unknown) parser.allow_unregistered();
  po::variables_map given;
  po::store(parser.run(), given);
  po::notify(given);
  return given;
}

/// Returns false when a value is not among those allowed.
bool Configuration::Impl::copy_values(const po::variables_map& given,
                                      std::vector<std::string>& input_files) {
  bool valid = true;
  for (const auto& [name, value] : given) {
    if (!value.defaulted()) given_.insert(name);
  }
  for (auto& [name, value] : bool_opts_) value = given.contains(name);
  for (auto& [name, value] : long_opts_) {
    if (given.contains(name)) value = given[name].as<long>();
  }
  for (auto& [name, value] : double_opts_) {
    if (given.contains(name)) value = given[name].as<double>();
  }
  for (auto& [name, value] : string_opts_) {
    if (!given.contains(name)) continue;
    const std::string& text = given[name].as<std::string>();
    if (check_value(name, text)) {
      value = text;
    } else {
      valid = false;
    }
  }
  for (auto& [name, values] : vec_string_opts_) {
    if (!given.contains(name)) continue;
    values.clear();
    for (const std::string& text : given[name].as<std::vector<std::string>>()) {
      if (check_value(name, text)) {
        values.push_back(text);
      } else {
        valid = false;
      }
    }
  }
  if (given.contains("input-files")) {
    const auto& files = given["input-files"].as<std::vector<std::string>>();
    input_files.insert(input_files.end(), files.begin(), files.end());
  }
  return valid;
}

Configuration::Configuration() : impl_(std::make_unique<Impl>()) {
  impl_->add_group(generic_group, "");
  impl_->positional_.add_options()("function", po::value<std::string>())(
      "input-files", po::value<std::vector<std::string>>());
  impl_->p_.add("function", 1).add("input-files", -1);

  add_boolean_option("version", "Print version", generic_group, 'v');
  add_boolean_option("help", "Produce help message", generic_group, 'h');
  impl_->string_opts_["function"] = "";
  impl_->possible_values_["function"] = {};
}

Configuration::~Configuration() = default;

void Configuration::add_function(const std::string& name) {
  impl_->functions_.push_back(name);
  impl_->add_group(name, name + " options");
}

void Configuration::add_boolean_option(const std::string& name, const std::string& description,
                                       const std::string& type, char short_name) {
  impl_->bool_opts_[name] = false;
  impl_->describe(name, description, type, short_name, new po::untyped_value(/*zero_tokens=*/true));
}

void Configuration::add_integer_option(const std::string& name, const std::string& description,
                                       const std::string& type, long default_value,
                                       char short_name) {
  impl_->long_opts_[name] = default_value;
  impl_->describe(name, description, type, short_name,
                  po::value<long>()->default_value(default_value));
}

void Configuration::add_float_option(const std::string& name, const std::string& description,
                                     const std::string& type, double default_value,
                                     char short_name) {
  impl_->double_opts_[name] = default_value;
  impl_->describe(name, description, type, short_name,
                  po::value<double>()->default_value(default_value, float_text(default_value)));
}

void Configuration::add_string_option(const std::string& name, const std::string& description,
                                      const std::string& type, const std::string& default_value,
                                      const std::vector<std::string>& possible_values,
                                      char short_name) {
  impl_->string_opts_[name] = default_value;
  impl_->possible_values_[name] = possible_values;
  impl_->describe(name, with_possible_values(description, possible_values), type, short_name,
                  po::value<std::string>()->default_value(default_value));
}

void Configuration::add_vector_string_option(const std::string& name,
                                             const std::string& description,
                                             const std::string& type,
                                             const std::vector<std::string>& possible_values,
                                             char short_name) {
  impl_->vec_string_opts_[name] = {};
  impl_->possible_values_[name] = possible_values;
  impl_->describe(name, with_possible_values(description, possible_values), type, short_name,
                  po::value<std::vector<std::string>>());
}

void Configuration::set_value(const std::string& name, bool value) {
  find_option(impl_->bool_opts_, name) = value;
}

void Configuration::set_value(const std::string& name, long value) {
  find_option(impl_->long_opts_, name) = value;
}

void Configuration::set_value(const std::string& name, double value) {
  find_option(impl_->double_opts_, name) = value;
}

void Configuration::set_value(const std::string& name, const std::string& value) {
  find_option(impl_->string_opts_, name) = value;
}

void Configuration::set_value(const std::string& name, const std::vector<std::string>& value) {
  find_option(impl_->vec_string_opts_, name) = value;
}

bool Configuration::get_boolean_value(const std::string& name) const {
  return find_option(impl_->bool_opts_, name);
}

long Configuration::get_integer_value(const std::string& name) const {
  return find_option(impl_->long_opts_, name);
}

double Configuration::get_float_value(const std::string& name) const {
  return find_option(impl_->double_opts_, name);
}

const std::string& Configuration::get_string_value(const std::string& name) const {
  return find_option(impl_->string_opts_, name);
}

const std::vector<std::string>& Configuration::get_vector_string_value(
    const std::string& name) const {
  return find_option(impl_->vec_string_opts_, name);
}

bool Configuration::was_given(const std::string& name) const {
  return impl_->given_.contains(name);
}

int Configuration::parse_from_command_line(int argc, const char* const* argv,
                                           std::vector<std::string>& input_files) {
  po::options_description all("", line_length, description_column);
  po::options_description visible = make_description("Allowed options");
  const po::options_description& generic = impl_->opts_.at(generic_group);
  all.add(impl_->positional_).add(generic);
  visible.add(generic);

  const auto print_usage = [this, argv, &visible] {
    std::cerr << "Usage: " << argv[0] << " (";
    const char* separator = "";
    for (const std::string& name : impl_->functions_) {
      std::cerr << std::exchange(separator, " | ") << name;
    }
    std::cerr << ") [options] <input-file-1> ... <input-file-n>\n" << visible << '\n';
    return 1;
  };
  const auto print_whole_usage = [this, &visible, &print_usage] {
    impl_->add_other_groups(visible);
    return print_usage();
  };

  // The first pass finds the function; the options of its group are unknown to it.
  try {
    const po::variables_map given = impl_->read(argc, argv, all, /*allow_unknown=*/true);
    if (given.contains("function")) set_value("function", given["function"].as<std::string>());
    for (const char* name : {"version", "help"}) {
      if (given.contains(name)) set_value(name, true);
    }
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return print_whole_usage();
  }
  const bool help = get_boolean_value("help");
  if (get_boolean_value("version")) return help ? print_usage() : 0;

  const std::string function = get_string_value("function");
  const auto group = impl_->opts_.find(function);
  if (function == generic_group || group == impl_->opts_.end()) return print_whole_usage();
  all.add(group->second);
  visible.add(group->second);

  bool valid = true;
  po::variables_map given;
  try {
    given = impl_->read(argc, argv, all, /*allow_unknown=*/false);
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    valid = false;
  }
  if (!impl_->copy_values(given, input_files)) valid = false;
  return valid && !help ? 0 : print_usage();
}

}  // namespace kelvo
