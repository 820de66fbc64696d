// NFC and audio tests: a worker runs the test program, the handler waits a fixed time and answers from the result flag
// that the worker has set by then.
#pragma once

#include "platform/include/diag.h"

DiagHandler ftm_diag_nfc_dispatch;         // reads a card in the field
DiagHandler ftm_diag_closenfc_dispatch;    // switches NFC off
DiagHandler ftm_diag_swptestnfc_dispatch;  // single-wire protocol test
DiagHandler ftm_diag_audio_dispatch;       // request byte 4: 1 handset on, else off

// The start-up tables.
extern const DiagDispatchTable ftm_diag_nfc_table;
extern const DiagDispatchTable ftm_diag_audio_table;
