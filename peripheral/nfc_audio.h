// NFC and audio tests: a worker runs the test program, the handler waits a fixed time and answers from the result flag
// that the worker has set by then.
#pragma once

#include "platform/include/diag.h"

// Responses have 256 bytes: u8 at 4, 0 passed, 1 failed or not done in time; of the NFC tests eight bytes at 5, 0x00 or
// 0x11 each; the rest is unwritten. A success that comes too late is told by the next NFC test, whichever it is.
DiagHandler ftm_diag_nfc_dispatch;         // 171, 8: reads a card in the field; needs system/bin/nfc_test; 1 s
DiagHandler ftm_diag_closenfc_dispatch;    // 171, 9: switches NFC off by broadcast; 2 s
DiagHandler ftm_diag_swptestnfc_dispatch;  // 171, 7: single-wire protocol test; needs system/bin/nfc_test; 2 s
// 205, 4; request byte 4: 1 handset on, else off. Needs: system/bin/audio_path. 1 s.
DiagHandler ftm_diag_audio_dispatch;

// The start-up tables.
extern const DiagDispatchTable ftm_diag_nfc_table;
extern const DiagDispatchTable ftm_diag_audio_table;
