// What no command reaches of the configuration records: bounds, defaults, records of older software, failing calls.
#include "vendorcfg/vendorcfg.h"

#include <cerrno>
#include <climits>
#include <cstring>

#include "tests/support/faults.h"
#include "tests/support/phone.h"
#include "vendorcfg/vendorcfg_partition.h"
#include "vendorcfg/vendorcfg_record.h"

namespace {
constexpr const char* kPartition = "/dev/block/by-name/orbcfg";
constexpr size_t kRecordSize = 128;

TEST(CfgRecord, WhatIsTooLongDoesNotFitAndIsCut) {
    EXPECT_TRUE(cfg_fits(std::string(31, 'n').c_str(), std::string(32, 'v').c_str()));
    EXPECT_FALSE(cfg_fits("n", std::string(33, 'v').c_str()));
    EXPECT_FALSE(cfg_fits("n", nullptr));
    CfgRecord records[2] = {};
    cfg_fill(records, "n", std::string(40, 'v').c_str());
    EXPECT_EQ(std::string(records[0].str, kCfgValueSize), std::string(kCfgValueSize, 'v'));
    EXPECT_EQ(records[1].head[0], '\0');
}

class VendorCfg : public PhoneTest {
   protected:
    VendorCfg() {
        write_file(kPartition, std::string(16384, '\0'));
        get_valid_blk_path();  // the one of a test before may not be there
    }

    std::string record(size_t index) const {
        return read_file_text(kPartition).substr(4096 + index * kRecordSize, kRecordSize);
    }
    std::string name_at(size_t index) const { return record(index).substr(32, 32).c_str(); }
    std::string get(const std::string& name) const {
        char value[kCfgValueSize + 1] = {};
        return cfg_get(name.c_str(), value, "<none>") == 1 ? value : "<none>";
    }
};

TEST_F(VendorCfg, ALookupCopiesTheDefaultWithoutATerminator) {
    char out[kCfgValueSize + 1];
    memset(out, '#', sizeof(out));
    EXPECT_EQ(cfg_get("none", out, "def"), -1);
    EXPECT_EQ(std::string(out, 4), "def#");
    EXPECT_EQ(cfg_get("none", out, nullptr), -1);
    expect_log_only({I("vendorcfg FATAL ERROR, default_value is null!!!")});
    EXPECT_EQ(factoryclean(), 0);
    cfg_set("orb_digital_label_B", "x");
    EXPECT_EQ(factoryclean(), 1);
    clear_log();
    vendorcfg_dump();
    EXPECT_EQ(log().size(), 2U + 64U);
    EXPECT_EQ(log()[0], I("MAXCOUNT = 64"));
    EXPECT_EQ(log()[65], I("Invalid Data: name=; head=; str=; signature="));
}

TEST_F(VendorCfg, NumbersAreDecimalTexts) {
    int value = 77;
    EXPECT_EQ(cfg_get_int("number", &value), -1);
    for (const int number : {-1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(cfg_set_int("number", number), 1);
        EXPECT_EQ(cfg_get_int("number", &value), 1);
        EXPECT_EQ(value, number);
    }
    EXPECT_EQ(cfg_get_int("number", nullptr), -1);
    cfg_set("number", "abc");
    EXPECT_EQ(cfg_get_int("number", &value), 1);
    EXPECT_EQ(value, 0);
}

TEST_F(VendorCfg, RecordsOfOlderSoftwareMoveToTheirArea) {
    setcfgbynamearea("deviceid.sign.0", std::string(32, 'a').c_str(), 1);
    setcfgbynamearea("auth_type", "stale", 1);
    setcfgbynamearea("auth_type", "own", 2);
    EXPECT_EQ(get("auth_type"), "stale");  // the first area wins a lookup
    cfg_set("serialno", "S1");
    cfg_handle_compatibility();
    EXPECT_EQ(record(0), std::string(kRecordSize, '\0'));
    EXPECT_EQ(record(1), std::string(kRecordSize, '\0'));
    EXPECT_EQ(get("deviceid.sign.0"), std::string(32, 'a'));
    EXPECT_EQ(get("auth_type"), "own");
    EXPECT_EQ(get("serialno"), "S1");
    EXPECT_EQ(name_at(33), "deviceid.sign.0");
    expect_log_only({});
}

TEST_F(VendorCfg, ALookupIsOneTransferAndASetAtMostFour) {
    (void)get("none");  // the device is chosen once
    Faults faults;
    const auto transfers_since = [&faults](unsigned reads, unsigned writes) {
        const unsigned transfers = reads + writes;
        EXPECT_EQ(faults.count(Call::kAccess), 0U);  // a path that opens is there
        EXPECT_EQ(faults.count(Call::kOpen), transfers);
        EXPECT_EQ(faults.count(Call::kFcntl), 2 * transfers);
        EXPECT_EQ(faults.count(Call::kPread), reads);
        EXPECT_EQ(faults.count(Call::kPwrite), writes);
        EXPECT_EQ(faults.count(Call::kClose), transfers);
        EXPECT_EQ(faults.system_calls(), 5 * transfers);
        faults.reset();
    };
    (void)get("none");
    transfers_since(1, 0);
    cfg_set("serialno", "1");
    transfers_since(3, 1);
    cfg_set("serialno", "2");
    transfers_since(2, 1);
    unsetcfgbyname("serialno");
    transfers_since(2, 1);
    factoryclean();
    transfers_since(25, 1);
}

TEST_F(VendorCfg, ASignalIsNoFailureOfATransfer) {
    Faults faults;
    faults.fail(Call::kPread, 1, EINTR);
    faults.fail(Call::kPwrite, 1, EINTR, 2);
    cfg_set("serialno", "S1");
    EXPECT_EQ(get("serialno"), "S1");
    expect_log_only({});
}
}  // namespace
