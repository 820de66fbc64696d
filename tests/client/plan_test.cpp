// Plans: what is refused before anything is sent, what holds for an answer, and the reports.
#include "tools/vdiag/plan/plan.h"

#include <gtest/gtest.h>

#include <cstdlib>

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
        {"\xEF\xBB\xBFversion\r\nftm WriteVC a [b,c]\r\nftm WriteVC -- --a -b\n", ""},
        {"battery --timeout=2s -r3\nraw 63 => error=19 rest=00\nftm NoName -m ext x => status=255\n", ""},
        {"set m 00:11:22:33:44:55\nftm WriteWifimac $m\nftm ReadWifimac => mac=$m keep mac\nset n $mac\n"
         "ftm WriteWifimac $n\n",
         ""},
        {"info get a b => A=1 length>4 keep b\ncsr fetch => bytes>0 message~.\nkeybox open write => handle=-1\n", ""},
        {"default given soon\nwait 1s\n", ""},
        {"", "p: the plan is empty"},
        {"# nothing\n", "p: the plan is empty"},
        {"\xFF\xFEv\n", "p: UTF-16"},
        {"run x.plan\n", "'run' is no request"},
        {"rtn refurbish --connect tcp:b:1\n", "--connect holds for the whole program"},
        {"battery -x\n", "-x holds for"},
        {"battery -t soon\n", "--timeout takes"},
        {"battery --retry zzz\n", "--retry takes"},
        {"battery => capacty=5\n", "no field 'capacty'; did you mean 'capacity'?"},
        {"battery => keep capacty\n", "no field 'capacty'"},
        {"battery => capacity=256\n", "capacity is never '256'"},
        {"version => status=0\n", "no field 'status'"},
        {"ftm UFS => storage=ups\n", "never 'ups'"},
        {"ftm ReadWifimac => mac=00:11\n", "never '00:11'"},
        {"ftm ReadCountryCode => code=TOOLONG\n", "never 'TOOLONG'"},
        {"ftm ReadWifimac => mac>5\n", "compares no numbers"},
        {"info get a => b=1\n", "no field 'b'"},
        {"set m 00:11\nftm ReadWifimac\nftm WriteWifimac $m\n", "p:3: WriteWifimac: mac"},
        {"battery => keep capacity as c\nftm WriteVCC c $c\n", "p:2: ftm: no command"},
        {"csr fetch x\n", "csr fetch takes [--generate]"},
        {"raw\n", "no standard input"},
        {"set given 2\n", "given on the command line"},
        {"battery => silence within 2s\n", "silence stands alone"},
        {"require given\nbattery => measure capacity as charge unit % from -1 to 99.5 capacity<=100\n", ""},
        {"require missing\n", "p:1: this plan wants missing=VALUE"},
        {"battery => measure capacity from 2 to 1\n", "no number lies between"},
        {"battery => measure capacity from 1x\n", "'1x' is no number"},
        {"ftm ReadWifimac => measure mac\n", "mac is no number"},
        {"secret given\n", "too short"},
        {"set k 12345\nsecret k\n", "p:1: $k is secret"},
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

