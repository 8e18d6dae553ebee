#pragma once

#include <string>
#include <vector>

#include "tests/solver/formula.h"

namespace ordax_testing {

enum class Verdict { UNSAT, SAT, UNKNOWN };

/// A slow and simple judge of small formulas: tries all truth values of Booleans and atoms and
/// tests the linear constraints by Fourier-Motzkin elimination; integer variables are tried value
/// by value in the box that the assertions give them. UNKNOWN if the formula is too large for it.
Verdict judge_by_enumeration(const Formula& formula);

/// Another solver where one was found at build time, else UNKNOWN.
Verdict judge_by_peer(const Formula& formula);
bool has_peer();

/// What is wrong with a verdict and a model, or an empty text. `judge` is asked about "unsat";
/// "sat" is proved by the model.
std::string model_error(const Formula& formula, const Assignment& assignment);

}  // namespace ordax_testing
