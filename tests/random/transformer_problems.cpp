#include "tests/random/transformer_problems.h"

#include <array>
#include <sstream>

#include "tests/random/random.h"

namespace kelvo::random_tests {

namespace {

constexpr int NUM_PLACES = 3;
constexpr int NUM_PARCELS = 2;

}  // namespace

std::string delivery_problem(std::uint32_t seed, const Form& form) {
  Random random(seed);
  std::ostringstream top;
  std::ostringstream members;
  std::ostringstream start;
  const std::string van = form.structured ? "van." : "";
  const auto place = [&random] { return "p" + std::to_string(random.below(NUM_PLACES)); };
  top << "type Place; instance Place p0, p1, p2; type Parcel; instance Parcel c0, c1;\n";
  if (form.spare_objects) top << "instance Place p3; instance Parcel c2;\n";
  top << "fluent boolean road(Place a, Place b); fluent Place at(Parcel c);\n"
         "fluent boolean waits(Parcel c);\n";
  // Roads lead both ways, so that a place that can be reached can be left: what has no plan shows
  // without a search.
  for (int a = 0; a < NUM_PLACES; ++a) {
    for (int b = a + 1; b < NUM_PLACES; ++b) {
      const std::string is_road = random.below(3) > 0 ? "true" : "false";
      start << "[start] road(p" << a << ", p" << b << ") := " << is_road << "; [start] road(p" << b
            << ", p" << a << ") := " << is_road << ";\n";
    }
    start << "[start] road(p" << a << ", p" << a << ") := false;\n";
  }
  members << "fluent Place pos;\n";
  members << (form.sets ? "fluent set(Parcel) load;\n" : "fluent boolean loaded(Parcel c);\n");
  const auto duration = [&](int low) {
    const int high = low + 1 + random.below(3);
    std::ostringstream text;
    if (form.durations == Form::FIXED) {
      text << "duration := " << low << ";";
    } else if (form.durations == Form::UNCERTAIN) {
      text << "duration :in [" << low << ", " << high << "];";
    } else {
      text << "duration >= " << low << "; duration <= " << high << ";";
    }
    return text.str();
  };
  const int drive_time = 2 + random.below(5);
  members << "action drive(Place a, Place b) { " << duration(drive_time)
          << " [start] pos == a; [start] road(a, b); [end] pos := b; };\n";
  const std::string is_loaded = form.sets ? "c in load" : "loaded(c)";
  const std::string load = form.sets ? "load := load union {c}" : "loaded(c) := true";
  const std::string unload = form.sets ? "load := load \\ {c}" : "loaded(c) := false";
  members << "action pick(Parcel c, Place a) { duration := 1; [start, end] pos == a;"
          << " [start] at(c) == a; [start] waits(c); [start] waits(c) := false; [end] " << load
          << "; };\n"
          << "action drop(Parcel c, Place a) { duration := 1; [start, end] pos == a; [start] "
          << is_loaded << "; [start] " << unload
          << "; [end] at(c) := a; [end] waits(c) := true; };\n";
  start << "[start] " << van << "pos := " << place() << ";\n";
  if (form.sets) start << "[start] " << van << "load := { };\n";
  for (int c = 0; c < NUM_PARCELS; ++c) {
    start << "[start] at(c" << c << ") := " << place() << "; [start] waits(c" << c
          << ") := true;\n";
    if (!form.sets) start << "[start] " << van << "loaded(c" << c << ") := false;\n";
  }
  if (form.visits) {
    const int low = random.below(10);
    start << "[" << low << ", " << low + 15 << "] contains first: " << van << "pos == " << place()
          << ";\n[" << low << ", " << low + 30 << "] contains second: " << van
          << "pos == " << place() << ";\nstart(first) < start(second);\n";
  }
  // One parcel to bring, one in the way: more would be a matter of the search.
  start << "[end] at(c0) == " << place() << " and waits(c0);\n";
  if (!form.structured) return top.str() + members.str() + start.str();
  return top.str() + "type Van with {\n" + members.str() + "};\ninstance Van van;\n" + start.str();
}

// Windows open at an integer and a fraction of its own for each action, so that inner times, which
// are integers behind the start, never come closer to each other than 0.15.
std::string inner_times_problem(std::uint32_t seed) {
  constexpr int NUM_ACTIONS = 2;
  constexpr std::array<const char*, NUM_ACTIONS> fractions = {"", ".25"};
  constexpr std::array<const char*, NUM_ACTIONS> closings = {".1", ".35"};
  Random random(seed);
  std::ostringstream text;
  text << "fluent boolean p; fluent boolean q;\n"
          "[start] p := false; [start] q := false;\n";
  const auto fluent = [&random] { return std::string(1, "pq"[random.below(2)]); };
  std::string goal;
  for (int i = 0; i < NUM_ACTIONS; ++i) {
    const int duration = 3 + random.below(6);
    const int opening = 1 + random.below(9);
    const auto inner = [&] { return 1 + random.below(duration - 1); };
    text << "fluent boolean w" << i << "; [start] w" << i << " := false; [" << opening
         << fractions[static_cast<std::size_t>(i)] << "] w" << i << " := true; [" << opening
         << closings[static_cast<std::size_t>(i)] << "] w" << i << " := false;\n"
         << "action a" << i << "() { duration " << (random.below(2) == 0 ? ":= " : "== ")
         << duration << "; [start] w" << i << ";";
    const std::string written = fluent();
    if (i == 0) goal = written;
    text << " [start + " << inner() << "] " << written << " := true;";
    if (random.below(3) == 0) text << " [end] " << written << " := false;";
    if (random.below(2) == 0) {
      const int low = inner();
      const int high = low + 1 + random.below(duration - low);
      const char* left = random.below(2) == 0 ? "[" : "(";
      text << " " << left << "start + " << low << ", ";
      if (high < duration) {
        text << "start + " << high;
      } else {
        text << "end";
      }
      text << (random.below(2) == 0 ? "] " : ") ") << (random.below(2) == 0 ? "not " : "")
           << fluent() << ";";
    }
    text << " };\n";
  }
  text << "[end] " << goal << ";\n";
  // The condition of a moment at which nothing else happens.
  if (random.below(2) == 0) return text.str();
  text << "[" << 4 + random.below(12) << ".8] " << (random.below(2) == 0 ? "not " : "") << fluent()
       << ";\n";
  return text.str();
}

}  // namespace kelvo::random_tests
