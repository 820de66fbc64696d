// Values of a station that nobody may see: what a result holds of them is taken out before it is shown or recorded.
#pragma once

#include <string>

#include "tools/vdiag/plan/plan.h"
#include "tools/vdiag/plan/plan_run.h"

namespace vdiag {

inline constexpr size_t kShortestSecret = 4;  // bytes

// Notes the secret variables of a plan, those that are set from them among them, and the lines on which they stand.
void mark_secrets(Plan* plan);

// Takes the secrets out of a result: all that was sent and answered on a line with a secret, and the secrets' values
// wherever else a phone tells them.
void conceal(const Plan& plan, const Variables& variables, StepResult* result);

}  // namespace vdiag
