// Properties that are seeded from files on persist at start-up: the whole content, or "null" without one.
#pragma once

// persist.vendor.sys.device.country from "countrycode", unless it has a value; not in factory boot mode.
void ftm_diag_set_countrycode_prop();
// persist.vendor.sys.device.fanlight from "fan_light", unless it has a value.
void ftm_diag_set_fanlight_prop();
// persist.vendor.sys.device.lcdcurrent from "lcdcurrent", whatever its value; not in factory boot mode.
void ftm_diag_set_lcdcurrent_prop();
