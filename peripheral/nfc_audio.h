// NFC and audio tests: one worker and one result flag for each.
#pragma once

#include "platform/include/diag.h"

DiagHandler ftm_diag_nfc_dispatch;
DiagHandler ftm_diag_closenfc_dispatch;
DiagHandler ftm_diag_swptestnfc_dispatch;
DiagHandler ftm_diag_audio_dispatch;

// The start-up tables.
extern const DiagDispatchTable ftm_diag_nfc_table;
extern const DiagDispatchTable ftm_diag_audio_table;
