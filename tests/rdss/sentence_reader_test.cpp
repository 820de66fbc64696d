#include "rdss/sentence_reader.h"

#include <algorithm>
#include <cstring>
#include <random>

#include "rdss/sentence_numbers.h"
#include "tests/support/phone.h"

namespace {

class SentenceReaderTest : public PhoneTest {
   protected:
    SentenceReaderTest() { rdss_data_reader_init(); }

    // Positions of the bytes that completed a positive answer.
    static std::vector<size_t> feed(std::string_view bytes) {
        std::vector<size_t> positive;
        for (size_t i = 0; i < bytes.size(); i++) {
            if (rdss_data_reader_addc(static_cast<unsigned char>(bytes[i])) == 0) {
                positive.push_back(i);
            }
        }
        return positive;
    }
    static bool answers(std::string_view bytes) { return !feed(bytes).empty(); }
    void expect_log_end(const char* text) const {
        ASSERT_FALSE(log().empty());
        EXPECT_EQ(D(text), log().back());
    }
};

TEST_F(SentenceReaderTest, SentencesAreJudgedByTheirFields) {
    struct Case {
        const char* sentence;
        bool positive;
        const char* last_line;
    };
    const Case cases[] = {
        {"$QXDFTSTART,2,0*hh\r\n", true, "QXDFTSTART s->cmd: 2, s->result: 0"},
        {"$QXDFTSTART,2,1*hh\r\n", false, "QXDFTSTART s->cmd: 2, s->result: 1"},
        {"$QXDFTSTART,258,256\r\n", true, "QXDFTSTART s->cmd: 2, s->result: 256"},
        {"$QXDFTSTOP,2,0*00\r\n", true, "QXDFTSTOP s->cmd: 2, s->result: 0"},
        {"$QXDFTSTOP,x,\r\n", false, "QXDFTSTOP s->cmd: 255, s->result: 0"},
        {"$QXDFTSTOPPED,2\r\n", true, "QXDFTSTOP s->cmd: 2, s->result: 0"},
        {"$QXDFTCNQ,2,35.5*hh\r\n", true, "QXDFTCNQ s->cmd: 2, s->result: 35.500000"},
        {"$QXDFTCNQ,1,1234567890.12345\r\n", false, "QXDFTCNQ s->cmd: 1, s->result: 0.000000"},
        {"$CCPWS,64,3,10*hh\r\n", true, "CCPWS s->moonnum: 64, s->branchnum: 3, s->num: 10"},
        {"$CCPWS,320,259,11*hh\r\n", false, "CCPWS s->moonnum: 320, s->branchnum: 259, s->num: 11"},
        {"$BDPWI,1.5,1,255,7,38.5*hh\r\n", true,
         "BDPWI s->num: 1, s->bandnum: -1, s->s2c_d: 7.000000, s->s2c_p: 38.500000"},
        {"$BDPWI,1.5,128,0,,-2*hh\r\n", false,
         "BDPWI s->num: -128, s->bandnum: 0, s->s2c_d: 0.000000, s->s2c_p: -2.000000"},
        {"$BDFKI,080910,TCQ,Yes,0,60,7*hh\r\n", true,
         "BDFKI s->time=080910, s->cmd=TCQ, s->send_state=Y, s->fail_cause=0, s->surplus_time=60, s->msg_id=7"},
        {"$BDFKI,,TCQ,N,2*hh\r\n", false,
         "BDFKI s->time=, s->cmd=TCQ, s->send_state=N, s->fail_cause=2, s->surplus_time=, s->msg_id=0"},
        {"$BDFKI,123456789012345678901234567890123,TCQX,Y,0,12345678901234567,1\r\n", false,
         "BDFKI s->time=12345678901234567890123456789012, s->cmd=TCQX, s->send_state=Y, s->fail_cause=0, "
         "s->surplus_time=1234567890123456, s->msg_id=1"},
        {"$QXMONVER,1,V2.1*hh\r\n", false, "rdss_data_reader_parse: r->chip_version: V2.1"},
        {"$GNRMC,1,2*hh\r\n", false, "$GNRMC,1,2*hh\r"},
        {"$GPGGA,1,2*hh\r\n", false, "tok.p: GPGGA,1,2*hh\r"},
        {"$AB,1234*hh\r\n", false, "sentence id 'AB' too short, ignored."},
        {"$ab\r\n", false, "Too short. discarded."},
        {"$QXDFTSTOP,2,0*hh\n", false, "rdss_data_reader_addc: c = $,r->pos111 = 0"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.sentence);
        clear_log();
        EXPECT_EQ(c.positive, answers(c.sentence));
        expect_log_end(c.last_line);
        EXPECT_EQ(0, rdss_data_reader.pos);
    }
}

TEST_F(SentenceReaderTest, SentenceIsLoggedStepByStep) {
    EXPECT_TRUE(answers("x$QXDFTSTART,2,0*hh\r\n"));
    expect_log_only({D("rdss_data_reader_addc: c = x,r->pos111 = 0"), D("rdss_data_reader_addc: c = $,r->pos111 = 0"),
                     D("rdss_data_reader_addc: rdss_data_reader_parse "), D("rdss_data_reader_parse start"),
                     D("$QXDFTSTART,2,0*hh\r"), D("tok.p: QXDFTSTART,2,0*hh\r"), D("$QXDFTSTART,2,0*hh\r"),
                     D("s->cmd: 2"), D("QXDFTSTART s->cmd: 2, s->result: 0")});
}

TEST_F(SentenceReaderTest, TextsAreKeptUntilTheNextInit) {
    EXPECT_TRUE(answers("$QXDFTCNQ,2,41.25*hh\r\n$QXDFTCNQ,2,7*hh\r\n$BDPWI,1,1,1,1,38.5*hh\r\n"));
    EXPECT_STREQ("71.25", get_rdss_chip_cn());  // a shorter text leaves the tail of the longer one
    EXPECT_STREQ("38.5", get_rdss_chip_cn_new());
    EXPECT_FALSE(answers("$QXMONVER,1,LONGER*hh\r\n$QXMONVER,1,V1*hh\r\n"));
    EXPECT_STREQ("V1", rdss_data_reader.chip_version);
    EXPECT_EQ(kReaderHasVersion, rdss_data_reader.flags);
    const std::string wide(100, '5');
    EXPECT_TRUE(answers("$QXDFTCNQ,2," + wide + "\r\n$QXMONVER,1," + wide + "\r\n"));
    EXPECT_EQ(wide.substr(0, 31), get_rdss_chip_cn());
    EXPECT_EQ(wide.substr(0, 31), rdss_data_reader.chip_version);
    EXPECT_STREQ("38.5", rdss_data_reader.cn_new);
    rdss_data_reader_init();
    EXPECT_STREQ("", get_rdss_chip_cn());
    expect_log_end("get_rdss_chip_cn: CN value = ");
}

TEST_F(SentenceReaderTest, NoiseBetweenSentencesChangesNothing) {
    const std::string good[] = {"$QXDFTSTOP,2,0*hh\r\n", "$QXDFTCNQ,2,35.5*5F\r\n", "$CCPWS,64,3,10*hh\r\n"};
    const std::string noise[] = {"",    "abc",   "\r\n\r\n", std::string("\0\xff\x80", 3),       "$QXDFT",
                                 "$$$", "$\r\n", "$a,b\n",   "$" + std::string(2047, 'x') + "y", "*hh\r\n"};
    for (const std::string& before : noise) {
        for (const std::string& sentence : good) {
            SCOPED_TRACE(before + sentence);
            EXPECT_EQ(std::vector{before.size() + sentence.size() - 1}, feed(before + sentence));
        }
    }
}

TEST_F(SentenceReaderTest, OverlongSentenceIsDiscardedWithoutSkippingItsRest) {
    feed("$" + std::string(2047, 'x'));
    EXPECT_EQ(2048, rdss_data_reader.pos);
    EXPECT_EQ(-1, rdss_data_reader_addc('y'));
    expect_log_end("rdss_data_reader_addc: c = 121,r->pos = 2048");
    EXPECT_EQ(0, rdss_data_reader.overflow);
    EXPECT_TRUE(answers("$QXDFTSTOP,2,0*hh\r\n"));
    rdss_data_reader.overflow = 1;
    EXPECT_FALSE(answers("$QXDFTSTOP,2,0*hh\r\n"));
    expect_log_end("rdss_data_reader_addc: c = 10,r->overflow = 1");
    EXPECT_TRUE(answers("$QXDFTSTOP,2,0*hh\r\n"));
}

TEST_F(SentenceReaderTest, TenMillionRandomBytesLeaveTheReaderSound) {
    HostSettings quiet = settings();
    quiet.log_sink = [](const HostLogRecord&) {};
    reconfigure(quiet);
    constexpr std::string_view kPieces[] = {"$QXDFTCNQ,2,", "$BDFKI,,TCQ,Y", "$BDPWI,1,1",
                                            "$QXMONVER,1,", ",,,,,,",        "\r\n"};
    std::minstd_rand random(6);
    for (size_t fed = 0; fed < 10000000;) {
        const auto dice = static_cast<uint32_t>(random());
        const std::string_view piece = kPieces[dice / 7 % std::size(kPieces)];
        const char byte = static_cast<char>(dice >> 12U);
        const std::string_view bytes = dice % 64 == 0 ? piece : std::string_view(&byte, 1);
        feed(bytes);
        fed += bytes.size();
        ASSERT_TRUE(rdss_data_reader.pos >= 0 && rdss_data_reader.pos <= kSentenceMax);
    }
    EXPECT_LT(strnlen(rdss_data_reader.cn, kReaderTextSize), kReaderTextSize);
    feed("$$");
    EXPECT_TRUE(answers("$QXDFTSTOP,2,0*hh\r\n"));
    EXPECT_TRUE(std::all_of(std::begin(rdss_data_reader.reserved), std::end(rdss_data_reader.reserved),
                            [](char c) { return c == 0; }));
}

TEST_F(SentenceReaderTest, NumbersAreReadInTheirOwnWay) {
    const std::pair<const char*, float> floats[] = {
        {"", 0.0F},    {"7", 7.0F},    {"-12.50", -12.5F}, {"1-2", -12.0F}, {"12.", 12.0F}, {".25", 0.25F},
        {"a1b", 1.0F}, {"1.-5", 1.5F}, {"1.2.5", 1.25F},   {"+3", 3.0F},    {"-.x5", -0.5F}};
    for (const auto& [text, value] : floats) {
        EXPECT_FLOAT_EQ(value, str_atof(text)) << text;
    }
    const std::pair<const char*, int> integers[] = {{"", 0},    {"0012", 12}, {"12a", -1},
                                                    {"-1", -1}, {" 1", -1},   {"4294967297", 1}};
    for (const auto& [text, value] : integers) {
        EXPECT_EQ(value, str2int(text)) << text;
    }
    EXPECT_EQ(0.0, str2float("1234567890123456"));
    EXPECT_FLOAT_EQ(123456789012345.0F, static_cast<float>(str2float("123456789012345")));
    EXPECT_EQ(0x45, nmea_checksum("QXDFTSTOP,2,0", 13));
    EXPECT_EQ(0, nmea_checksum("", 0));
}

TEST_F(SentenceReaderTest, NumberReaderLogsEveryStep) {
    EXPECT_FLOAT_EQ(-1.2F, static_cast<float>(str2float("-1.2")));
    expect_log_only({D("str2float temp = -1.2"), D("str_atof sstart = -1.2"), D("str_atof sstart = 1.2"),
                     D("str_atof f0 = 1.000000"), D("str_atof sstart = .2"), D("str_atof send = 2"),
                     D("str_atof f1 = 2.000000"), D("str_atof cn = -1.200000")});
}

}  // namespace
