// The two small languages of the hardware commands: version tables and capacities.
#include "ftm/hardware_version.h"

#include <gtest/gtest.h>

#include <tuple>

#include "ftm/storage_capacity.h"

TEST(HardwareVersion, FormFollowsPunctuation) {
    EXPECT_EQ(hardware_version_form("V1.0_a"), HardwareVersionForm::kPlain);
    EXPECT_EQ(hardware_version_form("A_1,B"), HardwareVersionForm::kByPosition);
    EXPECT_EQ(hardware_version_form("1-A"), HardwareVersionForm::kNumberName);
    EXPECT_EQ(hardware_version_form("1-A,2_3-B"), HardwareVersionForm::kProjectName);
}

TEST(HardwareVersion, NamesByPositionAndByNumber) {
    using Case = std::tuple<const char*, int, const char*>;
    const Case positions[] = {{"A,B,C", 0, "A"}, {"A,B,C", 1, "B"}, {"A,B,C", 2, "C"},
                              {"A,B,C", 3, ""},  {"A,,C", 1, ""},   {"A,B\n", 1, "B\n"}};
    for (const auto& [text, board, name] : positions) {
        EXPECT_EQ(version_at_position(text, board), name) << text << " " << board;
    }
    const Case numbers[] = {{"1-EVT,2-DVT,3-PVT", 1, "EVT"},
                            {"1-EVT,2-DVT,3-PVT", 2, "DVT"},
                            {"1-EVT,2-DVT,3-PVT", 3, "PVT"},
                            {"1-EVT,2-DVT,3-PVT", 4, ""},
                            {"1-E-V,2-D-V", 2, "D-V"},
                            {"1-E-V", 1, "E-V"},
                            {"A1-EVT,2-DVT", 2, ""},      // the table must begin with a digit
                            {"1,2-DVT", 1, ""},           // the hyphen is another entry's
                            {"1-EVT, 2-DVT,2-X", 2, ""},  // the first entry with the number decides
                            {"1-EVT,x-DVT,0-X", 0, ""},   // no number counts as 0
                            {"1-,1-B", 1, ""},            // an empty name is none
                            {"99999999999999999999-A,2147483647-B", 2147483647, "A"}};
    for (const auto& [text, board, name] : numbers) {
        EXPECT_EQ(version_by_number(text, board).name, name) << text << " " << board;
    }
}

TEST(HardwareVersion, ProjectEntriesCompareBothBytes) {
    using Case = std::tuple<const char*, int, bool>;
    const Case cases[] = {{"1_3-DVT", 259, true}, {"1_3-DVT", 0x10103, true}, {"1_3-DVT", 258, false},
                          {"1_3-DVT", 3, false},  {" 1_+3-D", 259, true},     {"1_3", 259, false},
                          {"1-3_3", 259, false},  {"1_3-", 259, false},       {"257_3-A", 259, false},
                          {"", 0, false}};
    for (const auto& [entry, board, matches] : cases) {
        EXPECT_EQ(project_version_matches(parse_project_version(entry), board), matches) << entry << " " << board;
    }
    EXPECT_EQ(parse_project_version("1_3-D_V-T").name, "D_V-T");
}

TEST(StorageCapacity, SectorsBecomeNominalSizes) {
    using Case = std::tuple<const char*, uint64_t, uint64_t>;
    const Case cases[] = {{"0x1dcb0000\n", 238, 256},
                          {"0X1DCB0000 junk", 238, 256},
                          {"0x", 0, 0},
                          {" 1dcb0000", 0, 0},
                          {"800000", 4, 4},
                          {"a00000", 5, 8},
                          {"100000000", 2048, 2048},
                          {"100200000", 2049, 2049},
                          {"20000g", 1, 4},
                          {"ffffffffffffffff", 0x3FFFFFFFF, 0x3FFFFFFFF}};
    for (const auto& [sectors, gib, nominal] : cases) {
        EXPECT_EQ(storage_capacity_gib(sectors), gib) << sectors;
        EXPECT_EQ(storage_nominal_gib(gib), nominal) << gib;
    }
}
