// Start-up without the diag service, and the views on requests.
#include <cstring>

#include "daemon/startup.h"
#include "packet/diag_packet.h"
#include "tests/support/phone.h"

namespace {

class Startup : public PhoneTest {};

TEST_F(Startup, NothingIsRegisteredWithoutTheDiagService) {
    write_file("/file", "");
    HostSettings broken = settings();
    broken.listen = {"unix:" + host("/file") + "/diag"};  // nobody can make a directory of a file
    reconfigure(broken);
    set_state("modem/qmi", "0");
    EXPECT_EQ(vendor_diag_start(), -1);
    expect_log({E("Diag_LSM_Init() failed.")});
    EXPECT_FALSE(log_contains("ftm_diag_init"));
    wait_for_workers();
}

TEST(RequestView, ReadsZeroBeyondTheEnd) {
    const uint8_t bytes[] = {1, 2, 3, 4, 5};
    const RequestView request = request_view(bytes, sizeof(bytes));
    EXPECT_EQ(request_u32(request, 1), 0x05040302U);
    EXPECT_EQ(request_u32(request, 2), 0x00050403U);
    EXPECT_EQ(request_u16(request, 4), 5U);
    EXPECT_EQ(request_u8(request, 5), 0U);
    EXPECT_EQ(request_u32(request, 0xFFFFFFFF), 0U);
    EXPECT_EQ(request_u8(request_view(nullptr, 100), 0), 0U);
    uint8_t out[4] = {9, 9, 9, 9};
    request_copy(request, 3, out, sizeof(out));
    EXPECT_EQ(0, memcmp(out, "\x04\x05\x00\x00", 4));
}

}  // namespace