// 0: every line fits the schema.
int validate(const std::string& records) {
    return system(
        ("/usr/bin/python3 -c 'import json, jsonschema, sys\n"
         "schema = json.load(open(sys.argv[1]))\n"
         "for line in open(sys.argv[2]): jsonschema.validate(json.loads(line), schema)' " VENDORDIAG_SOURCE_DIR
         "/schema/run-record.schema.json " +
         records)
            .c_str());
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

// A phone that is slow, then away, then right; and one that never is.
TEST_F(PlanRunTest, WithinOutlivesTimeOutsAndEndsInTime) {
    unsigned asked = 0;
    FakePeer slow([&](const Bytes&, bool* hang_up) {
        *hang_up = ++asked == 2;
        return asked < 3 ? Bytes() : frame({75, 11, 254, 127, 0, static_cast<uint8_t>(asked)});
    });
    plan_.write("ftm ReadSWVer => flag=4 within 20s\n");
    const ClientRun good = run_client({"-c", slow.address(), "-t", "100ms", "run", plan_.path()});
    EXPECT_EQ(good.status, 0) << good.out;
    EXPECT_EQ(asked, 4U);
    plan_.write("ftm ReadSWVer => flag=1 within 300ms\nftm ReadSWVer => flag=2 within 300ms\n");
    FakePeer silent([](const Bytes&, bool*) { return Bytes(); });
    const ClientRun bad = run_client({"-c", silent.address(), "-t", "60s", "run", plan_.path()});
    EXPECT_NE(bad.out.find("2 failed"), std::string::npos) << bad.out;
    plan_.write("reconnect 300ms\n");
    EXPECT_EQ(run_client({"-c", silent.address(), "-t", "60s", "run", plan_.path()}).status, 3);
    EXPECT_LT(bad.seconds, 20);
}

// A run that is stopped says so in every report, and sends nothing more.
TEST_F(PlanRunTest, ASignalEndsARunAndItsReportsAreWhole) {
    const ScratchFile junit;
    const ScratchFile record;
    FakePeer stopper([](const Bytes&, bool*) {
        (void)!system(("kill -INT $(pgrep -P " + std::to_string(getpid()) + " -x vdiag)").c_str());
        return Bytes();
    });
    plan_.write("ftm ReadSWVer\nftm UFS\n");
    const ClientRun result = run_client({"-c", stopper.address(), "-t", "60s", "run", "--junit", junit.path(),
                                         "--record", record.path(), plan_.path()});
    EXPECT_EQ(result.status, 130) << result.out << result.err;
    EXPECT_NE(result.out.find("aborted by SIGINT"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("0 passed, 1 failed, 1 skipped"), std::string::npos) << result.out;
    EXPECT_NE(junit.read().find("name=\"aborted\" value=\"true\""), std::string::npos);
    EXPECT_NE(junit.read().find("</testsuites>"), std::string::npos);
    EXPECT_EQ(stopper.requests().size(), 1U);
    const std::string records = record.read();
    EXPECT_EQ(std::count(records.begin(), records.end(), '\n'), 3) << records;
    EXPECT_NE(records.find("\"verdict\":\"failed\",\"aborted\":true"), std::string::npos) << records;
    EXPECT_EQ(validate(record.path()), 0) << records;
}

TEST_F(PlanRunTest, AReportThatCannotBeWrittenIsFoundBeforeTheRun) {
    for (const char* option : {"--junit", "--record", "--csv"}) {
        EXPECT_EQ(run("ftm ReadSWVer\n", {option, "/nowhere/report"}).status, 1);
    }
    EXPECT_EQ(peer_.connections(), 0U);
}

TEST_F(PlanRunTest, ANameThatNoPlanTakesIsRefused) {
    EXPECT_EQ(run("default mac 00:11:22:33:44:55\nftm WriteWifimac $mac\n", {"mca=02:00:00:00:00:01"}).status, 2);
    EXPECT_EQ(run("ftm ReadSWVer\n", {"here=/tmp"}).status, 2);
    EXPECT_EQ(peer_.connections(), 0U);
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

TEST(RecordTest, APassingAndAFailingRunFitTheSchemaAndHoldNoSecret) {
    const ScratchFile plan(
        "require operator ; secret key ; default limit 100\nserial\nset copy ${key}x\nftm WriteVC pass $copy\n"
        "ftm ReadVC pass\nftm ReadVC pass => value=$key\n"
        "battery => measure capacity as charge unit % from -1 to $limit\n");
    const ScratchFile record;
    const ScratchFile junit;
    const ScratchFile csv;
    const auto run = [&](const std::string& key, const std::string& limit) {
        return run_client({"run", "--fresh", "--hex", plan.path(), "operator=ada", "key=" + key, limit, "--record",
                           record.path(), "--junit", junit.path(), "--csv", csv.path()});
    };
    const ClientRun failing = run("hunter22", "limit=-0.5");
    EXPECT_EQ(failing.status, 8) << failing.err;
    const std::string told = failing.out + failing.err + record.read() + junit.read() + csv.read();
    for (const char* secret : {"hunter22", "68756e74", "68 75 6e 74"}) {
        EXPECT_EQ(told.find(secret), std::string::npos) << told;
    }
    for (const char* part :
         {"\"name\":\"charge\",\"field\":\"capacity\",\"value\":",
          "\"unit\":\"%\",\"low\":-1,\"high\":-0.5,\"verdict\":\"failed\"",
          "\"variables\":{\"limit\":\"-0.5\",\"operator\":\"ada\"},\"verdict\":\"failed\",\"aborted\":false",
          "<property name=\"variable.operator\" value=\"ada\"/>", "<property name=\"charge.high\" value=\"-0.5\"/>",
          "%,-1,-0.5,failed\r\n"}) {
        EXPECT_NE(told.find(part), std::string::npos) << part << "\n" << told;
    }
    EXPECT_EQ(told.find("\"serial\":null"), std::string::npos);
    plan.write(
        "secret key\nftm WriteVC pass $key\nftm ReadVC pass => value=$key\nbattery => measure capacity to 100\n");
    const ClientRun passing = run_client({"run", "--fresh", plan.path(), "key=hunter22", "--record", record.path()});
    EXPECT_EQ(passing.status, 0) << passing.out;
    const std::string records = record.read();
    EXPECT_EQ(std::count(records.begin(), records.end(), '\n'), 9 + 1 + 4 + 1) << records;
    EXPECT_EQ(validate(record.path()), 0) << records;
}

}  // namespace
}  // namespace vdiag
