// NFC and audio tests: one worker and one result flag for each. Not built yet: nothing is answered.
#include "peripheral/nfc_audio.h"

#include "daemon/diag_packet.h"

void* ftm_diag_nfc_dispatch(const void*, uint16_t) { return nullptr; }
void* ftm_diag_closenfc_dispatch(const void*, uint16_t) { return nullptr; }
void* ftm_diag_swptestnfc_dispatch(const void*, uint16_t) { return nullptr; }
void* ftm_diag_audio_dispatch(const void*, uint16_t) { return nullptr; }

namespace {
constexpr DiagDispatchEntry nfc_entries[] = {
    {8, 8, ftm_diag_nfc_dispatch},
    {9, 9, ftm_diag_closenfc_dispatch},
    {7, 7, ftm_diag_swptestnfc_dispatch},
};
constexpr DiagDispatchEntry audio_entries[] = {
    {4, 4, ftm_diag_audio_dispatch},
};
}  // namespace

const DiagDispatchTable ftm_diag_nfc_table = diag_table(171, nfc_entries);
const DiagDispatchTable ftm_diag_audio_table = diag_table(205, audio_entries);
