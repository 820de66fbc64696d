// Configuration records: where they go, how they are found, and what survives the factory clean.
#include "vendorcfg/vendorcfg.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <map>
#include <random>

#include "tests/support/faults.h"
#include "tests/support/phone.h"
#include "tests/vendorcfg/lock_holder.h"
#include "vendorcfg/vendorcfg_record.h"

namespace {
constexpr const char* kPartition = "/dev/block/by-name/orbcfg";
constexpr size_t kRecordSize = 128;

TEST(CfgRecord, FillingASlotWritesItsTextsAndNothingElse) {
    uint8_t image[kVendorcfgImageSize];
    memset(image, 0xEE, sizeof(image));
    CfgRecord* const record = cfg_records(image) + 5;
    cfg_fill(record, "n", std::string(40, 'v').c_str());
    const std::string expected = "this-is-cfg-head" + std::string(1, '\0') + std::string(15, '\xEE') + "n" +
                                 std::string(1, '\0') + std::string(30, '\xEE') + "cfg-signature-is-here" +
                                 std::string(1, '\0') + std::string(10, '\xEE') + std::string(32, 'v');
    EXPECT_EQ(std::string(image + 5 * kRecordSize, image + 6 * kRecordSize), expected);
    EXPECT_EQ(std::string(image + 6 * kRecordSize, image + sizeof(image)), std::string(58 * kRecordSize, '\xEE'));
    cfg_clear(record);
    EXPECT_EQ(std::string(image + 5 * kRecordSize, image + 6 * kRecordSize), std::string(kRecordSize, '\0'));
}

TEST(CfgRecord, NamesAndValuesThatFit) {
    EXPECT_TRUE(cfg_fits(std::string(31, 'n').c_str(), std::string(32, 'v').c_str()));
    EXPECT_FALSE(cfg_fits(std::string(32, 'n').c_str(), ""));
    EXPECT_FALSE(cfg_fits("n", std::string(33, 'v').c_str()));
    EXPECT_FALSE(cfg_fits("n", nullptr));
}

class VendorCfg : public PhoneTest {
   protected:
    VendorCfg() { write_file(kPartition, std::string(16384, '\0')); }

