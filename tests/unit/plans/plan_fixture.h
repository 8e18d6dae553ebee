#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "model/expression_factory.h"
#include "model/model_factory.h"
#include "plans/plan.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"

namespace kelvo {

/// A problem with the instances truck1 of type Truck, box2 and true1 of type Box, the top-level
/// actions load(Truck, Box), wait() and set(integer, float, boolean), and the action drive(Box) of
/// the type Truck.
class PlanFixture : public ::testing::Test {
 protected:
  PlanFixture() {
    model::ModelFactory& mf = env.model_factory();
    const model::UserType truck_type = mf.make_user_type("Truck");
    const model::UserType box_type = mf.make_user_type("Box");
    truck = mf.make_instance("truck1", truck_type);
    box = mf.make_instance("box2", box_type);
    const model::Instance true1 = mf.make_instance("true1", box_type);
    load = mf.make_action(
        "load", {}, {mf.make_parameter("t", truck_type), mf.make_parameter("b", box_type)}, {});
    drive = mf.make_action("drive", {"Truck"}, {mf.make_parameter("to", box_type)}, {});
    wait = mf.make_action("wait", {}, {}, {});
    set = mf.make_action("set", {},
                         {mf.make_parameter("i", mf.make_integer_type()),
                          mf.make_parameter("r", mf.make_rational_type()),
                          mf.make_parameter("b", mf.make_boolean_type())},
                         {});
    truck_type->add_action(drive);
    problem = mf.make_problem_instance({{"load", load}, {"wait", wait}, {"set", set}}, {}, {},
                                       {{"truck1", truck}, {"box2", box}, {"true1", true1}},
                                       {{"Truck", truck_type}, {"Box", box_type}}, {});
  }

  model::ExpressionFactory& ef() { return env.expression_factory(); }
  model::Expression ref(const model::Instance& i) { return ef().make_instance_reference(i); }

  static std::string text(const Plan& plan) {
    std::ostringstream os;
    os << plan;
    return os.str();
  }

  template <typename Error, typename Function>
  static void expect_error(Function&& function, const std::string& expected) {
    try {
      function();
      ADD_FAILURE() << "nothing was raised instead of: " << expected;
    } catch (const Error& error) {
      EXPECT_EQ(error.message(), expected);
    }
  }

  Environment env;
  model::Instance truck;
  model::Instance box;
  model::Action load;
  model::Action drive;
  model::Action wait;
  model::Action set;
  model::ProblemInstance problem;
};

/// Collects the log while it lives.
class CapturedLog {
 public:
  explicit CapturedLog(LogLevel level)
      : previous_stream_(Log::stream_ptr()), previous_level_(Log::reporting_level()) {
    Log::set_stream(os_);
    Log::set_reporting_level(level);
  }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;
  ~CapturedLog() {
    if (previous_stream_ != nullptr) Log::set_stream(*previous_stream_);
    Log::set_reporting_level(previous_stream_ != nullptr ? previous_level_ : LogLevel::NONE);
  }
  std::string text() const { return os_.str(); }

 private:
  std::ostringstream os_;
  std::ostream* previous_stream_;
  LogLevel previous_level_;
};

}  // namespace kelvo
