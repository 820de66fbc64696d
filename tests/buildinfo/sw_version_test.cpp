// Software version responses.
#include "buildinfo/sw_version.h"

#include "tests/support/phone.h"

namespace {

class SwVersion : public PhoneTest {
   protected:
    SwVersion() {
        set_property("ro.build.sw_internal_version", "INT-1.0");
        set_property("ro.build.display.id", std::string(40, 'D'));
        set_property("ro.build.date", "Tue Jan 10 12:34:56 CST 2023");
    }
    static Bytes padded(const std::string& text, size_t size) {
        Bytes bytes = text_bytes(text);
        bytes.resize(size);
        return bytes;
    }
};

TEST_F(SwVersion, EachCommandHasItsFieldsInTheirPlaces) {
    const Bytes when = padded("20230110", 12) + padded("123456", 9);
    const Bytes display(30, 'D');  // fills its field, no terminator
    EXPECT_EQ(exchange({56}), Bytes{56} + padded("INT-1.0", 30) + when);
    EXPECT_EQ(exchange({60, 1, 2, 3}), Bytes{60} + display + when);
    EXPECT_EQ(exchange({57}),
              Bytes{57} + display + padded("INT-1.0", 30) + Bytes(210) + padded("20230110", 13) + padded("123456", 10));
}

TEST_F(SwVersion, DateThatCannotBeReadLeavesZeros) {
    for (const char* date : {"Tue Jan 10 12:34:56 CEST 2023", "Tue JAN 10 12:34:56 CST 2023", "",
                             "Tue Jan 10 12.34:56 CST 2023", "TueJan10     :  :       2023"}) {
        set_property("ro.build.date", date);
        EXPECT_EQ(exchange({56}), Bytes{56} + padded("INT-1.0", 30) + Bytes(21)) << date;
    }
}

TEST_F(SwVersion, NoBufferMeansNoResponse) {
    host_diag_fail_alloc(0, 1);
    EXPECT_EQ(exchange({57}), Bytes{});
}

TEST(LinuxDate, ResultsSayWhatIsWrong) {
    struct Case {
        const char* text;
        int result;
        const char* date;
        const char* time;
    };
    const Case cases[] = {
        {"Tue Jan 10 12:34:56 CST 2023", 0, "20230110", "123456"},
        {"Sun Dec  5 01:02:03 GMT 1999", 0, "199912 5", "010203"},  // right-aligned, as the pattern gives it
        {"Tue Jan 10 12:34:56 CEST 2023", -1, "", ""},
        {"Tue Jan 10 12-34:56 CST 2023", -1, "", ""},
        {"Tue JAN 10 12:34:56 CST 2023", -2, "", ""},
        {"TueJan10     :  :       2023", -3, "", ""},
    };
    for (const Case& c : cases) {
        std::string text = c.text;
        char date[12] = {};
        char time[9] = {};
        EXPECT_EQ(extract_format_from_linux_date_string(text.data(), date, time), c.result) << c.text;
        EXPECT_STREQ(date, c.date);
        EXPECT_STREQ(time, c.time);
    }
}

}  // namespace
