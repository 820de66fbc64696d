// Requests from words, answers to values.
#include "tools/vdiag/catalogue/codec.h"

#include <gtest/gtest.h>

#include "tools/vdiag/run/report.h"

namespace vdiag {
namespace {

// The bytes behind the head, in hexadecimal, or the complaint behind "! ".
std::string encoded(const std::string& line) {
    std::vector<std::string> words;
    std::string error;
    Bytes request;
    (void)split_words(line, &words, &error);
    size_t used = 1;
    const Command* command = find_ftm(words[0]);
    command = command != nullptr ? command : find_words(words, &used);
    const std::vector<std::string> rest(words.begin() + static_cast<std::ptrdiff_t>(used), words.end());
    if (!encode_request(*command, rest, &request, &error)) {
        return "! " + error;
    }
    const size_t head = request_head(*command).size();
    return hex_text(request.data() + head, request.size() - head);
}

TEST(EncodeTest, ArgumentsBecomeTheBytesOfTheirTypes) {
    const struct {
        const char* line;
        std::string bytes;
    } kCases[] = {
        {"WriteWifimac 00:11:22:AA:bb:cc", "001122aabbcc"},
        {"WriteWifimac 00-11-22-aa-bb-cc", "001122aabbcc"},
        {"WriteWifimac hex:0011", "0011"},
        {"WriteVC serialno A1B2", "73657269616c6e6f000441314232"},
        {"WriteVC '' ''", "0000"},
        {"ReadFuse SECBOOT", "02"},
        {"ReadFuse 0x04", "04"},
        {"StartKPH", ""},
        {"StartKPH 9", "09"},
        {"InstallKeybox DEV", "0344455600"},
        {"InstallKeybox DEV abcd", "03444556000461626364"},
        {"InstallWidevineKey 00*126+6b+ff", "01" + std::string(252, '0') + "6bff"},
        {"rtn refurbish-record 1 12 31 2024", "010c1fe807"},
        {"operator set 46000 0xffffffff", "b0b30000ffffffff"},
        {"info get a bc",
         "0f0000000200016102"
         "6263"},
        {"info set a=1=2 b=",
         "1300000002000161033"
         "13d32016200"},
        {"info erase", "0a0000000000"},
        {"battery", "00"},
        {"WriteDEFT 1", "31"},
    };
    for (const auto& entry : kCases) {
        EXPECT_EQ(encoded(entry.line), entry.bytes) << entry.line;
    }
}

TEST(EncodeTest, ArgumentsBeyondTheirLimitsAreRefused) {
    const std::string long_name(64, 'x');
    const struct {
        std::string line;
        const char* complaint;
    } kCases[] = {
        {"WriteWifimac", "mac: missing"},
        {"WriteWifimac 00:11:22:aa:bb", "no address"},
        {"WriteWifimac 00:11:22:aa:bb:cc more", "one argument too many"},
        {"ReadFuse 256", "is not u8"},
        {"ReadFuse other", "is not u8"},
        {"rtn refurbish-record 1 13 1 2024", "1 to 12"},
        {"WriteSWVersion " + long_name, "at most 63"},
        {"WriteUnlockESIM " + long_name, "longer than 50"},
        {"WriteDEFT 12", "has 2 characters"},
        {"board write 0011", "2 bytes, not 128"},
        {"board write xyz", "neither hexadecimal"},
        {"board write @/nowhere/at/all", "cannot read"},
        {"WriteWifimac hex:0", "no hexadecimal"},
        {"info get", "missing"},
        {"info set operator", "is not NAME=VALUE"},
        {"info set a=" + std::string(256, 'x'), "longer than 255"},
    };
    for (const auto& entry : kCases) {
        const std::string result = encoded(entry.line);
        EXPECT_TRUE(result.starts_with("! ") && result.find(entry.complaint) != std::string::npos)
            << entry.line << ": " << result;
    }
}

Answer ask(const char* name, const std::string& answer_hex) {
    size_t used = 0;
    std::vector<std::string> words;
    std::string error;
    (void)split_words(name, &words, &error);
    const Command* command = find_ftm(name);
    command = command != nullptr ? command : find_words(words, &used);
    Bytes response = answer_head(*command);
    const Bytes rest = *hex_parse(answer_hex);
    response.insert(response.end(), rest.begin(), rest.end());
    Answer answer = decode_answer(request_head(*command), response, command);
    answer.title = name;
    return answer;
}

TEST(DecodeTest, AnswersBecomeValues) {
    const struct {
        const char* name;
        const char* answer;
        const char* json;
    } kCases[] = {
        {"ReadWifimac", "00 001122aabbcc 0000",
         R"({"command":"ReadWifimac","ok":true,"status":0,"status_text":"done","fields":{"mac":"00:11:22:aa:bb:cc"}})"},
        {"ReadVC", "00 6100 02 3132 00",
         R"({"command":"ReadVC","ok":true,"status":0,"status_text":"done","fields":{"name":"a","value":"12"}})"},
        {"ReadFactoryFlag", "01 00",
         R"({"command":"ReadFactoryFlag","ok":true,"status":1,"status_text":"the first-entry flag was set and is cleared now","fields":{}})"},
        {"WriteVariantFlag", "03 6661696c6564",
         R"({"command":"WriteVariantFlag","ok":false,"status":3,"status_text":"not written","fields":{"message":"failed"}})"},
        {"ReadUsbTag", "01 67657420757300",
         R"({"command":"ReadUsbTag","ok":false,"status":1,"status_text":"there is no such configuration record","fields":{"message":"get us"}})"},
        {"CheckUnlockESIM", "01 04 00",
         R"({"command":"CheckUnlockESIM","ok":false,"status":1,"status_text":"not done: see the reason","fields":{"reason":"wrong"}})"},
        {"UFS", "00 01 00",
         R"({"command":"UFS","ok":true,"status":0,"status_text":"done","fields":{"storage":"other"}})"},
        {"getbatterypresent", "00 31 ff",
         R"({"command":"getbatterypresent","ok":true,"status":0,"status_text":"done","fields":{"present":"1"},"rest":"ff"})"},
        {"ReadEdigitalCode", "00 61ff0b00",
         R"({"command":"ReadEdigitalCode","ok":true,"status":0,"status_text":"done","fields":{"label":{"hex":"61ff0b"}}})"},
        {"battery", "02 64",
         R"({"command":"battery","ok":true,"status":2,"status_text":"capacity read","fields":{"capacity":100}})"},
        {"keybox open", "ffffffff 00000000",
         R"({"command":"keybox open","ok":true,"status":0,"status_text":"done","fields":{"handle":-1}})"},
        {"info get", "00000000 1b000000 0200 016b0131 016b0132 07",
         R"({"command":"info get","ok":true,"status":0,"status_text":"done","fields":{"length":27,"values":{"k":["1","2"]}},"rest":"07"})"},
        {"GetCSR", "00 0500 7b7d",
         R"({"command":"GetCSR","ok":false,"status":0,"status_text":"done","fields":{},"rest":"05007b7d","fault":"the answer ends before csr"})"},
        {"ReadBTmac", "00 030000000000 00",
         R"({"command":"ReadBTmac","ok":false,"status":0,"status_text":"the address file is damaged","fields":{}})"},
        {"ReadEdigitalCode", "00 41420e0e0e0e0e0e0e0e0e0e0e0e0e0e00",
         R"({"command":"ReadEdigitalCode","ok":true,"status":0,"status_text":"done","fields":{"label":"AB"}})"},
        {"ReadEdigitalCode", "00 313233343536373839304142434445461010101010 00",
         R"({"command":"ReadEdigitalCode","ok":true,"status":0,"status_text":"done","fields":{"label":"1234567890ABCDEF"}})"},
        {"ReadEdigitalCode", "00 313233343536373839304142434445464748494a0c 00",
         R"({"command":"ReadEdigitalCode","ok":true,"status":0,"status_text":"done","fields":{"label":"1234567890ABCDEFGHIJ"}})"},
        {"ReadSecPatch", "00 ff00",
         R"({"command":"ReadSecPatch","ok":false,"status":0,"status_text":"no security patch level is set","fields":{}})"},
        {"ElecAccessNetAuthen", "00 0400",
         R"({"command":"ElecAccessNetAuthen","ok":true,"status":0,"status_text":"done","fields":{"message":4}})"},
        {"ReadVariantFlag", "01 6661696c65640a00",
         R"({"command":"ReadVariantFlag","ok":false,"status":1,"status_text":"no variant flag is set","fields":{"message":"failed\n"}})"},
        {"ReadSWVer", "01 ff00",
         R"({"command":"ReadSWVer","ok":false,"status":1,"status_text":"there is no such configuration record","fields":{}})"},
        {"checkcardto", "01 3200",
         R"({"command":"checkcardto","ok":false,"status":1,"status_text":"the tray is out, or unknown","fields":{"tray":"2"}})"},
        {"imei hash",
         "03000000 e7"
         "00000000000000000000000000000000000000000000000000000000000000",
         R"({"command":"imei hash","ok":false,"status":3,"status_text":"the modem gives no IMEI","fields":{}})"},
        {"keys check", "01 00 00",
         R"({"command":"keys check","ok":false,"status":1,"status_text":"not all keys were seen yet","fields":{"all_seen":"no"}})"},
        {"UFS", "ff 00",
         R"({"command":"UFS","ok":false,"status":255,"status_text":"the phone does not know this command","fields":{}})"},
    };
    for (const auto& entry : kCases) {
        const Answer answer = ask(entry.name, entry.answer);
        EXPECT_EQ(report_answer(answer, Style{.json = true}), std::string(entry.json) + "\n");
        EXPECT_EQ(complaint(answer).empty(), answer.good());
    }
}

TEST(DecodeTest, PeopleSeeNamesWordsLinesAndUncoveredBytes) {
    EXPECT_EQ(report_answer(ask("CheckUnlockESIM", "01 04"), Style{}),
              "CheckUnlockESIM: status 1, not done: see the reason\n  reason  4 (wrong)\n");
    EXPECT_EQ(report_answer(ask("GetTofData", "00 613d310a623d320a 00 07"), Style{}),
              "GetTofData: status 0, done\n  data  a=1\n    b=2\n  rest  07\n");
    // A terminal's control sequence in one byte, a turn of the writing direction, a character that shows nothing; and
    // one that shows.
    EXPECT_EQ(report_answer(ask("GetTofData", "00 c29b e280ae e2808b c3a4 1b 00"), Style{}),
              "GetTofData: status 0, done\n  data  \\xc2\\x9b\\xe2\\x80\\xae\\xe2\\x80\\x8b\u00e4\\x1b\n");
    EXPECT_NE(report_answer(ask("GetTofData", "00 c29b 00"), Style{.json = true}).find("\\u009b"), std::string::npos);
    EXPECT_EQ(report_answer(ask("UFS", "00"), Style{.hex = true}).substr(0, 31), "> 4b 0b fe 7f 55 46 53 00\n< 4b ");
}

TEST(DecodeTest, AnswersAreToldFromErrorsAndFromStrangers) {
    const Bytes request = {75, 253, 1, 0};
    const Command* command = find_request(request);
    const struct {
        Bytes packet;
        Match match;
    } kCases[] = {
        {{75, 253, 1, 0}, Match::kAnswer},
        {{75, 253, 2, 0}, Match::kForeign},
        {{75, 253, 1}, Match::kForeign},
        {{56, 1, 2}, Match::kForeign},
        {{19, 75, 253, 1, 0}, Match::kError},
        {{21, 75, 253}, Match::kError},
        {{19}, Match::kError},
        {{19, 75, 253, 2, 0}, Match::kForeign},
        {{}, Match::kForeign},
    };
    for (const auto& entry : kCases) {
        EXPECT_EQ(match_answer(request, command, entry.packet), entry.match) << hex_text(entry.packet);
    }
    const Answer error = decode_answer(request, {19, 75, 253, 1, 0}, command);
    EXPECT_EQ(exit_status_of(error), 6);
    EXPECT_NE(complaint(error).find("error 19 (bad command"), std::string::npos);
}

}  // namespace
}  // namespace vdiag
