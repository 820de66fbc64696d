// What no request brings about: a response buffer that cannot be had or is not clean, and handlers called by hand.
#include "buildinfo/bebiod.h"
#include "ftm/ftm_power.h"
#include "tests/support/phone.h"

namespace {

using Response = PhoneTest;

TEST_F(Response, WithoutABufferThereIsNone) {
    const std::pair<const char*, std::vector<LogLine>> cases[] = {
        {"4b0bfe7f 55465300", {E("ftm_diag_dispatch: diag pkt alloc failed!")}},
        {"4b0bff7f 55465300", {E("ftm_diag_ext_dispatch: diag pkt alloc failed!")}},
        {"4b0bfd7f 55465300", {E("ftm_diag_batt_dispatch: diag pkt alloc failed!")}},
        {"4b0b3600", {E("ftm_read_file: diagpkt_subsys_alloc failed")}},
        {"39", {}}};
    for (const auto& [request, lines] : cases) {
        host_diag_fail_alloc(0, 1);
        clear_log();
        EXPECT_TRUE(exchange(hex(request)).empty()) << request;
        expect_log(lines);
    }
}

TEST_F(Response, WithoutABufferTheMenuSendsTheRequestBackAndResetsNothing) {
    make_tool("/system/bin/am");
    for (const char* request : {"f606", "f60b", "f60c010101e807", "f60f"}) {
        host_diag_fail_alloc(0, 1);
        clear_log();
        EXPECT_EQ(exchange(hex(request)), hex(request));
        expect_log({E("rsp_ptr ERR:NULL"), E("func_switch:response is null!"), D("generate_default_rsp")});
    }
    EXPECT_TRUE(calls().empty());
    EXPECT_EQ(host_diag_take(bebiod_diag_handle(nullptr, 4)), (Bytes{246, kPoison, kPoison, kPoison}));
    expect_log({E("bebiod_diag_handle : receive invalid diag command"), E("func_switch:response is null!")});
}

TEST_F(Response, NothingShowsOfWhatTheBufferHeld) {
    for (const char* request : {"4b0bfe7f", "4b0bff7f", "4b0b3600", "38", "39", "3c", "f60b"}) {
        const Bytes answer = exchange(hex(request));
        EXPECT_GT(answer.size(), 40U) << request;
        EXPECT_EQ(to_hex(answer).find("a5"), std::string::npos) << request;
    }
    write_file("/sys/class/power_supply/usb/online", "0\n");                         // its worker ends
    EXPECT_EQ(exchange(hex("4b0bfd7f 736574666163746f72796d6f6465 00")).at(10), 0);  // setfactorymode
    wait_for_workers();
}

TEST_F(Response, ARestartWithoutAReasonIsAPlainOne) {
    (void)ftm_reboot_thread(nullptr);
    EXPECT_EQ(power_calls(), std::vector<std::string>{"restart"});
}

}  // namespace