    std::string record(size_t index) const {
        return read_file_text(kPartition).substr(4096 + index * kRecordSize, kRecordSize);
    }
    std::string name_at(size_t index) const { return record(index).substr(32, 32).c_str(); }
    std::string value_at(size_t index) const { return record(index).substr(96, 32).c_str(); }
    void patch(size_t offset, const std::string& bytes) {
        write_file(kPartition, read_file_text(kPartition).replace(4096 + offset, bytes.size(), bytes));
    }
    std::string get(const std::string& name) const {
        char value[kCfgValueSize + 1] = {};
        return cfg_get(name.c_str(), value, "<none>") == 1 ? value : "<none>";
    }
};

TEST_F(VendorCfg, ANameTakesTheLowestFreeSlotOfItsAreaAndKeepsIt) {
    EXPECT_EQ(cfg_set("serialno", "A-long-serial"), 1);
    EXPECT_EQ(cfg_set("deviceid.sign.3", "s"), 1);
    EXPECT_EQ(cfg_set("other", "o"), 1);
    EXPECT_EQ(cfg_set("serialno", "B"), 1);
    EXPECT_EQ(name_at(0), "serialno");
    EXPECT_EQ(record(0).substr(96, 14), std::string("B\0long-serial\0", 14));  // the old value's tail stays
    EXPECT_EQ(name_at(1), "other");
    EXPECT_EQ(name_at(32), "deviceid.sign.3");
    EXPECT_EQ(unsetcfgbyname("serialno"), 1);
    EXPECT_EQ(record(0), std::string(kRecordSize, '\0'));
    EXPECT_EQ(cfg_set("third", "t"), 1);
    EXPECT_EQ(name_at(0), "third");
    expect_log_only({});
    EXPECT_EQ(unsetcfgbyname("serialno"), -1);
    expect_log_only({I("ERROR:can not unset serialno, not found!")});
}

TEST_F(VendorCfg, ADamagedRecordIsInvisibleAndReused) {
    cfg_set("first", "1");
    cfg_set("second", "2");
    patch(64 + 3, "X");
    EXPECT_EQ(get("first"), "<none>");
    EXPECT_EQ(cfg_set("third", "3"), 1);
    EXPECT_EQ(name_at(0), "third");
    EXPECT_EQ(checkdatavalid(getcfgbyname("second")), 1);
    patch(kRecordSize + 16, "!");
    EXPECT_EQ(findcfgbyname("second"), nullptr);
}

TEST_F(VendorCfg, ALookupCopiesTheWholeFieldOrTheDefault) {
    const std::string longest_name(31, 'n');
    const std::string full_value(32, 'v');
    EXPECT_EQ(cfg_set(longest_name.c_str(), full_value.c_str()), 1);
    EXPECT_EQ(get(longest_name), full_value);
    cfg_set("short", "abcdef");
    cfg_set("short", "xy");
    char out[kCfgValueSize + 1];
    memset(out, '#', sizeof(out));
    EXPECT_EQ(cfg_get("short", out, nullptr), 1);
    EXPECT_EQ(std::string(out, sizeof(out)), "xy" + std::string(30, '\0') + "#");
    memset(out, '#', sizeof(out));
    EXPECT_EQ(cfg_get("none", out, "def"), -1);
    EXPECT_EQ(std::string(out, 4), "def#");
    expect_log_only({});
    EXPECT_EQ(cfg_get("none", out, nullptr), -1);
    EXPECT_EQ(cfg_get(std::string(32, 'n').c_str(), out, "toolong"), -1);
    EXPECT_EQ(std::string(out, 8), "toolong#");
    expect_log_only(
        {I("vendorcfg FATAL ERROR, default_value is null!!!"), I("vendorcfg FATAL ERROR, cfgname is tool long!!!")});
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

TEST_F(VendorCfg, AFullAreaRefusesAndIsDumped) {
    for (int i = 0; i < 32; ++i) {
        EXPECT_EQ(cfg_set(("name" + std::to_string(i)).c_str(), std::string(32, 'v').c_str()), 1);
    }
    const std::string before = read_file_text(kPartition);
    EXPECT_EQ(cfg_set("name32", "v"), -1);
    EXPECT_EQ(cfg_set("name31", std::string(32, 'v').c_str()), 1);
    EXPECT_EQ(read_file_text(kPartition), before);
    const std::vector<LogLine> lines = log();
    ASSERT_EQ(lines.size(), 3U + 32U);
    EXPECT_EQ(lines[0], I("FATAL ERROR:cfgdata area is full!"));
    EXPECT_EQ(lines[1], I("MAXCOUNT = 32"));
    EXPECT_EQ(lines[2], I("==========================================="));
    EXPECT_EQ(lines[34], I("Valid Data: name=name31; head=this-is-cfg-head; str=" + std::string(32, 'v') +
                           ";  signature=cfg-signature-is-here"));
    EXPECT_EQ(cfg_set("secure.user.id", "v"), 1);  // the other area has room
    clear_log();
    vendorcfg_dump();
    EXPECT_EQ(log().size(), 2U + 64U);
    EXPECT_EQ(log()[0], I("MAXCOUNT = 64"));
    EXPECT_EQ(log()[65], I("Invalid Data: name=; head=; str=; signature="));
}

TEST_F(VendorCfg, TheCleanKeepsTheReservedRecordsOnly) {
    cfg_set("ordinary", "gone");
    cfg_set("auth_type", "gone");
    cfg_set("orb_sku", "kept-2");
    cfg_set("serialno", "kept-1");
    patch(32 * kRecordSize, std::string(kRecordSize, '\x42'));
    EXPECT_EQ(factoryclean(), 0);
    expect_log_only({I("Clean vendorcfg done!")});
    EXPECT_EQ(name_at(0), "serialno");  // in the order of the reserved names
    EXPECT_EQ(name_at(1), "orb_sku");
    EXPECT_EQ(value_at(1), "kept-2");
    EXPECT_EQ(read_file_text(kPartition).substr(4096 + 2 * kRecordSize), std::string(16384 - 4096 - 256, '\0'));
    cfg_set("orb_digital_label_B", std::string(32, 'l').c_str());
    EXPECT_EQ(factoryclean(), 1);
    EXPECT_EQ(get("orb_digital_label_B"), std::string(32, 'l'));
}

TEST_F(VendorCfg, TheCleanBringsBackTheTailOfAnEarlierLongValue) {
    cfg_set("fanlight", "0123456789abc");
    factoryclean();
    unsetcfgbyname("fanlight");
    factoryclean();
    EXPECT_EQ(get("fanlight"), "notdefine9abc");
}

TEST_F(VendorCfg, AStoreThatIsLockedKeepsItsRecords) {
    cfg_set("serialno", "S1");
    const std::string before = read_file_text(kPartition);
    const LockHolder holder(host(kPartition));
    ASSERT_TRUE(holder.held());
    EXPECT_EQ(cfg_set("other", "1"), 1);  // a failed writing is nobody's to know
    const LogLine no_read = I("restore: file is locked by other process!");
    const LogLine no_write = I("save: file is locked by other process!");
    expect_log_only({no_read, no_read, no_read, no_write});
    clear_log();
    factoryclean();
    std::vector<LogLine> lines(25, no_read);
    lines.insert(lines.end(), {no_write, I("Clean vendorcfg done!")});
    expect_log_only(lines);
    EXPECT_EQ(read_file_text(kPartition), before);
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

// The store as its users see it: a map of names for each area, with 32 places.
struct Model {
    std::map<std::string, std::string> areas[2];
    std::map<std::string, std::string> seen_by_clean;

    static size_t area(const std::string& name) { return cfg_area_of(name.c_str()) == kCfgAreaSecure ? 1 : 0; }
    bool set(const std::string& name, const std::string& value) {
        auto& records = areas[area(name)];
        if (records.count(name) == 0 && records.size() == 32) {
            return false;
        }
        records[name] = value;
        return true;
    }
    // A name that an earlier clean saw with more characters than "notdefine" comes back with that tail.
    void clean(const std::vector<std::string>& reserved) {
        std::map<std::string, std::string> kept;
        for (const std::string& name : reserved) {
            std::string& slot = seen_by_clean[name];
            const auto found = areas[0].find(name);
            slot =
                found != areas[0].end() ? found->second : "notdefine" + slot.substr(std::min<size_t>(9, slot.size()));
            if (slot != "notdefine") {
                kept[name] = slot;
            }
        }
        areas[0] = kept;
        areas[1].clear();
    }
};

TEST_F(VendorCfg, TwoThousandRandomOperationsAgreeWithAModel) {
    const std::vector<std::string> reserved = {"bootmode", "serialno", "orb_sku", "udid_b", "orb_digital_label_B"};
    std::vector<std::string> names = reserved;
    names.insert(names.end(), {"auth_type", "device_id_type", "secure.user.id", std::string(31, 'n')});
    for (int i = 0; i < 30; ++i) {
        names.push_back((i < 8 ? "deviceid.sign." : "name") + std::to_string(i));
    }
    std::mt19937 random(20240607);
    const auto below = [&random](size_t limit) { return random() % limit; };
    Model model;
    for (int step = 0; step < 2000; ++step) {
        const std::string& name = names[below(names.size())];
        const size_t action = below(100);
        if (action < 60) {
            const std::string value(below(33), static_cast<char>('a' + below(26)));
            ASSERT_EQ(cfg_set(name.c_str(), value.c_str()), model.set(name, value) ? 1 : -1) << step;
        } else if (action < 99) {
            ASSERT_EQ(unsetcfgbyname(name.c_str()), model.areas[Model::area(name)].erase(name) == 1 ? 1 : -1) << step;
        } else {
            (void)factoryclean();
            model.clean(reserved);
        }
        for (const std::string& each : step % 10 == 0 ? names : std::vector<std::string>{name}) {
            const auto& records = model.areas[Model::area(each)];
            const auto found = records.find(each);
            ASSERT_EQ(get(each), found != records.end() ? found->second : "<none>") << step << " " << each;
        }
    }
    const std::string bytes = read_file_text(kPartition);
    EXPECT_EQ(bytes.substr(0, 4096) + bytes.substr(12288), std::string(8192, '\0'));
}
}  // namespace
