// What the phone's closed libraries answer, from the state files of the simulated phone.
#include <array>
#include <cstring>

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
