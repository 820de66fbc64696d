// Battery level and SD-card presence.
#include "factory/ap_commands.h"

#include <tuple>

#include "tests/support/phone.h"

namespace {
constexpr const char* kCapacity = "/sys/class/power_supply/battery/capacity";
constexpr const char* kPartitions = "/proc/partitions";
constexpr const char* kBootDevice = "/dev/block/bootdevice";

class ApCommands : public PhoneTest {
   protected:
    bool card_present() {
        const Bytes answer = exchange(hex("4b cd 2b 00"));
        EXPECT_TRUE(answer == hex("4b cd 2b 00 00 ff 00 00 00") || answer == hex("4b cd 2b 00 01 00 00 00 00"));
        return answer.size() == 9 && answer[4] == 0;
    }
};

TEST_F(ApCommands, TheBatteryLevelIsTheNodesNumber) {
    const std::tuple<const char*, uint8_t, uint8_t> cases[] = {
        {"100\n", 2, 100}, {"0", 2, 0}, {"300\n", 2, 44}, {"full\n", 2, 0}, {"", 0, 0}};
    for (const auto& [content, state, percent] : cases) {
        clear_log();
        write_file(kCapacity, content);
        EXPECT_EQ(exchange(hex("4b ca 04 00 00")), hex("4b ca 04 00") + Bytes({state, percent})) << content;
        EXPECT_EQ(log().front().text.rfind("BatteryState battery rsp =0x", 0), 0U);
        EXPECT_EQ(log_contains("\n value:"), state == 2);
        EXPECT_EQ(log().back().text.rfind(" battery rsp111111 =0x", 0), 0U);
    }
    remove(kCapacity);
    EXPECT_EQ(exchange(hex("4b ca 04 00 00")), hex("4b ca 04 00 00 00"));
}

TEST_F(ApCommands, AShortRequestGetsTheBadLengthAnswer) {
    EXPECT_EQ(exchange(hex("4b ca 04 00")), hex("15 4b ca 04 00"));
    expect_log_only({E("BatteryState pkt_len  =4")});
    clear_log();
    const uint8_t request[] = {75, 205, 43};
    EXPECT_EQ(host_diag_take(diag_AP_SDCard_Test(request, 3)), hex("15 4b cd 2b"));
    expect_log_only({E("1@@@@ Enter sdcard_test:pkt_len = 3"), E("sdcard_test pkt_len =3")});
}

TEST_F(ApCommands, TheCardIsTheMmcDeviceBesideTheInternalStorage) {
    const char* const ufs = "platform/soc/1d84000.ufshc";
    const char* const emmc = "platform/soc/7c4000.sdhci";
    const std::tuple<const char*, const char*, bool> cases[] = {
        {ufs, "major minor  #blocks  name\n\n   8        0  121040896 sda\n 179        0   62367744 mmcblk0\n", true},
        {emmc, " 179        0   62367744 mmcblk0\n", false},
        {emmc, " 179        0   62367744 mmcblk0\n 179       32  500 mmcblk1", true},
        {ufs, " 179        1   62367744 mmcblk0p1", true},
        {ufs, "   8        0  121040896 sda\n 179 0 1 mmcblk1\n", false},
        {ufs, "", false},
        {ufs, "mmcblk0", true},
    };
    for (const auto& [boot, partitions, present] : cases) {
        remove(kBootDevice);
        make_link(kBootDevice, boot);
        write_file(kPartitions, partitions);
        EXPECT_EQ(card_present(), present) << boot << partitions;
    }
    remove(kPartitions);
    EXPECT_FALSE(card_present());
}

TEST_F(ApCommands, TheLinkIsReadAgainForEveryLine) {
    remove(kBootDevice);
    write_file(kPartitions, "name\n\n 179        0   62367744 mmcblk1\n");
    EXPECT_TRUE(card_present());
    const LogLine no_link = E("file(/dev/block/bootdevice) read fail, error=No such file or directory");
    expect_log({D("read_file file len = 39"), no_link, no_link, no_link, I("end of digit"), E("is_sdcard_exist = 1")});
}
}  // namespace
