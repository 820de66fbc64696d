// What no packet reaches of the factory commands: missing requests and buffers, failing system calls, arguments that
// their handlers never pass, response fields over a buffer that was not empty.
#include <cerrno>
#include <filesystem>
#include <tuple>

#include "factory/ap_commands.h"
#include "factory/factory_diag.h"
#include "factory/factory_info.h"
#include "factory/mdlog.h"
#include "tests/support/faults.h"
#include "tests/support/phone.h"
#include "vendorcfg/vendorcfg.h"

namespace {

class Factory : public PhoneTest {
   protected:
    Factory() {
        for (const char* path : {"/.sim/board", "/.sim/modem", "/mnt/vendor/persist", "/persist"}) {
            remove(path);
        }
        make_cfg_partition();
        make_dir("/mnt/vendor/persist/keybox");
        make_dir("/persist");
    }
};

TEST_F(Factory, FieldsWithoutAValueAreZero) {
    const std::tuple<const char*, const char*, size_t, size_t> cases[] = {
        // request, header and status of its answer, zeros, unwritten bytes
        {"4b fd 01 00", "4b fd 01 00 01 00 00 00", 128, 0},
        {"4b fd 12 00", "4b fd 12 00 01 00 00 00", 128, 0},
        {"4b fd 15", "4b fd 15 00 01 00 00 00", 4, 0},
        {"4b fd 0d 00", "4b fd 0d 00 03 00 00 00", 8, 0},
        {"4b fd 0e 00", "4b fd 0e 00 03 00 00 00", 4, 0},
        {"4b fd 05", "4b fd 05 00 01 00 00 00", 0, 4},
        {"4b fd 13 00", "4b fd 13 00 03 00 00 00", 0, 32},
        {"4b fd 1a 00 ff ff ff ff 05", "4b fd 1a 00 ff ff ff ff 05 00 00 00 00 00 00 00 03 00 00 00", 0, 0},
    };
    for (const auto& [request, head, zeros, unwritten] : cases) {
        EXPECT_EQ(exchange(hex(request)), hex(head) + Bytes(zeros, 0) + Bytes(unwritten, kPoison)) << request;
    }
}

TEST_F(Factory, WithoutARequestNothingIsAnswered) {
#define NAMED(handler) std::pair<DiagHandler*, std::string>(handler, #handler)
    for (const auto& [handler, name] :
         {NAMED(factory_diag_board_read_func), NAMED(factory_diag_board_write_func), NAMED(factory_diag_log_start),
          NAMED(factory_diag_manufacture_flag_clear_func), NAMED(factory_diag_log_stop), NAMED(factory_diag_log_clear),
          NAMED(factory_diag_get_operator_info), NAMED(factory_diag_set_operator_info),
          NAMED(factory_diag_get_hw_board_id), NAMED(factory_diag_set_hw_board_id), NAMED(factory_diag_mcf_read_func),
          NAMED(factory_diag_mcf_write_func), NAMED(factory_diag_ccf_check_func),
          NAMED(factory_diag_imei_hash_read_func), NAMED(factory_diag_imei_sign_write_func),
          NAMED(factory_diag_imei_sign_status_read_func), NAMED(factory_diag_clean_imei_sign_func),
          NAMED(factory_diag_get_operation_by_type_func), NAMED(factory_diag_open_handler)}) {
        clear_log();
        EXPECT_EQ(handler(nullptr, 0), nullptr);
        expect_log_only({E(name + " packed_req_ptr ERR : NULL ")});
    }
    clear_log();
    EXPECT_EQ(factory_diag_manufacture_flag_check_func(nullptr, 0), nullptr);
    expect_log_only({E("factory_diag_manufacture_flag_read_func packed_req_ptr ERR : NULL")});
    EXPECT_EQ(host_diag_take(factory_diag_close_handler(nullptr, 0)), hex("4b fd 19 00 03 00 00 00"));
}

TEST_F(Factory, WithoutAResponseNothingIsAnswered) {
    const std::pair<const char*, LogLine> cases[] = {
        {"4b fd 01 00", E("rsp_ptr ERR:NULL")},
        {"4b fd 18 00", E("rsp_ptr ERR:NULL")},
        {"4b fd 04 00 0a 00 00 00 01 00", E("diag_factory_write_cmd: diagpkt_subsys_alloc failed")},
        {"4b fd 03 00", E("diag_factory_read_cmd: diagpkt_subsys_alloc failed")},
        {"4b cd 2b 00", E("sdcard_test rsp =(nil)")},
        {"4b ca 04 00 00", E("BatteryState battery rsp =(nil)")},
    };
    for (const auto& [request, line] : cases) {
        clear_log();
        host_diag_fail_alloc(0, 1);
        EXPECT_EQ(exchange(hex(request)), Bytes());
        expect_log({line});
    }
}

TEST_F(Factory, AKeyboxIsWrittenPastInterruptionsAndClosesOnlyWhenItLasts) {
    const Bytes opened = exchange(hex("4b fd 18 00 01 00 00 00"));
    const Bytes handle(opened.begin() + 4, opened.begin() + 8);
    const auto write = [this, &handle](const char* offset, const char* data) {
        return exchange(hex("4b fd 1a 00") + handle + hex(offset) + hex(data)).at(16);
    };
    Faults faults;
    faults.shorten(Call::kWrite, 1, 2);
    EXPECT_EQ(write("00 00 00 00", "61 62 63"), 0);
    faults.fail(Call::kWrite, 1, EINTR);
    EXPECT_EQ(write("03 00 00 00", "64"), 0);
    EXPECT_EQ(read_file_text("/mnt/vendor/persist/keybox/keybox.xml"), "abcd");
    faults.fail(Call::kFsync, 1, EIO);
    EXPECT_EQ(exchange(hex("4b fd 19 00") + handle), hex("4b fd 19 00 03 00 00 00"));
}

TEST_F(Factory, AToolThatNeverClosesGetsSixteenHandles) {
    std::vector<Bytes> handles;
    const auto open = [&] {
        const Bytes answer = exchange(hex("4b fd 18 00 01 00 00 00"));
        handles.emplace_back(answer.begin() + 4, answer.begin() + 8);
        return answer.at(8);
    };
    const auto close_last = [&] {
        EXPECT_EQ(exchange(hex("4b fd 19 00") + handles.back()).at(4), 0);
        handles.pop_back();
    };
    EXPECT_EQ(open(), 0);
    std::filesystem::rename(host("/mnt/vendor/persist/keybox/keybox.xml"), host("/mnt/vendor/persist/keybox/away"));
    EXPECT_EQ(exchange(hex("4b fd 19 00") + handles.back()).at(4), 3);  // closed: nothing else could close it
    handles.pop_back();
    clear_log();
    for (int i = 0; i < 17; ++i) {  // one that is closed is free again
        EXPECT_EQ(open(), 0) << i;
        close_last();
    }
    while (handles.size() < 16) {
        EXPECT_EQ(open(), 0) << handles.size();
    }
    EXPECT_EQ(open(), 3);
    expect_log_only(
        {E("fd: -1, errno:24 "), E("factory_diag_open_handler: open keybox file failed! error: Too many open files")});
    handles.pop_back();
    while (!handles.empty()) {
        close_last();
    }
}

TEST_F(Factory, ASavedDocumentThatMayNotLastIsReported) {
    Faults faults;
    faults.fail(Call::kFsync, 2, EIO);  // the directory's
    EXPECT_EQ(exchange(hex("4b fd 04 00 0e 00 00 00 01 00 01 61 01 31")), hex("4b fd 04 00 01 00 00 00"));
    expect_log({E("Do fsync fail")});
}

TEST_F(Factory, ASignatureThatFillsItsLastRecordIsFollowedByAnEmptyOne) {
    char value[kCfgValueSize + 1] = "?";
    EXPECT_EQ(set_imei_sign(Bytes(93, 0).data(), 93), 1);  // 124 characters
    EXPECT_EQ(cfg_get("imei.sign0.4", value, "none"), 1);
    EXPECT_STREQ(value, "");
    EXPECT_EQ(set_imei_sign(Bytes(4096, 0).data(), 4096), -1);
    expect_log({E("vendor_utils_base64_encode has error.")});
}

TEST_F(Factory, WithoutADirectoryTheStorageHoldsLogsAndMask) {
    make_tool("/system/bin/diag_mdlog");
    write_file("/system/etc/default_diag_logmask.cfg", "mask");
    write_file("/sdcard/diag_mask.cfg", "own mask");
    mdlog_init();
    mdlog_set_log_file_path(nullptr);
    EXPECT_TRUE(mdlog_start(0));
    mdlog_set_log_file_path(std::string(300, 'd').c_str());
    EXPECT_TRUE(mdlog_start(0));
    const auto command = [](const std::string& mask, const std::string& dir) {
        return D("diag_cmd: excute /system/bin/diag_mdlog -f " + mask + " -o " + dir + " -c -n 100 -s 100 &");
    };
    expect_log({D("mdlog_start: path is /sdcard/sd_logs"), command("/sdcard/diag_mask.cfg", "/sdcard/sd_logs"),
                command("/system/etc/default_diag_logmask.cfg", std::string(255, 'd'))});
    EXPECT_TRUE(eventually([this] { return calls().size() == 2; }));
    Faults faults;
    faults.fail(Call::kSpawn, 1, EAGAIN);
    EXPECT_FALSE(mdlog_start(0));
    expect_log({E("mdlog_start: error -1")});
}

}  // namespace
