// Plans: what is refused before anything is sent, what holds for an answer, and the reports.
#include "tools/vdiag/plan/plan.h"

#include <gtest/gtest.h>

#include "tests/client/peer.h"

namespace vdiag {
namespace {

std::string parse_error(const std::string& content) {
    Plan plan;
    std::string error;
    return plan_parse("p", content, {{"given", "1"}}, &plan, &error) ? "" : error;
}

TEST(PlanTest, MistakesAreFoundWithTheirLineBeforeAnythingIsSent) {
    const struct {
        const char* content;
        const char* error;
    } kCases[] = {
        {"version\n\n# comment\nbattery => capacity>=$given # why\n", ""},
        {"ftm ReadUDID => keep udid\nftm WriteVC udid $udid\n", ""},
        {"set a 1\ndefault b $a\nftm WriteSWVer $b\nwait 10ms\nreconnect 5s\n", ""},
        {"ftm WriteVC price 5$$ => status!=1 within 2s\n", ""},
        {"version\nftm ReadWifimca\n", "p:2: ftm: no command"},
        {"ftm WriteWifimac 1\n", "p:1: WriteWifimac: mac"},
        {"ftm WriteVC udid $udid\n", "p:1: nobody has set $udid"},
        {"battery => capacity\n", "p:1: 'capacity' is no expectation"},
        {"battery => capacity~[\n", "no regular expression"},
        {"battery => keep\n", "keep what?"},
        {"battery => within soon\n", "within takes a time"},
        {"wait\n", "wait takes a time"},
        {"ftm WriteVC 'a b\n", "a ' is not closed"},
        {"=> status=0\n", "nothing stands before"},
        {"battery --key x\n", "belongs to"},
    };
    for (const auto& entry : kCases) {
        const std::string error = parse_error(entry.content);
        EXPECT_EQ(error.empty(), *entry.error == '\0') << error;
        EXPECT_NE(error.find(entry.error), std::string::npos) << error;
    }
}

TEST(PlanTest, ConditionsCompareNumbersWordsTextsBytesAndPatterns) {
    const Command* mac = find_ftm("ReadWifimac");
    const Answer address =
        decode_answer(request_head(*mac), {75, 11, 255, 127, 0, 0, 0x11, 0x22, 0xAA, 0xBB, 0xCC}, mac);
    const Command* ufs = find_ftm("UFS");
    const Answer number = decode_answer(request_head(*ufs), {75, 11, 254, 127, 0, 1}, ufs);
    const struct {
        const Answer& answer;
        Condition condition;
        bool holds;
    } kCases[] = {
        {address, {"mac", "=", "00:11:22:AA:bb:cc"}, true},
        {address, {"MAC", "=", "001122aabbcc"}, true},
        {address, {"mac", "!=", "001122aabbcc"}, false},
        {address, {"mac", "~", "^00:11"}, true},
        {address, {"mac", "~", "^11"}, false},
        {address, {"status", "=", "0x00"}, true},
        {address, {"nothing", "=", ""}, false},
        {number, {"storage", "=", "OTHER"}, true},
        {number, {"storage", "=", "1"}, true},
        {number, {"storage", "=", "0"}, false},
        {number, {"storage", ">=", "1"}, true},
        {number, {"storage", ">", "1"}, false},
        {number, {"storage", "<", "x"}, false},
        {number, {"answer", "=", "4b0bfe7f0001"}, true},
        {number, {"rest", "=", ""}, true},
    };
    for (const auto& entry : kCases) {
        size_t from = 0;
        std::string reason;
        EXPECT_EQ(condition_holds(entry.condition, entry.answer, &from, &reason), entry.holds)
            << entry.condition.field << entry.condition.comparison << entry.condition.value << ": " << reason;
    }
}

TEST(PlanTest, VariablesAreReplaced) {
    const Variables variables = {{"a", "1"}, {"ab", "2"}};
    const struct {
        const char* text;
        const char* result;
    } kCases[] = {{"$a$ab", "12"}, {"${a}b", "1b"}, {"$$a", "$a"}, {"x$", "x$"}, {"^a.$|b", "^a.$|b"}};
    for (const auto& entry : kCases) {
        std::string out;
        std::string error;
        EXPECT_TRUE(substitute(entry.text, variables, &out, &error));
        EXPECT_EQ(out, entry.result);
    }
}

class PlanRunTest : public testing::Test {
   protected:
    ScratchFile plan_;
    // Counts the requests; the flag's value is the count.
    unsigned asked_ = 0;
    FakePeer peer_{[this](const Bytes& request, bool* hang_up) {
        *hang_up = request.size() > 4 && request[4] == 'P';
        ++asked_;
        return *hang_up ? Bytes() : frame({75, 11, 254, 127, 0, static_cast<uint8_t>(asked_)});
    }};
    ClientRun run(const std::string& content, std::vector<std::string> more = {}) {
        plan_.write(content);
        more.insert(more.begin(), {"-c", peer_.address(), "-t", "500ms", "run", plan_.path()});
        return run_client(more);
    }
};

TEST_F(PlanRunTest, ResultsAreATableASummaryAndAStatus) {
    const ClientRun good =
        run("ftm ReadSWVer => flag=1 keep flag\nftm ReadSWVer => flag=5 within 5s\nftm WriteSWVer $flag\n");
    EXPECT_EQ(good.status, 0) << good.out;
    EXPECT_NE(good.out.find("3 steps: 3 passed, 0 failed, 0 skipped"), std::string::npos) << good.out;
    EXPECT_EQ(peer_.requests().back().back(), 1) << "the kept value";
    const ClientRun bad = run("ftm ReadSWVer => flag=99\nftm ReadSWVer\n");
    EXPECT_EQ(bad.status, 8);
    EXPECT_NE(bad.out.find("flag is 7, expected 99"), std::string::npos) << bad.out;
    EXPECT_NE(bad.out.find("1 passed, 1 failed, 0 skipped"), std::string::npos);
    EXPECT_NE(run("ftm ReadSWVer => flag=99\nftm ReadSWVer\n", {"--stop"}).out.find("1 failed, 1 skipped"),
              std::string::npos);
}

TEST_F(PlanRunTest, ALostConnectionFailsItsLineAndTheNextLineConnectsAgain) {
    const ClientRun result = run("ftm PowerOff\nftm ReadSWVer\n");
    EXPECT_EQ(result.status, 8);
    EXPECT_NE(result.out.find("closed the connection"), std::string::npos) << result.out;
    EXPECT_EQ(peer_.connections(), 2U);
}

TEST_F(PlanRunTest, ReportsForMachinesNameEveryStep) {
    const ScratchFile junit;
    const ClientRun result =
        run("ftm WriteVC 'a<&\"' x => status=9\nftm UFS => answer~4b\n", {"--json", "--junit", junit.path()});
    EXPECT_EQ(result.status, 8);
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 3) << result.out;
    EXPECT_NE(result.out.find("\"outcome\":\"failed\""), std::string::npos);
    EXPECT_NE(result.out.find("\"passed\":1,\"failed\":1"), std::string::npos);
    const std::string xml = junit.read();
    EXPECT_NE(xml.find("name=\"1: ftm WriteVC 'a&lt;&amp;&quot;' x"), std::string::npos) << xml;
    EXPECT_NE(xml.find("tests=\"2\" failures=\"1\" skipped=\"0\""), std::string::npos);
}

}  // namespace
}  // namespace vdiag
