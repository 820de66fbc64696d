// The device identifier: a digest that holds a random draw, which a case cannot foresee.
#include <ctime>

#include "ftm/ftm_digest.h"
#include "tests/support/phone.h"

using IdentityTest = PhoneTest;

TEST_F(IdentityTest, UdidIsTheDigestOfVersionStorageBoardAndDraw) {
    make_cfg_partition();
    set_property("ro.build.sw_internal_version", "SW1");
    set_property("ro.boot.emmcid", "EMMC");
    set_state("board/board_id", "ABCDEFGHIJKLMNOP");
    const time_t begin = time(nullptr);
    ASSERT_EQ(ftm("WriteUDID").text(), "write udid success\n");
    const std::string udid = ftm("ReadUDID").text();
    bool found = false;
    for (time_t seed = begin; seed <= time(nullptr); ++seed) {
        srand(static_cast<unsigned>(seed));
        const std::string source = "SW1EMMCABCDEFGHIJKL" + std::to_string(rand() % 1000000);
        found = found || udid == sha256_hex(source.data(), source.size());
    }
    EXPECT_TRUE(found) << udid;
}
