// What the phone's closed libraries answer, from the state files of the simulated phone.
#include <array>
#include <cstring>

#include "platform/include/modem_api.h"
#include "platform/include/properties.h"
#include "platform/include/vendor_utils.h"
#include "tests/support/phone.h"

namespace {
class HostLibraries : public PhoneTest {
   protected:
    static std::string get(const char* key, const char* missing = nullptr) {
        std::array<char, PROPERTY_VALUE_MAX> value{};
        const int length = property_get(key, value.data(), missing);
        EXPECT_EQ(length, static_cast<int>(strlen(value.data())));
        return value.data();
    }
};

TEST_F(HostLibraries, PropertiesThatWereSetHideTheBuildsOwn) {
    write_file("/system/build.prop", "# comment\nro.a=one\nb.c=with=equals \nempty=\n");
    write_file("/vendor/build.prop", "ro.a=two\nro.v=vendor");
    EXPECT_EQ(get("ro.a"), "one");
    EXPECT_EQ(get("ro.v"), "vendor");
    EXPECT_EQ(get("b.c"), "with=equals ");
    EXPECT_EQ(get("empty", "missing"), "missing");
    EXPECT_EQ(get("none"), "");
    EXPECT_EQ(get("none", std::string(200, 'd').c_str()), std::string(91, 'd'));
    set_property("b.c", "line\n");
    EXPECT_EQ(get("b.c"), "line\n");
    set_property("ro.long", std::string(200, 'v'));
    EXPECT_EQ(get("ro.long"), std::string(91, 'v'));
}

TEST_F(HostLibraries, PropertiesAreSetByAndroidsRules) {
    write_file("/system/build.prop", "ro.built=1\n");
    const struct {
        std::string name;
        std::string value;
        bool good;
    } cases[] = {{"a.b", std::string(91, 'x'), true},
                 {"a.b", std::string(92, 'x'), false},
                 {"a.b", "", true},
                 {"ro.new", std::string(300, 'x'), true},
                 {"ro.new", "again", false},
                 {"ro.built", "2", false},
                 {"a/../../b", "x", false},
                 {"../x", "x", false},
                 {"a b", "x", false},
                 {".a", "x", false},
                 {"a.", "x", false},
                 {"", "x", false}};
    for (const auto& c : cases) {
        const std::string before = property(c.name);
        EXPECT_EQ(property_set(c.name.c_str(), c.value.c_str()) == 0, c.good) << c.name;
        EXPECT_EQ(property(c.name), c.good ? c.value : before) << c.name;
    }
}

TEST_F(HostLibraries, AModemWithoutStateFailsAndStillJournals) {
    std::array<uint8_t, 16> bytes{};
    std::array<char, kModemPropertyMax> text{};
    int length = 16;
    uint16_t version = 0;
    EXPECT_EQ(modem_api_init_qmi_connection(228, 1), -1);
    EXPECT_NE(modem_read_efs(1, bytes.data(), &length), 0);
    EXPECT_NE(modem_get_prl_version(&version), 0);
    EXPECT_NE(modem_get_imei(text.data(), 16), 0);
    EXPECT_NE(modem_get_all_cards_status(bytes.data()), 0);
    EXPECT_NE(modem_api_get_sim_tray_presence_state(bytes.data()), 0);
    EXPECT_NE(modem_api_get_uim_eid(bytes.data(), &length), 0);
    EXPECT_NE(modem_api_get_modem_property_sync("p", text.data()), 0);
    EXPECT_EQ(modem_restore_qcn_data(), -1);
    EXPECT_EQ(modem_write_deft_info("12", 2), -1);
    EXPECT_EQ(modem_write_efs(7, "abc", 3), 0);
    EXPECT_EQ(modem_api_set_modem_property_int_sync("p", -5), 0);
    EXPECT_EQ(modem_journal(),
              (std::vector<std::string>{"restore_qcn", "write_deft 12", "write_efs 7 3", "set_property p -5"}));
    EXPECT_EQ(state("modem/efs/7"), "abc");
    EXPECT_EQ(state("modem/properties/p"), "-5");
}

TEST_F(HostLibraries, BoardDataIsKeptInItsFiles) {
    std::array<unsigned char, kBoardRecordSize> record{};
    int length = kBoardRecordSize;
    int value = 0;
    EXPECT_EQ(get_board_id(record.data(), &length), 0);
    EXPECT_EQ(set_board_id(text_bytes("board").data(), 5), 1);
    EXPECT_EQ(get_board_id(record.data(), &length), 1);
    EXPECT_EQ(length, 5);
    set_state("board/ccf", std::string(200, 'c'));
    length = 100;
    EXPECT_EQ(get_ccf(record.data(), &length), 1);
    EXPECT_EQ(length, 100);
    set_state("board/set_result", "2");
    EXPECT_EQ(set_mcf(record.data(), 5), 2);
    EXPECT_EQ(state("board/mcf"), "");
    EXPECT_EQ(log_control_get_flag(), 0);
    EXPECT_EQ(log_control_set_flag(1), 0);
    EXPECT_EQ(log_control_get_flag(), 1);
    EXPECT_LT(cfg_service_get_int("a.b", &value), 0);
    EXPECT_GE(cfg_service_set_int("a.b", -3), 0);
    EXPECT_GE(cfg_service_get_int("a.b", &value), 0);
    EXPECT_EQ(value, -3);
}

TEST_F(HostLibraries, Base64IsPaddedToFours) {
    for (const auto& [bytes, text] : std::initializer_list<std::pair<Bytes, const char*>>{
             {{}, ""}, {{0}, "AA=="}, {{'a', 'b'}, "YWI="}, {{0xff, 0xef, 0xbe}, "/+++"}, {{1, 2, 3, 4}, "AQIDBA=="}}) {
        std::array<char, 16> out{};
        EXPECT_EQ(vendor_utils_base64_encode(bytes.data(), static_cast<int>(bytes.size()), out.data()),
                  static_cast<int>(strlen(text)));
        EXPECT_STREQ(out.data(), text);
    }
}

}  // namespace
