// Start-up, the modem connection and the views on requests.
#include <algorithm>
#include <cstring>

#include "daemon/startup.h"
#include "packet/diag_packet.h"
#include "support/modem_connection.h"
#include "tests/support/phone.h"

namespace {

class Startup : public PhoneTest {};

TEST_F(Startup, ModemThatNeverAnswersIsAskedTwentyTimesASecondApart) {
    EXPECT_EQ(vendor_diag_modem_api_init_proc(nullptr), nullptr);
    std::vector<LogLine> expected = {E("vendor_diag_modem_api_init_proc")};
    for (int left = 19; left >= 0; --left) {
        expected.push_back(D("vendor_diag_modem_api_init_proc : modem_api_init error, retry left " +
                             std::to_string(left) + " times, total retry 20 times"));
    }
    expect_log_only(expected);
    EXPECT_EQ(delays(), std::vector<uint64_t>(20, 1000000));
    EXPECT_EQ(is_qmi_init_done(), 0);
}

TEST_F(Startup, ModemThatAnswersLateStillMakesTheFlag) {
    set_state("modem/qmi", "-1");
    on_delay([this](uint64_t) {
        if (delays().size() == 3) {
            set_state("modem/qmi", "0");
        }
    });
    vendor_diag_modem_api_init();
    EXPECT_TRUE(eventually([] { return is_qmi_init_done() == 1; }));
    wait_for_workers();
    EXPECT_EQ(delays().size(), 3U);
    expect_log({D("vendor_diag_modem_api_init"), D("vendor_diag_modem_api_init_proc : modem_api_init SUCCESS")});
}

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
