// What no command reaches of the store's partition: the operations on the whole image and the private device node.
#include "vendorcfg/vendorcfg_partition.h"

#include <cstring>
#include <tuple>

#include "tests/support/phone.h"

namespace {
constexpr const char* kFirst = "/dev/block/by-name/orbcfg";
constexpr const char* kDip = "/dev/block/bootdevice/by-name/dip";
constexpr const char* kNode = "/dev/__vcfg__";
constexpr size_t kEnd = 4096 + kVendorcfgImageSize;

class VendorcfgPartition : public PhoneTest {
   protected:
    VendorcfgPartition() {
        remove("/dev");
        blk_majorid = blk_minorid = 0;
        (void)remove_vendorcfg_node();  // back to the first path
        clear_log();
    }
    void make_partition(const std::string& path, size_t size = 16384) { write_file(path, std::string(size, '\x5a')); }
};

TEST_F(VendorcfgPartition, OnlyTheImageIsReadAndWritten) {
    make_partition(kFirst);
    uint8_t image[kVendorcfgImageSize];
    EXPECT_EQ(vendorcfg_restore(image), 0);
    EXPECT_EQ(image[0], 0x5a);
    memset(image, 0xC3, sizeof(image));
    EXPECT_EQ(vendorcfg_pl_save(image), 0);
    const std::string bytes = read_file_text(kFirst);
    EXPECT_EQ(bytes,
              std::string(4096, '\x5a') + std::string(kVendorcfgImageSize, '\xC3') + std::string(16384 - kEnd, '\x5a'));
    expect_log_only({});
    EXPECT_EQ(vendorcfg_checksize(), 1);
    vendorcfg_clean();
    expect_log_only({I("Clean vendorcfg done!")});
    EXPECT_EQ(vendorcfg_pl_restore(image), 0);
    EXPECT_EQ(std::string(image, image + sizeof(image)), std::string(sizeof(image), '\0'));
}

TEST_F(VendorcfgPartition, AUeventFileOfThePartitionGivesItsNumbers) {
    const std::tuple<const char*, int, int, int> cases[] = {
        // content, result, major, minor
        {"MAJOR=259\nMINOR=18\nDEVNAME=sda7\nPARTNAME=dip\n", 0, 259, 18},
        {"MAJOR=8\nMINOR=3\nPARTNAME=dipper", 0, 8, 3},
        {"MAJOR=8\nMINOR=3\nPARTNAME=di\n", 0, -1, -1},
        {"MAJOR=8\nMINOR=3\nPARTNAME=xdip\n", 0, -1, -1},
        {"PARTNAME=dip\nMAJOR=8\nMINOR=3\n", 0, 0, 0},
        {"MAJOR=8\nMINOR=3\n xPARTNAME=dip\n", -1, -1, -1},
        {"", -1, -1, -1}};
    for (const auto& [content, result, major_id, minor_id] : cases) {
        blk_majorid = blk_minorid = -1;
        write_file("/sys/uevent", content);
        EXPECT_EQ(try_uevent("/sys/uevent"), result) << content;
        EXPECT_EQ(std::pair(blk_majorid, blk_minorid), std::pair(major_id, minor_id)) << content;
    }
    EXPECT_EQ(try_uevent("/sys/none"), -1);
}

TEST_F(VendorcfgPartition, ThePrivateNodeServesUntilItIsRemoved) {
    remove("/sys/class/block");
    create_vendorcfg_node();
    EXPECT_STREQ(vendorcfg_blk_path, kDip);
    expect_log_only({I("create_vendorcfg_node enter."), I("Can not find vendorcfg blk device!!!! ERROR.")});

    clear_log();
    write_file("/sys/class/block/sda/uevent", "MAJOR=8\nMINOR=0\nDEVTYPE=disk\n");
    write_file("/sys/class/block/sda9/uevent", "MAJOR=8\nMINOR=9\nPARTNAME=dip\n");
    make_dir("/sys/class/block/sdb");
    make_partition(kNode);  // a node of an earlier time makes the creation fail
    create_vendorcfg_node();
    expect_log_only(
        {I("create_vendorcfg_node enter."), I("Result: blk_majorid = 8 blk_minorid=9"), I("create_vendorcfg_node=-1")});
    EXPECT_STREQ(vendorcfg_blk_path, kNode);
    EXPECT_EQ(remove_vendorcfg_node(), 0);
    EXPECT_FALSE(exists(kNode));
    EXPECT_STREQ(vendorcfg_blk_path, kDip);
    EXPECT_EQ(remove_vendorcfg_node(), -1);
}
}  // namespace
