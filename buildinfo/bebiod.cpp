// The carrier's return-to-new menu. Not built yet: nothing is answered.
#include "buildinfo/bebiod.h"

#include "daemon/diag_packet.h"

void* bebiod_diag_handle(const void*, uint16_t) { return nullptr; }

namespace {
constexpr DiagDispatchEntry bebiod_entries[] = {
    {246, 246, bebiod_diag_handle},
};
constexpr DiagDispatchTable bebiod_table = diag_table(kDiagNoSubsystem, bebiod_entries);
}  // namespace

bool bebiod_diag_init() {
    diagpkt_tbl_reg(&bebiod_table);
    return true;
}

void* bebiod_diag_get_rtn_menu() { return nullptr; }
void* bebiod_diag_set_rtn_menu(const void*, uint16_t) { return nullptr; }
