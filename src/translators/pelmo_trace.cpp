#include <tinyxml2.h>

#include <istream>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "model/action.h"
#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "translators/pelmo_encoder.h"
#include "translators/trace_numbers.h"

namespace kelvo {

namespace {

using tinyxml2::XMLElement;

class XmlTraceReader {
 public:
  explicit XmlTraceReader(const model::ProblemInstance& problem)
      : problem_(problem), plan_(std::make_shared<TimeTriggeredPlan>(problem->environment())) {}

  std::string note() const { return unfinished_note(executions_); }

  std::shared_ptr<TimeTriggeredPlan> read(std::istream& source) {
    const std::string text{std::istreambuf_iterator<char>(source),
                           std::istreambuf_iterator<char>()};
    tinyxml2::XMLDocument document;
    if (document.Parse(text.data(), text.size()) != tinyxml2::XML_SUCCESS) {
      throw error("Error while parsing XML file", "", document.ErrorLineNum());
    }
    const XMLElement* root = document.FirstChildElement();
    const XMLElement* node = root == nullptr ? nullptr : root->FirstChildElement();
    if (node == nullptr) throw error("Error while parsing XML file", "", 0);
    for_each_running(*node,
                     [this](const std::string& action, const XMLElement&) { executions_[action]; });
    for (node = node->NextSiblingElement(); node != nullptr && is_transition(*node);
         node = node->NextSiblingElement()) {
      node = read_transition(*node);
      if (node == nullptr) break;
    }
    return plan_;
  }

 private:
  static InternalError error(const char* what, const std::string& detail, int line) {
    InternalError result;
    result << what << detail;
    if (line > 0) result << "\nThis is in line " << line << " of the trace";
    return result;
  }

  static bool is_transition(const XMLElement& element) {
    return std::string_view(element.Name()) == "transition";
  }

  static std::string attribute(const XMLElement& element, const char* name) {
    const char* value = element.Attribute(name);
    return value == nullptr ? "" : value;
  }

  // The values that say whether an action is running. They stand in the node, or in the state that
  // it holds.
  template <typename Visit>
  static void for_each_running(const XMLElement& node, const Visit& visit) {
    for (const XMLElement* part = node.FirstChildElement(); part != nullptr;
         part = part->NextSiblingElement()) {
      if (part->Attribute("variable") != nullptr) {
        visit_running(*part, visit);
        continue;
      }
      for (const XMLElement* value = part->FirstChildElement(); value != nullptr;
           value = value->NextSiblingElement()) {
        visit_running(*value, visit);
      }
    }
  }

  template <typename Visit>
  static void visit_running(const XMLElement& value, const Visit& visit) {
    constexpr std::string_view suffix = "_running";
    std::string name = attribute(value, "variable");
    if (!name.ends_with(suffix)) return;
    name.resize(name.size() - suffix.size());
    visit(name, value);
  }

  // Returns the last element that belongs to the transition; null where the trace is cut off.
  const XMLElement* read_transition(const XMLElement& transition) {
    const std::string type = attribute(transition, "type");
    if (type == "timed") {
      time_ = read_time(transition);
      const XMLElement* next = transition.NextSiblingElement();
      // The state after a delay tells nothing new.
      return next == nullptr || is_transition(*next) ? &transition : next;
    }
    if (type != "discrete") {
      throw error("Error while parsing XML file, unknown transition type: ", type,
                  transition.GetLineNum());
    }
    const XMLElement* state = transition.NextSiblingElement();
    if (state == nullptr) {
      throw error("Error while parsing XML file", ", the trace ends behind a transition",
                  transition.GetLineNum());
    }
    for_each_running(*state, [this](const std::string& action, const XMLElement& value) {
      note(action, value);
    });
    return state;
  }

  rational read_time(const XMLElement& transition) {
    std::string text = attribute(transition, "to");
    if (text.starts_with("f'")) text.erase(0, 2);
    const std::optional<rational> time = number_in_trace(text);
    if (!time || *time < 0) {
      throw error("Error while parsing XML file, unknown time: ", attribute(transition, "to"),
                  transition.GetLineNum());
    }
    return *time;
  }

  void note(const std::string& name, const XMLElement& value) {
    const char* written = value.GetText();
    const std::string_view text = written == nullptr ? "" : written;
    if (text != "TRUE" && text != "FALSE") {
      throw error("Error while parsing XML file, unknown value element: ", std::string(text),
                  value.GetLineNum());
    }
    TraceExecution& execution = executions_[name];
    const bool is_running = text == "TRUE";
    if (is_running == execution.is_running) return;
    execution.is_running = is_running;
    if (is_running) {
      execution.time = time_;
      execution.line = static_cast<std::size_t>(value.GetLineNum());
      return;
    }
    const auto action = problem_->actions().find(name);
    if (action == problem_->actions().end()) {
      throw error("The following action is not present in the model: ", name, value.GetLineNum());
    }
    plan_->add_step(std::make_shared<TimeTriggeredStep>(execution.time, action->second,
                                                        TimeTriggeredStep::Parameters(),
                                                        rational(time_ - execution.time)));
  }

  const model::ProblemInstance& problem_;
  std::shared_ptr<TimeTriggeredPlan> plan_;
  rational time_ = 0;
  std::map<std::string, TraceExecution> executions_;
};

}  // namespace

std::shared_ptr<TimeTriggeredPlan> read_pelmo_trace(const model::ProblemInstance& problem,
                                                    std::istream& source, std::string& note) {
  XmlTraceReader reader(problem);
  const std::shared_ptr<TimeTriggeredPlan> plan = reader.read(source);
  note = reader.note();
  return plan;
}

}  // namespace kelvo
