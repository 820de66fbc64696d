// Properties that are seeded from persist files at start-up.
#pragma once

void ftm_diag_set_countrycode_prop();
void ftm_diag_set_fanlight_prop();
void ftm_diag_set_lcdcurrent_prop();
