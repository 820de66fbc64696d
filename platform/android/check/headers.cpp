// Compiled, never run: what platform/include declares of the phone's log, property and restart libraries is what their
// own headers say. Functions of C are one function in every namespace, so a signature that differs does not compile.
#include <type_traits>

namespace seam {
#include "platform/include/log.h"
#include "platform/include/power.h"
#include "platform/include/properties.h"
constexpr int kValueSize = PROPERTY_VALUE_MAX;
constexpr unsigned kRestart = ANDROID_RB_RESTART2;
}  // namespace seam

#include <android/log.h>
#include <cutils/android_reboot.h>
#include <cutils/properties.h>
#include <sys/reboot.h>

static_assert(std::is_same_v<decltype(seam::__android_log_print), decltype(::__android_log_print)>);
static_assert(std::is_same_v<decltype(seam::property_get), decltype(::property_get)>);
static_assert(std::is_same_v<decltype(seam::property_set), decltype(::property_set)>);
static_assert(std::is_same_v<decltype(seam::android_reboot), decltype(::android_reboot)>);
static_assert(seam::ANDROID_LOG_VERBOSE == ::ANDROID_LOG_VERBOSE && seam::ANDROID_LOG_FATAL == ::ANDROID_LOG_FATAL);
static_assert(seam::ANDROID_LOG_DEBUG == ::ANDROID_LOG_DEBUG && seam::ANDROID_LOG_INFO == ::ANDROID_LOG_INFO);
static_assert(seam::ANDROID_LOG_WARN == ::ANDROID_LOG_WARN && seam::ANDROID_LOG_ERROR == ::ANDROID_LOG_ERROR);
static_assert(seam::kValueSize == PROPERTY_VALUE_MAX && seam::kRestart == ANDROID_RB_RESTART2);
static_assert(seam::kRebootRestart == RB_AUTOBOOT && seam::kRebootPowerOff == RB_POWER_OFF);
